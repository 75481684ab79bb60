#include "print/CropView.h"

#include <QKeyEvent>
#include <QMouseEvent>
#include <QPainter>
#include <QPainterPath>

#include <algorithm>
#include <array>

namespace {

constexpr double kMinSide = 16;
constexpr double kReach = 10; // of the mouse around an edge
constexpr double kHandle = 9;

/// A part of 0 to length with that size, as near to the middle as possible.
double begin(double middle, double size, double length)
{
    return std::clamp(middle - size / 2, 0.0, std::max(length - size, 0.0));
}

} // namespace

CropView::CropView(QWidget* parent)
    : QWidget(parent)
{
    setFocusPolicy(Qt::StrongFocus);
    setMouseTracking(true);
    setMinimumSize(200, 150);
    setAccessibleName(tr("Part of the picture that is printed"));
}

void CropView::setPicture(const QImage& preview, const QSize& size)
{
    m_preview = preview;
    m_size = size;
    setRatio(m_ratio);
}

QSize CropView::pictureSize() const
{
    return m_size;
}

QRectF CropView::crop() const
{
    return m_crop;
}

void CropView::setCrop(const QRectF& crop)
{
    const QSizeF limits = m_size;
    QSizeF size = crop.size().expandedTo({kMinSide, kMinSide}).boundedTo(limits);
    if (m_ratio)
        size = QSizeF(*m_ratio, 1).scaled(size, Qt::KeepAspectRatio);
    m_crop = QRectF(begin(crop.center().x(), size.width(), limits.width()),
        begin(crop.center().y(), size.height(), limits.height()),
        size.width(),
        size.height());
    update();
    Q_EMIT cropChanged();
}

void CropView::setRatio(std::optional<double> ratio)
{
    m_ratio = ratio;
    const QRectF whole(QPointF(), m_size);
    const QPointF middle = m_crop.isEmpty() ? whole.center() : m_crop.center();
    QRectF largest(QPointF(),
        m_ratio ? QSizeF(*m_ratio, 1).scaled(m_size, Qt::KeepAspectRatio) : QSizeF(m_size));
    largest.moveCenter(middle);
    setCrop(largest);
}

QRectF CropView::shownPicture() const
{
    QRectF shown(QPointF(), QSizeF(m_size).scaled(size() - QSize(24, 24), Qt::KeepAspectRatio));
    shown.moveCenter(QRectF(rect()).center());
    return shown;
}

QPointF CropView::toPicture(const QPointF& place) const
{
    const QRectF shown = shownPicture();
    return (place - shown.topLeft()) * (m_size.width() / shown.width());
}

QRectF CropView::toWidget(const QRectF& picturePart) const
{
    const QRectF shown = shownPicture();
    const double scale = shown.width() / m_size.width();
    return {shown.topLeft() + picturePart.topLeft() * scale, picturePart.size() * scale};
}

std::optional<CropView::Handle> CropView::handleAt(const QPointF& place) const
{
    const QRectF crop = toWidget(m_crop);
    if (!crop.adjusted(-kReach, -kReach, kReach, kReach).contains(place))
        return {};
    const auto edge = [](double at, double first, double last) {
        const double toFirst = qAbs(at - first);
        const double toLast = qAbs(at - last);
        if (std::min(toFirst, toLast) > kReach)
            return 0;
        return toFirst < toLast ? -1 : 1;
    };
    const Handle handle{
        edge(place.x(), crop.left(), crop.right()), edge(place.y(), crop.top(), crop.bottom())};
    return handle.x != 0 || handle.y != 0 ? std::optional(handle) : std::nullopt;
}

QRectF CropView::dragged(const Handle& handle, const QPointF& place) const
{
    // Along one axis: what stays, how much room is there from it, and how much is wanted.
    struct Axis
    {
        double fixed;
        double room;
        double wanted;
    };

    const auto axis = [](int edge, double first, double last, double length, double at) -> Axis {
        const double middle = (first + last) / 2;
        switch (edge) {
        case -1: return {last, last, last - at};
        case 1: return {first, length - first, at - first};
        default: return {middle, 2 * std::min(middle, length - middle), last - first};
        }
    };
    const Axis x = axis(handle.x, m_crop.left(), m_crop.right(), m_size.width(), place.x());
    const Axis y = axis(handle.y, m_crop.top(), m_crop.bottom(), m_size.height(), place.y());
    QSizeF size(std::clamp(x.wanted, kMinSide, std::max(x.room, kMinSide)),
        std::clamp(y.wanted, kMinSide, std::max(y.room, kMinSide)));
    if (m_ratio) {
        const double wanted = handle.x == 0 ? size.height() * *m_ratio
            : handle.y == 0                 ? size.width()
                                            : std::max(size.width(), size.height() * *m_ratio);
        const double width = std::min({wanted, x.room, y.room * *m_ratio});
        size = {width, width / *m_ratio};
    }
    const auto start = [](int edge, double fixed, double length) {
        return edge == 1 ? fixed : edge == -1 ? fixed - length : fixed - length / 2;
    };
    return {
        {start(handle.x, x.fixed, size.width()), start(handle.y, y.fixed, size.height())}, size};
}

void CropView::mousePressEvent(QMouseEvent* event)
{
    if (m_size.isEmpty() || event->button() != Qt::LeftButton)
        return;
    m_handle = handleAt(event->position());
    if (!m_handle && toWidget(m_crop).contains(event->position()))
        m_grip = toPicture(event->position()) - m_crop.topLeft();
}

void CropView::mouseMoveEvent(QMouseEvent* event)
{
    if (m_handle)
        setCrop(dragged(*m_handle, toPicture(event->position())));
    else if (m_grip)
        setCrop({toPicture(event->position()) - *m_grip, m_crop.size()});
    else
        showCursor(event->position());
}

void CropView::mouseReleaseEvent(QMouseEvent* /*event*/)
{
    m_handle.reset();
    m_grip.reset();
}

void CropView::showCursor(const QPointF& place)
{
    const std::optional<Handle> handle = handleAt(place);
    if (!handle)
        setCursor(toWidget(m_crop).contains(place) ? Qt::SizeAllCursor : Qt::ArrowCursor);
    else if (handle->x != 0 && handle->y != 0)
        setCursor(handle->x == handle->y ? Qt::SizeFDiagCursor : Qt::SizeBDiagCursor);
    else
        setCursor(handle->x != 0 ? Qt::SizeHorCursor : Qt::SizeVerCursor);
}

void CropView::keyPressEvent(QKeyEvent* event)
{
    constexpr double kShare = 0.01;
    const bool isPixel = event->modifiers().testFlag(Qt::ControlModifier);
    const double step = isPixel ? 1 : kShare * std::max(m_size.width(), m_size.height());
    QPointF by;
    switch (event->key()) {
    case Qt::Key_Left: by = {-step, 0}; break;
    case Qt::Key_Right: by = {step, 0}; break;
    case Qt::Key_Up: by = {0, -step}; break;
    case Qt::Key_Down: by = {0, step}; break;
    default: QWidget::keyPressEvent(event); return;
    }
    if (event->modifiers().testFlag(Qt::ShiftModifier))
        setCrop(dragged({by.x() != 0 ? 1 : 0, by.y() != 0 ? 1 : 0}, m_crop.bottomRight() + by));
    else
        setCrop(m_crop.translated(by));
}

void CropView::paintEvent(QPaintEvent* /*event*/)
{
    QPainter painter(this);
    painter.fillRect(rect(), palette().color(QPalette::Window).darker(115));
    if (m_size.isEmpty())
        return;
    painter.setRenderHints(QPainter::SmoothPixmapTransform | QPainter::Antialiasing);
    painter.drawImage(shownPicture(), m_preview);

    const QRectF crop = toWidget(m_crop);
    QPainterPath outside;
    outside.addRect(shownPicture());
    outside.addRect(crop);
    painter.fillPath(outside, QColor(0, 0, 0, 150));
    painter.setPen(QPen(QColor(255, 255, 255, 90), 1));
    for (const double third : {1.0 / 3, 2.0 / 3}) {
        const QPointF place(crop.left() + crop.width() * third, crop.top() + crop.height() * third);
        painter.drawLine(QPointF(place.x(), crop.top()), QPointF(place.x(), crop.bottom()));
        painter.drawLine(QPointF(crop.left(), place.y()), QPointF(crop.right(), place.y()));
    }
    painter.setPen(QPen(hasFocus() ? palette().color(QPalette::Highlight) : QColor(Qt::white), 2));
    painter.drawRect(crop);
    painter.setPen(QPen(Qt::black, 1));
    painter.setBrush(Qt::white);
    for (const double x : {crop.left(), crop.center().x(), crop.right()}) {
        for (const double y : {crop.top(), crop.center().y(), crop.bottom()}) {
            if (QPointF(x, y) != crop.center())
                painter.drawRect(QRectF(x - kHandle / 2, y - kHandle / 2, kHandle, kHandle));
        }
    }
}
