#pragma once

#include <QImage>
#include <QSize>

/// The small pictures that are embedded into files.
namespace Thumbnail {

/// The sides that the Exif standard recommends (DCF 2.0, 3.3.4).
constexpr QSize kSize(160, 120);

/// The image, scaled down to fit where it is larger.
QImage of(const QImage& image);

} // namespace Thumbnail
