#pragma once

#include "RKImageLoader/RKImageLoaderExport.h"

#include <QDataStream>
#include <QDebug>
#include <QHashFunctions>
#include <QString>

/// What the identifiers of the face model have in common: a signed 32-bit number of the host's
/// catalogue, -1 by default.
///
/// Derived is the identifier's own class; identifiers of different classes can't be compared. An
/// identifier hashes like its number. Reentrant.
template <typename Derived>
class RKIMAGELOADER_EXPORT RKIdentifier
{
public:
    virtual ~RKIdentifier() = default;

    /// The number; -1 for an identifier that was made without one.
    int id() const
    {
        return m_id;
    }

    /// The number in decimal.
    QString toString() const
    {
        return QString::number(m_id);
    }

    /// Equal numbers.
    bool operator==(const RKIdentifier& other) const
    {
        return m_id == other.m_id;
    }

    /// Different numbers.
    bool operator!=(const RKIdentifier& other) const
    {
        return m_id != other.m_id;
    }

    /// By the numbers, as signed integers.
    bool operator<(const RKIdentifier& other) const
    {
        return m_id < other.m_id;
    }

    /// By the numbers.
    bool operator>(const RKIdentifier& other) const
    {
        return m_id > other.m_id;
    }

    /// By the numbers.
    bool operator<=(const RKIdentifier& other) const
    {
        return m_id <= other.m_id;
    }

    /// By the numbers.
    bool operator>=(const RKIdentifier& other) const
    {
        return m_id >= other.m_id;
    }

    /// Writes the decimal text as a QString; written as `id << stream`. Read it back as a QString.
    QDataStream& operator<<(QDataStream& stream) const
    {
        return stream << toString();
    }

    /// The number, quoted unless the stream does not quote.
    friend QDebug operator<<(QDebug debug, const RKIdentifier& id)
    {
        return debug << id.toString();
    }

    /// The hash of the number, so that an identifier is found like it.
    // Takes the exact class: Qt's own template would be preferred to a conversion to the base.
    friend size_t qHash(const Derived& id, size_t seed = 0) noexcept
    {
        return ::qHash(id.id(), seed);
    }

protected:
    RKIdentifier() = default;

    /// Any number; the derived class says which ones are valid.
    explicit RKIdentifier(int id)
        : m_id(id)
    {
    }

    RKIdentifier(const RKIdentifier&) = default;
    RKIdentifier(RKIdentifier&&) noexcept = default;
    RKIdentifier& operator=(const RKIdentifier&) = default;
    RKIdentifier& operator=(RKIdentifier&&) noexcept = default;

private:
    int m_id = -1;
};
