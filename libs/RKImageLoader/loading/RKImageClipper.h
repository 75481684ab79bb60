#pragma once

#include "RKImageLoader/RKImageLoaderExport.h"
#include "RKImageLoader/media/RKLoadContext.h"

#include <QImage>
#include <QRectF>
#include <QSize>
#include <QSizeF>

class RKDrawable;
class RKMediaDescriptor;

/// Renders the part of a picture that a product shows, with the pixels that its print needs.
///
/// Image sizes and clip rectangles are in pixels of the upright picture, production sizes in tenths
/// of a millimetre, resolutions in dots per inch. Stateless and thread-safe. The configuration file
/// must have been named, see RKImageLoaderConfig.
class RKIMAGELOADER_EXPORT RKImageClipper
{
public:
    RKImageClipper() = default;
    RKImageClipper(const RKImageClipper&) = default;
    RKImageClipper& operator=(const RKImageClipper&) = default;
    virtual ~RKImageClipper();

    /// The clip of a file, which is loaded at its full size; pictures of more than 50 megapixels at
    /// twice the resolution of the clip where that is less than half of theirs. Null when the file
    /// can't be decoded, and when the result is too large for the memory. The image's resolution is
    /// that of the print, its pixels divided by the production size, which need not be the given
    /// one.
    ///
    /// A rectangle that leaves the picture is cut off at its edges. One that is wholly outside or
    /// less than two pixels on both sides counts as one pixel, which is logged; a bitmap that may
    /// not be enlarged then gives a picture of that size.
    QImage clipForProduction(const RKMediaDescriptor& descriptor,
        const QRectF& clipRect,
        const QSizeF& productionSize,
        int dpi,
        bool allowUpscaling) const;
    /// The same; the context gets the reason, and RKMediaErrorCode::Truncated with a clip of a
    /// picture that is not whole.
    QImage clipForProduction(const RKMediaDescriptor& descriptor,
        const QRectF& clipRect,
        const QSizeF& productionSize,
        int dpi,
        bool allowUpscaling,
        RKLoadContext& context) const;
    /// The same with the reason, or no error; null stores nothing.
    QImage clipForProduction(const RKMediaDescriptor& descriptor,
        const QRectF& clipRect,
        const QSizeF& productionSize,
        int dpi,
        bool allowUpscaling,
        RKMediaError* error) const;

    /// The clip of a drawable whose size in the units of the clip rectangle is given; a bitmap's
    /// own size is the only useful one. In ARGB32 if the drawable has an alpha channel, else in
    /// RGB32.
    QImage clipForProduction(const RKDrawable& drawable,
        const QSizeF& imageSize,
        const QRectF& clipRect,
        const QSizeF& productionSize,
        int dpi,
        bool allowUpscaling) const;

    /// The size with each side rounded to the nearest integer and at least 1. Logged when both
    /// sides had to be raised to that.
    QSize safeValidSize(const QSizeF& size) const;

    /// The size in pixels, not rounded, to render the source pixels in: what the production size
    /// needs at the resolution, but
    /// - for small productions of pictures that would fill 100 mm either way as much as 100 mm on
    ///   the shorter side need,
    /// - not more than the source has if that is a bitmap and may not be enlarged,
    /// - not less of its height than the configured share (RKImageLoaderConfig::scalingMinFactor),
    /// - and never more than 32767 pixels on a side.
    /// The size of the source where the production size makes no sense.
    QSizeF calcResultImageSize(const QSizeF& productionSize,
        int dpi,
        const QSizeF& sourcePixels,
        bool isBitmap,
        bool allowUpscaling) const;

    /// 1.0 for a negative width and for a height that is not positive.
    double ratioWidthByHeight(const QSizeF& size) const;
};
