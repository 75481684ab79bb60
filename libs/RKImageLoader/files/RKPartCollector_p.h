#pragma once

#include "RKImageLoader/files/RKImageFileFormat_p.h"

/// Reads the parts of a file from a source, and collects them within limits on memory.
class RKPartCollector
{
    Q_DISABLE_COPY_MOVE(RKPartCollector)

public:
    using Part = RKImageFileParts::Part;

    /// Parts that are not metadata are held in memory up to this size, the greatest of a JPEG
    /// segment; larger ones are ranges of the source.
    static constexpr qint64 kMaxOther = 64 * 1024;

    explicit RKPartCollector(const RKByteSource& source);

    qint64 size() const;

    /// The bytes at a place; fewer at the end of the file, none where it cannot be read.
    QByteArrayView peek(qint64 offset, qint64 count);

    /// Adds the bytes of a part; false where that is too much, or it cannot be read.
    bool addBytes(const RKImageFileFormat& format, qint64 offset, qint64 count);
    bool add(const Part& part);
    /// Adds a range, or makes the last one longer that it continues.
    bool addRange(
        const QByteArray& name, qint64 offset, qint64 count, const QByteArray& start = {});
    /// Bytes for a small part, a range for a large one.
    bool addOther(const QByteArray& name, qint64 offset, qint64 count);

    std::optional<QByteArray> read(qint64 offset, qint64 count);
    bool hasReadError() const;
    const QList<Part>& parts() const;

private:
    const RKByteSource& m_source;
    QList<Part> m_parts;
    qint64 m_held = 0;
    qint64 m_windowOffset = 0;
    QByteArray m_window;
    bool m_hasReadError = false;
};
