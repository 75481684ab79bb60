#include "RKImageLoader/files/RKTiffEditor_p.h"
#include "RKImageLoader/files/RKTiffTags_p.h"

#include <QSet>
#include <QtEndian>

#include <algorithm>
#include <limits>

namespace {

// TIFF 6.0, section 2: header, then directories of entries of 12 bytes, then the next one's place.
constexpr qsizetype kHeaderSize = 8;
constexpr quint32 kFirstDirectoryPointer = 4;
constexpr quint32 kCountSize = 2;
constexpr quint32 kEntrySize = 12;
constexpr quint32 kTypeInEntry = 2;
constexpr quint32 kNumberInEntry = 4;
constexpr quint32 kFieldInEntry = 8;
constexpr quint32 kFieldSize = 4;
constexpr quint32 kNextSize = 4;
constexpr qsizetype kMaxEntries = std::numeric_limits<quint16>::max();

constexpr quint64 kMaxSize = std::numeric_limits<quint32>::max();

// A file with more is none that anybody has made on purpose.
constexpr qsizetype kMaxDirectories = 10000;

/// TIFF, and the raw files of Olympus.
bool isKnownMagic(quint16 magic)
{
    return magic == 42 || magic == 0x4f52 || magic == 0x5352;
}

bool isPointer(quint16 tag)
{
    return tag == RKTiffTag::kSubDirectories || tag == RKTiffTag::kExifDirectory
        || tag == RKTiffTag::kGpsDirectory || tag == RKTiffTag::kInteroperabilityDirectory;
}

} // namespace

RKTiffEditor::RKTiffEditor(const QByteArray& structure)
    : m_bytes(structure)
    , m_isLittleEndian(structure.startsWith("II"))
{
    m_isValid = m_bytes.size() >= kHeaderSize && (m_isLittleEndian || m_bytes.startsWith("MM"))
        && isKnownMagic(read16(2)) && hasDirectoryAt(read32(kFirstDirectoryPointer));
}

bool RKTiffEditor::isValid() const
{
    return m_isValid;
}

bool RKTiffEditor::isLittleEndian() const
{
    return m_isLittleEndian;
}

qsizetype RKTiffEditor::numberOfDirectories() const
{
    return m_isValid ? directories().size() : 0;
}

QByteArray RKTiffEditor::structure() const
{
    return m_bytes;
}

quint16 RKTiffEditor::read16(quint32 at) const
{
    const char* const bytes = m_bytes.constData() + at;
    return m_isLittleEndian ? qFromLittleEndian<quint16>(bytes) : qFromBigEndian<quint16>(bytes);
}

quint32 RKTiffEditor::read32(quint32 at) const
{
    const char* const bytes = m_bytes.constData() + at;
    return m_isLittleEndian ? qFromLittleEndian<quint32>(bytes) : qFromBigEndian<quint32>(bytes);
}

void RKTiffEditor::write16(quint32 at, quint16 value)
{
    char* const bytes = m_bytes.data() + at;
    m_isLittleEndian ? qToLittleEndian(value, bytes) : qToBigEndian(value, bytes);
}

void RKTiffEditor::write32(quint32 at, quint32 value)
{
    char* const bytes = m_bytes.data() + at;
    m_isLittleEndian ? qToLittleEndian(value, bytes) : qToBigEndian(value, bytes);
}

QByteArray RKTiffEditor::bytesOf(quint32 number) const
{
    QByteArray bytes(sizeof number, Qt::Uninitialized);
    m_isLittleEndian ? qToLittleEndian(number, bytes.data()) : qToBigEndian(number, bytes.data());
    return bytes;
}

quint32 RKTiffEditor::numberIn(const QByteArray& field) const
{
    return m_isLittleEndian ? qFromLittleEndian<quint32>(field.constData())
                            : qFromBigEndian<quint32>(field.constData());
}

/// The directory with all of its entries lies inside the structure.
bool RKTiffEditor::hasDirectoryAt(quint32 offset) const
{
    const quint64 size = static_cast<quint64>(m_bytes.size());
    if (offset < kHeaderSize || quint64(offset) + kCountSize > size)
        return false;
    return quint64(offset) + kCountSize + quint64(read16(offset)) * kEntrySize + kNextSize <= size;
}

quint32 RKTiffEditor::endOfEntries(quint32 directory) const
{
    return directory + kCountSize + read16(directory) * kEntrySize;
}

QList<RKTiffEditor::Entry> RKTiffEditor::entriesOf(quint32 directory) const
{
    QList<Entry> entries;
    for (quint32 at = directory + kCountSize; at < endOfEntries(directory); at += kEntrySize) {
        Entry entry;
        entry.tag.number = read16(at);
        entry.tag.type = read16(at + kTypeInEntry);
        entry.count = read32(at + kNumberInEntry);
        entry.field = m_bytes.mid(at + kFieldInEntry, kFieldSize);
        entries.append(entry);
    }
    return entries;
}

/// Where the value of an entry lies; nothing for one that is in the entry itself, or outside of the
/// structure.
std::optional<RKTiffEditor::Range> RKTiffEditor::valueRange(const Entry& entry) const
{
    const quint64 size = quint64(entry.count) * RKTiffType::sizeOf(entry.tag.type);
    const quint64 start = numberIn(entry.field);
    if (size <= kFieldSize || start + size > static_cast<quint64>(m_bytes.size()))
        return {};
    return Range{start, start + size};
}

/// The places of directories that an entry holds.
QList<quint32> RKTiffEditor::placesIn(const Entry& entry) const
{
    if (entry.tag.type != RKTiffType::kLong && entry.tag.type != RKTiffType::kDirectory)
        return {};
    if (entry.count == 1)
        return {numberIn(entry.field)};
    QList<quint32> places;
    if (const auto range = valueRange(entry)) {
        for (quint64 at = range->start; at < range->end; at += sizeof(quint32))
            places.append(read32(static_cast<quint32>(at)));
    }
    return places;
}

/// All directories, leaving out places that hold none: many cameras write no number, or any number,
/// for the directory after the last one.
QList<quint32> RKTiffEditor::directories() const
{
    QList<quint32> found;
    QSet<quint32> known;
    QList<quint32> open{read32(kFirstDirectoryPointer)};
    while (!open.isEmpty() && found.size() < kMaxDirectories) {
        const quint32 directory = open.takeLast();
        if (!hasDirectoryAt(directory) || known.contains(directory))
            continue;
        known.insert(directory);
        found.append(directory);
        const QList<Entry> entries = entriesOf(directory);
        for (const Entry& entry : entries) {
            if (isPointer(entry.tag.number))
                open += placesIn(entry);
        }
        open.append(read32(endOfEntries(directory)));
    }
    return found;
}

QList<RKTiffEditor::Range> RKTiffEditor::usedRanges() const
{
    QList<Range> ranges;
    const QList<quint32> all = directories();
    for (const quint32 directory : all) {
        ranges.append({directory, quint64(endOfEntries(directory)) + kNextSize});
        const QList<Entry> entries = entriesOf(directory);
        for (const Entry& entry : entries) {
            if (const auto range = valueRange(entry))
                ranges.append(*range);
        }
    }
    return ranges;
}

std::optional<RKTiffEditor::Place> RKTiffEditor::findSubdirectory(
    const std::optional<Place>& parent, quint16 pointerTag) const
{
    if (!parent || parent->directory == 0)
        return parent ? Place() : parent;
    quint32 at = parent->directory + kCountSize;
    const QList<Entry> entries = entriesOf(parent->directory);
    for (const Entry& entry : entries) {
        if (entry.tag.number == pointerTag) {
            const quint32 directory = numberIn(entry.field);
            return hasDirectoryAt(directory) ? std::optional(Place{directory, at + kFieldInEntry})
                                             : std::nullopt;
        }
        at += kEntrySize;
    }
    return Place();
}

/// Nothing for one that lies outside of the structure.
std::optional<RKTiffEditor::Place> RKTiffEditor::find(Directory directory) const
{
    const Place image{read32(kFirstDirectoryPointer), kFirstDirectoryPointer};
    switch (directory) {
    case Directory::Image: return image;
    case Directory::Photo: return findSubdirectory(image, RKTiffTag::kExifDirectory);
    case Directory::GpsInfo: return findSubdirectory(image, RKTiffTag::kGpsDirectory);
    case Directory::Interoperability:
        return findSubdirectory(find(Directory::Photo), RKTiffTag::kInteroperabilityDirectory);
    }
    return {};
}

/// The next directory in the chain; 0 where there is none.
quint32 RKTiffEditor::directoryAfter(const Place& place) const
{
    if (place.directory == 0)
        return 0;
    const quint32 next = read32(endOfEntries(place.directory));
    return hasDirectoryAt(next) ? next : 0;
}

RKTiffEditor::Place RKTiffEditor::thumbnail() const
{
    const quint32 pointer = endOfEntries(read32(kFirstDirectoryPointer));
    const quint32 directory = read32(pointer);
    return {hasDirectoryAt(directory) ? directory : 0, pointer};
}

std::optional<RKTiffEditor::Tag> RKTiffEditor::tag(quint16 number) const
{
    if (!m_isValid)
        return {};
    const QList<Entry> entries = entriesOf(read32(kFirstDirectoryPointer));
    for (const Entry& entry : entries) {
        if (entry.tag.number != number)
            continue;
        Tag found = entry.tag;
        const quint64 size = quint64(entry.count) * RKTiffType::sizeOf(found.type);
        if (const auto range = valueRange(entry)) {
            found.value
                = m_bytes.mid(static_cast<qsizetype>(range->start), static_cast<qsizetype>(size));
        } else {
            found.value = entry.field.left(static_cast<qsizetype>(qMin<quint64>(size, kFieldSize)));
        }
        return found;
    }
    return {};
}

/// Appends at an even place (TIFF 6.0, section 2); nothing where that would be beyond 4 GiB.
std::optional<quint32> RKTiffEditor::append(const QByteArray& bytes)
{
    const quint64 place = (static_cast<quint64>(m_bytes.size()) + 1) / 2 * 2;
    if (place + static_cast<quint64>(bytes.size()) > kMaxSize)
        return {};
    m_bytes.resize(static_cast<qsizetype>(place), '\0');
    m_bytes.append(bytes);
    return static_cast<quint32>(place);
}

bool RKTiffEditor::isUsedOnce(const Range& place, const QList<Range>& used)
{
    const auto users = std::count_if(used.begin(), used.end(), [&place](const Range& range) {
        return range.start < place.end && place.start < range.end;
    });
    return users <= 1;
}

/// Puts bytes into an old place where they fit and nothing else uses it, else appends them.
std::optional<quint32> RKTiffEditor::put(
    const QByteArray& bytes, const std::optional<Range>& old, const QList<Range>& used)
{
    if (old && isUsedOnce(*old, used)) {
        const auto start = static_cast<qsizetype>(old->start);
        const auto size = static_cast<quint64>(bytes.size());
        const bool mayGrow
            = old->end == static_cast<quint64>(m_bytes.size()) && old->start + size <= kMaxSize;
        if (mayGrow || size <= old->end - old->start) {
            m_bytes.replace(start, qMin(bytes.size(), m_bytes.size() - start), bytes);
            return static_cast<quint32>(start);
        }
    }
    return append(bytes);
}

/// Makes an empty directory and the tag that leads to it.
bool RKTiffEditor::create(Directory directory)
{
    const auto place = append(QByteArray(kCountSize + kNextSize, '\0'));
    if (!place)
        return false;
    switch (directory) {
    case Directory::Image: return false;
    case Directory::Photo:
        return change(Directory::Image,
            {{RKTiffTag::kExifDirectory, RKTiffType::kLong, bytesOf(*place)}},
            {});
    case Directory::GpsInfo:
        return change(
            Directory::Image, {{RKTiffTag::kGpsDirectory, RKTiffType::kLong, bytesOf(*place)}}, {});
    case Directory::Interoperability:
        return change(Directory::Photo,
            {{RKTiffTag::kInteroperabilityDirectory, RKTiffType::kLong, bytesOf(*place)}},
            {});
    }
    return false;
}

bool RKTiffEditor::change(Directory directory, const QList<Tag>& set, const QList<quint16>& removed)
{
    if (!m_isValid)
        return false;
    const QByteArray before = m_bytes;
    const auto giveUp = [this, &before] {
        m_bytes = before;
        return false;
    };

    std::optional<Place> found = find(directory);
    if (found && found->directory == 0) {
        if (set.isEmpty())
            return true;
        if (!create(directory))
            return giveUp();
        found = find(directory);
    }
    if (!found)
        return giveUp();
    const Place place = *found;
    const QList<Entry> old = entriesOf(place.directory);
    const quint32 next = read32(endOfEntries(place.directory));
    const auto isAmbiguous = [&old](quint16 number) {
        return std::count_if(old.begin(), old.end(), [number](const Entry& entry) {
            return entry.tag.number == number;
        }) > 1;
    };
    QList<Entry> entries;
    for (const Entry& entry : old) {
        if (!removed.contains(entry.tag.number))
            entries.append(entry);
        else if (isAmbiguous(entry.tag.number))
            return giveUp();
    }
    for (const Tag& tag : set) {
        const quint32 size = RKTiffType::sizeOf(tag.type);
        if (size == 0 || tag.value.size() % size != 0 || isAmbiguous(tag.number))
            return giveUp();
        auto at = std::find_if(entries.begin(), entries.end(), [&tag](const Entry& entry) {
            return entry.tag.number >= tag.number;
        });
        if (at == entries.end() || at->tag.number != tag.number)
            at = entries.insert(at, Entry());
        at->tag = tag;
        at->field.clear();
        at->count = static_cast<quint32>(tag.value.size() / size);
    }
    return rewrite(place, entries, next) || giveUp();
}

/// A place for a directory of so many entries; the old one, if there is one, is blanked.
std::optional<quint32> RKTiffEditor::makeRoom(
    quint32 directory, qsizetype entries, const QList<Range>& used)
{
    const QByteArray blank(kCountSize + entries * kEntrySize + kNextSize, '\0');
    if (directory == 0)
        return append(blank);
    const Range old{directory, quint64(endOfEntries(directory)) + kNextSize};
    const auto place = put(blank, old, used);
    // Some files have a second way to the old place: nobody is to read there what was.
    if (place && *place != directory && isUsedOnce(old, used)) {
        const auto size = static_cast<qsizetype>(old.end - old.start);
        m_bytes.replace(directory, size, QByteArray(size, '\0'));
    }
    return place;
}

/// Writes a directory in its old place, or where it has become larger, at the end, and the values
/// that its entries bring with them.
bool RKTiffEditor::rewrite(const Place& place, QList<Entry> entries, quint32 next)
{
    if (entries.size() > kMaxEntries)
        return false;
    const QList<Range> used = usedRanges();
    const QList<Entry> old = place.directory != 0 ? entriesOf(place.directory) : QList<Entry>();
    quint32 directory = place.directory;
    if (entries.size() > old.size() || directory == 0) {
        const auto moved = makeRoom(place.directory, entries.size(), used);
        if (!moved)
            return false;
        directory = *moved;
    }

    write16(directory, static_cast<quint16>(entries.size()));
    quint32 at = directory + kCountSize;
    for (Entry& entry : entries) {
        // An entry that stays has its field already.
        if (entry.field.isEmpty() && entry.tag.value.size() <= qsizetype(kFieldSize))
            entry.field = entry.tag.value.leftJustified(kFieldSize, '\0');
        if (entry.field.isEmpty()) {
            const auto before = std::find_if(old.begin(), old.end(), [&entry](const Entry& other) {
                return other.tag.number == entry.tag.number;
            });
            const auto moved = put(entry.tag.value,
                before == old.end() ? std::optional<Range>() : valueRange(*before),
                used);
            if (!moved)
                return false;
            entry.field = bytesOf(*moved);
        }
        write16(at, entry.tag.number);
        write16(at + kTypeInEntry, entry.tag.type);
        write32(at + kNumberInEntry, entry.count);
        m_bytes.replace(at + kFieldInEntry, kFieldSize, entry.field);
        at += kEntrySize;
    }
    write32(at, next);
    write32(place.pointer, directory);
    return true;
}

bool RKTiffEditor::setThumbnail(const QList<Tag>& tags, const QByteArray& jpeg)
{
    if (!m_isValid)
        return false;
    const QByteArray before = m_bytes;
    const Place old = thumbnail();

    const auto place = append(jpeg);
    bool isDone = place.has_value();
    if (isDone) {
        QList<Tag> all = tags;
        all.append({RKTiffTag::kJpegOffset, RKTiffType::kLong, bytesOf(*place)});
        all.append(
            {RKTiffTag::kJpegSize, RKTiffType::kLong, bytesOf(static_cast<quint32>(jpeg.size()))});
        std::sort(all.begin(), all.end(), [](const Tag& left, const Tag& right) {
            return left.number < right.number;
        });
        QList<Entry> entries;
        for (const Tag& tag : all) {
            const quint32 size = RKTiffType::sizeOf(tag.type);
            isDone = isDone && size != 0;
            entries.append(
                {tag, size == 0 ? 0 : static_cast<quint32>(tag.value.size() / size), QByteArray()});
        }
        isDone = isDone && rewrite({0, old.pointer}, entries, directoryAfter(old));
    }
    if (!isDone)
        m_bytes = before;
    return isDone;
}

bool RKTiffEditor::removeThumbnail()
{
    if (!m_isValid)
        return false;
    if (const Place old = thumbnail(); old.directory != 0)
        write32(old.pointer, directoryAfter(old));
    return true;
}
