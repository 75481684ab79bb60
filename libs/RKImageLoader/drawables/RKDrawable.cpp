#include "RKImageLoader/drawables/RKDrawable.h"

#include "RKImageLoader/drawables/RKDrawableImpl.h"
#include "RKImageLoader/drawables/RKDrawableInterfaceQImage.h"
#include "RKImageLoader/drawables/RKRounding_p.h"
#include "RKImageLoader/drawables/RKSvgContent_p.h"
#include "RKImageLoader/media/RKLogCategories_p.h"

#include <QDebug>

#include <algorithm>

namespace {

// Decoders turn away what is too small to be a picture, or too thin.
constexpr int kSmallestSide = 8;
constexpr double kGreatestSideRatio = 64.0;

QString historyKey()
{
    return QStringLiteral("TAMO-ImagePipeline");
}

QString historyBefore(const QImage& image)
{
    if (image.isNull())
        return {};

    const QString history = image.text(historyKey());
    return history.isEmpty() ? QStringLiteral("ExNihilo") : history + QStringLiteral("; ");
}

QString sizeNote(const QSize& before, const QSize& after)
{
    if (before == after)
        return {};

    const QString old = before.isEmpty()
        ? QString()
        : QStringLiteral(" (%1, %2) -> ").arg(before.width()).arg(before.height());
    return old + QStringLiteral("(%1, %2)").arg(after.width()).arg(after.height());
}

} // namespace

RKDrawable::RKDrawable()
    : RKDrawable(QImage())
{
}

RKDrawable::RKDrawable(const QImage& image)
    : m_impl(new RKDrawableImpl(new RKDrawableInterfaceQImage(image)))
{
}

RKDrawable::RKDrawable(const QByteArray& svg)
    : m_impl(new RKDrawableImpl(RKSvgContent::read(svg).release()))
{
}

RKDrawable::RKDrawable(RKDrawable* other)
    : RKDrawable()
{
    if (!other)
        return;

    other->m_impl.detach();
    m_impl = other->m_impl;
}

RKDrawable::RKDrawable(RKDrawableImpl* impl)
    : m_impl(impl)
{
}

RKDrawable::RKDrawable(const RKDrawable& other) = default;

RKDrawable::RKDrawable(RKDrawable&& other) noexcept = default;

RKDrawable& RKDrawable::operator=(const RKDrawable& other) = default;

RKDrawable& RKDrawable::operator=(RKDrawable&& other) noexcept = default;

RKDrawable::~RKDrawable() = default;

const RKDrawableInterface& RKDrawable::content() const
{
    static const RKDrawableInterfaceQImage kNothing;
    return m_impl ? m_impl->content() : kNothing;
}

bool RKDrawable::operator==(const RKDrawable& other) const
{
    if (m_impl == other.m_impl || (m_impl && other.m_impl && *m_impl == *other.m_impl))
        return true;

    return isNull() && other.isNull();
}

bool RKDrawable::operator!=(const RKDrawable& other) const
{
    return !(*this == other);
}

bool RKDrawable::isNull() const
{
    return content().isNull();
}

bool RKDrawable::isVector() const
{
    return content().isVector();
}

bool RKDrawable::isBitmap() const
{
    return !isVector();
}

bool RKDrawable::hasAlphaChannel() const
{
    return content().hasAlphaChannel();
}

bool RKDrawable::hasAlpha() const
{
    return content().hasAlpha();
}

qint64 RKDrawable::numBytes() const
{
    return content().numBytes();
}

bool RKDrawable::draw(QPainter* painter,
    const QRectF& target,
    const QRectF& source,
    const RKScalingOption& option) const
{
    return content().draw(painter, target, source, option);
}

QRectF RKDrawable::rectF() const
{
    return content().rectF();
}

QSizeF RKDrawable::sizeF() const
{
    return rectF().size();
}

double RKDrawable::widthF() const
{
    return rectF().width();
}

double RKDrawable::heightF() const
{
    return rectF().height();
}

QSize RKDrawable::size() const
{
    return {width(), height()};
}

int RKDrawable::width() const
{
    return RKRounding::toInt(widthF());
}

int RKDrawable::height() const
{
    return RKRounding::toInt(heightF());
}

QImage RKDrawable::image() const
{
    return content().image();
}

QImage RKDrawable::imageScaledToHeight(int height) const
{
    return content().imageScaledToHeight(height);
}

QPixmap RKDrawable::pixmap() const
{
    return QPixmap::fromImage(image());
}

QByteArray RKDrawable::svg() const
{
    return content().svg();
}

RKDrawable RKDrawable::scaled(const QSize& size) const
{
    RKDrawable result(new RKDrawableImpl(content().scaled(size)));
    result.setIsPlaceholder(isPlaceholder());
    return result;
}

RKMediaFormat RKDrawable::bestImageFileFormat() const
{
    if (isVector())
        return MEDIA_FORMAT_SVG;

    return hasAlpha() ? MEDIA_FORMAT_PNG : MEDIA_FORMAT_JPG;
}

bool RKDrawable::isPlaceholder() const
{
    return m_impl && m_impl->isPlaceholder();
}

void RKDrawable::setIsPlaceholder(bool on)
{
    if (!m_impl)
        *this = RKDrawable();
    m_impl->setIsPlaceholder(on);
}

void RKDrawable::optimizeForDrawing()
{
    if (!m_impl)
        return;

    m_impl->content().optimizeForDrawing();
}

bool RKDrawable::isAcceptableSize(const QSize& size)
{
    const auto [smaller, larger] = std::minmax({size.width(), size.height()});
    return smaller >= kSmallestSide && double(larger) / smaller < kGreatestSideRatio;
}

void RKDrawable::trackImageChange(const QImage& before, QImage& after, const QString& operation)
{
    after.setText(
        historyKey(), historyBefore(before) + operation + sizeNote(before.size(), after.size()));
}

void RKDrawable::imageChange(const QImage& image)
{
    qCDebug(rkLoad).noquote() << QString(
        QStringLiteral("Image History: ") + image.text(historyKey()));
}
