#pragma once

#include <QByteArray>

/// Bytes that can be read at any place: those of an array, or of a file that is too large to be
/// read as a whole.
class RKByteSource
{
    Q_DISABLE_COPY_MOVE(RKByteSource)

public:
    virtual ~RKByteSource();

    virtual qint64 size() const = 0;
    /// False, and the bytes cleared, for a range that is not wholly inside or cannot be read.
    virtual bool read(qint64 offset, qint64 size, QByteArray* bytes) const = 0;

    /// Where a range comes from: equal origins of ranges of one size have the same bytes.
    struct Origin
    {
        const RKByteSource* source = nullptr;
        qint64 offset = 0;

        bool operator==(const Origin& other) const
        {
            return source == other.source && offset == other.offset;
        }
    };

    virtual Origin origin(qint64 offset, qint64 size) const;

protected:
    RKByteSource() = default;
};

/// The bytes of an array.
class RKMemorySource final : public RKByteSource
{
public:
    explicit RKMemorySource(const QByteArray& bytes);

    qint64 size() const override;
    bool read(qint64 offset, qint64 size, QByteArray* bytes) const override;

private:
    const QByteArray m_bytes;
};

/// A piece of a file that is to be written: bytes of its own, or a range of the source that the
/// file is made from.
struct RKFilePiece
{
    QByteArray bytes;
    /// The range; of size 0 for a piece with bytes.
    qint64 offset = 0;
    qint64 size = 0;
};
