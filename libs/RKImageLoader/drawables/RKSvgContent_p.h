#pragma once

#include <QByteArray>
#include <QImage>

#include <memory>

class RKDrawableInterface;

/// What drawables do with SVG documents. Builds without SVG have RKWithoutSvg.cpp. Thread-safe.
namespace RKSvgContent {

/// The content of a drawable from the bytes of a document. A null picture without SVG.
std::unique_ptr<RKDrawableInterface> read(const QByteArray& svg);

/// A document of the picture's size that shows it. Empty without SVG.
QByteArray write(const QImage& image);

} // namespace RKSvgContent
