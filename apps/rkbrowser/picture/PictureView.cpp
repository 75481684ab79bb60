#include "picture/PictureView.h"

#include <QMouseEvent>
#include <QScrollBar>

#include <algorithm>
#include <cmath>

using Kind = PictureWish::Kind;

namespace {

constexpr double kMaxZoom = 32;
constexpr double kMinZoom = 1.0 / 64;
constexpr double kZoomOfWheel = 1.2;
constexpr int kStepOfWheel = 120;
constexpr int kMargin = 12;
constexpr QSizeF kHistogramSize(264, 120);
// Smaller differences can't be seen.
constexpr double kSharpEnough = 1.02;
// Not each size of the window needs a picture of its own.
constexpr int kRoomStep = 512;
// Drawings have no pixels of their own; this is more than screens have.
constexpr QSize kDrawingSize(4000, 4000);

} // namespace

PictureView::PictureView(RKAsyncLoader* loader)
    : m_store(loader)
{
    setScene(&m_scene);
    setBackgroundRole(QPalette::Dark);
    setAccessibleName(tr("Picture"));
    setFrameShape(QFrame::NoFrame);
    setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    setVerticalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    setDragMode(ScrollHandDrag);
    setTransformationAnchor(AnchorUnderMouse);
    setViewportUpdateMode(FullViewportUpdate);
    connect(&m_store, &PictureStore::loaded, this, &PictureView::take);
}

void PictureView::open(const MediaFile& file, const QList<MediaFile>& neighbours)
{
    const QSize pixels = size() * devicePixelRatioF();
    const int side = std::max(pixels.width(), pixels.height()) / kRoomStep * kRoomStep + kRoomStep;
    show({file, Kind::Described, {side, side}}, neighbours);
}

void PictureView::openFrame(const MediaFile& file, int frame)
{
    show({file, Kind::Described, {}, frame}, {});
}

void PictureView::show(const PictureWish& wish, const QList<MediaFile>& neighbours)
{
    const bool isOther = wish.file.path != m_wish.file.path;
    m_wish = wish;
    m_neighbours = neighbours;
    if (isOther) {
        m_picture = {};
        m_scene.setSceneRect({});
        m_isFitted = true;
    }
    take();
}

bool PictureView::isLoaded() const
{
    return m_store.find(m_wish);
}

const Picture& PictureView::picture() const
{
    return m_picture;
}

void PictureView::take()
{
    if (const Picture* loaded = m_store.find(m_wish))
        m_picture = *loaded;
    if (m_picture.size != m_scene.sceneRect().size()) {
        m_scene.setSceneRect(QRectF(QPointF(), m_picture.size));
        fit();
    }
    want();
    viewport()->update();
    Q_EMIT changed();
}

void PictureView::zoomBy(double factor)
{
    const double least = std::min(kMinZoom, zoom());
    const double now = transform().m11();
    const double scaled = std::clamp(zoom() * factor, least, kMaxZoom) / devicePixelRatioF();
    m_isFitted = false;
    scale(scaled / now, scaled / now);
    want();
    Q_EMIT changed();
}

void PictureView::fit()
{
    m_isFitted = true;
    if (m_picture.size.isEmpty())
        return;
    const QSizeF size = m_scene.sceneRect().united(m_scene.itemsBoundingRect()).size();
    // Small pictures stay as small as they are.
    const double scaled = std::min({1 / devicePixelRatioF(),
        viewport()->width() / size.width(),
        viewport()->height() / size.height()});
    setTransform(QTransform::fromScale(scaled, scaled));
    want();
    Q_EMIT changed();
}

void PictureView::actualSize()
{
    zoomBy(1 / zoom());
}

void PictureView::pan(double right, double down)
{
    horizontalScrollBar()->setValue(
        horizontalScrollBar()->value() + static_cast<int>(right * width()));
    verticalScrollBar()->setValue(verticalScrollBar()->value() + static_cast<int>(down * height()));
}

double PictureView::zoom() const
{
    return transform().m11() * devicePixelRatioF();
}

void PictureView::setShowsFaces(bool on)
{
    m_showsFaces = on;
    viewport()->update();
}

void PictureView::setShowsHistogram(bool on)
{
    m_showsHistogram = on;
    viewport()->update();
}

void PictureView::showNextComparison()
{
    m_comparison = m_comparison == Comparison::Off ? Comparison::Split
        : m_comparison == Comparison::Split        ? Comparison::Before
                                                   : Comparison::Off;
    m_splitX = width() / 2;
    want();
    viewport()->update();
}

PictureWish PictureView::full() const
{
    const bool isDrawing = RKMediaDescriptor(QFileInfo(m_wish.file.path)).mediaFormat().isSVG();
    return {m_wish.file, Kind::Thumbnail, isDrawing ? kDrawingSize : QSize()};
}

PictureWish PictureView::unconverted() const
{
    return {m_wish.file, Kind::Unconverted, m_wish.room};
}

void PictureView::want()
{
    QList<PictureWish> visible;
    QList<PictureWish> nearby;
    if (!m_wish.file.path.isEmpty())
        visible << m_wish;
    if (!isSharp())
        visible << full();
    if (m_comparison != Comparison::Off && m_picture.hasProfile)
        visible << unconverted();
    for (const MediaFile& neighbour : std::as_const(m_neighbours))
        nearby << PictureWish{neighbour, Kind::Described, m_wish.room};
    m_store.want(visible, nearby);
}

bool PictureView::isSharp() const
{
    return m_picture.image.isNull() || !m_wish.room.isValid()
        || m_picture.size.width() * zoom() <= m_picture.image.width() * kSharpEnough;
}

void PictureView::drawBackground(QPainter* painter, const QRectF& rect)
{
    painter->fillRect(rect, palette().color(QPalette::Dark));
    if (m_picture.image.isNull())
        return;
    const QRectF whole = sceneRect();
    if (m_picture.image.hasAlphaChannel())
        painter->fillRect(whole, palette().base());
    // Far in, pixels are what somebody wants to see.
    painter->setRenderHint(QPainter::SmoothPixmapTransform, zoom() < 3);
    const auto draw = [&](const Picture* picture) {
        const bool isThere = picture && !picture->image.isNull();
        painter->drawImage(whole, isThere ? picture->image : m_picture.image);
    };
    if (m_comparison != Comparison::Before)
        // The full picture only where the other has too few pixels: it takes longer.
        draw(isSharp() ? nullptr : m_store.find(full()));
    if (m_comparison == Comparison::Split)
        painter->setClipRect(QRectF(whole.topLeft(), mapToScene(m_splitX, height())));
    if (m_comparison != Comparison::Off)
        draw(m_store.find(unconverted()));
}

void PictureView::paintEvent(QPaintEvent* event)
{
    QGraphicsView::paintEvent(event);
    QPainter painter(viewport());
    painter.setRenderHint(QPainter::Antialiasing);
    if (m_comparison == Comparison::Split && m_store.find(unconverted())) {
        painter.setPen(palette().color(QPalette::Highlight));
        painter.drawLine(m_splitX, 0, m_splitX, height());
    }
    if (m_showsFaces)
        paintFaces(&painter);
    if (m_showsHistogram && !m_picture.histogram.isNull()) {
        QRectF place(QPointF(), kHistogramSize);
        place.moveBottomRight(rect().bottomRight() - QPoint(kMargin, kMargin));
        m_picture.histogram.paint(&painter, place, palette());
    }
    paintRemark(&painter, remark());
}

void PictureView::resizeEvent(QResizeEvent* event)
{
    QGraphicsView::resizeEvent(event);
    if (m_isFitted)
        fit();
}

void PictureView::wheelEvent(QWheelEvent* event)
{
    zoomBy(std::pow(kZoomOfWheel, event->angleDelta().y() / double(kStepOfWheel)));
}

void PictureView::mouseMoveEvent(QMouseEvent* event)
{
    QGraphicsView::mouseMoveEvent(event);
    if (event->buttons() == Qt::NoButton)
        m_splitX = event->position().toPoint().x();
    if (m_comparison == Comparison::Split)
        viewport()->update();
}

void PictureView::mouseDoubleClickEvent(QMouseEvent* /*event*/)
{
    zoom() < 1 ? actualSize() : fit();
}

QString PictureView::remark() const
{
    if (m_wish.file.path.isEmpty())
        return {};
    if (m_picture.image.isNull() && m_picture.reason.isEmpty())
        return tr("Loading…");
    if (m_comparison == Comparison::Off || !m_picture.reason.isEmpty())
        return m_picture.reason;
    if (!m_picture.hasProfile)
        return tr("The picture has no colour profile: nothing was converted.");
    return m_comparison == Comparison::Before ? tr("Before the conversion of colours")
                                              : tr("Before | after the conversion of colours");
}

void PictureView::paintFaces(QPainter* painter) const
{
    for (const Picture::Face& face : m_picture.faces) {
        const QSizeF size = m_picture.size;
        const QRectF rect(face.rect.x() * size.width(),
            face.rect.y() * size.height(),
            face.rect.width() * size.width(),
            face.rect.height() * size.height());
        const QRectF frame = mapFromScene(rect).boundingRect();
        painter->setPen(QPen(palette().color(QPalette::Highlight), 2));
        painter->setBrush(Qt::NoBrush);
        painter->drawRoundedRect(frame, 4, 4);
        if (face.name.isEmpty())
            continue;
        QRectF label = painter->fontMetrics().boundingRect(face.name).adjusted(-6, -2, 6, 2);
        label.moveCenter({frame.center().x(), frame.bottom() + 3 + label.height() / 2});
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
    const int place = m_picture.image.isNull() ? Qt::AlignVCenter : Qt::AlignTop;
    const QRect frame = painter->fontMetrics()
                            .boundingRect(rect().adjusted(40, kMargin, -40, -kMargin),
                                place | Qt::AlignHCenter | Qt::TextWordWrap,
                                text)
                            .adjusted(-8, -4, 8, 4);
    QColor background = palette().color(QPalette::Window);
    background.setAlphaF(0.85F);
    painter->setPen(Qt::NoPen);
    painter->setBrush(background);
    painter->drawRoundedRect(frame, 4, 4);
    painter->setPen(palette().color(QPalette::WindowText));
    painter->drawText(frame, Qt::AlignCenter | Qt::TextWordWrap, text);
}
