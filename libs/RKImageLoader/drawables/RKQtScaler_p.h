#pragma once

#include <QImage>
#include <QSize>

/// Qt's own scaling, kept away from the formats of pixels that Qt 6.4 scales or draws wrongly:
/// - RGBA64 has its alpha multiplied by itself;
/// - floating-point formats without alpha get an alpha of what was in memory;
/// - multiplied formats of 16 and 24 bits are taken for unmultiplied ones when they are drawn;
/// - colour tables and formats of fewer than 8 bits a channel get dithered instead of smoothed.
///
/// Colour space, texts and resolution are kept. Stateless and thread-safe.
namespace RKQtScaler {

/// Qt scales and draws images of the format correctly and smoothly.
bool isScalable(QImage::Format format);

/// The image in a format that isScalable(); itself if it has one.
QImage scalable(QImage image);

/// As QImage::scaled(), in a format that isScalable() unless the size stays or whole numbers are
/// scaled with the fast transformation, which never mixes pixels.
QImage scaled(QImage image,
    const QSize& size,
    Qt::AspectRatioMode proportions = Qt::KeepAspectRatio,
    Qt::TransformationMode transformation = Qt::SmoothTransformation);

/// As QImage::scaledToHeight() with smooth filtering, and with formats as above.
QImage scaledToHeight(QImage image, int height);

} // namespace RKQtScaler
