#include "RKImageLoader/color/RKColorProfileConverterLookupTableKey_p.h"

RKColorProfileConverterLookupTableKey::RKColorProfileConverterLookupTableKey(
    const std::array<quint32, 4>& profileId)
    : m_profileId(profileId)
{
}

RKColorProfileConverterLookupTableKey::~RKColorProfileConverterLookupTableKey() = default;

size_t RKColorProfileConverterLookupTableKey::createHash() const
{
    return m_profileId[0] ^ m_profileId[1];
}
