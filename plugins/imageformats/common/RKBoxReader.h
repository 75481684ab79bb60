#pragma once

#include "imageformats/common/RKBigEndianReader.h"

/// Goes through the boxes of a file or of a box that holds others (ISO/IEC 14496-12, 4.2; JPEG 2000
/// has the same, ITU-T T.800, I.4).
class RKBoxReader
{
public:
    explicit RKBoxReader(QByteArrayView boxes)
        : m_reader(boxes)
    {
    }

    /// False at the end, and where a box doesn't fit.
    bool next()
    {
        constexpr quint64 kToTheEnd = 0;
        constexpr quint64 kLargeSize = 1;
        quint64 headerSize = 8;
        if (m_reader.rest() < qint64(headerSize))
            return false;
        quint64 size = m_reader.number(4);
        m_type = m_reader.bytes(4);
        if (size == kLargeSize) {
            size = m_reader.number(8);
            headerSize = 16;
        } else if (size == kToTheEnd) {
            size = headerSize + quint64(m_reader.rest());
        }
        if (size < headerSize)
            return false;
        m_content = m_reader.bytes(size - headerSize);
        return m_reader.isGood();
    }

    bool is(QByteArrayView type) const
    {
        return m_type == type;
    }

    QByteArrayView type() const
    {
        return m_type;
    }

    QByteArrayView content() const
    {
        return m_content;
    }

    /// What follows the last box that was read.
    QByteArrayView remaining() const
    {
        return m_reader.remaining();
    }

private:
    RKBigEndianReader m_reader;
    QByteArrayView m_type;
    QByteArrayView m_content;
};
