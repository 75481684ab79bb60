#pragma once

#include <QByteArray>
#include <QByteArrayView>
#include <QSysInfo>
#include <QtEndian>

#include <optional>

/// Reads numbers from a file's bytes, in either byte order: one after the other, or at any place.
/// Every access is checked.
///
/// A sequential read beyond the end gives zero or no bytes; the reader then stays at the end and is
/// no longer good, so that a caller may read a whole structure before asking. A read at a place
/// that is not wholly inside gives nullopt. Does not copy the bytes, which have to outlive it.
class RKByteReader
{
public:
    explicit RKByteReader(QByteArrayView data, QSysInfo::Endian order = QSysInfo::BigEndian)
        : m_data(data)
        , m_order(order)
    {
    }

    /// Whether no sequential read has gone beyond the end.
    bool isGood() const
    {
        return m_isGood;
    }

    qint64 position() const
    {
        return m_position;
    }

    QByteArrayView rest() const
    {
        return m_data.sliced(m_position);
    }

    template <typename Number>
    Number number()
    {
        const QByteArrayView bytes = take(sizeof(Number));
        return bytes.isEmpty() ? Number(0) : decoded<Number>(bytes);
    }

    QByteArrayView take(quint64 count)
    {
        if (count > quint64(m_data.size() - m_position)) {
            m_isGood = false;
            m_position = m_data.size();
            return {};
        }
        const QByteArrayView taken = m_data.sliced(m_position, qsizetype(count));
        m_position += qsizetype(count);
        return taken;
    }

    /// The number of all bytes.
    qint64 size() const
    {
        return m_data.size();
    }

    template <typename Number>
    std::optional<Number> numberAt(qint64 offset) const
    {
        const auto bytes = bytesAt(offset, sizeof(Number));
        return bytes ? std::optional(decoded<Number>(*bytes)) : std::nullopt;
    }

    std::optional<QByteArrayView> bytesAt(qint64 offset, quint64 count) const
    {
        if (offset < 0 || offset > size() || count > quint64(size() - offset))
            return {};
        return m_data.sliced(offset, qsizetype(count));
    }

    /// Empty for a place beyond the end.
    QByteArrayView from(qint64 offset) const
    {
        return bytesAt(offset, 0) ? m_data.sliced(offset) : QByteArrayView();
    }

    bool has(QByteArrayView text, qint64 offset = 0) const
    {
        return from(offset).startsWith(text);
    }

    /// The bytes of a number, as they are read.
    template <typename Number>
    static QByteArray bytesOf(Number number, QSysInfo::Endian order = QSysInfo::BigEndian)
    {
        QByteArray bytes(sizeof number, Qt::Uninitialized);
        if (order == QSysInfo::BigEndian)
            qToBigEndian(number, bytes.data());
        else
            qToLittleEndian(number, bytes.data());
        return bytes;
    }

private:
    template <typename Number>
    Number decoded(QByteArrayView bytes) const
    {
        return m_order == QSysInfo::BigEndian ? qFromBigEndian<Number>(bytes.data())
                                              : qFromLittleEndian<Number>(bytes.data());
    }

    QByteArrayView m_data;
    QSysInfo::Endian m_order;
    qint64 m_position = 0;
    bool m_isGood = true;
};
