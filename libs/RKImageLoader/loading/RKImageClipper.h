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
/// of a millimetre, resolutions in dots per inch. Stateless and thread-safe. Needs the
/// configuration, see RKImageLoaderConfig.
class RKIMAGELOADER_EXPORT RKImageClipper
{
public:
    RKImageClipper() = default;
    RKImageClipper(const RKImageClipper&) = default;
    RKImageClipper& operator=(const RKImageClipper&) = default;
    virtual ~RKImageClipper();

    /// The clip of a file. The file is loaded at its full size; beyond 50 megapixels, at twice the
    /// resolution of the clip instead, if that is less than half of its own. Null if the file can't
    /// be decoded, or if the result doesn't fit into memory. The image states the resolution of its
    /// print, which is its pixels divided by the production size and may differ from the given
    /// one.
    ///
    /// A rectangle that extends beyond the picture is cut off at its edges. One that lies outside,
    /// or whose sides both round to one pixel or less, counts as one pixel, which is logged; a
    /// bitmap that may not be enlarged then gives a picture of that size.
    QImage clipForProduction(const RKMediaDescriptor& descriptor,
        const QRectF& clipRect,
        const QSizeF& productionSize,
        int dpi,
        bool allowUpscaling) const;
    /// The same; the context gets the reason of a failure, or RKMediaErrorCode::Truncated for the
    /// clip of an incomplete picture.
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

    /// The clip of a drawable. `imageSize` is the drawable's size in the units of the clip
    /// rectangle; for a bitmap only its own size makes sense. In ARGB32 if the drawable has an
    /// alpha channel, else in RGB32.
    QImage clipForProduction(const RKDrawable& drawable,
        const QSizeF& imageSize,
        const QRectF& clipRect,
        const QSizeF& productionSize,
        int dpi,
        bool allowUpscaling) const;

    /// The size with each side rounded to the nearest integer and at least 1. A result of 1 by 1 is
    /// logged.
    QSize safeValidSize(const QSizeF& size) const;

    /// The size in pixels, not rounded, at which to render the source pixels: what the production
    /// size needs at the resolution, but
    /// - for a production with a side below 100 mm, from a source that would fill more than 100 mm
    ///   both ways, what 100 mm on the shorter side need,
    /// - the source's own size instead of a larger one for a bitmap that may not be enlarged,
    /// - at least the configured share of its height (RKImageLoaderConfig::scalingMinFactor()),
    /// - and never more than 32767 pixels on a side.
    /// The size of the source if the production size makes no sense.
    QSizeF calcResultImageSize(const QSizeF& productionSize,
        int dpi,
        const QSizeF& sourcePixels,
        bool isBitmap,
        bool allowUpscaling) const;

    /// Width divided by height; 1.0 for a negative width or a height that is not positive.
    double ratioWidthByHeight(const QSizeF& size) const;
};
