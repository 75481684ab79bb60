#pragma once

#include "RKImageLoader/files/RKByteRanges_p.h"
#include "RKImageLoader/files/RKByteReader_p.h"

#include <QByteArray>

#include <functional>
#include <optional>
#include <vector>

/// The directories of a TIFF structure (TIFF 6.0, section 2): of a TIFF-based file, or of the Exif
/// block of another. Reads only; refers to the bytes, which have to outlive it.
///
/// The cost is bounded: directories that don't overlap have at most one entry for every 12 of the
/// bytes, and lists of strips and tiles likewise. A structure with more is not read as a whole.
class RKTiffStructure
{
public:
    static constexpr qint64 kFirstDirectoryPointer = 4;
    static constexpr quint32 kCountSize = 2;
    static constexpr quint32 kEntrySize = 12;
    static constexpr quint32 kFieldInEntry = 8;
    static constexpr quint32 kFieldSize = 4;
    static constexpr quint32 kNextSize = 4;

    using Range = RKByteRange;
    /// Brings bytes to their place that are not there yet.
    using Fetch = std::function<void(const Range&)>;

    struct Entry
    {
        quint16 tag = 0;
        quint16 type = 0;
        quint32 count = 0;
        /// The place of its field, which holds the value itself or the value's place.
        quint32 field = 0;
    };

    struct Directory
    {
        /// How it is reached: "IFD0", "IFD1", "IFD0/Exif/Iop", "IFD0/SubIFD2", "IFD0/SubIFD2/next".
        QByteArray path;
        quint32 place = 0;
        std::vector<Entry> entries;
    };

    explicit RKTiffStructure(QByteArrayView bytes);
    /// Calls fetch before it looks at bytes, but for those of the header, which are there.
    RKTiffStructure(QByteArrayView bytes, const Fetch& fetch);

    /// Whether there is a main directory that can be read.
    bool isValid() const;

    QSysInfo::Endian byteOrder() const;
    QByteArrayView bytes() const;

    quint32 firstDirectory() const;
    /// The next one in the chain; 0 without one.
    quint32 directoryAfter(quint32 directory) const;
    /// Whether the directory with all of its entries lies inside the structure.
    bool hasDirectoryAt(quint32 place) const;
    /// Where the place of the next directory is written. 0 where there is no directory.
    quint32 endOfEntries(quint32 directory) const;
    std::vector<Entry> entriesOf(quint32 directory) const;

    /// The number at a place; 0 outside of the structure.
    quint32 numberAt(qint64 place) const;
    /// The value, also one in the entry itself; nullopt for one outside of the structure, or of an
    /// unknown type.
    std::optional<Range> valueRange(const Entry& entry) const;
    /// Where a value is said to lie, also one of an unknown type, whose components count as bytes.
    Range claimedRange(const Entry& entry) const;
    bool isInField(const Entry& entry) const;
    /// Whole numbers of 16 and 32 bits, taken as without a sign; empty for other types.
    std::vector<quint32> numbersOf(const Entry& entry) const;
    /// Strips, tiles and JPEG streams. They may reach beyond the end, or begin there.
    std::vector<Range> pixelsOf(const Directory& directory) const;

    /// All directories that can be reached: the chain, further ones by their tags, and what is
    /// chained to these. Places that hold none are left out: many cameras write any number for the
    /// directory after the last one. nullopt where there are more than 10 000, with two million
    /// entries, or where they overlap so much that their bytes would be read several times.
    std::optional<std::vector<Directory>> directories() const;

    /// Whether the tag's value is the place of further directories.
    static bool isPointer(quint16 tag);

    /// Whether readers find these directories: the tag also has a type of places.
    static bool leadsToDirectories(const Entry& entry);

private:
    std::optional<QByteArrayView> fetched(qint64 place, quint64 size) const;
    std::optional<quint16> countAt(qint64 place) const;

    RKByteReader m_reader;
    Fetch m_fetch;
    bool m_isValid = false;
};
