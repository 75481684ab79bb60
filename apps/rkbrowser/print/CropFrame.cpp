#include "print/CropFrame.h"

#include <QCursor>
#include <QGraphicsSceneMouseEvent>
#include <QGraphicsView>
#include <QPainter>
#include <QPainterPath>

#include <algorithm>

namespace {

constexpr double kMinSide = 16;
// In pixels of the screen.
constexpr double kReach = 10;
constexpr double kHandle = 9;

} // namespace

CropFrame::CropFrame()
{
    setAcceptHoverEvents(true);
}

void CropFrame::setPictureSize(const QSizeF& size)
{
    prepareGeometryChange();
    m_size = size;
    setRatio(m_ratio);
}

QSizeF CropFrame::pictureSize() const
{
    return m_size;
}

void CropFrame::setRatio(std::optional<double> ratio)
{
    m_ratio = ratio;
    QRectF largest(QPointF(), m_size);
    if (!m_crop.isEmpty())
        largest.moveCenter(m_crop.center());
    setCrop(largest);
}

QRectF CropFrame::crop() const
{
    return m_crop;
}

void CropFrame::setCrop(const QRectF& crop)
{
    QSizeF size = crop.size().expandedTo({kMinSide, kMinSide}).boundedTo(m_size);
    if (m_ratio)
        size = QSizeF(*m_ratio, 1).scaled(size, Qt::KeepAspectRatio);
    const QSizeF room = m_size - size;
    const QPointF place = crop.center() - QPointF(size.width(), size.height()) / 2;
    m_crop = {{std::clamp(place.x(), 0.0, room.width()), std::clamp(place.y(), 0.0, room.height())},
        size};
    update();
    Q_EMIT cropChanged();
}

void CropFrame::move(const QPointF& steps, Qt::KeyboardModifiers modifiers)
{
    constexpr double kShare = 0.01;
    const bool isPixel = modifiers.testFlag(Qt::ControlModifier);
    const QPointF by = steps * (isPixel ? 1 : kShare * std::max(m_size.width(), m_size.height()));
    if (modifiers.testFlag(Qt::ShiftModifier))
        setCrop(dragged({steps.x() != 0, steps.y() != 0}, m_crop.bottomRight() + by));
    else
        setCrop(m_crop.translated(by));
}

QRectF CropFrame::boundingRect() const
{
    // With the handles, as far as the picture is shown as a whole.
    const double margin = std::max(m_size.width(), m_size.height()) / 50;
    return QRectF(QPointF(), m_size).adjusted(-margin, -margin, margin, margin);
}

double CropFrame::pixel() const
{
    return 1 / scene()->views().constFirst()->transform().m11();
}

CropFrame::Edges CropFrame::edgesAt(const QPointF& place) const
{
    const double reach = kReach * pixel();
    if (!m_crop.adjusted(-reach, -reach, reach, reach).contains(place))
        return {};
    const auto edge = [reach](double fromFirst, double toLast) {
        if (std::min(std::abs(fromFirst), std::abs(toLast)) > reach)
            return 0;
        return std::abs(fromFirst) < std::abs(toLast) ? -1 : 1;
    };
    return {edge(place.x() - m_crop.left(), m_crop.right() - place.x()),
        edge(place.y() - m_crop.top(), m_crop.bottom() - place.y())};
}

QRectF CropFrame::dragged(const Edges& edges, const QPointF& place) const
{
    // Along one axis: from where to where it may reach. With a ratio, an edge that isn't dragged
    // gives way on both sides.
    const auto range = [this](int edge, double first, double last, double length, double at) {
        const double reach = std::min(first + last, 2 * length - first - last) / 2;
        const double middle = (first + last) / 2;
        switch (edge) {
        case -1: return std::pair(std::clamp(at, 0.0, std::max(0.0, last - kMinSide)), last);
        case 1: return std::pair(first, std::clamp(at, std::min(first + kMinSide, length), length));
        default:
            return m_ratio ? std::pair(middle - reach, middle + reach) : std::pair(first, last);
        }
    };
    const auto [left, right]
        = range(edges.x, m_crop.left(), m_crop.right(), m_size.width(), place.x());
    const auto [top, bottom]
        = range(edges.y, m_crop.top(), m_crop.bottom(), m_size.height(), place.y());
    QRectF rect(QPointF(left, top), QPointF(right, bottom));
    if (!m_ratio)
        return rect;
    const QSizeF room = rect.size() - QSizeF(*m_ratio, 1).scaled(rect.size(), Qt::KeepAspectRatio);
    const auto share = [](int edge) { return (1 - edge) / 2.0; };
    return rect.adjusted(room.width() * share(edges.x),
        room.height() * share(edges.y),
        -room.width() * share(-edges.x),
        -room.height() * share(-edges.y));
}

void CropFrame::mousePressEvent(QGraphicsSceneMouseEvent* event)
{
    m_dragged = edgesAt(event->pos());
    m_grip = event->pos() - m_crop.center();
    // Elsewhere, the picture is moved.
    event->setAccepted(m_dragged.x != 0 || m_dragged.y != 0 || m_crop.contains(event->pos()));
}

void CropFrame::mouseMoveEvent(QGraphicsSceneMouseEvent* event)
{
    QRectF crop = m_crop;
    crop.moveCenter(event->pos() - m_grip);
    const bool isMoved = m_dragged.x == 0 && m_dragged.y == 0;
    setCrop(isMoved ? crop : dragged(m_dragged, event->pos()));
}

void CropFrame::hoverMoveEvent(QGraphicsSceneHoverEvent* event)
{
    const Edges edges = edgesAt(event->pos());
    if (edges.x != 0 && edges.y != 0)
        setCursor(edges.x == edges.y ? Qt::SizeFDiagCursor : Qt::SizeBDiagCursor);
    else if (edges.x != 0 || edges.y != 0)
        setCursor(edges.x != 0 ? Qt::SizeHorCursor : Qt::SizeVerCursor);
    else
        setCursor(m_crop.contains(event->pos()) ? Qt::SizeAllCursor : Qt::ArrowCursor);
}

void CropFrame::paint(
    QPainter* painter, const QStyleOptionGraphicsItem* /*option*/, QWidget* /*widget*/)
{
    if (m_size.isEmpty())
        return;
    QPainterPath outside;
    outside.addRect({QPointF(), m_size});
    outside.addRect(m_crop);
    painter->fillPath(outside, QColor(0, 0, 0, 150));
    const auto setPen = [painter](const QColor& color, int width) {
        QPen pen(color, width);
        pen.setCosmetic(true);
        painter->setPen(pen);
    };
    setPen(QColor(255, 255, 255, 90), 1);
    for (const double third : {1.0 / 3, 2.0 / 3}) {
        const QPointF place(
            m_crop.left() + m_crop.width() * third, m_crop.top() + m_crop.height() * third);
        painter->drawLine(QPointF(place.x(), m_crop.top()), QPointF(place.x(), m_crop.bottom()));
        painter->drawLine(QPointF(m_crop.left(), place.y()), QPointF(m_crop.right(), place.y()));
    }
    setPen(Qt::white, 2);
    painter->drawRect(m_crop);
    setPen(Qt::black, 1);
    painter->setBrush(Qt::white);
    QRectF handle(0, 0, kHandle * pixel(), kHandle * pixel());
    for (const double x : {m_crop.left(), m_crop.center().x(), m_crop.right()}) {
        for (const double y : {m_crop.top(), m_crop.center().y(), m_crop.bottom()}) {
            handle.moveCenter({x, y});
            if (handle.center() != m_crop.center())
                painter->drawRect(handle);
        }
    }
}
