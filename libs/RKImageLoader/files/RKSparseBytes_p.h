#pragma once

#include "RKImageLoader/files/RKByteRanges_p.h"
#include "RKImageLoader/files/RKByteSource_p.h"

#include <QByteArray>
#include <QByteArrayView>
#include <QList>

#include <memory>

/// The bytes of a file, some of which are not held: those in a hole are the bytes at the same place
/// of the source that the file was read from, whatever is changed elsewhere.
///
/// What is written into a hole is held from then on. So a hole that two of one source have at the
/// same place is the same bytes in both; other bytes in holes are unknown.
///
/// Everything is one array, for code that needs one. Its holes read as zeros and take no memory.
///
/// Cheap to copy; reentrant. Throws std::bad_alloc, and nothing else.
class RKSparseBytes
{
public:
    RKSparseBytes() = default;
    /// Without holes; shares the array.
    // NOLINTNEXTLINE(google-explicit-constructor): any array is one.
    RKSparseBytes(const QByteArray& bytes);

    /// One hole of that size.
    static RKSparseBytes hole(qint64 size);

    qint64 size() const;
    /// Zeros in holes. Refers to the bytes, which have to outlive it and its copies unchanged.
    const QByteArray& array() const;
    QByteArrayView view() const;

    const RKByteRanges::List& holes() const;
    bool hasHole(const RKByteRange& range) const;

    /// Writes bytes that begin inside, or at the end, and may reach beyond it.
    void overwrite(qint64 place, QByteArrayView bytes);
    /// Appends zeros, or cuts bytes off.
    void resize(qint64 size);

    /// Held bytes, and holes as ranges of the source.
    QList<RKFilePiece> pieces() const;

private:
    class Pages;

    char* writable(qint64 size);

    QByteArray m_bytes;
    // The memory of the array; none for one that holds its own.
    std::shared_ptr<Pages> m_pages;
    RKByteRanges::List m_holes;
};
