#pragma once

#include "RKImageLoader/RKImageLoaderExport.h"
#include "RKImageLoader/media/RKMediaFormat.h"
#include "RKImageLoader/media/RKScalingOption.h"

#include <QByteArray>
#include <QImage>
#include <QPixmap>
#include <QRectF>
#include <QSharedDataPointer>
#include <QSize>
#include <QSizeF>
#include <QString>

class QPainter;
class RKDrawableImpl;
class RKDrawableInterface;

/// One decoded medium, a raster image or a vector drawing. Cheap to copy.
///
/// A drawable is null (nothing to draw), a bitmap or a vector; a null one without content counts
/// as a bitmap. A moved-from drawable behaves like a null one.
///
/// Reentrant: copies may be used from different threads; one that is being changed must not be
/// read at the same time.
class RKIMAGELOADER_EXPORT RKDrawable
{
public:
    /// A null drawable.
    RKDrawable();
    /// A bitmap that shares the image's pixels; null for a null image.
    RKDrawable(const QImage& image);
    /// A vector drawing from the bytes of an SVG document, compressed or not. Bytes that are not
    /// SVG give a null vector drawable.
    RKDrawable(const QByteArray& svg);
    /// Shares the content of another drawable, which first gets a copy of its own if others share
    /// it. A null pointer gives a null drawable.
    RKDrawable(RKDrawable* other);
    /// Takes part in the ownership of the payload; a null pointer gives a null drawable.
    RKDrawable(RKDrawableImpl* impl);

    RKDrawable(const RKDrawable& other);
    RKDrawable(RKDrawable&& other) noexcept;
    RKDrawable& operator=(const RKDrawable& other);
    RKDrawable& operator=(RKDrawable&& other) noexcept;
    virtual ~RKDrawable();

    /// True for the very same content, or if both are null. Separately made drawables differ.
    bool operator==(const RKDrawable& other) const;
    bool operator!=(const RKDrawable& other) const;

    /// Whether there is nothing to draw, as in what loaders return when they fail.
    bool isNull() const;
    /// Whether this is a drawing that can be rendered at any size, a null one included.
    bool isVector() const;
    /// The opposite of isVector().
    bool isBitmap() const;

    /// Whether the content can hold transparency; always true for vectors.
    bool hasAlphaChannel() const;
    /// Whether at least one pixel is not opaque; always true for vectors.
    bool hasAlpha() const;

    /// The memory of the pixels, or the length of the SVG document, in bytes.
    qint64 numBytes() const;

    /// Draws the part of the content in the source rectangle (pixels of rectF()) into the target
    /// rectangle (the painter's coordinates). The scaling method is for bitmaps; exactly one has to
    /// be given. Returns false, with a warning for bitmaps, if nothing could be drawn.
    bool draw(QPainter* painter,
        const QRectF& target,
        const QRectF& source,
        const RKScalingOption& option) const;

    /// The bounds in pixels, at the origin. A vector has a nominal size.
    QRectF rectF() const;
    /// The size of rectF(); a vector's need not be whole pixels.
    /// @{
    QSizeF sizeF() const;
    double widthF() const;
    double heightF() const;
    /// @}
    /// rectF() with each side rounded to the nearest integer.
    QSize size() const;
    /// The sides of size(), in pixels.
    /// @{
    int width() const;
    int height() const;
    /// @}

    /// The picture as pixels; a vector is rendered at its nominal size.
    QImage image() const;
    /// The same at the given height in pixels, proportions kept.
    QImage imageScaledToHeight(int height) const;
    /// image() for the screen. Needs a QGuiApplication and is for its thread only.
    QPixmap pixmap() const;
    /// The SVG bytes as they were given; a bitmap is wrapped into an SVG document.
    QByteArray svg() const;

    /// The content fitted into the size, proportions kept; it may grow. A vector changes its
    /// nominal size only. A size with a negative side gives an unchanged copy.
    RKDrawable scaled(const QSize& size) const;

    /// SVG for vectors, PNG for bitmaps with transparent pixels, else JPG.
    RKMediaFormat bestImageFileFormat() const;

    /// A mark for drawables that stand in for the real content; false until set.
    bool isPlaceholder() const;
    /// Changes this copy only. Hosts use it to find again what they still have to load.
    void setIsPlaceholder(bool on);

    /// Converts a bitmap to the pixel format that draws fastest; leaves a vector alone.
    void optimizeForDrawing();

    /// Whether the smaller side is at least 8 pixels and the larger less than 64 times as long.
    /// Decoders refuse other sizes.
    static bool isAcceptableSize(const QSize& size);

    /// Writes the history of a picture into what an operation has made of it: the history of
    /// `before`, the operation, and both sizes if they differ (text key "TAMO-ImagePipeline").
    /// Changes no pixel.
    static void trackImageChange(const QImage& before, QImage& after, const QString& operation);

    /// Writes the picture's history to the debug log.
    static void imageChange(const QImage& image);

private:
    const RKDrawableInterface& content() const;

    QSharedDataPointer<RKDrawableImpl> m_impl;
};
