#include "RKImageLoader/files/RKByteReader_p.h"
#include "RKImageLoader/files/RKHeifProfile_p.h"

namespace {

constexpr qint64 kTypeSize = 4;
constexpr qint64 kHeaderSize = 8;
constexpr qint64 kLargeHeaderSize = 16;
// The profile of a picture is three boxes deep.
constexpr int kMaxDepth = 4;

/// The number of bytes before the first box inside; -1 for a box that holds no others.
qint64 startOfBoxes(QByteArrayView type)
{
    // Version and flags.
    constexpr qint64 kFullBox = 4;
    if (type == "meta")
        return kFullBox;
    return type == "moov" || type == "iprp" || type == "ipco" ? 0 : -1;
}

} // namespace

RKHeifProfile::RKHeifProfile(const QByteArray& file)
    : m_file(file)
{
    search(0, file.size(), 0);
}

void RKHeifProfile::search(qint64 begin, qint64 end, int depth)
{
    const RKByteReader reader(m_file);
    while (begin <= end - kHeaderSize) {
        const quint64 shortSize = reader.numberAt<quint32>(begin).value_or(0);
        const bool isLarge = shortSize == 1;
        const quint64 size = isLarge ? reader.numberAt<quint64>(begin + kHeaderSize).value_or(0)
            : shortSize == 0         ? quint64(end - begin)
                                     : shortSize;
        const qint64 header = isLarge ? kLargeHeaderSize : kHeaderSize;
        if (size < quint64(header) || size > quint64(end - begin))
            return;
        const Box box{begin + kTypeSize, begin + header, begin + qint64(size)};
        const QByteArrayView type = reader.from(box.type).first(kTypeSize);
        const bool isProfile = reader.has("prof", box.begin) || reader.has("rICC", box.begin);
        if (type == "colr" && isProfile && box.end - box.begin > kTypeSize)
            m_profiles.append(box);
        else if (const qint64 start = startOfBoxes(type); start >= 0 && depth < kMaxDepth)
            search(box.begin + start, box.end, depth + 1);
        begin = box.end;
    }
}

QByteArray RKHeifProfile::profile() const
{
    if (m_profiles.isEmpty())
        return {};
    const Box& box = m_profiles.constFirst();
    return m_file.mid(box.begin + kTypeSize, box.end - box.begin - kTypeSize);
}

QByteArray RKHeifProfile::fileWithoutProfile() const
{
    if (m_profiles.isEmpty())
        return {};
    QByteArray file = m_file;
    for (const Box& box : m_profiles)
        file.replace(box.type, kTypeSize, "free");
    return file;
}
