#include "RKImageLoader/files/RKPieceSource_p.h"

#include <algorithm>

RKPieceSource::RKPieceSource(
    const QList<RKFilePiece>& pieces, std::shared_ptr<const RKByteSource> source)
    : m_source(std::move(source))
{
    for (const RKFilePiece& piece : pieces) {
        const qint64 size = piece.bytes.size() + piece.size;
        RKFilePiece* const last = m_pieces.empty() ? nullptr : &m_pieces.back().piece;
        // Ranges that follow each other are one.
        if (last && last->size > 0 && piece.size > 0 && last->offset + last->size == piece.offset)
            last->size += piece.size;
        else if (size > 0)
            m_pieces.push_back({m_size, piece});
        m_size += size;
    }
}

qint64 RKPieceSource::size() const
{
    return m_size;
}

std::vector<RKPieceSource::Placed>::const_iterator RKPieceSource::pieceAt(qint64 offset) const
{
    const auto next = std::upper_bound(
        m_pieces.begin(), m_pieces.end(), offset, [](qint64 place, const Placed& placed) {
            return place < placed.start;
        });
    return next == m_pieces.begin() ? m_pieces.end() : std::prev(next);
}

bool RKPieceSource::read(qint64 offset, qint64 size, QByteArray* bytes) const
{
    bytes->clear();
    if (offset < 0 || size < 0 || offset > m_size || size > m_size - offset)
        return false;
    QByteArray part;
    for (auto placed = pieceAt(offset); size > 0 && placed != m_pieces.end(); ++placed) {
        const RKFilePiece& piece = placed->piece;
        const qint64 skipped = offset - placed->start;
        const qint64 count = std::min(size, piece.bytes.size() + piece.size - skipped);
        if (piece.size == 0) {
            bytes->append(QByteArrayView(piece.bytes).sliced(skipped, count));
        } else if (m_source->read(piece.offset + skipped, count, &part)) {
            bytes->append(part);
        } else {
            bytes->clear();
            return false;
        }
        offset += count;
        size -= count;
    }
    return true;
}

RKByteSource::Origin RKPieceSource::origin(qint64 offset, qint64 size) const
{
    const auto placed = pieceAt(offset);
    if (placed != m_pieces.end() && placed->piece.size > 0
        && offset + size <= placed->start + placed->piece.size)
    {
        return m_source->origin(placed->piece.offset + offset - placed->start, size);
    }
    return RKByteSource::origin(offset, size);
}

QByteArray RKPieceSource::all() const
{
    QByteArray bytes;
    read(0, m_size, &bytes);
    return bytes;
}
