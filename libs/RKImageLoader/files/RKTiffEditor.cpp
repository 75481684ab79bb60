#include "RKImageLoader/files/RKTiffEditor_p.h"
#include "RKImageLoader/files/RKTiffTags_p.h"

#include <algorithm>
#include <limits>
#include <map>

namespace {

constexpr quint64 kMaxSize = std::numeric_limits<quint32>::max();
constexpr qsizetype kMaxEntries = std::numeric_limits<quint16>::max();

constexpr qsizetype kFieldSize = RKTiffStructure::kFieldSize;

qsizetype sizeOfDirectory(qsizetype entries)
{
    return RKTiffStructure::kCountSize + entries * RKTiffStructure::kEntrySize
        + RKTiffStructure::kNextSize;
}

/// No more than its one owner uses any of these bytes.
bool isUsedOnce(
    const RKTiffStructure::Range& place, const std::vector<RKTiffStructure::Range>& used)
{
    int users = 0;
    return std::none_of(used.begin(), used.end(), [&](const RKTiffStructure::Range& range) {
        users += range.start < place.end && place.start < range.end ? 1 : 0;
        return users > 1;
    });
}

} // namespace

RKTiffEditor::RKTiffEditor(const RKSparseBytes& structure, Places places)
    : m_places(places)
    , m_bytes(structure)
{
}

RKTiffStructure RKTiffEditor::read() const
{
    return RKTiffStructure(m_bytes.view());
}

bool RKTiffEditor::isValid() const
{
    return read().isValid();
}

bool RKTiffEditor::isLittleEndian() const
{
    return read().byteOrder() == QSysInfo::LittleEndian;
}

qsizetype RKTiffEditor::numberOfDirectories() const
{
    const auto directories = read().directories();
    return directories ? qsizetype(directories->size()) : 0;
}

RKSparseBytes RKTiffEditor::structure() const
{
    return m_bytes;
}

QByteArray RKTiffEditor::bytesOf(quint32 number) const
{
    return RKByteReader::bytesOf(number, read().byteOrder());
}

/// A copy: edits change the bytes themselves.
QByteArray RKTiffEditor::bytesAt(quint64 place, quint64 size) const
{
    return m_bytes.view().sliced(qsizetype(place), qsizetype(size)).toByteArray();
}

void RKTiffEditor::overwrite(quint64 place, const QByteArray& bytes)
{
    m_bytes.overwrite(qint64(place), bytes);
}

/// Where the value of an entry lies; nullopt for one in the entry itself, or outside of the
/// structure.
std::optional<RKTiffEditor::Range> RKTiffEditor::outsideRange(
    const RKTiffStructure::Entry& entry) const
{
    const RKTiffStructure tiff = read();
    return tiff.isInField(entry) ? std::nullopt : tiff.valueRange(entry);
}

/// Of directories, values and pixels. nullopt where these are too many.
std::optional<std::vector<RKTiffEditor::Range>> RKTiffEditor::usedRanges() const
{
    const RKTiffStructure tiff = read();
    const auto directories = tiff.directories();
    if (!directories)
        return {};
    std::vector<Range> ranges;
    for (const RKTiffStructure::Directory& directory : *directories) {
        const auto size = quint64(sizeOfDirectory(qsizetype(directory.entries.size())));
        ranges.push_back({directory.place, directory.place + size});
        for (const RKTiffStructure::Entry& entry : directory.entries) {
            if (const auto range = outsideRange(entry))
                ranges.push_back(*range);
        }
        const std::vector<Range> pixels = tiff.pixelsOf(directory);
        ranges.insert(ranges.end(), pixels.begin(), pixels.end());
    }
    return ranges;
}

std::optional<RKTiffEditor::Place> RKTiffEditor::findSubdirectory(
    const std::optional<Place>& parent, quint16 pointerTag) const
{
    if (!parent || parent->directory == 0)
        return parent ? Place() : parent;
    const RKTiffStructure tiff = read();
    for (const RKTiffStructure::Entry& entry : tiff.entriesOf(parent->directory)) {
        if (entry.tag == pointerTag && entry.count > 0) {
            const quint32 directory = tiff.numberAt(entry.field);
            const bool isFound = RKTiffStructure::leadsToDirectories(entry) && entry.count == 1
                && tiff.hasDirectoryAt(directory);
            return isFound ? std::optional(Place{directory, entry.field}) : std::nullopt;
        }
    }
    return Place();
}

/// nullopt for one that lies outside of the structure, or that readers would not find.
std::optional<RKTiffEditor::Place> RKTiffEditor::find(Directory directory) const
{
    const Place image{read().firstDirectory(), RKTiffStructure::kFirstDirectoryPointer};
    switch (directory) {
    case Directory::Image: return image;
    case Directory::Photo: return findSubdirectory(image, RKTiffTag::kExifDirectory);
    case Directory::GpsInfo: return findSubdirectory(image, RKTiffTag::kGpsDirectory);
    case Directory::Interoperability:
        return findSubdirectory(find(Directory::Photo), RKTiffTag::kInteroperabilityDirectory);
    }
    return {};
}

std::optional<RKTiffEditor::Tag> RKTiffEditor::tag(quint16 number) const
{
    const RKTiffStructure tiff = read();
    if (!tiff.isValid())
        return {};
    for (const RKTiffStructure::Entry& entry : tiff.entriesOf(tiff.firstDirectory())) {
        if (entry.tag != number)
            continue;
        const auto range = tiff.valueRange(entry);
        return Tag{
            entry.tag, entry.type, range ? bytesAt(range->start, range->size()) : QByteArray()};
    }
    return {};
}

/// Appends at an even place (TIFF 6.0, section 2).
quint32 RKTiffEditor::append(const QByteArray& bytes)
{
    const qint64 place = (m_bytes.size() + 1) / 2 * 2;
    m_bytes.resize(place);
    m_bytes.overwrite(place, bytes);
    return static_cast<quint32>(place);
}

/// Puts bytes into an old place where they fit and nothing else uses it, else appends them.
quint32 RKTiffEditor::put(
    const QByteArray& bytes, const std::optional<Range>& old, const std::vector<Range>& used)
{
    const bool mayStay = old && m_places == Places::Reuse
        && (quint64(bytes.size()) <= old->size() || old->end == quint64(m_bytes.size()))
        && isUsedOnce(*old, used);
    if (!mayStay)
        return append(bytes);
    overwrite(old->start, bytes);
    return static_cast<quint32>(old->start);
}

/// All that has to be appended stays below 4 GiB.
bool RKTiffEditor::canTake(const QList<Entry>& entries, qsizetype others) const
{
    // A new directory, one that leads to it and moves for that, and all that makes places even.
    constexpr qsizetype kDirectories = 4;
    quint64 size = quint64(m_bytes.size()) + quint64(others);
    size += quint64(kDirectories * sizeOfDirectory(kMaxEntries));
    for (const Entry& entry : entries)
        size += quint64(entry.value.size()) + 1;
    return size <= kMaxSize && entries.size() < kMaxEntries;
}

/// The entries of a directory after a change; nullopt where one of its tags is of an unknown type.
std::optional<QList<RKTiffEditor::Entry>> RKTiffEditor::changedEntries(
    quint32 directory, const QList<Tag>& set, const QList<quint16>& removed) const
{
    QList<Entry> entries;
    // The places of the values that are replaced, by their tags.
    std::multimap<quint16, std::optional<Range>> replaced;
    for (const RKTiffStructure::Entry& entry : read().entriesOf(directory)) {
        const bool isReplaced = std::any_of(
            set.begin(), set.end(), [&entry](const Tag& tag) { return tag.number == entry.tag; });
        if (isReplaced)
            replaced.emplace(entry.tag, outsideRange(entry));
        else if (!removed.contains(entry.tag)) {
            entries.append({entry.tag,
                entry.type,
                entry.count,
                bytesAt(entry.field, kFieldSize),
                {},
                outsideRange(entry)});
        }
    }
    for (const Tag& tag : set) {
        const quint32 size = RKTiffType::sizeOf(tag.type);
        if (size == 0 || tag.value.size() % size != 0)
            return {};
        const auto old = replaced.find(tag.number);
        const auto at = std::find_if(entries.begin(), entries.end(), [&tag](const Entry& entry) {
            return entry.tag > tag.number;
        });
        entries.insert(at,
            {tag.number,
                tag.type,
                static_cast<quint32>(tag.value.size() / size),
                {},
                tag.value,
                old == replaced.end() ? std::nullopt : old->second});
        if (old != replaced.end())
            replaced.erase(old);
    }
    return entries;
}

/// The directory that has the tag which leads to another one, and that tag.
std::pair<RKTiffEditor::Directory, quint16> RKTiffEditor::wayTo(Directory directory)
{
    switch (directory) {
    case Directory::Interoperability:
        return {Directory::Photo, RKTiffTag::kInteroperabilityDirectory};
    case Directory::GpsInfo: return {Directory::Image, RKTiffTag::kGpsDirectory};
    default: return {Directory::Image, RKTiffTag::kExifDirectory};
    }
}

/// Makes an empty directory and the tag that leads to it.
std::optional<RKTiffEditor::Place> RKTiffEditor::create(Directory directory)
{
    const auto [parent, pointer] = wayTo(directory);
    const quint32 place = append(QByteArray(sizeOfDirectory(0), '\0'));
    if (!change(parent, {{pointer, RKTiffType::kLong, bytesOf(place)}}, {}))
        return {};
    return find(directory);
}

/// The values of tags that are in no entry, and that nothing else uses.
std::vector<RKTiffEditor::Range> RKTiffEditor::ownRanges(
    quint32 directory, const QList<quint16>& tags, const std::vector<Range>& used) const
{
    std::vector<Range> ranges;
    for (const RKTiffStructure::Entry& entry : read().entriesOf(directory)) {
        const auto range = tags.contains(entry.tag) ? outsideRange(entry) : std::nullopt;
        if (range && isUsedOnce(*range, used))
            ranges.push_back(*range);
    }
    return ranges;
}

bool RKTiffEditor::change(Directory directory, const QList<Tag>& set, const QList<quint16>& removed)
{
    if (!isValid())
        return false;
    std::optional<Place> place = find(directory);
    if (!place)
        return false;
    const bool isMissing = place->directory == 0;
    if (isMissing && set.isEmpty())
        return true;
    const auto entries = changedEntries(place->directory, set, removed);
    const auto used = usedRanges();
    if (!entries || !canTake(*entries, 0) || !used)
        return false;
    const qint64 size = m_bytes.size();
    if (isMissing)
        place = create(directory);
    if (!place || place->directory == 0) {
        m_bytes.resize(size);
        return false;
    }
    const quint32 next = read().numberAt(read().endOfEntries(place->directory));
    const std::vector<Range> unused = m_places == Places::Reuse
        ? ownRanges(place->directory, removed, *used)
        : std::vector<Range>();
    rewrite(*place, *entries, next, isMissing ? usedRanges().value_or(*used) : *used);
    // Who has a position removed doesn't want it to be found any more.
    for (const Range& range : unused)
        overwrite(range.start, QByteArray(qsizetype(range.size()), '\0'));
    // TIFF 6.0, section 2: there has to be an entry.
    const auto [parent, pointer] = wayTo(directory);
    return !entries->isEmpty() || directory == Directory::Image || change(parent, {}, {pointer});
}

/// A place for a directory of so many entries; the old one, if there is one, is blanked.
quint32 RKTiffEditor::makeRoom(quint32 directory, qsizetype entries, const std::vector<Range>& used)
{
    const QByteArray blank(sizeOfDirectory(entries), '\0');
    if (directory == 0)
        return append(blank);
    const quint64 end = quint64(read().endOfEntries(directory)) + RKTiffStructure::kNextSize;
    const Range old{directory, end};
    const quint32 place = put(blank, old, used);
    // Some files have a second way to the old place: nobody is to read there what was.
    if (place != directory && m_places == Places::Reuse && isUsedOnce(old, used))
        overwrite(old.start, QByteArray(qsizetype(old.size()), '\0'));
    return place;
}

/// The value, for a block of metadata with zeros up to the end of the longer one that it replaces:
/// that may be what somebody has removed. Other values are left, for damaged maker notes lead
/// there.
QByteArray RKTiffEditor::withBlankEnd(const Entry& entry)
{
    const bool isBlock = entry.tag == RKTiffTag::kXmp || entry.tag == RKTiffTag::kIptc
        || entry.tag == RKTiffTag::kPhotoshop;
    return isBlock && entry.old ? entry.value.leftJustified(qsizetype(entry.old->size()), '\0')
                                : entry.value;
}

/// Writes a directory in its old place, or where it has become larger, at the end, and the values
/// that its entries bring with them.
void RKTiffEditor::rewrite(
    const Place& place, const QList<Entry>& entries, quint32 next, const std::vector<Range>& used)
{
    const QSysInfo::Endian order = read().byteOrder();
    const auto oldSize = sizeOfDirectory(qsizetype(read().entriesOf(place.directory).size()));
    const bool mayStay = place.directory != 0 && m_places == Places::Reuse
        && sizeOfDirectory(entries.size()) <= oldSize
        && isUsedOnce({place.directory, place.directory + quint64(oldSize)}, used);
    const quint32 directory
        = mayStay ? place.directory : makeRoom(place.directory, entries.size(), used);

    QByteArray bytes = RKByteReader::bytesOf(static_cast<quint16>(entries.size()), order);
    for (const Entry& entry : entries) {
        bytes += RKByteReader::bytesOf(entry.tag, order) + RKByteReader::bytesOf(entry.type, order)
            + RKByteReader::bytesOf(entry.count, order);
        if (!entry.field.isEmpty())
            bytes += entry.field;
        else if (entry.value.size() <= kFieldSize)
            bytes += entry.value.leftJustified(kFieldSize, '\0');
        else
            bytes += bytesOf(put(withBlankEnd(entry), entry.old, used));
    }
    bytes += bytesOf(next);
    // Nothing of an entry that was removed stays.
    if (mayStay)
        bytes = bytes.leftJustified(oldSize, '\0');
    overwrite(directory, bytes);
    overwrite(place.pointer, bytesOf(directory));
}

/// The first number that a tag has; nullopt without the tag.
std::optional<quint32> RKTiffEditor::numberOf(quint32 directory, quint16 tag) const
{
    const RKTiffStructure tiff = read();
    for (const RKTiffStructure::Entry& entry : tiff.entriesOf(directory)) {
        if (entry.tag == tag) {
            const std::vector<quint32> numbers = tiff.numbersOf(entry);
            return numbers.empty() ? 0 : numbers.front();
        }
    }
    return {};
}

bool RKTiffEditor::hasPixels(quint32 directory) const
{
    return numberOf(directory, RKTiffTag::kStripOffsets)
        || numberOf(directory, RKTiffTag::kTileOffsets);
}

/// And not a page of a file of several.
bool RKTiffEditor::isThumbnail(quint32 directory) const
{
    constexpr quint32 kReduced = 1;
    // Exif 2.32, 4.6.2, recommends 160x120.
    constexpr quint32 kMaxSide = 320;
    const auto isSmall = [&](quint16 tag) {
        const quint32 side = numberOf(directory, tag).value_or(0);
        return side <= kMaxSide && side < numberOf(read().firstDirectory(), tag).value_or(0);
    };
    return !hasPixels(directory) || !hasPixels(read().firstDirectory())
        || numberOf(directory, RKTiffTag::kJpegOffset)
        || (isSmall(RKTiffTag::kWidth) && isSmall(RKTiffTag::kHeight))
        || (numberOf(directory, RKTiffTag::kSubfileType).value_or(0) & kReduced) != 0;
}

bool RKTiffEditor::setThumbnail(const QList<Tag>& tags, const QByteArray& jpeg)
{
    const RKTiffStructure tiff = read();
    const auto used = usedRanges();
    if (!tiff.isValid() || !used)
        return false;
    const quint32 pointer = tiff.endOfEntries(tiff.firstDirectory());
    const quint32 old = tiff.directoryAfter(tiff.firstDirectory());
    const quint32 next = old == 0 ? 0 : tiff.directoryAfter(old);
    if (old != 0 && !isThumbnail(old))
        return false;

    QList<Tag> all = tags;
    all.append({RKTiffTag::kJpegOffset, RKTiffType::kLong, bytesOf(0)});
    all.append({RKTiffTag::kJpegSize, RKTiffType::kLong, bytesOf(quint32(jpeg.size()))});
    auto entries = changedEntries(0, all, {});
    if (!entries || !canTake(*entries, jpeg.size()))
        return false;
    // The size of an Exif block is limited. A file that is a TIFF may have other ways to the old
    // one.
    const std::vector<Range> pixels = tiff.pixelsOf({{}, old, tiff.entriesOf(old)});
    const bool mayReplace = !pixels.empty() && !hasPixels(tiff.firstDirectory());
    const QByteArray place
        = bytesOf(put(jpeg, mayReplace ? std::optional(pixels.front()) : std::nullopt, *used));
    for (Entry& entry : *entries) {
        if (entry.tag == RKTiffTag::kJpegOffset)
            entry.value = place;
    }
    rewrite({old, pointer}, *entries, next, *used);
    return true;
}

bool RKTiffEditor::removeThumbnail()
{
    const RKTiffStructure tiff = read();
    const auto used = usedRanges();
    if (!tiff.isValid() || !used)
        return false;
    const quint32 pointer = tiff.endOfEntries(tiff.firstDirectory());
    const quint32 old = tiff.directoryAfter(tiff.firstDirectory());
    if (old == 0)
        return true;
    if (!isThumbnail(old))
        return false;
    const quint32 next = tiff.directoryAfter(old);
    if (next != 0)
        rewrite({old, pointer}, {}, next, *used);
    else
        overwrite(pointer, bytesOf(0));
    return true;
}
