#include "RKImageLoader/video/RKVideoFrameIndexList.h"

#include "RKCore/RKStringHelper.h"

#include <QDomElement>
#include <QStringList>

namespace {

QString attributeName()
{
    return QStringLiteral("frameNumbers");
}

} // namespace

RKVideoFrameIndexList::RKVideoFrameIndexList(std::initializer_list<RKVideoFrameIndex> frames)
    : m_frames(frames)
{
}

RKVideoFrameIndexList::RKVideoFrameIndexList(const RKVideoFrameIndex& frame)
    : m_frames{frame}
{
}

RKVideoFrameIndexList::~RKVideoFrameIndexList() = default;

const QList<RKVideoFrameIndex>& RKVideoFrameIndexList::list() const
{
    return m_frames;
}

qsizetype RKVideoFrameIndexList::size() const
{
    return m_frames.size();
}

void RKVideoFrameIndexList::append(const RKVideoFrameIndex& frame)
{
    m_frames.append(frame);
}

bool RKVideoFrameIndexList::operator==(const RKVideoFrameIndexList& other) const
{
    return m_frames == other.m_frames;
}

bool RKVideoFrameIndexList::operator!=(const RKVideoFrameIndexList& other) const
{
    return !(*this == other);
}

RKVideoFrameIndexList RKVideoFrameIndexList::fromCsv(const QString& csv)
{
    RKVideoFrameIndexList frames;
    const QList<int> numbers
        = RKStringHelper::stringListToIntList(csv.split(u',', Qt::SkipEmptyParts));
    for (const int number : numbers)
        frames.append(number);
    return frames;
}

QString RKVideoFrameIndexList::toCsv() const
{
    QStringList numbers;
    for (const RKVideoFrameIndex& frame : m_frames)
        numbers << QString::number(frame.frame());
    return numbers.join(u',');
}

RKVideoFrameIndexList RKVideoFrameIndexList::decode(const QDomElement& element)
{
    return fromCsv(element.attribute(attributeName()));
}

void RKVideoFrameIndexList::encode(QDomElement& element) const
{
    element.setAttribute(attributeName(), toCsv());
}

unsigned int RKVideoFrameIndexList::hash() const
{
    // Kept: hosts compare stored hashes, so neither the limit nor the wrapping may change.
    constexpr unsigned int kSaturated = 2000000000;
    unsigned int hash = 0;
    for (const RKVideoFrameIndex& frame : m_frames) {
        hash += static_cast<unsigned int>(frame.frame());
        if (hash < kSaturated)
            hash *= 2;
    }
    return hash;
}
