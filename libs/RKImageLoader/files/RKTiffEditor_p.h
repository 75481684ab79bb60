#pragma once

#include "RKImageLoader/files/RKSparseBytes_p.h"
#include "RKImageLoader/files/RKTiffStructure_p.h"

#include <QByteArray>
#include <QList>

#include <optional>
#include <utility>
#include <vector>

/// Changes tags of a TIFF structure - a TIFF-based file, or the Exif block of another file - and
/// leaves every other byte where it is.
///
/// Offsets in maker notes and previews, which only the camera's maker knows, stay right that way,
/// and so do all pictures. What does not fit into its old place is appended, also a directory that
/// gets another entry. The old bytes of a value stay in the file unused; those of a directory, of
/// values that are removed, and of XMP, IPTC and Photoshop's resources after their end are blanked.
/// Holes in the structure stay holes.
///
/// The cost of a change grows with the number of entries and strips, which is bounded: structures
/// whose directories overlap, or that have too many (RKTiffStructure::directories()), cannot be
/// changed.
///
/// Reentrant.
class RKTiffEditor
{
public:
    /// The directories whose tags can be changed (Exif 2.32, 4.6.3).
    enum class Directory
    {
        Image,
        Photo,
        GpsInfo,
        Interoperability
    };

    struct Tag
    {
        quint16 number = 0;
        /// 1 to 12 (TIFF 6.0, section 2).
        quint16 type = 0;
        /// In the byte order of the structure.
        QByteArray value;
    };

    enum class Places
    {
        /// What fits is written over what it replaces, unless something else uses that place.
        Reuse,
        /// Everything is appended. The old bytes stay: the maker note of some files claims more
        /// than its own.
        Keep
    };

    explicit RKTiffEditor(const RKSparseBytes& structure, Places places = Places::Reuse);

    /// Whether the structure has a main directory that can be read.
    bool isValid() const;

    bool isLittleEndian() const;

    /// All directories that can be reached, pages and others; 0 where they cannot be changed.
    qsizetype numberOfDirectories() const;

    /// The first tag with that number in the main directory.
    std::optional<Tag> tag(quint16 number) const;

    /// Sets and removes tags of a directory, which is made where it is missing, and goes with the
    /// last of its tags, except for the main one. A number may stand there more than once: all of
    /// its tags are replaced by those given. False, and nothing changed, for an invalid structure,
    /// for one that would exceed 4 GiB, and where the directory lies outside.
    bool change(Directory directory, const QList<Tag>& set, const QList<quint16>& removed);

    /// Replaces the second directory by one with these tags and the bytes of a JPEG, whose place
    /// and size are added to the tags. False as above, and where that directory is a page and not a
    /// thumbnail.
    bool setThumbnail(const QList<Tag>& tags, const QByteArray& jpeg);
    /// Takes the second directory out of the chain. If others follow, it stays there without
    /// entries, since readers know these by their number. False as above.
    bool removeThumbnail();

    RKSparseBytes structure() const;

private:
    using Range = RKTiffStructure::Range;

    /// An entry to write: a new value, or the field of an entry that stays.
    struct Entry
    {
        quint16 tag = 0;
        quint16 type = 0;
        quint32 count = 0;
        QByteArray field;
        QByteArray value;
        // The range of the value that it replaces.
        std::optional<Range> old;
    };

    struct Place
    {
        // The place of the directory; 0 if there is none.
        quint32 directory = 0;
        // The place of the number that leads to it.
        quint32 pointer = 0;
    };

    RKTiffStructure read() const;
    QByteArray bytesOf(quint32 number) const;
    QByteArray bytesAt(quint64 place, quint64 size) const;
    void overwrite(quint64 place, const QByteArray& bytes);

    std::optional<Range> outsideRange(const RKTiffStructure::Entry& entry) const;
    std::optional<std::vector<Range>> usedRanges() const;
    std::optional<Place> find(Directory directory) const;
    std::optional<Place> findSubdirectory(
        const std::optional<Place>& parent, quint16 pointerTag) const;
    std::optional<QList<Entry>> changedEntries(
        quint32 directory, const QList<Tag>& set, const QList<quint16>& removed) const;
    std::optional<quint32> numberOf(quint32 directory, quint16 tag) const;
    bool hasPixels(quint32 directory) const;
    bool isThumbnail(quint32 directory) const;

    bool canTake(const QList<Entry>& entries, qsizetype others) const;
    static std::pair<Directory, quint16> wayTo(Directory directory);
    std::optional<Place> create(Directory directory);
    std::vector<Range> ownRanges(
        quint32 directory, const QList<quint16>& tags, const std::vector<Range>& used) const;
    quint32 makeRoom(quint32 directory, qsizetype entries, const std::vector<Range>& used);
    static QByteArray withBlankEnd(const Entry& entry);
    void rewrite(const Place& place,
        const QList<Entry>& entries,
        quint32 next,
        const std::vector<Range>& used);
    quint32 append(const QByteArray& bytes);
    quint32 put(
        const QByteArray& bytes, const std::optional<Range>& old, const std::vector<Range>& used);

    const Places m_places;
    RKSparseBytes m_bytes;
};
