#include "RKImageLoader/media/RKVideoFrameIndex.h"

#include <QUrlQuery>

#include <algorithm>
#include <limits>

namespace {

constexpr int kNoFrame = -1;

QString queryKey()
{
    return QStringLiteral("frame");
}

RKVideoFrameIndex normalised(qint64 frame)
{
    const bool fits = frame >= 0 && frame <= std::numeric_limits<int>::max();
    return fits ? RKVideoFrameIndex(int(frame)) : RKVideoFrameIndex();
}

} // namespace

RKVideoFrameIndex::RKVideoFrameIndex(int frame)
    : m_frame(std::max(frame, kNoFrame))
{
}

RKVideoFrameIndex::~RKVideoFrameIndex() = default;

int RKVideoFrameIndex::frame() const
{
    return m_frame;
}

bool RKVideoFrameIndex::isValid() const
{
    return m_frame >= 0;
}

bool RKVideoFrameIndex::operator==(const RKVideoFrameIndex& other) const
{
    return m_frame == other.m_frame;
}

bool RKVideoFrameIndex::operator!=(const RKVideoFrameIndex& other) const
{
    return m_frame != other.m_frame;
}

bool RKVideoFrameIndex::operator<(const RKVideoFrameIndex& other) const
{
    return m_frame < other.m_frame;
}

bool RKVideoFrameIndex::operator<=(const RKVideoFrameIndex& other) const
{
    return m_frame <= other.m_frame;
}

bool RKVideoFrameIndex::operator>(const RKVideoFrameIndex& other) const
{
    return m_frame > other.m_frame;
}

bool RKVideoFrameIndex::operator>=(const RKVideoFrameIndex& other) const
{
    return m_frame >= other.m_frame;
}

RKVideoFrameIndex RKVideoFrameIndex::operator-() const
{
    return normalised(-qint64(m_frame));
}

RKVideoFrameIndex RKVideoFrameIndex::operator+(const RKVideoFrameIndex& other) const
{
    return normalised(qint64(m_frame) + other.m_frame);
}

RKVideoFrameIndex RKVideoFrameIndex::operator-(const RKVideoFrameIndex& other) const
{
    return normalised(qint64(m_frame) - other.m_frame);
}

RKVideoFrameIndex RKVideoFrameIndex::operator*(int factor) const
{
    return normalised(qint64(m_frame) * factor);
}

RKVideoFrameIndex RKVideoFrameIndex::operator/(int divisor) const
{
    return divisor == 0 ? RKVideoFrameIndex() : normalised(qint64(m_frame) / divisor);
}

RKVideoFrameIndex RKVideoFrameIndex::operator%(int divisor) const
{
    return divisor == 0 ? RKVideoFrameIndex() : normalised(qint64(m_frame) % divisor);
}

double RKVideoFrameIndex::operator/(const RKVideoFrameIndex& divisor) const
{
    if (divisor.m_frame == 0)
        return 0.0;
    // Kept: callers count whole frames, so the remainder is dropped before the conversion.
    const int quotient = m_frame / divisor.m_frame;
    return quotient;
}

RKVideoFrameIndex& RKVideoFrameIndex::operator+=(const RKVideoFrameIndex& other)
{
    return *this = *this + other;
}

RKVideoFrameIndex& RKVideoFrameIndex::operator+=(int frames)
{
    // Not by way of an index, which would take every negative number for -1.
    return *this = normalised(qint64(m_frame) + frames);
}

RKVideoFrameIndex& RKVideoFrameIndex::operator-=(const RKVideoFrameIndex& other)
{
    return *this = *this - other;
}

RKVideoFrameIndex& RKVideoFrameIndex::operator*=(int factor)
{
    return *this = *this * factor;
}

RKVideoFrameIndex& RKVideoFrameIndex::operator/=(int divisor)
{
    return *this = *this / divisor;
}

RKVideoFrameIndex& RKVideoFrameIndex::operator%=(int divisor)
{
    return *this = *this % divisor;
}

void RKVideoFrameIndex::addToUrl(QUrl& url) const
{
    if (!isValid())
        return;
    QUrlQuery query(url);
    query.addQueryItem(queryKey(), QString::number(m_frame));
    url.setQuery(query);
}

void RKVideoFrameIndex::addToFilename(QString& name) const
{
    if (isValid())
        name += u'-' + QString::number(m_frame);
}

RKVideoFrameIndex RKVideoFrameIndex::extractFromUrl(const QUrl& url)
{
    bool ok = false;
    const int frame = QUrlQuery(url).queryItemValue(queryKey()).toInt(&ok);
    return ok ? RKVideoFrameIndex(frame) : RKVideoFrameIndex();
}
