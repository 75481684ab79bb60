#include "RKImageLoader/drawables/RKDrawableInterfaceQSvgRenderer_p.h"
#include "RKImageLoader/drawables/RKImageScaler_p.h"
#include "RKImageLoader/guards/RKSvgPaintCost_p.h"
#include "RKImageLoader/guards/RKSvgSanitizer_p.h"
#include "RKImageLoader/media/RKScalingOption.h"

#include <QMutexLocker>
#include <QPainter>

#include <cmath>
#include <utility>

namespace {

// One factor per axis.
struct Factors
{
    double x = 1.0;
    double y = 1.0;

    static Factors of(const QSizeF& to, const QSizeF& from)
    {
        return {to.width() / from.width(), to.height() / from.height()};
    }

    QPointF operator*(const QPointF& point) const
    {
        return {x * point.x(), y * point.y()};
    }

    QSizeF operator*(const QSizeF& size) const
    {
        return {x * size.width(), y * size.height()};
    }
};

// The numbers of a file or a host may be anything.
bool isUsable(const QRectF& rect)
{
    return std::isfinite(rect.x()) && std::isfinite(rect.y()) && std::isfinite(rect.width())
        && std::isfinite(rect.height());
}

} // namespace

RKDrawableInterfaceQSvgRenderer::RKDrawableInterfaceQSvgRenderer(const QByteArray& svg)
    : m_document(read(svg))
{
    const QRectF viewBox = m_document->renderer.viewBoxF();
    if (isUsable(viewBox))
        m_nominalRect = QRectF(QPointF(), viewBox.size());
}

RKDrawableInterfaceQSvgRenderer::RKDrawableInterfaceQSvgRenderer(
    std::shared_ptr<Document> document, const QRectF& nominalRect)
    : m_document(std::move(document))
    , m_nominalRect(nominalRect)
{
}

RKDrawableInterfaceQSvgRenderer::~RKDrawableInterfaceQSvgRenderer() = default;

std::shared_ptr<RKDrawableInterfaceQSvgRenderer::Document> RKDrawableInterfaceQSvgRenderer::read(
    const QByteArray& svg)
{
    auto document = std::make_shared<Document>();
    document->svg = svg;
    QSvgRenderer& renderer = document->renderer;
    // An animated document would start a timer, which needs a thread with an event loop.
    renderer.setFramesPerSecond(0);
    renderer.load(RKSvgSanitizer::sanitized(svg));
    if (!RKSvgPaintCost::isAffordable(renderer))
        renderer.load(QByteArray());
    return document;
}

RKDrawableInterfaceQSvgRenderer* RKDrawableInterfaceQSvgRenderer::clone() const
{
    return new RKDrawableInterfaceQSvgRenderer(m_document, m_nominalRect);
}

RKDrawableInterfaceQSvgRenderer* RKDrawableInterfaceQSvgRenderer::scaled(const QSize& size) const
{
    auto* copy = clone();
    if (size.isValid())
        copy->m_nominalRect.setSize(m_nominalRect.size().scaled(size, Qt::KeepAspectRatio));
    return copy;
}

QImage RKDrawableInterfaceQSvgRenderer::imageScaledToHeight(int height) const
{
    if (m_nominalRect.isEmpty())
        return {};

    return render(QRectF(0, 0, m_nominalRect.width() * height / m_nominalRect.height(), height));
}

QImage RKDrawableInterfaceQSvgRenderer::image() const
{
    return render(rectF());
}

QByteArray RKDrawableInterfaceQSvgRenderer::svg() const
{
    return m_document->svg;
}

bool RKDrawableInterfaceQSvgRenderer::draw(
    QPainter* painter, const QRectF& target, const QRectF& source, const RKScalingOption&) const
{
    if (isNull() || m_nominalRect.isEmpty() || !isUsable(target) || !isUsable(source))
        return false;
    // The drawing has no part there, and that is what is drawn.
    if (target.isEmpty() || source.isEmpty())
        return true;

    const QMutexLocker locker(&m_document->mutex);
    const QRectF viewBox = m_document->renderer.viewBoxF();
    const Factors unitsPerPixel = Factors::of(viewBox.size(), m_nominalRect.size());
    const QRectF wanted(
        viewBox.topLeft() + unitsPerPixel * source.topLeft(), unitsPerPixel * source.size());
    const Factors pixelsPerUnit = Factors::of(target.size(), wanted.size());
    // Kept: the renderer stretches the view box over what it is given, so a source that reaches
    // beyond the drawing shows the drawing larger than it asks for.
    const QRectF covered = wanted | viewBox;
    const QRectF everything(
        target.topLeft() - pixelsPerUnit * (wanted.topLeft() - covered.topLeft()),
        pixelsPerUnit * covered.size());

    painter->save();
    painter->setClipRect(target, Qt::ReplaceClip);
    m_document->renderer.render(painter, everything);
    painter->restore();
    return true;
}

QRectF RKDrawableInterfaceQSvgRenderer::rectF() const
{
    return m_nominalRect;
}

bool RKDrawableInterfaceQSvgRenderer::isNull() const
{
    return !m_document->renderer.isValid();
}

bool RKDrawableInterfaceQSvgRenderer::isVector() const
{
    return true;
}

bool RKDrawableInterfaceQSvgRenderer::hasAlphaChannel() const
{
    return true;
}

bool RKDrawableInterfaceQSvgRenderer::hasAlpha() const
{
    return true;
}

qint64 RKDrawableInterfaceQSvgRenderer::numBytes() const
{
    return m_document->svg.size();
}

void RKDrawableInterfaceQSvgRenderer::optimizeForDrawing()
{
}

QImage RKDrawableInterfaceQSvgRenderer::render(const QRectF& rect) const
{
    if (!RKImageScaler::isFeasible(rect.size()))
        return {};

    QImage image(rect.size().toSize(), QImage::Format_ARGB32_Premultiplied);
    if (image.isNull())
        return {};

    image.fill(0);
    QPainter painter(&image);
    const bool isDrawn = draw(&painter, rect, rectF(), SCALING_SMOOTH);
    painter.end();
    return isDrawn ? image : QImage();
}
