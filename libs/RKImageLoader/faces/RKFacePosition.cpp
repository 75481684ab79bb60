#include "RKImageLoader/faces/RKFacePosition.h"

#include "RKImageLoader/faces/RKFacePixels_p.h"

#include "RKXML/RKXMLBuilder.h"

#include <QDateTime>

namespace {

constexpr double kSeriousShare = 0.75;

QString text(double number)
{
    return QString::number(number, 'g', 6);
}

double numberOfChild(const QDomElement& element, const QString& name)
{
    bool ok = false;
    const double number = element.firstChildElement(name).text().toDouble(&ok);
    return ok ? number : 0.0;
}

QRectF rectAround(const QPointF& center, const QSizeF& size)
{
    return QRectF(
        center.x() - size.width() / 2, center.y() - size.height() / 2, size.width(), size.height());
}

QRectF rotatedRect(const QRectF& rect, const QPointF& center, RKImageOrientation orientation)
{
    const double x = center.x();
    const double y = center.y();
    const QSizeF size = rect.size();
    const QSizeF turned = size.transposed();
    switch (orientation) {
    case ORIENTATION_TOP_RIGHT: return rectAround({1 - x, y}, size);
    case ORIENTATION_BOTTOM_RIGHT: return rectAround({1 - x, 1 - y}, size);
    case ORIENTATION_BOTTOM_LEFT: return rectAround({x, 1 - y}, size);
    // Kept: of the two mirrored quarter turns, 5 reflects at the diagonal from the bottom left and
    // 7 at the one from the top left; the pixels of a picture are turned the other way round.
    case ORIENTATION_LEFT_TOP: return rectAround({1 - y, 1 - x}, turned);
    case ORIENTATION_RIGHT_TOP: return rectAround({1 - y, x}, turned);
    case ORIENTATION_RIGHT_BOTTOM: return rectAround({y, x}, turned);
    case ORIENTATION_LEFT_BOTTOM: return rectAround({y, 1 - x}, turned);
    default: return rect;
    }
}

} // namespace

RKFacePosition::RKFacePosition(const QRectF& rect,
    RKFaceDetectionEngineType engine,
    const RKFaceId& faceId,
    const RKClusterId& clusterId,
    long long coverImageEpoch,
    const QString& name,
    int xmpRegionIndex)
    : m_faceId(faceId)
    , m_rect(rect)
    , m_engine(engine)
    , m_clusterId(clusterId)
    , m_name(name)
    , m_xmpRegionIndex(xmpRegionIndex)
    , m_coverImageEpoch(coverImageEpoch)
{
}

RKFacePosition RKFacePosition::named(const QRectF& rect, const QString& name)
{
    RKFacePosition face;
    face.m_rect = rect;
    face.m_name = name;
    return face;
}

RKFacePosition::RKFacePosition(const QDomElement& element)
{
    const QDomElement rect = element.firstChildElement(QStringLiteral("rect"));
    m_rect = QRectF(numberOfChild(rect, QStringLiteral("x")),
        numberOfChild(rect, QStringLiteral("y")),
        numberOfChild(rect, QStringLiteral("width")),
        numberOfChild(rect, QStringLiteral("height")));
    const QString engine = element.firstChildElement(QStringLiteral("engine")).text();
    m_engine = RKFaceDetectionEngine().enumToStringTable()->decodeCSV(engine);
}

RKFacePosition::~RKFacePosition() = default;

RKFaceId RKFacePosition::faceId() const
{
    return m_faceId;
}

QRectF RKFacePosition::rect() const
{
    return m_rect;
}

RKFaceDetectionEngineType RKFacePosition::engine() const
{
    return m_engine;
}

RKClusterId RKFacePosition::clusterId() const
{
    return m_clusterId;
}

QString RKFacePosition::name() const
{
    return m_name;
}

int RKFacePosition::xmpRegionIndex() const
{
    return m_xmpRegionIndex;
}

void RKFacePosition::setXmpRegionIndex(int index)
{
    m_xmpRegionIndex = index;
}

bool RKFacePosition::isXmpRegionIndexValid() const
{
    return m_xmpRegionIndex != invalidXmpRegionIndex();
}

int RKFacePosition::invalidXmpRegionIndex()
{
    return -1;
}

long long RKFacePosition::coverImageEpoch() const
{
    return m_coverImageEpoch;
}

void RKFacePosition::setCoverImageEpoch(long long epoch)
{
    m_coverImageEpoch = epoch;
}

void RKFacePosition::setCoverImageEpochToCurrentTime()
{
    m_coverImageEpoch = QDateTime::currentMSecsSinceEpoch();
}

bool RKFacePosition::isCoverImageEpochValid() const
{
    return isCoverImageEpochValid(m_coverImageEpoch);
}

bool RKFacePosition::isCoverImageEpochValid(long long epoch)
{
    return epoch != invalidCoverImageEpoch();
}

long long RKFacePosition::invalidCoverImageEpoch()
{
    return -1;
}

bool RKFacePosition::isValid() const
{
    return m_rect.width() > 0 && m_rect.height() > 0;
}

QRect RKFacePosition::rectStretched(const QSize& size) const
{
    return QRect(RKFacePixels::truncated(m_rect.x() * size.width()),
        RKFacePixels::truncated(m_rect.y() * size.height()),
        RKFacePixels::truncated(m_rect.width() * size.width()),
        RKFacePixels::truncated(m_rect.height() * size.height()));
}

QPoint RKFacePosition::centerStretched(const QSize& size) const
{
    return QPoint(RKFacePixels::truncated(size.width() * center().x()),
        RKFacePixels::truncated(size.height() * center().y()));
}

QPointF RKFacePosition::center() const
{
    return QPointF(m_rect.x() + m_rect.width() * 0.5, m_rect.y() + m_rect.height() * 0.5);
}

double RKFacePosition::area(const QRectF& rect)
{
    return rect.width() * rect.height();
}

double RKFacePosition::coveredArea() const
{
    return area(m_rect);
}

bool RKFacePosition::isSeriouslyOverlapping(const RKFacePosition& other) const
{
    const double shared = area(m_rect & other.m_rect);
    return shared > kSeriousShare * coveredArea() || shared > kSeriousShare * other.coveredArea();
}

RKFacePosition RKFacePosition::rotated(RKImageOrientation orientation) const
{
    RKFacePosition result = *this;
    result.m_rect = rotatedRect(m_rect, center(), orientation);
    return result;
}

QString RKFacePosition::toString() const
{
    // Concatenated, because a name may hold a placeholder.
    return QLatin1String("faceId ") + m_faceId.toString() + QLatin1String(", faceRect ")
        + text(m_rect.x()) + QLatin1String(", ") + text(m_rect.y()) + u' ' + text(m_rect.width())
        + u'x' + text(m_rect.height()) + QLatin1String(", engine ")
        + QString::number(qint64(m_engine)) + QLatin1String(", clusterId ") + m_clusterId.toString()
        + QLatin1String(", name ") + m_name + QLatin1String(", xmpRegionIndex ")
        + QString::number(m_xmpRegionIndex) + QLatin1String(", coverImageEpoch ")
        + QString::number(m_coverImageEpoch);
}

void RKFacePosition::toXml(QDomElement& parent) const
{
    const QString engine = RKFaceDetectionEngine().enumToStringTable()->keyword(m_engine);
    RKXMLBuilder::buildDomElement(parent, QStringLiteral("engine"), engine);
    QDomElement rect = RKXMLBuilder::buildDomElement(parent, QStringLiteral("rect"));
    RKXMLBuilder::buildDomElement(rect, QStringLiteral("x"), text(m_rect.x()));
    RKXMLBuilder::buildDomElement(rect, QStringLiteral("y"), text(m_rect.y()));
    RKXMLBuilder::buildDomElement(rect, QStringLiteral("width"), text(m_rect.width()));
    RKXMLBuilder::buildDomElement(rect, QStringLiteral("height"), text(m_rect.height()));
}

bool RKFacePosition::operator==(const RKFacePosition& other) const
{
    return m_faceId == other.m_faceId && m_rect == other.m_rect && m_engine == other.m_engine
        && m_clusterId == other.m_clusterId && m_name == other.m_name
        && m_xmpRegionIndex == other.m_xmpRegionIndex
        && m_coverImageEpoch == other.m_coverImageEpoch;
}

bool RKFacePosition::operator!=(const RKFacePosition& other) const
{
    return !(*this == other);
}

size_t qHash(const RKFacePosition& position, size_t seed) noexcept
{
    return qHash(position.faceId(), seed);
}
