#pragma once

#include "RKImageLoader/RKImageLoaderExport.h"

#include <QByteArray>
#include <QImage>
#include <QRectF>
#include <QSize>

class QPainter;
class RKScalingOption;

/// What a drawable holds: pixels, a vector drawing, or content that a host adds.
///
/// Reading operations may be called from several threads at once; optimizeForDrawing() only while
/// nobody reads.
class RKIMAGELOADER_EXPORT RKDrawableInterface
{
public:
    RKDrawableInterface();
    virtual ~RKDrawableInterface();

    RKDrawableInterface& operator=(const RKDrawableInterface&) = delete;

    /// A copy that the caller owns.
    virtual RKDrawableInterface* clone() const = 0;

    /// The content fitted into the size, proportions kept; it may grow. The caller owns it. A size
    /// with a negative side gives a clone.
    virtual RKDrawableInterface* scaled(const QSize& size) const = 0;

    /// The content as an image of the given height in pixels, proportions kept; null if empty.
    virtual QImage imageScaledToHeight(int height) const = 0;
    /// The content as pixels at the size of rectF().
    virtual QImage image() const = 0;
    /// The content as an SVG document; empty if there is none.
    virtual QByteArray svg() const = 0;

    /// Draws the part of the content in the source rectangle (units of rectF()) into the target
    /// rectangle (the painter's coordinates). Returns false if nothing could be drawn.
    virtual bool draw(QPainter* painter,
        const QRectF& target,
        const QRectF& source,
        const RKScalingOption& option) const = 0;
    /// Draws the whole content.
    virtual bool draw(QPainter* painter, const QRectF& target, const RKScalingOption& option) const;

    /// The bounds in pixels, at the origin.
    virtual QRectF rectF() const = 0;
    /// Whether there is nothing to draw; the other operations return empty values then.
    virtual bool isNull() const = 0;
    /// Whether the content can be rendered at any size; false unless overridden.
    virtual bool isVector() const;
    /// Whether the content can hold transparency.
    virtual bool hasAlphaChannel() const = 0;
    /// Whether some of the content is not opaque.
    virtual bool hasAlpha() const = 0;
    /// The memory that the content takes, in bytes.
    virtual qint64 numBytes() const = 0;

    /// Brings the content into the form that draws fastest.
    virtual void optimizeForDrawing() = 0;

protected:
    /// For clone().
    RKDrawableInterface(const RKDrawableInterface&);
};
