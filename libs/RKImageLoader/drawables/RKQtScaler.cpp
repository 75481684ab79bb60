#include "RKImageLoader/drawables/RKQtScaler_p.h"

#include <utility>

namespace {

QImage::Format scalableFormat(QImage::Format format, bool hasAlpha)
{
    switch (format) {
    case QImage::Format_Mono:
    case QImage::Format_MonoLSB:
    case QImage::Format_Indexed8:
    case QImage::Format_RGBA64: return hasAlpha ? QImage::Format_ARGB32 : QImage::Format_RGB32;
    case QImage::Format_RGB16:
    case QImage::Format_RGB444:
    case QImage::Format_RGB555:
    case QImage::Format_RGB666: return QImage::Format_RGB32;
    case QImage::Format_ARGB4444_Premultiplied:
    case QImage::Format_ARGB6666_Premultiplied:
    case QImage::Format_ARGB8555_Premultiplied:
    case QImage::Format_ARGB8565_Premultiplied: return QImage::Format_ARGB32_Premultiplied;
    // Two bits of alpha, but ten of colour.
    case QImage::Format_A2BGR30_Premultiplied:
    case QImage::Format_A2RGB30_Premultiplied: return QImage::Format_RGBA64_Premultiplied;
    case QImage::Format_RGBX16FPx4: return QImage::Format_RGBA16FPx4_Premultiplied;
    case QImage::Format_RGBX32FPx4: return QImage::Format_RGBA32FPx4_Premultiplied;
    default: return format;
    }
}

} // namespace

bool RKQtScaler::isScalable(QImage::Format format)
{
    return scalableFormat(format, false) == format;
}

QImage RKQtScaler::scalable(QImage image)
{
    const QImage::Format format = scalableFormat(image.format(), image.hasAlphaChannel());
    return std::move(image).convertToFormat(format);
}

QImage RKQtScaler::scaled(QImage image,
    const QSize& size,
    Qt::AspectRatioMode proportions,
    Qt::TransformationMode transformation)
{
    const bool isCopied = transformation == Qt::FastTransformation
        && image.pixelFormat().typeInterpretation() != QPixelFormat::FloatingPoint;
    if (isCopied || image.size().scaled(size, proportions) == image.size())
        return image.scaled(size, proportions, transformation);
    return scalable(std::move(image)).scaled(size, proportions, transformation);
}

QImage RKQtScaler::scaledToHeight(QImage image, int height)
{
    return image.height() == height
        ? image
        : scalable(std::move(image)).scaledToHeight(height, Qt::SmoothTransformation);
}
