#include "RKImageLoader/loading/RKImageClipper.h"

#include "RKImageLoader/drawables/RKDrawable.h"
#include "RKImageLoader/drawables/RKRounding_p.h"
#include "RKImageLoader/guards/RKImageLimits_p.h"
#include "RKImageLoader/loading/RKImageLoader.h"
#include "RKImageLoader/loading/RKMediaLoader.h"
#include "RKImageLoader/media/RKImageLoaderConfig.h"
#include "RKImageLoader/media/RKLogCategories_p.h"
#include "RKImageLoader/media/RKMemory_p.h"

#include "RKCore/RKLogger.h"

#include <QDebug>
#include <QPainter>
#include <QTransform>

#include <algorithm>
#include <cmath>

namespace {

// Tenths of a millimetre in an inch.
constexpr double kUnitsPerInch = 254.0;
// 100 mm: what is printed smaller still gets the pixels of that.
constexpr double kSmallestDetail = 1000.0;
// The most that QPainter can paint on.
constexpr double kLongestSide = 32767.0;
constexpr QSize kOnePixel(1, 1);

void diagnose(const QString& text)
{
    RKLogger::legacyLog(text, false);
    qCDebug(rkLoad).noquote() << text;
}

template <typename Size>
QString describe(const Size& size)
{
    return QStringLiteral("(%1x%2)").arg(size.width()).arg(size.height());
}

/// The size of the picture as it is drawn. A turned WEBP picture may be reported as it is stored.
QSize drawnSize(const RKMediaLoader& loader, const RKMediaDescriptor& descriptor)
{
    const QSize reported = loader.size(descriptor);
    const bool isStored = descriptor.hasMediaFormat(MEDIA_FORMAT_WEBP)
        && RKImageLoader::isTransposingOrientation(loader.imageOrientation(descriptor))
        && reported == loader.unrotatedSize(descriptor);
    return isStored ? reported.transposed() : reported;
}

bool isFinite(const QSizeF& size)
{
    return std::isfinite(size.width()) && std::isfinite(size.height());
}

/// The part of the picture in the rectangle; a null one where they don't meet, and for a rectangle
/// without edges.
QRectF visiblePart(const QRectF& rect, const QSizeF& imageSize)
{
    // The difference of two infinite numbers is not a number, either.
    if (std::isnan(rect.x() + rect.width()) || std::isnan(rect.y() + rect.height()))
        return {};
    return rect & QRectF(QPointF(), imageSize);
}

QSizeF withShorterSide(double ratioWidthByHeight, double length)
{
    return ratioWidthByHeight > 1 ? QSizeF(length * ratioWidthByHeight, length)
                                  : QSizeF(length, length / ratioWidthByHeight);
}

// How closely the pixels of one side are printed. Zero, which QImage takes for no answer, where the
// print has no extent or more than file formats can state (JFIF 1.02: 65535 dots in an inch).
int dotsPerMetre(double pixels, double unitsOfPrint)
{
    constexpr double kUnitsPerMetre = 10000.0;
    constexpr double kMaxDots = 65535 / kUnitsPerInch * kUnitsPerMetre;
    const double dots = pixels / unitsOfPrint * kUnitsPerMetre;
    return dots >= 1 && dots <= kMaxDots ? RKRounding::toInt(dots) : 0;
}

// QSizeF::scaled() multiplies before it divides, which is too much for the largest numbers.
QSizeF limited(const QSizeF& size)
{
    const double longest = std::max(size.width(), size.height());
    return longest > kLongestSide ? size * (kLongestSide / longest) : size;
}

// A picture that would take too much memory is not held whole for a clip that shows little of it.
// Raw files may give a preview for smaller sizes, and drawings cost nothing before they are drawn.
bool canBeReduced(const RKMediaFormat& format, const QSize& size)
{
    constexpr qint64 kBytes = 4;
    const bool takesMuch = kBytes * size.width() * size.height() > RKImageLimits::kMaxClaim;
    return takesMuch && !format.isRaw() && !format.isSVG();
}

// The file has the length of a real picture of that size.
bool isLarge(const QFileInfo& file, const QSize& size)
{
    constexpr qint64 kBytes = 4;
    return kBytes * size.width() * size.height() / RKImageLimits::kMaxClaimPerByte <= file.size();
}

// Twice the resolution that the clip needs, so that the configured scaling method still decides how
// it looks; the picture's own where that isn't far less.
QSize sizeToLoad(const QSize& size, const QSizeF& visible, const QSizeF& result)
{
    constexpr double kOversampling = 2;
    constexpr double kMaxShare = 0.5;
    const double share = kOversampling
        * std::max(result.width() / visible.width(), result.height() / visible.height());
    return share <= kMaxShare ? (QSizeF(size) * share).toSize().expandedTo(kOnePixel) : size;
}

QImage drawn(
    const RKDrawable& drawable, const QRectF& source, const QSizeF& size, const QSizeF& production)
{
    // There is nothing to draw, so don't ask for its memory.
    if (drawable.isNull())
        return {};

    QImage image(RKRounding::toInt(size.width()),
        RKRounding::toInt(size.height()),
        drawable.hasAlphaChannel() ? QImage::Format_ARGB32 : QImage::Format_RGB32);
    if (image.isNull())
        return {};

    image.fill(0);
    QPainter painter(&image);
    painter.setRenderHints(QPainter::SmoothPixmapTransform | QPainter::Antialiasing);
    const RKScalingOption scaling = RKImageLoaderConfig::instance()->scalingOption();
    const bool isDrawn = drawable.draw(&painter, image.rect(), source, scaling);
    painter.end();
    // Not before, for painters care. From the size before rounding: a print at 300 dpi says 300.
    image.setDotsPerMeterX(dotsPerMetre(size.width(), production.width()));
    image.setDotsPerMeterY(dotsPerMetre(size.height(), production.height()));
    return isDrawn ? image : QImage();
}

} // namespace

RKImageClipper::~RKImageClipper() = default;

QImage RKImageClipper::clipForProduction(const RKMediaDescriptor& descriptor,
    const QRectF& clipRect,
    const QSizeF& productionSize,
    int dpi,
    bool allowUpscaling) const
{
    return clipForProduction(descriptor, clipRect, productionSize, dpi, allowUpscaling, nullptr);
}

QImage RKImageClipper::clipForProduction(const RKMediaDescriptor& descriptor,
    const QRectF& clipRect,
    const QSizeF& productionSize,
    int dpi,
    bool allowUpscaling,
    RKMediaError* error) const
{
    RKLoadContext context;
    const QImage clip
        = clipForProduction(descriptor, clipRect, productionSize, dpi, allowUpscaling, context);
    if (error)
        *error = context.error();
    return clip;
}

QImage RKImageClipper::clipForProduction(const RKMediaDescriptor& descriptor,
    const QRectF& clipRect,
    const QSizeF& productionSize,
    int dpi,
    bool allowUpscaling,
    RKLoadContext& context) const
{
    const RKMediaLoader& loader = *RKMediaLoader::instance();
    const QSize reported = drawnSize(loader, descriptor);
    const QSize size = safeValidSize(reported);
    if (size == kOnePixel) {
        diagnose(QStringLiteral("BUGHUNT 1PIXEL GAVE:%1 PATH:%2")
                     .arg(describe(reported), descriptor.absoluteFilePath()));
    }
    const auto load = [&](const QSize& wanted) {
        return loader.drawable(descriptor, wanted, RKImageOption(), context);
    };
    // What fails after the picture was loaded is the drawing of the clip.
    const auto checked = [&](const RKDrawable& loaded, const auto& draw) {
        const QImage clip = RKMemory::noted(context, draw);
        if (clip.isNull() && !loaded.isNull())
            context.fail(RKMediaErrorCode::OutOfMemory);
        context.setFilePath(descriptor.absoluteFilePath());
        return clip;
    };
    if (canBeReduced(descriptor.mediaFormat(), size)) {
        const QRectF visible = visiblePart(clipRect, size);
        const QSizeF result = calcResultImageSize(
            productionSize, dpi, visible.size().toSize(), true, allowUpscaling);
        const QSize reduced = sizeToLoad(size, visible.size(), result);
        const RKDrawable drawable = reduced != size ? load(reduced) : RKDrawable();
        // Some decoders refuse what they would have to hold whole, which a large file is worth.
        if (reduced != size && (!drawable.isNull() || !isLarge(descriptor.fileInfo(), size))) {
            const QTransform toReduced = QTransform::fromScale(
                drawable.widthF() / size.width(), drawable.heightF() / size.height());
            return checked(drawable, [&] {
                return drawn(drawable, toReduced.mapRect(visible), result, productionSize);
            });
        }
    }
    const RKDrawable drawable = load(size);
    return checked(drawable, [&] {
        return clipForProduction(drawable, size, clipRect, productionSize, dpi, allowUpscaling);
    });
}

QImage RKImageClipper::clipForProduction(const RKDrawable& drawable,
    const QSizeF& imageSize,
    const QRectF& clipRect,
    const QSizeF& productionSize,
    int dpi,
    bool allowUpscaling) const
{
    const QRectF visible = visiblePart(clipRect, imageSize);
    const QSize sourcePixels = safeValidSize(visible.size());
    if (sourcePixels == kOnePixel) {
        diagnose(QStringLiteral("BUGHUNT 1PIXEL DRAWABLE GAVE:%1 ISBITMAP:%2 ISNULL:%3 ISVECTOR:%4")
                     .arg(describe(visible.size()),
                         QString::number(int(drawable.isBitmap())),
                         QString::number(int(drawable.isNull())),
                         QString::number(int(drawable.isVector()))));
    }
    const QSizeF size = calcResultImageSize(
        productionSize, dpi, sourcePixels, drawable.isBitmap(), allowUpscaling);
    return drawn(drawable, visible, size, productionSize);
}

QSize RKImageClipper::safeValidSize(const QSizeF& size) const
{
    const QSize valid(std::max(1, RKRounding::toInt(size.width())),
        std::max(1, RKRounding::toInt(size.height())));
    if (valid == kOnePixel) {
        diagnose(
            QStringLiteral("BUGHUNT 1PIXEL FIXED:%1 TO:%2").arg(describe(size), describe(valid)));
    }
    return valid;
}

QSizeF RKImageClipper::calcResultImageSize(const QSizeF& productionSize,
    int dpi,
    const QSizeF& sourcePixels,
    bool isBitmap,
    bool allowUpscaling) const
{
    const double pixelsPerUnit = dpi / kUnitsPerInch;
    QSizeF result = productionSize * pixelsPerUnit;

    // Kept: small productions get more than they need.
    const bool hasDetail = sourcePixels.width() / pixelsPerUnit > kSmallestDetail
        && sourcePixels.height() / pixelsPerUnit > kSmallestDetail;
    const bool isSmall
        = productionSize.width() < kSmallestDetail || productionSize.height() < kSmallestDetail;
    if (hasDetail && isSmall)
        result = withShorterSide(ratioWidthByHeight(result), kSmallestDetail * pixelsPerUnit);
    if (!isFinite(result))
        result = sourcePixels;

    const bool isEnlarged
        = sourcePixels.width() < result.width() || sourcePixels.height() < result.height();
    if (isBitmap && !allowUpscaling && isEnlarged)
        result = sourcePixels;
    if (result.width() < 1 || result.height() < 1)
        result = sourcePixels;

    // Kept: only the height is compared. See RKImageClipperTest::resultSizes.
    const double minFactor = RKImageLoaderConfig::instance()->scalingMinFactor();
    if (result.height() < sourcePixels.height() * minFactor)
        result = sourcePixels * minFactor;
    return limited(result);
}

double RKImageClipper::ratioWidthByHeight(const QSizeF& size) const
{
    return size.width() >= 0 && size.height() > 0 ? size.width() / size.height() : 1.0;
}
