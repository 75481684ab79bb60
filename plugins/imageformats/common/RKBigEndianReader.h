#pragma once

#include <QByteArrayView>

/// Reads integers of a file, most significant byte first. What lies beyond the end is 0 and is
/// remembered, so that a structure is read first and checked once.
class RKBigEndianReader
{
public:
    explicit RKBigEndianReader(QByteArrayView bytes)
        : m_bytes(bytes)
    {
    }

    /// All that was read was there.
    bool isGood() const
    {
        return m_isGood;
    }

    qint64 rest() const
    {
        return m_bytes.size();
    }

    quint64 number(int size)
    {
        const QByteArrayView digits = bytes(size);
        quint64 value = 0;
        for (const char digit : digits)
            value = value << 8 | uchar(digit);
        return value;
    }

    qint64 signedNumber32()
    {
        return qint32(number(4));
    }

    /// Empty where there are fewer.
    QByteArrayView bytes(quint64 size)
    {
        if (size > quint64(m_bytes.size())) {
            m_isGood = false;
            m_bytes = {};
            return {};
        }
        const QByteArrayView result = m_bytes.first(qint64(size));
        m_bytes = m_bytes.sliced(qint64(size));
        return result;
    }

    QByteArrayView remaining() const
    {
        return m_bytes;
    }

private:
    QByteArrayView m_bytes;
    bool m_isGood = true;
};
