#pragma once

#include "RKImageLoader/RKImageLoaderExport.h"

#include <QByteArray>
#include <QList>

#include <optional>

/// Changes tags of a TIFF structure - a TIFF-based file, or the Exif block of another file - and
/// leaves every other byte where it is.
///
/// Offsets in maker notes and previews, which only the camera's maker knows, stay right that way,
/// and so do all pictures. What does not fit into its old place is appended, also a directory that
/// gets another entry; its old bytes stay behind unused.
///
/// Reentrant.
class RKIMAGELOADER_TEST_EXPORT RKTiffEditor
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

    explicit RKTiffEditor(const QByteArray& structure);

    /// The structure has a main directory that can be read.
    bool isValid() const;

    bool isLittleEndian() const;

    /// All directories that can be reached, pages and others.
    qsizetype numberOfDirectories() const;

    /// The first tag with that number in the main directory.
    std::optional<Tag> tag(quint16 number) const;

    /// Sets and removes tags of a directory, which is made where it is missing. False, and nothing
    /// changed, for an invalid structure, for one that would exceed 4 GiB, where the directory lies
    /// outside, and where it has one of the tags twice.
    bool change(Directory directory, const QList<Tag>& set, const QList<quint16>& removed);

    /// Replaces the second directory by one with these tags and the bytes of a JPEG, whose place
    /// and size are added to the tags. False as above.
    bool setThumbnail(const QList<Tag>& tags, const QByteArray& jpeg);
    /// Takes the second directory out of the chain.
    bool removeThumbnail();

    QByteArray structure() const;

private:
    struct Entry
    {
        Tag tag;
        quint32 count = 0;
        // The value, or the number of its place.
        QByteArray field;
    };

    struct Range
    {
        quint64 start = 0;
        quint64 end = 0;
    };

    struct Place
    {
        // Of the directory; 0 where there is none.
        quint32 directory = 0;
        // Of the number that leads to it.
        quint32 pointer = 0;
    };

    quint16 read16(quint32 at) const;
    quint32 read32(quint32 at) const;
    void write16(quint32 at, quint16 value);
    void write32(quint32 at, quint32 value);
    QByteArray bytesOf(quint32 number) const;
    quint32 numberIn(const QByteArray& field) const;

    bool hasDirectoryAt(quint32 offset) const;
    quint32 endOfEntries(quint32 directory) const;
    QList<Entry> entriesOf(quint32 directory) const;
    std::optional<Range> valueRange(const Entry& entry) const;
    QList<quint32> placesIn(const Entry& entry) const;
    QList<quint32> directories() const;
    QList<Range> usedRanges() const;

    std::optional<Place> find(Directory directory) const;
    std::optional<Place> findSubdirectory(
        const std::optional<Place>& parent, quint16 pointerTag) const;
    Place thumbnail() const;
    quint32 directoryAfter(const Place& place) const;
    bool create(Directory directory);
    std::optional<quint32> makeRoom(quint32 directory, qsizetype entries, const QList<Range>& used);
    bool rewrite(const Place& place, QList<Entry> entries, quint32 next);
    std::optional<quint32> append(const QByteArray& bytes);
    static bool isUsedOnce(const Range& place, const QList<Range>& used);
    std::optional<quint32> put(
        const QByteArray& bytes, const std::optional<Range>& old, const QList<Range>& used);

    QByteArray m_bytes;
    bool m_isLittleEndian = true;
    bool m_isValid = false;
};
