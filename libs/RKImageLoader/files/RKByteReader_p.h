#pragma once

#include <QByteArrayView>
#include <QtEndian>

/// Reads big-endian numbers from bytes, one after the other. A read beyond the end gives zeros or
/// no bytes, and the reader stays at the end and is no longer good.
class RKByteReader
{
public:
    explicit RKByteReader(QByteArrayView data)
        : m_rest(data)
    {
    }

    bool isGood() const
    {
        return m_isGood;
    }

    QByteArrayView rest() const
    {
        return m_rest;
    }

    template <typename Number>
    Number number()
    {
        const QByteArrayView bytes = take(sizeof(Number));
        return bytes.isEmpty() ? Number(0) : qFromBigEndian<Number>(bytes.data());
    }

    QByteArrayView take(quint64 count)
    {
        if (count > quint64(m_rest.size())) {
            m_isGood = false;
            m_rest = m_rest.sliced(m_rest.size());
            return {};
        }
        const QByteArrayView taken = m_rest.first(qsizetype(count));
        m_rest = m_rest.sliced(qsizetype(count));
        return taken;
    }

private:
    QByteArrayView m_rest;
    bool m_isGood = true;
};
