#include "RKImageLoader/faces/RKFacePositions.h"

#include "RKImageLoader/faces/RKFacePixels_p.h"

#include "RKXML/RKXMLBuilder.h"

#include <QImage>
#include <QPainter>
#include <QPen>

#include <algorithm>

namespace {

constexpr int kFramePenWidth = 3;

QString elementName()
{
    return QStringLiteral("facePosition");
}

qint64 pixelArea(const QRect& rect)
{
    return qint64(rect.width()) * rect.height();
}

QRect rectInFrame(const RKFacePosition& position, const QRect& frame)
{
    QRect rect = position.rectStretched(frame.size());
    rect.moveTo(RKFacePixels::moved(rect.left(), frame.left()),
        RKFacePixels::moved(rect.top(), frame.top()));
    return rect;
}

} // namespace

RKFacePositions::RKFacePositions(const QDomElement& element)
    : m_surveyComplete(true)
{
    for (QDomElement child = element.firstChildElement(elementName()); !child.isNull();
         child = child.nextSiblingElement(elementName()))
        append(RKFacePosition(child));
}

RKFacePositions::RKFacePositions(const QSize& imageSize,
    const QList<QPoint>& centers,
    const QList<RKFaceDetectionEngineType>& engines)
    : m_surveyComplete(true)
{
    const QSize guessed = guessedFaceSize(imageSize);
    const QRect image(QPoint(0, 0), imageSize);
    for (qsizetype i = 0; i < centers.size(); ++i) {
        const QPoint corner(RKFacePixels::moved(centers[i].x(), -(guessed.width() / 2)),
            RKFacePixels::moved(centers[i].y(), -(guessed.height() / 2)));
        appendFound(imageSize, QRect(corner, guessed) & image, engines.value(i));
    }
}

RKFacePositions::RKFacePositions(const QSize& imageSize,
    const QList<QRect>& rects,
    const QList<RKFaceDetectionEngineType>& engines)
    : m_surveyComplete(true)
{
    for (qsizetype i = 0; i < rects.size(); ++i)
        appendFound(imageSize, rects[i], engines.value(i));
}

RKFacePositions::RKFacePositions(
    const QSize& imageSize, const QRect& rect, RKFaceDetectionEngineType engine)
{
    appendFound(imageSize, rect, engine);
}

RKFacePositions::RKFacePositions(
    const QSize& imageSize, const QList<RKFaceRectEntry>& entries, RKFaceDetectionEngineType engine)
    : m_surveyComplete(true)
{
    QList<RKFaceRectEntry> sorted = entries;
    std::sort(sorted.begin(), sorted.end());
    for (const RKFaceRectEntry& entry : sorted) {
        append(RKFacePosition(normalizeRect(entry.faceRect(), imageSize),
            engine,
            entry.faceId(),
            entry.clusterId(),
            RKFacePosition::invalidCoverImageEpoch(),
            entry.clusterName(),
            RKFacePosition::invalidXmpRegionIndex()));
    }
}

RKFacePositions::~RKFacePositions() = default;

void RKFacePositions::append(const RKFacePosition& position)
{
    m_positions.append(position);
    m_surveyComplete = true;
}

void RKFacePositions::appendFound(
    const QSize& imageSize, const QRect& rect, RKFaceDetectionEngineType engine)
{
    append(RKFacePosition(normalizeRect(rect, imageSize),
        engine,
        RKFaceId(),
        RKClusterId(),
        RKFacePosition::invalidCoverImageEpoch(),
        QString(),
        RKFacePosition::invalidXmpRegionIndex()));
}

void RKFacePositions::add(const RKFacePositions& other)
{
    m_positions.append(other.m_positions);
    m_surveyComplete = m_surveyComplete || other.m_surveyComplete;
}

void RKFacePositions::setSurveyComplete(bool complete)
{
    m_surveyComplete = complete;
}

bool RKFacePositions::isSurveyComplete() const
{
    return m_surveyComplete;
}

qsizetype RKFacePositions::count() const
{
    return m_positions.count();
}

bool RKFacePositions::isEmpty() const
{
    return m_positions.isEmpty();
}

QList<RKFacePosition> RKFacePositions::facePositions() const
{
    return m_positions;
}

bool RKFacePositions::isValid() const
{
    return std::all_of(m_positions.cbegin(), m_positions.cend(), [](const auto& position) {
        return position.isValid();
    });
}

QSize RKFacePositions::guessedFaceSize(const QSize& imageSize)
{
    return QSize(RKFacePixels::truncated(imageSize.width() * 0.1),
        RKFacePixels::truncated(imageSize.height() * 0.1));
}

QRectF RKFacePositions::normalizeRect(const QRect& rect, const QSize& size)
{
    if (size.isEmpty())
        return {};
    // The sides are calculated as doubles, because those of the largest rectangles leave an int.
    const double width = double(rect.right()) - rect.left() + 1;
    const double height = double(rect.bottom()) - rect.top() + 1;
    return QRectF(double(rect.left()) / size.width(),
        double(rect.top()) / size.height(),
        width / size.width(),
        height / size.height());
}

QList<QRect> RKFacePositions::rects(const QSize& size) const
{
    return rects(QRect(QPoint(0, 0), size));
}

QList<QRect> RKFacePositions::rects(const QRect& frame) const
{
    QList<QRect> result;
    result.reserve(count());
    for (const RKFacePosition& position : m_positions)
        result.append(rectInFrame(position, frame));
    return result;
}

QList<QPoint> RKFacePositions::centers(const QSize& size) const
{
    QList<QPoint> result;
    result.reserve(count());
    for (const RKFacePosition& position : m_positions)
        result.append(position.centerStretched(size));
    return result;
}

QList<RKFacePosition> RKFacePositions::positions(const QRect& frame) const
{
    QList<RKFacePosition> result;
    result.reserve(count());
    for (const RKFacePosition& position : m_positions) {
        result.append(RKFacePosition(QRectF(rectInFrame(position, frame)),
            position.engine(),
            position.faceId(),
            position.clusterId(),
            position.coverImageEpoch(),
            position.name(),
            position.xmpRegionIndex()));
    }
    return result;
}

QList<RKFacePosition> RKFacePositions::positions(const QRectF& frame) const
{
    // Not QRectF::toRect(), whose rule is not the same in every version of Qt.
    const int left = RKFacePixels::rounded(frame.x());
    const int top = RKFacePixels::rounded(frame.y());
    const int width = RKFacePixels::rounded(frame.width() + (frame.x() - left) / 2);
    const int height = RKFacePixels::rounded(frame.height() + (frame.y() - top) / 2);
    return positions(QRect(left, top, width, height));
}

double RKFacePositions::percentCoverdByFaces() const
{
    double sum = 0.0;
    for (const RKFacePosition& position : m_positions)
        sum += position.coveredArea();
    return std::min(1.0, sum);
}

QRect RKFacePositions::biggestRect(const QSize& size) const
{
    const QList<QRect> all = rects(size);
    const auto biggest = std::max_element(all.cbegin(),
        all.cend(),
        [](const QRect& a, const QRect& b) { return pixelArea(a) < pixelArea(b); });
    return biggest == all.cend() ? QRect() : *biggest;
}

QRect RKFacePositions::unitedRect(const QSize& size) const
{
    QRect united;
    const QList<QRect> all = rects(size);
    for (const QRect& rect : all)
        united |= rect;
    return united;
}

QList<RKFaceDetectionEngineType> RKFacePositions::faceDetectionEngineTypes() const
{
    QList<RKFaceDetectionEngineType> engines;
    engines.reserve(count());
    for (const RKFacePosition& position : m_positions)
        engines.append(position.engine());
    return engines;
}

RKFacePositions RKFacePositions::forEngine(RKFaceDetectionEngineType engine) const
{
    RKFacePositions result;
    result.m_surveyComplete = m_surveyComplete;
    for (const RKFacePosition& position : m_positions) {
        if (position.engine() == engine)
            result.append(position);
    }
    return result;
}

RKFacePositions RKFacePositions::rotated(const RKImageOrientation& orientation) const
{
    RKFacePositions result = *this;
    for (RKFacePosition& position : result.m_positions)
        position = position.rotated(orientation);
    return result;
}

RKFacePositions RKFacePositions::toUpright(RKImageOrientation orientation) const
{
    // RKFacePosition::rotated() has these two the other way round.
    switch (orientation) {
    case ORIENTATION_LEFT_TOP: return rotated(ORIENTATION_RIGHT_BOTTOM);
    case ORIENTATION_RIGHT_BOTTOM: return rotated(ORIENTATION_LEFT_TOP);
    default: return rotated(orientation);
    }
}

RKFacePositions RKFacePositions::toStored(RKImageOrientation orientation) const
{
    // All others are undone by themselves.
    switch (orientation) {
    case ORIENTATION_RIGHT_TOP: return toUpright(ORIENTATION_LEFT_BOTTOM);
    case ORIENTATION_LEFT_BOTTOM: return toUpright(ORIENTATION_RIGHT_TOP);
    default: return toUpright(orientation);
    }
}

QSet<int> RKFacePositions::xmpRegionIndices() const
{
    QSet<int> indices;
    for (const RKFacePosition& position : m_positions) {
        if (position.isXmpRegionIndexValid())
            indices.insert(position.xmpRegionIndex());
    }
    return indices;
}

RKFacePosition RKFacePositions::facePositionForXmpRegionIndex(int index) const
{
    const auto found = std::find_if(m_positions.cbegin(),
        m_positions.cend(),
        [index](const auto& position) { return position.xmpRegionIndex() == index; });
    return found == m_positions.cend() ? RKFacePosition() : *found;
}

int RKFacePositions::bestMatch(const RKFacePosition& p, const QSet<int>& excluded) const
{
    const QPointF center = p.center();
    const auto found
        = std::find_if(m_positions.cbegin(), m_positions.cend(), [&](const auto& position) {
              return !excluded.contains(position.xmpRegionIndex())
                  && position.rect().contains(center);
          });
    return found == m_positions.cend() ? RKFacePosition::invalidXmpRegionIndex()
                                       : found->xmpRegionIndex();
}

QHash<RKFacePosition, RKFacePosition> RKFacePositions::mapFacePositionsHPtoXMP(
    const RKFacePositions& hp) const
{
    QHash<RKFacePosition, RKFacePosition> result;
    QSet<int> matched;
    for (RKFacePosition face : hp.m_positions) {
        const int index = bestMatch(face, matched);
        if (index == RKFacePosition::invalidXmpRegionIndex()) {
            result.insert(face, RKFacePosition());
            continue;
        }
        matched.insert(index);
        face.setXmpRegionIndex(index);
        result.insert(face, facePositionForXmpRegionIndex(index));
    }
    return result;
}

void RKFacePositions::setCoverImageEpochToCurrentTime(const RKFaceId& faceId)
{
    if (!faceId.isValid())
        return;
    const auto found = std::find_if(m_positions.begin(),
        m_positions.end(),
        [&faceId](const auto& position) { return position.faceId() == faceId; });
    if (found != m_positions.end())
        found->setCoverImageEpochToCurrentTime();
}

bool RKFacePositions::isSeriouslyOverlapping(const RKFacePositions& other) const
{
    return count() == other.count()
        && std::all_of(m_positions.cbegin(), m_positions.cend(), [&other](const auto& position) {
               return std::any_of(other.m_positions.cbegin(),
                   other.m_positions.cend(),
                   [&position](
                       const auto& theirs) { return position.isSeriouslyOverlapping(theirs); });
           });
}

bool RKFacePositions::anySeriouslyOverlapping(const RKFacePosition& position) const
{
    return std::any_of(m_positions.cbegin(), m_positions.cend(), [&position](const auto& own) {
        return own.isSeriouslyOverlapping(position);
    });
}

void RKFacePositions::renderInto(QImage* image) const
{
    if (!image || !biggestRect(image->size()).isValid())
        return;
    QPainter painter(image);
    const QList<QRect> all = rects(image->size());
    for (qsizetype i = 0; i < all.size(); ++i)
        paintOneFaceRect(&painter, all[i], m_positions[i].engine());
}

void RKFacePositions::paintOneFaceRect(
    QPainter* painter, const QRect& rect, RKFaceDetectionEngineType engine)
{
    painter->setPen(QPen(faceRectColor(engine), kFramePenWidth, Qt::DotLine));
    painter->drawRect(rect);
}

QColor RKFacePositions::faceRectColor(RKFaceDetectionEngineType engine)
{
    switch (engine) {
    case faceDetectionEngineExifFuji: return Qt::blue;
    case faceDetectionEngineExifCanon: return Qt::green;
    case faceDetectionEngineIphoto: return Qt::yellow;
    case faceDetectionEngineHP: return Qt::darkGreen;
    case faceDetectionEngineHPbyXMP: return Qt::darkBlue;
    case faceDetectionEnginePerfectlyClear: return Qt::black;
    default: return Qt::magenta;
    }
}

QString RKFacePositions::toString() const
{
    QString text = QLatin1String("survey complete ") + QString::number(int(m_surveyComplete));
    for (const RKFacePosition& position : m_positions)
        text += QLatin1String(", ") + position.toString();
    return text;
}

void RKFacePositions::toXml(QDomElement& parent) const
{
    for (const RKFacePosition& position : m_positions) {
        QDomElement child = RKXMLBuilder::buildDomElement(parent, elementName());
        position.toXml(child);
    }
}

bool RKFacePositions::operator==(const RKFacePositions& other) const
{
    return m_surveyComplete == other.m_surveyComplete && m_positions == other.m_positions;
}

bool RKFacePositions::operator!=(const RKFacePositions& other) const
{
    return !(*this == other);
}
