#pragma once

#include <QtGlobal>

#include <array>

/// The ID of a colour profile (ICC.1:2022, 7.2.18). Profiles that differ in nothing but flags,
/// rendering intent and the ID they hold have the same.
class RKColorProfileConverterLookupTableKey
{
public:
    explicit RKColorProfileConverterLookupTableKey(const std::array<quint32, 4>& profileId = {});
    RKColorProfileConverterLookupTableKey(const RKColorProfileConverterLookupTableKey&) = default;
    RKColorProfileConverterLookupTableKey& operator=(const RKColorProfileConverterLookupTableKey&)
        = default;
    virtual ~RKColorProfileConverterLookupTableKey();

    size_t createHash() const;

    friend bool operator==(const RKColorProfileConverterLookupTableKey& left,
        const RKColorProfileConverterLookupTableKey& right)
    {
        return left.m_profileId == right.m_profileId;
    }

private:
    std::array<quint32, 4> m_profileId;
};

inline size_t qHash(const RKColorProfileConverterLookupTableKey& key, size_t seed = 0)
{
    return key.createHash() ^ seed;
}
