#include "RKImageLoader/decoders/RKRawDirectories_p.h"
#include "RKImageLoader/files/RKTiffTags_p.h"

#include <QHash>

#include <algorithm>

namespace {

constexpr qint64 kFirstDirectory = 4;
constexpr qint64 kEntrySize = 12;
// More than cameras write, and few enough for a hostile file to cost next to nothing.
constexpr qsizetype kMaxDirectories = 32;
constexpr quint32 kMaxStrips = 65536;

constexpr quint16 kPhotometric = 0x0106;
// Greater numbers stand for the sensor's data, depth and masks.
constexpr qint64 kYCbCr = 6;
// Panasonic's RW2 gives the place of its pixels here and a blank one in the usual tag.
constexpr quint16 kPanasonicPixels = 0x0118;

constexpr QByteArrayView kRafSignature = "FUJIFILMCCD-RAW ";
// The place and the size of the sensor's data, after those of the preview and of the tags.
constexpr qint64 kRafPixels = 100;

constexpr QByteArrayView kJpegStart = "\xff\xd8\xff";

QSysInfo::Endian byteOrder(QByteArrayView file)
{
    return file.startsWith("II") ? QSysInfo::LittleEndian : QSysInfo::BigEndian;
}

} // namespace

struct RKRawDirectories::Entry
{
    quint16 type = 0;
    quint32 count = 0;
    /// The place of the values.
    qint64 place = 0;
};

RKRawDirectories::RKRawDirectories(QByteArrayView file)
    : m_file(file)
    , m_reader(file, byteOrder(file))
{
    if (file.startsWith("II") || file.startsWith("MM"))
        readTiff();
    else if (file.startsWith(kRafSignature))
        readRaf();
}

bool RKRawDirectories::isTruncated(qint64 pixels) const
{
    const auto isMeant = [pixels](const Pixels& one) {
        return one.place == pixels
            || std::any_of(one.extents.begin(), one.extents.end(), [pixels](const Extent& extent) {
                   return extent.offset <= pixels
                       && pixels - extent.offset < std::max<qint64>(extent.size, 1);
               });
    };
    const auto isCut = [this](const Pixels& one) {
        return !std::all_of(one.extents.begin(), one.extents.end(), [this](const Extent& extent) {
            return isInside(extent);
        });
    };
    return pixels >= m_file.size()
        || std::any_of(m_pixels.begin(), m_pixels.end(), [&](const Pixels& one) {
               return isMeant(one) && isCut(one);
           });
}

QList<QByteArrayView> RKRawDirectories::previews() const
{
    QList<QByteArrayView> found;
    for (const Pixels& one : m_pixels) {
        if (!one.isFinished || one.extents.size() != 1 || !isInside(one.extents.first()))
            continue;
        const Extent extent = one.extents.first();
        const QByteArrayView bytes = m_file.sliced(extent.offset, extent.size);
        if (bytes.startsWith(kJpegStart))
            found << bytes;
    }
    return found;
}

void RKRawDirectories::readTiff()
{
    QList<qint64> ahead{m_reader.numberAt<quint32>(kFirstDirectory).value_or(0)};
    for (qsizetype i = 0; i < ahead.size(); ++i)
        readDirectory(ahead[i], ahead);
}

// Adds the directories that this one leads to.
void RKRawDirectories::readDirectory(qint64 place, QList<qint64>& ahead)
{
    const auto lead = [&ahead](qint64 directory) {
        if (directory > 0 && ahead.size() < kMaxDirectories && !ahead.contains(directory))
            ahead << directory;
    };
    // The first of each tag counts.
    QHash<quint16, Entry> entries;
    const qint64 count = m_reader.numberAt<quint16>(place).value_or(0);
    for (qint64 i = 0; i < count; ++i) {
        const qint64 at = place + 2 + i * kEntrySize;
        const auto tag = m_reader.numberAt<quint16>(at);
        if (!tag)
            break;
        if (!entries.contains(*tag))
            entries.insert(*tag, entryAt(at));
    }

    const QList<qint64> photometric = numbers(entries.value(kPhotometric));
    const bool isFinished = photometric.isEmpty() || photometric.first() <= kYCbCr;
    add(entries.value(RKTiffTag::kStripOffsets), entries.value(RKTiffTag::kStripSizes), isFinished);
    add(entries.value(kPanasonicPixels), entries.value(RKTiffTag::kStripSizes), false);
    add(entries.value(RKTiffTag::kTileOffsets), entries.value(RKTiffTag::kTileSizes), isFinished);
    add(entries.value(RKTiffTag::kJpegOffset), entries.value(RKTiffTag::kJpegSize), isFinished);
    const QList<qint64> directories = numbers(entries.value(RKTiffTag::kSubDirectories));
    std::for_each(directories.begin(), directories.end(), lead);
    lead(m_reader.numberAt<quint32>(place + 2 + count * kEntrySize).value_or(0));
}

// Fujifilm's header, which says the same of every kind of sensor.
void RKRawDirectories::readRaf()
{
    const qint64 offset = m_reader.numberAt<quint32>(kRafPixels).value_or(0);
    const qint64 size = m_reader.numberAt<quint32>(kRafPixels + 4).value_or(0);
    m_pixels << Pixels{kRafPixels, {{offset, size}}, false};
}

RKRawDirectories::Entry RKRawDirectories::entryAt(qint64 place) const
{
    Entry entry{m_reader.numberAt<quint16>(place + 2).value_or(0),
        m_reader.numberAt<quint32>(place + 4).value_or(0),
        place + 8};
    if (quint64(entry.count) * RKTiffType::sizeOf(entry.type) > 4)
        entry.place = m_reader.numberAt<quint32>(entry.place).value_or(0);
    return entry;
}

// Those that lie in the file.
QList<qint64> RKRawDirectories::numbers(const Entry& entry) const
{
    QList<qint64> found;
    for (qint64 i = 0; i < std::min(entry.count, kMaxStrips); ++i) {
        std::optional<quint32> number = m_reader.numberAt<quint32>(entry.place + 4 * i);
        if (entry.type == RKTiffType::kShort)
            number = m_reader.numberAt<quint16>(entry.place + 2 * i);
        if (!number)
            break;
        found << *number;
    }
    return found;
}

void RKRawDirectories::add(const Entry& offsets, const Entry& sizes, bool isFinished)
{
    Pixels pixels{offsets.place, {}, isFinished};
    const QList<qint64> allOffsets = numbers(offsets);
    const QList<qint64> allSizes = numbers(sizes);
    for (qsizetype i = 0; i < allOffsets.size(); ++i)
        pixels.extents << Extent{allOffsets[i], allSizes.value(i)};
    if (!pixels.extents.isEmpty())
        m_pixels << pixels;
}

bool RKRawDirectories::isInside(const Extent& extent) const
{
    return extent.offset < m_file.size() && extent.size <= m_file.size() - extent.offset;
}
