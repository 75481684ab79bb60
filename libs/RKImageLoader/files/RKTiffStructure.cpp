#include "RKImageLoader/files/RKTiffStructure_p.h"
#include "RKImageLoader/files/RKTiffTags_p.h"

#include <QSet>

#include <algorithm>
#include <array>
#include <deque>

namespace {

constexpr qsizetype kHeaderSize = 8;

// A file with more was made to cost time: ten thousand pages have a tenth of these entries, and few
// pictures have as many strips or tiles.
constexpr quint64 kMaxDirectories = 10'000;
constexpr quint64 kMaxPlaces = 10 * kMaxDirectories;
constexpr quint64 kMaxEntries = 2'000'000;
constexpr quint64 kMaxStrips = 1'000'000;

constexpr std::array kPixelTags = {std::pair(RKTiffTag::kStripOffsets, RKTiffTag::kStripSizes),
    std::pair(RKTiffTag::kTileOffsets, RKTiffTag::kTileSizes),
    std::pair(RKTiffTag::kJpegOffset, RKTiffTag::kJpegSize)};

using Entry = RKTiffStructure::Entry;
using Range = RKTiffStructure::Range;
using Directory = RKTiffStructure::Directory;

/// TIFF, and the raw files of Olympus.
bool isKnownMagic(quint16 magic)
{
    return magic == 42 || magic == 0x4f52 || magic == 0x5352;
}

QSysInfo::Endian orderOf(QByteArrayView bytes)
{
    return bytes.startsWith("II") ? QSysInfo::LittleEndian : QSysInfo::BigEndian;
}

QByteArray nameOf(quint16 pointerTag, qsizetype index)
{
    switch (pointerTag) {
    case RKTiffTag::kExifDirectory: return "Exif";
    case RKTiffTag::kGpsDirectory: return "GPS";
    case RKTiffTag::kInteroperabilityDirectory: return "Iop";
    default: return "SubIFD" + QByteArray::number(index);
    }
}

/// Some files have signed ones (FurnaceCreekInn.jpg).
bool isPlace(quint16 type)
{
    return type == RKTiffType::kLong || type == RKTiffType::kSignedLong
        || type == RKTiffType::kDirectory;
}

bool isOffsets(quint16 tag)
{
    return std::any_of(kPixelTags.begin(), kPixelTags.end(), [tag](const auto& pair) {
        return pair.first == tag;
    });
}

/// After the last directory, cameras write what they like. In the main chain, only a directory is
/// expected to lie there.
bool isCredible(const std::vector<Entry>& entries)
{
    return !entries.empty() && std::all_of(entries.begin(), entries.end(), [](const Entry& entry) {
        return RKTiffType::sizeOf(entry.type) != 0;
    });
}

/// What a structure may hold without having been made to cost time.
class Budget
{
public:
    explicit Budget(qsizetype bytes)
        : m_entries(std::min(kMaxEntries, quint64(bytes) / RKTiffStructure::kEntrySize))
        , m_strips(std::min(kMaxStrips, quint64(bytes) / sizeof(quint16)))
    {
    }

    bool takesDirectory(quint64 entries)
    {
        return take(m_directories, 1) && take(m_entries, entries);
    }

    /// count: of the values that the entry has within the structure.
    bool takesValues(const Entry& entry, quint64 count)
    {
        return take(m_strips, isOffsets(entry.tag) ? count : 0)
            && take(m_places, RKTiffStructure::leadsToDirectories(entry) ? count : 0);
    }

private:
    static bool take(quint64& rest, quint64 count)
    {
        if (count > rest)
            return false;
        rest -= count;
        return true;
    }

    quint64 m_directories = kMaxDirectories;
    quint64 m_places = kMaxPlaces;
    quint64 m_entries;
    quint64 m_strips;
};

/// Places that are still to be looked at.
struct Candidate
{
    QByteArray path;
    quint32 place = 0;
    // Of the main chain, where the directory stands in it; else -1.
    int chained = -1;
    bool isExpected = true;
};

/// What a directory is followed by.
Candidate next(const Candidate& directory, quint32 place)
{
    if (directory.chained < 0)
        return {directory.path + "/next", place, -1, false};
    const int number = directory.chained + 1;
    return {"IFD" + QByteArray::number(number), place, number};
}

} // namespace

RKTiffStructure::RKTiffStructure(QByteArrayView bytes)
    : RKTiffStructure(bytes, {})
{
}

RKTiffStructure::RKTiffStructure(QByteArrayView bytes, const Fetch& fetch)
    : m_reader(bytes, orderOf(bytes))
    , m_fetch(fetch)
{
    m_isValid = bytes.size() >= kHeaderSize && (bytes.startsWith("II") || bytes.startsWith("MM"))
        && isKnownMagic(m_reader.numberAt<quint16>(2).value_or(0))
        && hasDirectoryAt(firstDirectory());
}

bool RKTiffStructure::isValid() const
{
    return m_isValid;
}

QSysInfo::Endian RKTiffStructure::byteOrder() const
{
    return orderOf(bytes());
}

QByteArrayView RKTiffStructure::bytes() const
{
    return m_reader.from(0);
}

/// The bytes at a place; nullopt for a place that is not wholly inside.
std::optional<QByteArrayView> RKTiffStructure::fetched(qint64 place, quint64 size) const
{
    const auto bytes = m_reader.bytesAt(place, size);
    if (bytes && m_fetch)
        m_fetch({quint64(place), quint64(place) + size});
    return bytes;
}

/// The number of entries of a directory.
std::optional<quint16> RKTiffStructure::countAt(qint64 place) const
{
    return fetched(place, kCountSize) ? m_reader.numberAt<quint16>(place) : std::nullopt;
}

quint32 RKTiffStructure::numberAt(qint64 place) const
{
    return fetched(place, sizeof(quint32)) ? m_reader.numberAt<quint32>(place).value_or(0) : 0;
}

quint32 RKTiffStructure::firstDirectory() const
{
    return numberAt(kFirstDirectoryPointer);
}

quint32 RKTiffStructure::directoryAfter(quint32 directory) const
{
    const quint32 next = numberAt(endOfEntries(directory));
    return hasDirectoryAt(next) ? next : 0;
}

bool RKTiffStructure::hasDirectoryAt(quint32 place) const
{
    const auto count = countAt(place);
    return place >= kHeaderSize && count
        && m_reader.bytesAt(place, kCountSize + quint64(*count) * kEntrySize + kNextSize);
}

quint32 RKTiffStructure::endOfEntries(quint32 directory) const
{
    const auto count = countAt(directory);
    return count && directory != 0 ? directory + kCountSize + *count * kEntrySize : 0;
}

std::vector<Entry> RKTiffStructure::entriesOf(quint32 directory) const
{
    std::vector<Entry> entries;
    if (!hasDirectoryAt(directory))
        return entries;
    entries.resize(countAt(directory).value_or(0));
    fetched(directory, kCountSize + entries.size() * kEntrySize);
    RKByteReader reader(m_reader.from(directory), byteOrder());
    reader.take(kCountSize);
    for (Entry& entry : entries) {
        entry.tag = reader.number<quint16>();
        entry.type = reader.number<quint16>();
        entry.count = reader.number<quint32>();
        entry.field = directory + static_cast<quint32>(reader.position());
        reader.take(kFieldSize);
    }
    return entries;
}

bool RKTiffStructure::isInField(const Entry& entry) const
{
    return quint64(entry.count) * RKTiffType::sizeOf(entry.type) <= kFieldSize;
}

Range RKTiffStructure::claimedRange(const Entry& entry) const
{
    const quint64 size = quint64(entry.count) * std::max(1U, RKTiffType::sizeOf(entry.type));
    const quint64 start = size <= kFieldSize ? entry.field : numberAt(entry.field);
    return {start, start + size};
}

std::optional<Range> RKTiffStructure::valueRange(const Entry& entry) const
{
    const Range range = claimedRange(entry);
    if (RKTiffType::sizeOf(entry.type) == 0 || range.end > quint64(m_reader.size()))
        return {};
    return range;
}

std::vector<quint32> RKTiffStructure::numbersOf(const Entry& entry) const
{
    std::vector<quint32> numbers;
    const auto range = valueRange(entry);
    const bool isShort = entry.type == RKTiffType::kShort;
    if (!range || (!isShort && !isPlace(entry.type)))
        return numbers;
    RKByteReader reader(
        fetched(qint64(range->start), range->size()).value_or(QByteArrayView()), byteOrder());
    numbers.resize(entry.count);
    for (quint32& number : numbers)
        number = isShort ? reader.number<quint16>() : reader.number<quint32>();
    return numbers;
}

std::vector<Range> RKTiffStructure::pixelsOf(const Directory& directory) const
{
    std::vector<Range> ranges;
    const auto numbers = [&](quint16 tag) {
        const auto entry = std::find_if(directory.entries.begin(),
            directory.entries.end(),
            [tag](const Entry& other) { return other.tag == tag; });
        return entry == directory.entries.end() ? std::vector<quint32>() : numbersOf(*entry);
    };
    for (const auto& [offsetTag, sizeTag] : kPixelTags) {
        const std::vector<quint32> offsets = numbers(offsetTag);
        const std::vector<quint32> sizes = numbers(sizeTag);
        for (size_t i = 0; i < std::min(offsets.size(), sizes.size()); ++i)
            ranges.push_back({offsets[i], quint64(offsets[i]) + sizes[i]});
    }
    return ranges;
}

std::optional<std::vector<Directory>> RKTiffStructure::directories() const
{
    std::vector<Directory> found;
    if (!m_isValid)
        return found;
    Budget budget(m_reader.size());
    QSet<quint32> known;
    std::deque<Candidate> open{{"IFD0", firstDirectory(), 0}};
    while (!open.empty()) {
        const Candidate candidate = open.front();
        open.pop_front();
        if (!hasDirectoryAt(candidate.place) || known.contains(candidate.place))
            continue;
        if (!budget.takesDirectory(countAt(candidate.place).value_or(0)))
            return {};
        Directory directory{candidate.path, candidate.place, entriesOf(candidate.place)};
        if (!candidate.isExpected && !isCredible(directory.entries))
            continue;
        known.insert(candidate.place);
        for (const Entry& entry : directory.entries) {
            if (!budget.takesValues(entry, valueRange(entry) ? entry.count : 0))
                return {};
            if (!leadsToDirectories(entry))
                continue;
            qsizetype index = 0;
            for (const quint32 place : numbersOf(entry))
                open.push_back({candidate.path + '/' + nameOf(entry.tag, index++), place});
        }
        open.push_back(next(candidate, numberAt(endOfEntries(candidate.place))));
        found.push_back(std::move(directory));
    }
    return found;
}

bool RKTiffStructure::leadsToDirectories(const Entry& entry)
{
    return isPointer(entry.tag) && isPlace(entry.type);
}

bool RKTiffStructure::isPointer(quint16 tag)
{
    return tag == RKTiffTag::kSubDirectories || tag == RKTiffTag::kExifDirectory
        || tag == RKTiffTag::kGpsDirectory || tag == RKTiffTag::kInteroperabilityDirectory;
}
