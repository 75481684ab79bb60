#pragma once

#include "RKImageLoader/RKImageLoaderExport.h"
#include "RKImageLoader/media/RKImageOrientation.h"

#include <QImage>

/// Turns and mirrors images without loss. Null images come back null. Stateless and thread-safe.
class RKIMAGELOADER_EXPORT RKImageRotator
{
public:
    RKImageRotator() = delete;

    /// A quarter turn clockwise, as seen on the screen.
    static QImage rotateCW(const QImage& image);
    /// A quarter turn counterclockwise.
    static QImage rotateCCW(const QImage& image);

    /// Top and bottom change places.
    static QImage mirrorVertical(const QImage& image);
    /// Left and right change places.
    static QImage mirrorHorizontal(const QImage& image);

    /// The image in ARGB32_Premultiplied, unless it is in this format or in RGB32 already.
    static QImage normalizeRGB32(const QImage& image);

    /// The stored image turned upright (Exif 2.32, 4.6.4, tag 0x0112). Unchanged for 1 and for
    /// numbers that are not an orientation; in its own format for 3; otherwise normalised, see
    /// normalizeRGB32().
    static QImage rotate(const QImage& image, RKImageOrientation orientation);
    /// The same; an image that nobody else shares is mirrored in place.
    static QImage rotate(QImage&& image, RKImageOrientation orientation);
};
