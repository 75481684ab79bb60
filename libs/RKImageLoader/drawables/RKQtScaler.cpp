#include "RKImageLoader/drawables/RKImageAttributes_p.h"
#include "RKImageLoader/drawables/RKQtScaler_p.h"
#include "RKImageLoader/guards/RKImageLimits_p.h"

#include <algorithm>
#include <cstring>
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

// The rows of an image, in place.
QImage rows(const QImage& image, int begin, int end)
{
    QImage part(image.constScanLine(begin),
        image.width(),
        end - begin,
        image.bytesPerLine(),
        image.format());
    part.setColorTable(image.colorTable());
    return part;
}

// Smooths an image into a size that is far smaller than its own without converting it as a whole,
// which takes several times its memory.
QImage reducedInBands(const QImage& image, const QSize& size)
{
    constexpr int kRowsOfBand = 8;
    QImage result;
    for (int y = 0; y < size.height(); y += kRowsOfBand) {
        const auto inImage
            = [&](int row) { return int(qint64(row) * image.height() / size.height()); };
        const int end = std::min(y + kRowsOfBand, size.height());
        const QImage band
            = RKQtScaler::scalable(rows(image, inImage(y), inImage(end)))
                  .scaled({size.width(), end - y}, Qt::IgnoreAspectRatio, Qt::SmoothTransformation);
        if (y == 0) {
            result = QImage(size, band.format());
            RKImageAttributes::copy(image, result);
        }
        if (band.isNull() || result.isNull())
            return {};
        for (int row = y; row < end; ++row)
            std::memcpy(
                result.scanLine(row), band.constScanLine(row - y), size_t(band.bytesPerLine()));
    }
    return result;
}

// Reduction is done in two steps where the whole image would have to be converted, which Qt does
// with all formats but those of 32 bits. The second step is at least a halving, so that the first
// doesn't show.
QImage prepared(QImage image, const QSize& size)
{
    constexpr qint64 kBytes = 4;
    const bool isUsedAsIs = image.format() == QImage::Format_RGB32
        || image.format() == QImage::Format_ARGB32_Premultiplied;
    const bool isLarge = kBytes * image.width() * image.height() > RKImageLimits::kSmallClaim;
    const QSize between = 2 * size.expandedTo({1, 1});
    const bool isReduced
        = 2 * between.width() <= image.width() && 2 * between.height() <= image.height();
    return !isUsedAsIs && isLarge && isReduced ? reducedInBands(image, between)
                                               : RKQtScaler::scalable(std::move(image));
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
    const QSize fitted = image.size().scaled(size, proportions);
    if (isCopied || fitted == image.size())
        return image.scaled(size, proportions, transformation);
    return prepared(std::move(image), fitted).scaled(size, proportions, transformation);
}

QImage RKQtScaler::scaledToHeight(QImage image, int height)
{
    return image.height() == height
        ? image
        : scalable(std::move(image)).scaledToHeight(height, Qt::SmoothTransformation);
}
