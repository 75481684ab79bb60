#include "RKImageLoader/guards/RKSvgPaintCost_p.h"
#include "RKImageLoader/media/RKLogCategories_p.h"

#include <QDebug>
#include <QPaintDevice>
#include <QPaintEngine>
#include <QPainter>
#include <QPainterPath>
#include <QSvgRenderer>

#include <algorithm>
#include <cmath>

namespace {

constexpr int kSide = 400;

// Nanoseconds, measured with Qt's raster engine.
constexpr double kShape = 500;
constexpr double kPoint = 50;
constexpr double kCell = 15; // a pixel that an edge enters
constexpr double kStep = 10; // past another cell of the same row: each row has a list of them
constexpr double kLinePixel = 10;
constexpr double kFilledPixel = 0.7;
constexpr double kGradientPixel = 3;
constexpr double kImagePixel = 5;
constexpr double kConvertedPixel = 1;
constexpr double kCharacter = 2000;
constexpr double kDash = 300;

// Adds up what is drawn.
class Meter : public QPaintEngine
{
public:
    explicit Meter(const QSize& size)
        : QPaintEngine(AllFeatures)
        , m_canvas(QPointF(), size)
    {
    }

    double cost() const
    {
        return m_cost;
    }

    bool begin(QPaintDevice*) override
    {
        return true;
    }

    bool end() override
    {
        return true;
    }

    Type type() const override
    {
        return User;
    }

    void updateState(const QPaintEngineState&) override
    {
    }

    void drawPath(const QPainterPath& path) override
    {
        m_points.clear();
        for (int i = 0; i < path.elementCount(); ++i)
            m_points.append(path.elementAt(i));
        addShape();
    }

    void drawPolygon(const QPointF* points, int count, PolygonDrawMode mode) override
    {
        m_points = QPolygonF(QList<QPointF>(points, points + count));
        if (mode != PolylineMode && count > 0)
            m_points.append(points[0]);
        addShape();
    }

    void drawPixmap(const QRectF& target, const QPixmap&, const QRectF&) override
    {
        m_cost += kShape + kImagePixel * visibleArea(target);
    }

    void drawImage(const QRectF& target,
        const QImage& image,
        const QRectF& source,
        Qt::ImageConversionFlags) override
    {
        m_cost += kShape + kImagePixel * visibleArea(target);
        if (image.depth() != 32)
            m_cost += kConvertedPixel * source.width() * source.height();
    }

    void drawTextItem(const QPointF& position, const QTextItem& item) override
    {
        const QRectF box(position - QPointF(0, item.ascent()),
            QSizeF(item.width(), item.ascent() + item.descent()));
        m_cost += kCharacter * double(item.text().size()) + kCell * visibleArea(box);
    }

private:
    // What edges take: the cells that they cross, and finding each among the others of its row.
    double edges() const
    {
        const QRectF box = visible(m_points.boundingRect());
        // Cells that follow each other in a row are found at once.
        constexpr double kPartOfRow = 0.125;
        double cells = 0;
        double searched = 0;
        for (qsizetype i = 1; i < m_points.size(); ++i) {
            const QPointF step = clamped(m_points[i]) - clamped(m_points[i - 1]);
            cells += 1 + std::abs(step.x()) + std::abs(step.y());
            searched += 1 + kPartOfRow * std::abs(step.x()) + std::abs(step.y());
        }
        const double cellsOfRow = std::min(cells / std::max(box.height(), 1.0), box.width());
        return kCell * cells + kStep * searched * cellsOfRow / 2;
    }

    double length() const
    {
        double sum = 0;
        for (qsizetype i = 1; i < m_points.size(); ++i)
            sum += QLineF(m_points[i - 1], m_points[i]).length();
        return sum;
    }

    void addShape()
    {
        const QTransform transform = state->transform();
        m_points = transform.map(m_points);
        m_cost += kShape + kPoint * double(m_points.size());
        const QBrush brush = state->brush();
        const QPen pen = state->pen();
        const double edgesOfShape = edges();
        if (brush.style() != Qt::NoBrush) {
            const double pixel = brush.gradient() ? kGradientPixel : kFilledPixel;
            m_cost += edgesOfShape + pixel * visibleArea(m_points.boundingRect(), QTransform());
        }
        if (pen.style() != Qt::NoPen && pen.brush().style() != Qt::NoBrush)
            m_cost += stroke(pen, transform, edgesOfShape);
    }

    double stroke(const QPen& pen, const QTransform& transform, double edgesOfShape) const
    {
        const double scale = std::sqrt(std::abs(transform.determinant()));
        const double width = pen.isCosmetic() ? pen.widthF() : pen.widthF() * scale;
        const double count = double(m_points.size());
        const double drawn = std::min(length(), count * (m_canvas.width() + m_canvas.height()));
        const double dashed = pen.style() == Qt::SolidLine ? 0 : dashes(pen, std::max(width, 1.0));
        // Thin lines are drawn pixel by pixel, others as shapes with an edge on each side.
        if (width <= 1)
            return kLinePixel * drawn + dashed;
        const double area = m_canvas.width() * m_canvas.height();
        return 2 * edgesOfShape + kFilledPixel * std::min(drawn * width, count * area) + dashed;
    }

    double dashes(const QPen& pen, double width) const
    {
        double period = 0;
        const QList<qreal> pattern = pen.dashPattern();
        for (const qreal part : pattern)
            period += part * width;
        return period > 0 ? kDash * double(pattern.size()) * length() / period : 0;
    }

    QPointF clamped(const QPointF& point) const
    {
        return {std::clamp(point.x(), m_canvas.left(), m_canvas.right()),
            std::clamp(point.y(), m_canvas.top(), m_canvas.bottom())};
    }

    QRectF visible(const QRectF& box) const
    {
        // Empty boxes of lines intersect nothing.
        return QRectF(clamped(box.topLeft()), clamped(box.bottomRight()));
    }

    double visibleArea(const QRectF& box, const QTransform& transform) const
    {
        const QRectF part = visible(transform.mapRect(box));
        return part.width() * part.height();
    }

    double visibleArea(const QRectF& box) const
    {
        return visibleArea(box, state->transform());
    }

    QRectF m_canvas;
    // The points of the current shape, on the canvas. Curves are taken for their control polygons,
    // which are longer.
    QPolygonF m_points;
    double m_cost = 0;
};

// A canvas without pixels.
class Canvas : public QPaintDevice
{
public:
    explicit Canvas(const QSize& size)
        : m_size(size)
        , m_meter(size)
    {
    }

    QPaintEngine* paintEngine() const override
    {
        return &m_meter;
    }

    double cost() const
    {
        return m_meter.cost();
    }

protected:
    int metric(PaintDeviceMetric metric) const override
    {
        constexpr int kDotsPerInch = 96;
        constexpr double kMillimetresPerDot = 25.4 / kDotsPerInch;
        switch (metric) {
        case PdmWidth: return m_size.width();
        case PdmHeight: return m_size.height();
        case PdmWidthMM: return int(m_size.width() * kMillimetresPerDot);
        case PdmHeightMM: return int(m_size.height() * kMillimetresPerDot);
        case PdmDpiX:
        case PdmDpiY:
        case PdmPhysicalDpiX:
        case PdmPhysicalDpiY: return kDotsPerInch;
        case PdmDepth: return 32;
        case PdmDevicePixelRatio: return 1;
        case PdmDevicePixelRatioScaled: return int(devicePixelRatioFScale());
        default: return 0;
        }
    }

private:
    QSize m_size;
    mutable Meter m_meter;
};

} // namespace

double RKSvgPaintCost::of(QSvgRenderer& renderer, const QSize& size)
{
    Canvas canvas(size.expandedTo({1, 1}));
    QPainter painter(&canvas);
    renderer.render(&painter, QRectF(QPointF(), size));
    painter.end();
    return canvas.cost();
}

bool RKSvgPaintCost::isAffordable(QSvgRenderer& renderer)
{
    const QSizeF size = renderer.viewBoxF().size();
    if (!renderer.isValid() || size.isEmpty())
        return true;
    const QSizeF fitted = size.scaled(QSizeF(kSide, kSide), Qt::KeepAspectRatio);
    // A cost that is not a number is too high.
    if (of(renderer, fitted.toSize()) <= kMaxCost)
        return true;
    qCWarning(rkLoad, "SVG document refused: painting it takes too long");
    return false;
}
