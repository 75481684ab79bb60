#include "RKImageLoader/drawables/RKDrawableInterfaceQImage.h"

#include "RKImageLoader/drawables/RKImageAttributes_p.h"
#include "RKImageLoader/drawables/RKImageScaler_p.h"
#include "RKImageLoader/drawables/RKImageTester.h"
#include "RKImageLoader/drawables/RKQtScaler_p.h"
#include "RKImageLoader/drawables/RKRounding_p.h"
#include "RKImageLoader/drawables/RKSvgContent_p.h"
#include "RKImageLoader/media/RKLogCategories_p.h"
#include "RKImageLoader/media/RKScalingOption.h"

#include <QDebug>
#include <QPainter>

#include <algorithm>
#include <cmath>
#include <memory>

namespace {

// No picture reaches there, and rectangles in whole pixels can't.
bool isFarAway(const QRectF& rect)
{
    constexpr double kLimit = 1e9;
    const auto isNear = [](double number) { return std::abs(number) < kLimit; };
    return !isNear(rect.x()) || !isNear(rect.y()) || !isNear(rect.width())
        || !isNear(rect.height());
}

// The part of the image as QImage::copy() gives it, but without a copy where the pixels can be used
// in place. The result keeps the image's pixels alive. Null for a part that isn't feasible.
QImage part(const QImage& image, const QRectF& source)
{
    if (isFarAway(source))
        return {};

    // Kept: copy() takes a rectangle without width and height for the whole image.
    const QRect rect = source.toRect();
    if (rect.isNull() || rect == image.rect())
        return image;

    // Pixels of less than a byte can't be pointed at, and a colour table can't be shared.
    if (rect.isEmpty() || !image.rect().contains(rect) || image.depth() < 8
        || image.colorCount() > 0)
        return RKImageScaler::isFeasible(rect.size()) ? image.copy(rect) : QImage();

    const uchar* firstPixel
        = image.constScanLine(rect.top()) + qsizetype(rect.left()) * (image.depth() / 8);
    return QImage(firstPixel,
        rect.width(),
        rect.height(),
        image.bytesPerLine(),
        image.format(),
        RKImageAttributes::deleteImage,
        std::make_unique<QImage>(image).release());
}

QImage scaledKeepingProportions(
    const QImage& image, const QSize& size, Qt::TransformationMode transformation)
{
    if (image.isNull() || size.isEmpty())
        return {};

    // As in QImage::scaled(), a side that comes out as 0 becomes 1.
    const QSize fitted = image.size().scaled(size, Qt::KeepAspectRatio).expandedTo(QSize(1, 1));
    if (!RKImageScaler::isFeasible(fitted))
        return {};

    return RKQtScaler::scaled(image, size, Qt::KeepAspectRatio, transformation);
}

// QImage::pixel() divides by the alpha of a premultiplied image; the stored word has what was
// asked.
QRgb storedPixel(const QImage& image, const QPoint& position)
{
    if (image.format() != QImage::Format_ARGB32_Premultiplied)
        return image.pixel(position);

    return reinterpret_cast<const QRgb*>(image.constScanLine(position.y()))[position.x()];
}

// Decoders deliver large opaque images in RGB32. The small result is converted then, not they.
QImage scaledBilinearlyInArgb32(const QImage& image, const QSize& size)
{
    if (image.format() != QImage::Format_RGB32)
        return RKImageScaler::bilinear(image.convertToFormat(QImage::Format_ARGB32), size);

    QImage result = RKImageScaler::bilinear(image, size);
    result.convertTo(QImage::Format_ARGB32);
    return result;
}

} // namespace

RKDrawableInterfaceQImage::RKDrawableInterfaceQImage(const QImage& image)
    : m_image(image)
{
}

RKDrawableInterfaceQImage::RKDrawableInterfaceQImage(const RKDrawableInterfaceQImage&) = default;

RKDrawableInterfaceQImage::~RKDrawableInterfaceQImage() = default;

RKDrawableInterfaceQImage* RKDrawableInterfaceQImage::clone() const
{
    return new RKDrawableInterfaceQImage(*this);
}

RKDrawableInterfaceQImage* RKDrawableInterfaceQImage::scaled(const QSize& size) const
{
    if (!size.isValid())
        return clone();

    return new RKDrawableInterfaceQImage(scaleImage(m_image, size, SCALING_SMOOTH));
}

QImage RKDrawableInterfaceQImage::imageScaledToHeight(int height) const
{
    if (isNull())
        return m_image;

    const QSizeF size(double(m_image.width()) * height / m_image.height(), height);
    if (!RKImageScaler::isFeasible(size))
        return {};

    return RKQtScaler::scaledToHeight(m_image, height);
}

QImage RKDrawableInterfaceQImage::image() const
{
    return m_image;
}

QByteArray RKDrawableInterfaceQImage::svg() const
{
    return isNull() ? QByteArray() : RKSvgContent::write(m_image);
}

bool RKDrawableInterfaceQImage::draw(QPainter* painter,
    const QRectF& target,
    const QRectF& source,
    const RKScalingOption& option) const
{
    if (isNull())
        return false;

    const QSize targetSize(RKRounding::toInt(target.width()), RKRounding::toInt(target.height()));
    QImage result = RKQtScaler::scalable(scaleImage(part(m_image, source), targetSize, option));
    if (result.format() == QImage::Format_ARGB32)
        result.convertTo(QImage::Format_ARGB32_Premultiplied);
    if (result.isNull()) {
        qCWarning(rkLoad, "%s out of memory on any operation", Q_FUNC_INFO);
        return false;
    }

    painter->save();
    painter->setRenderHints(QPainter::SmoothPixmapTransform | QPainter::Antialiasing);
    painter->drawImage(target, result, result.rect());
    painter->restore();
    return true;
}

QRectF RKDrawableInterfaceQImage::rectF() const
{
    return m_image.rect();
}

bool RKDrawableInterfaceQImage::isNull() const
{
    return m_image.isNull();
}

bool RKDrawableInterfaceQImage::hasAlphaChannel() const
{
    return m_image.hasAlphaChannel();
}

bool RKDrawableInterfaceQImage::hasAlpha() const
{
    return RKImageTester().imageContainsAlphaInformation(m_image);
}

qint64 RKDrawableInterfaceQImage::numBytes() const
{
    return m_image.sizeInBytes();
}

void RKDrawableInterfaceQImage::optimizeForDrawing()
{
    m_image.convertTo(QImage::Format_ARGB32_Premultiplied);
}

QImage RKDrawableInterfaceQImage::scaleImage(
    const QImage& image, const QSize& size, const RKScalingOption& option) const
{
    switch (option.value()) {
    case SCALING_SMOOTH: return scaledKeepingProportions(image, size, Qt::SmoothTransformation);
    case SCALING_FAST: return scaledKeepingProportions(image, size, Qt::FastTransformation);
    case SCALING_BILINEAR: return scaledBilinearlyInArgb32(image, size);
    case SCALING_BICUBIC: return scaleBicubicly(image, size);
    case SCALING_NONE: break;
    }
    // Kept: callers name exactly one method; nothing is chosen for them.
    return {};
}

QImage RKDrawableInterfaceQImage::scaleBilinearly(const QImage& image, const QSize& size) const
{
    return RKImageScaler::bilinear(image, size);
}

QImage RKDrawableInterfaceQImage::scaleBicubicly(const QImage& image, const QSize& size) const
{
    return RKImageScaler::bicubic(image, size);
}

int RKDrawableInterfaceQImage::subPixel(
    const QImage& image, int width, int height, int x, int y, int channel) const
{
    if (image.isNull() || channel < 0 || channel > 3)
        return 0;

    const QPoint position(std::clamp(x, 0, std::clamp(width, 1, image.width()) - 1),
        std::clamp(y, 0, std::clamp(height, 1, image.height()) - 1));
    return int(storedPixel(image, position) >> (24 - 8 * channel)) & 0xff;
}
