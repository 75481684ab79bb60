#include "RKImageLoader/faces/RKClusterIds.h"

#include <QSet>

RKClusterIds::RKClusterIds(const QList<RKClusterId>& ids)
    : RKIdentifierList(ids)
{
}

RKClusterIds RKClusterIds::filterUnnamedClusterId() const
{
    RKClusterIds named = *this;
    named.removeIf([](const RKClusterId& id) { return id.isUnnamedId(); });
    return named;
}

RKClusterIds RKClusterIds::excludeClusterIds(const RKClusterIds& other) const
{
    const QSet<RKClusterId> excluded(other.cbegin(), other.cend());
    RKClusterIds rest = *this;
    rest.removeIf([&excluded](const RKClusterId& id) { return excluded.contains(id); });
    return rest;
}
