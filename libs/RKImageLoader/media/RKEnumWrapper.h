#pragma once

#include "RKImageLoader/RKImageLoaderExport.h"
#include "RKImageLoader/media/RKEnumToStringTable.h"

#include <QMutex>
#include <QMutexLocker>

#include <atomic>

/// A value of the enumeration E with comparison, bit operators and a table of keywords.
///
/// E has a 64-bit range; combinations of enumerators are values too. Write the wrapper on the left
/// of a comparison with an enumerator: not all compilers accept the reverse order.
///
/// Reentrant; the table of an enumeration is made once and is thread-safe.
template <typename E>
class RKIMAGELOADER_EXPORT RKEnumWrapper
{
public:
    RKEnumWrapper() = default;

    /// Any value, also a combination of enumerators and one without a name.
    explicit RKEnumWrapper(E value)
        : m_value(value)
    {
    }

    RKEnumWrapper(const RKEnumWrapper&) = default;
    RKEnumWrapper(RKEnumWrapper&&) noexcept = default;
    RKEnumWrapper& operator=(const RKEnumWrapper&) = default;
    RKEnumWrapper& operator=(RKEnumWrapper&&) noexcept = default;
    virtual ~RKEnumWrapper() = default;

    /// As signed 64-bit integers.
    virtual bool operator<(const RKEnumWrapper& other) const
    {
        return bits() < other.bits();
    }

    /// As signed 64-bit integers.
    virtual bool operator<=(const RKEnumWrapper& other) const
    {
        return bits() <= other.bits();
    }

    /// As signed 64-bit integers.
    virtual bool operator>(const RKEnumWrapper& other) const
    {
        return bits() > other.bits();
    }

    /// Equal values.
    virtual bool operator==(const RKEnumWrapper& other) const
    {
        return m_value == other.m_value;
    }

    /// Whether the value is exactly this one, not just one of its bits.
    virtual bool operator==(E other) const
    {
        return m_value == other;
    }

    /// Different values.
    virtual bool operator!=(const RKEnumWrapper& other) const
    {
        return m_value != other.m_value;
    }

    /// Whether the value is not exactly this one.
    virtual bool operator!=(E other) const
    {
        return m_value != other;
    }

    /// Adds the bits of the other one.
    virtual RKEnumWrapper& operator|=(const RKEnumWrapper& other)
    {
        return *this |= other.m_value;
    }

    /// Adds the bits of the enumerator.
    virtual RKEnumWrapper& operator|=(E other)
    {
        m_value = *this | other;
        return *this;
    }

    /// Keeps the bits that the other one has too.
    virtual RKEnumWrapper& operator&=(const RKEnumWrapper& other)
    {
        return *this &= other.m_value;
    }

    /// Keeps the bits of the enumerator.
    virtual RKEnumWrapper& operator&=(E other)
    {
        m_value = *this & other;
        return *this;
    }

    /// The bits that both have.
    virtual E operator&(const RKEnumWrapper& other) const
    {
        return *this & other.m_value;
    }

    /// The bits that both have.
    virtual E operator&(E other) const
    {
        return E(bits() & qint64(other));
    }

    /// The bits that one of both has.
    virtual E operator|(const RKEnumWrapper& other) const
    {
        return *this | other.m_value;
    }

    /// The bits that one of both has.
    virtual E operator|(E other) const
    {
        return E(bits() | qint64(other));
    }

    /// The bits of the value that are also in the mask.
    virtual E reducedTo(E mask) const
    {
        return *this & mask;
    }

    /// Whether the value is not 0.
    virtual bool isValid() const
    {
        return bits() != 0;
    }

    /// Inserts the enumeration's keywords; called once per process.
    virtual void fillTable(RKEnumToStringTable<E>* table) const = 0;

    /// The value that is wrapped; 0 by default.
    E value() const
    {
        return m_value;
    }

    /// The one table of the enumeration, made on first use and never freed.
    const RKEnumToStringTable<E>* enumToStringTable() const
    {
        if (const auto* existing = s_table.load(std::memory_order_acquire))
            return existing;

        // Guards the creation only.
        static QMutex creationMutex;
        const QMutexLocker locker(&creationMutex);
        const RKEnumToStringTable<E>* table = s_table.load(std::memory_order_relaxed);
        if (!table) {
            auto* filled = new RKEnumToStringTable<E>;
            fillTable(filled);
            s_table.store(filled, std::memory_order_release);
            table = filled;
        }
        return table;
    }

private:
    qint64 bits() const
    {
        return qint64(m_value);
    }

    inline static std::atomic<const RKEnumToStringTable<E>*> s_table{nullptr};

    E m_value = E(0);
};
