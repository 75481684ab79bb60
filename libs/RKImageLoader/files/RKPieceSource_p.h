#pragma once

#include "RKImageLoader/files/RKByteSource_p.h"

#include <QList>

#include <memory>
#include <vector>

/// The bytes of a file that is still to be written, as if it were there.
class RKPieceSource final : public RKByteSource
{
public:
    /// The source is that of the pieces' ranges.
    RKPieceSource(const QList<RKFilePiece>& pieces, std::shared_ptr<const RKByteSource> source);

    qint64 size() const override;
    bool read(qint64 offset, qint64 size, QByteArray* bytes) const override;
    Origin origin(qint64 offset, qint64 size) const override;

    /// Empty where the source cannot be read.
    QByteArray all() const;

private:
    struct Placed
    {
        // In the file to be written.
        qint64 start = 0;
        RKFilePiece piece;
    };

    std::vector<Placed>::const_iterator pieceAt(qint64 offset) const;

    std::vector<Placed> m_pieces;
    qint64 m_size = 0;
    std::shared_ptr<const RKByteSource> m_source;
};
