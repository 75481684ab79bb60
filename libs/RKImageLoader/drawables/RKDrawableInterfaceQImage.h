#pragma once

#include "RKImageLoader/RKImageLoaderExport.h"
#include "RKImageLoader/drawables/RKDrawableInterface.h"

#include <QImage>

/// A raster image as the content of a drawable. Reentrant, as its base class says.
class RKIMAGELOADER_EXPORT RKDrawableInterfaceQImage : public RKDrawableInterface
{
public:
    /// Shares the pixels until either is changed.
    explicit RKDrawableInterfaceQImage(const QImage& image = QImage());
    ~RKDrawableInterfaceQImage() override;

    using RKDrawableInterface::draw;

    RKDrawableInterfaceQImage* clone() const override;
    RKDrawableInterfaceQImage* scaled(const QSize& size) const override;
    QImage imageScaledToHeight(int height) const override;
    QImage image() const override;
    QByteArray svg() const override;

    /// The source is rounded to whole pixels; an empty one means the whole image, and what lies
    /// outside the image is transparent. Logs a warning if there is too little memory, or if the
    /// option isn't exactly one method.
    bool draw(QPainter* painter,
        const QRectF& target,
        const QRectF& source,
        const RKScalingOption& option) const override;

    QRectF rectF() const override;
    bool isNull() const override;
    bool hasAlphaChannel() const override;
    bool hasAlpha() const override;
    qint64 numBytes() const override;
    /// Converts to premultiplied ARGB.
    void optimizeForDrawing() override;

    /// The image in the given size; smooth and fast scaling fit it in with its proportions kept.
    /// Null if the option isn't exactly one method, the size is empty, or there is too little
    /// memory. Bilinear and bicubic scaling give ARGB32.
    QImage scaleImage(const QImage& image, const QSize& size, const RKScalingOption& option) const;

    /// Bilinear interpolation with the pixels' top left corners as the sampling points; nothing is
    /// averaged when the image shrinks. The result has exactly the size, and the image's format.
    /// Texts, resolution and colour space are kept, as QImage::scaled() does. Null for a null image
    /// and for a size that is empty or beyond memory.
    QImage scaleBilinearly(const QImage& image, const QSize& size) const;

    /// The same with a cubic over 4 × 4 pixels, in ARGB32. Sharpens a little; at the right edge
    /// the last four columns are used.
    QImage scaleBicubicly(const QImage& image, const QSize& size) const;

    /// One channel, 0 to 255, of the pixel whose position is clamped to the width and the height:
    /// 0 for alpha, 1 for red, 2 for green, 3 for blue, as the image stores them (premultiplied or
    /// not). 0 for any other channel.
    int subPixel(const QImage& image, int width, int height, int x, int y, int channel) const;

private:
    RKDrawableInterfaceQImage(const RKDrawableInterfaceQImage& other);

    QImage m_image;
};
