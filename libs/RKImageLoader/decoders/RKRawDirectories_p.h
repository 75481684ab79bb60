#pragma once

#include "RKImageLoader/files/RKByteReader_p.h"

#include <QByteArrayView>
#include <QList>

/// The places of the pixels and previews in a camera raw file. Most raw files are built like TIFF
/// (TIFF 6.0, section 2; DNG 1.4, chapter 2); RAF has a header of its own.
///
/// Does not copy the file's bytes, which have to outlive it. Reentrant.
class RKRawDirectories
{
public:
    explicit RKRawDirectories(QByteArrayView file);

    /// Some of the pixels that are read from an offset lie beyond the end of the file. The offset
    /// is one in a strip or tile, or that of the list of tiles.
    bool isTruncated(qint64 pixels) const;

    /// The finished pictures in JPEG that lie wholly inside the file, in the order of the
    /// directories.
    QList<QByteArrayView> previews() const;

private:
    struct Extent
    {
        qint64 offset = 0;
        qint64 size = 0;
    };

    /// Strips or tiles.
    struct Pixels
    {
        /// The place of their list.
        qint64 place = 0;
        QList<Extent> extents;
        bool isFinished = true;
    };

    struct Entry;

    void readTiff();
    void readDirectory(qint64 place, QList<qint64>& ahead);
    void readRaf();
    Entry entryAt(qint64 place) const;
    QList<qint64> numbers(const Entry& entry) const;
    void add(const Entry& offsets, const Entry& sizes, bool isFinished);
    bool isInside(const Extent& extent) const;

    QByteArrayView m_file;
    RKByteReader m_reader;
    QList<Pixels> m_pixels;
};
