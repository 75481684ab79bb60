#include "picture/PictureView.h"

#include <QMouseEvent>
#include <QPainter>
#include <QWheelEvent>

#include <algorithm>
#include <cmath>

namespace {

constexpr double kMaxZoom = 32;
constexpr double kMinZoom = 1.0 / 64;
constexpr double kZoomOfWheel = 1.2;
constexpr int kStepOfWheel = 120;
constexpr int kOverlayMargin = 12;
constexpr QSizeF kHistogramSize(264, 120);
// Smaller differences can't be seen.
constexpr double kSharpEnough = 1.02;

} // namespace

PictureView::PictureView(RKAsyncLoader* loader, QWidget* parent)
    : QWidget(parent)
    , m_store(loader)
{
    setFocusPolicy(Qt::StrongFocus);
    setBackgroundRole(QPalette::Dark);
    setAutoFillBackground(true);
    setAccessibleName(tr("Picture"));
    connect(&m_store, &PictureStore::loaded, this, [this](const QString& path) {
        if (path != m_filePath)
            return;
        limit();
        want();
        update();
        Q_EMIT changed();
    });
}

void PictureView::open(const QString& filePath, const QStringList& neighbours)
{
    m_neighbours = neighbours;
    if (filePath != m_filePath) {
        m_filePath = filePath;
        m_zoom = 0;
        m_center = {0.5, 0.5};
    }
    want();
    update();
    Q_EMIT changed();
}

QString PictureView::filePath() const
{
    return m_filePath;
}

void PictureView::reload(const QString& filePath)
{
    m_store.reload(filePath);
}

void PictureView::zoomBy(double factor)
{
    const QPoint pointer = mapFromGlobal(QCursor::pos());
    zoomTo(zoom() * factor, underMouse() ? QPointF(pointer) : QRectF(rect()).center());
}

void PictureView::fit()
{
    m_zoom = 0;
    m_center = {0.5, 0.5};
    update();
    Q_EMIT changed();
}

void PictureView::actualSize()
{
    zoomTo(1, QRectF(rect()).center());
}

void PictureView::pan(double right, double down)
{
    const QSizeF shown = target().size();
    if (shown.isEmpty())
        return;
    m_center += QPointF(right * width() / shown.width(), down * height() / shown.height());
    limit();
    update();
}

double PictureView::zoom() const
{
    if (!picture() || pictureSize().isEmpty())
        return 0;
    return m_zoom > 0 ? m_zoom : fittingZoom();
}

QSize PictureView::pictureSize() const
{
    return picture() && !picture()->screen.isNull() ? picture()->size : QSize();
}

void PictureView::setShowsFaces(bool on)
{
    m_showsFaces = on;
    update();
}

void PictureView::setShowsHistogram(bool on)
{
    m_showsHistogram = on;
    update();
}

void PictureView::setComparison(Comparison comparison)
{
    m_comparison = comparison;
    m_splitX = width() / 2;
    setMouseTracking(comparison == Comparison::Split);
    want();
    update();
}

PictureView::Comparison PictureView::comparison() const
{
    return m_comparison;
}

void PictureView::paintEvent(QPaintEvent*)
{
    QPainter painter(this);
    if (m_filePath.isEmpty())
        return;
    const Picture* shown = picture();
    if (!shown)
        return paintRemark(&painter, tr("Loading…"));
    if (shown->screen.isNull())
        return paintRemark(&painter, shown->reason);

    const bool isBefore = m_comparison != Comparison::Off && !shown->unconverted.isNull();
    // The full picture only where the other has too few pixels: it takes longer.
    const bool isSharp
        = target().width() * devicePixelRatioF() <= shown->screen.width() * kSharpEnough;
    if (!isBefore || m_comparison == Comparison::Split)
        paintImage(&painter, isSharp || shown->full.isNull() ? shown->screen : shown->full);
    if (isBefore) {
        if (m_comparison == Comparison::Split)
            painter.setClipRect(0, 0, m_splitX, height());
        paintImage(&painter, shown->unconverted);
        painter.setClipping(false);
        painter.setPen(palette().color(QPalette::Highlight));
        if (m_comparison == Comparison::Split)
            painter.drawLine(m_splitX, 0, m_splitX, height());
    }
    if (m_showsFaces)
        paintFaces(&painter, *shown);
    if (m_showsHistogram && !shown->histogram.isNull()) {
        QRectF place(QPointF(), kHistogramSize);
        place.moveBottomRight(rect().bottomRight() - QPoint(kOverlayMargin, kOverlayMargin));
        shown->histogram.paint(&painter, place, palette());
    }
    paintRemark(&painter, remark(*shown));
}

void PictureView::resizeEvent(QResizeEvent* event)
{
    QWidget::resizeEvent(event);
    limit();
    want();
    Q_EMIT changed();
}

void PictureView::wheelEvent(QWheelEvent* event)
{
    const double steps = static_cast<double>(event->angleDelta().y()) / kStepOfWheel;
    zoomTo(zoom() * std::pow(kZoomOfWheel, steps), event->position());
    event->accept();
}

void PictureView::mousePressEvent(QMouseEvent* event)
{
    m_dragged = event->position().toPoint();
}

void PictureView::mouseMoveEvent(QMouseEvent* event)
{
    const QPoint at = event->position().toPoint();
    if (m_comparison == Comparison::Split && event->buttons() == Qt::NoButton) {
        m_splitX = at.x();
        update();
    }
    if (!(event->buttons() & Qt::LeftButton))
        return;
    const QPointF moved = m_dragged - at;
    m_dragged = at;
    pan(moved.x() / width(), moved.y() / height());
}

void PictureView::mouseDoubleClickEvent(QMouseEvent*)
{
    Q_EMIT activated();
}

const Picture* PictureView::picture() const
{
    return m_store.find(m_filePath);
}

double PictureView::fittingZoom() const
{
    const QSizeF size = QSizeF(pictureSize()) / devicePixelRatioF();
    // Small pictures stay as small as they are.
    return std::min({1.0, width() / size.width(), height() / size.height()});
}

void PictureView::zoomTo(double zoom, const QPointF& anchor)
{
    const QRectF before = target();
    if (before.isEmpty())
        return;
    const QPointF held((anchor.x() - before.left()) / before.width(),
        (anchor.y() - before.top()) / before.height());
    m_zoom = std::clamp(zoom, std::min(kMinZoom, fittingZoom()), kMaxZoom);
    const QSizeF shown = QSizeF(pictureSize()) / devicePixelRatioF() * m_zoom;
    const QPointF offset = QRectF(rect()).center() - anchor;
    m_center = held + QPointF(offset.x() / shown.width(), offset.y() / shown.height());
    limit();
    want();
    update();
    Q_EMIT changed();
}

void PictureView::limit()
{
    const QSizeF shown = QSizeF(pictureSize()) / devicePixelRatioF() * zoom();
    if (shown.isEmpty())
        return;
    // Half the window in fractions of the picture; what fits is in the middle.
    const double x = std::min(0.5, width() / shown.width() / 2);
    const double y = std::min(0.5, height() / shown.height() / 2);
    m_center = {std::clamp(m_center.x(), x, 1 - x), std::clamp(m_center.y(), y, 1 - y)};
}

QRectF PictureView::target() const
{
    const QSizeF shown = QSizeF(pictureSize()) / devicePixelRatioF() * zoom();
    const QPointF middle = QRectF(rect()).center();
    return {QPointF(middle.x() - m_center.x() * shown.width(),
                middle.y() - m_center.y() * shown.height()),
        shown};
}

void PictureView::want()
{
    m_store.want(m_filePath, m_neighbours, size() * devicePixelRatioF());
    const Picture* shown = picture();
    if (!shown)
        return;
    if (target().width() * devicePixelRatioF() > shown->screen.width() * kSharpEnough)
        m_store.wantFull(m_filePath);
    if (m_comparison != Comparison::Off)
        m_store.wantUnconverted(m_filePath);
}

QString PictureView::remark(const Picture& picture) const
{
    if (m_comparison == Comparison::Off || !picture.reason.isEmpty())
        return picture.reason;
    if (!picture.hasProfile)
        return tr("The picture has no colour profile: nothing was converted.");
    return m_comparison == Comparison::Before ? tr("Before the conversion of colours")
                                              : tr("Before | after the conversion of colours");
}

void PictureView::paintImage(QPainter* painter, const QImage& image) const
{
    const QRectF whole = target();
    const QRectF part = whole & QRectF(rect());
    const double scale = image.width() / whole.width();
    const QRectF source((part.topLeft() - whole.topLeft()) * scale, part.size() * scale);
    if (image.hasAlphaChannel())
        painter->fillRect(part, palette().base());
    // Far in, pixels are what somebody wants to see.
    painter->setRenderHint(QPainter::SmoothPixmapTransform, zoom() < 3);
    painter->drawImage(part, image, source);
}

void PictureView::paintFaces(QPainter* painter, const Picture& picture) const
{
    const QRectF whole = target();
    painter->setRenderHint(QPainter::Antialiasing);
    for (const Picture::Face& face : picture.faces) {
        const QRectF frame(whole.left() + face.rect.left() * whole.width(),
            whole.top() + face.rect.top() * whole.height(),
            face.rect.width() * whole.width(),
            face.rect.height() * whole.height());
        painter->setPen(QPen(palette().color(QPalette::Highlight), 2));
        painter->setBrush(Qt::NoBrush);
        painter->drawRoundedRect(frame, 4, 4);
        if (face.name.isEmpty())
            continue;
        const QRectF text = painter->fontMetrics().boundingRect(face.name).adjusted(-6, -2, 6, 2);
        const QRectF label(
            frame.center().x() - text.width() / 2, frame.bottom() + 3, text.width(), text.height());
        painter->setPen(Qt::NoPen);
        painter->setBrush(palette().highlight());
        painter->drawRoundedRect(label, 4, 4);
        painter->setPen(palette().color(QPalette::HighlightedText));
        painter->drawText(label, Qt::AlignCenter, face.name);
    }
}

void PictureView::paintRemark(QPainter* painter, const QString& text) const
{
    if (text.isEmpty())
        return;
    const QRect room = rect().adjusted(40, kOverlayMargin, -40, -kOverlayMargin);
    const bool isAlone = !picture() || picture()->screen.isNull();
    const int place = isAlone ? Qt::AlignVCenter : Qt::AlignTop;
    const QRect frame = painter->fontMetrics()
                            .boundingRect(room, place | Qt::AlignHCenter | Qt::TextWordWrap, text)
                            .adjusted(-8, -4, 8, 4);
    QColor background = palette().color(QPalette::Window);
    background.setAlphaF(0.85F);
    painter->setRenderHint(QPainter::Antialiasing);
    painter->setPen(Qt::NoPen);
    painter->setBrush(background);
    painter->drawRoundedRect(frame, 4, 4);
    painter->setPen(palette().color(QPalette::WindowText));
    painter->drawText(frame, Qt::AlignCenter | Qt::TextWordWrap, text);
}
