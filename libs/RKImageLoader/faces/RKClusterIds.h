#pragma once

#include "RKImageLoader/RKImageLoaderExport.h"
#include "RKImageLoader/faces/RKClusterId.h"
#include "RKImageLoader/faces/RKIdentifierList.h"

/// An ordered list of clusters. Reentrant.
class RKIMAGELOADER_EXPORT RKClusterIds : public RKIdentifierList<RKClusterId>
{
public:
    RKClusterIds() = default;
    /// In the given order, repeated ones too.
    explicit RKClusterIds(const QList<RKClusterId>& ids);

    /// A copy without the cluster of faces without a name.
    RKClusterIds filterUnnamedClusterId() const;

    /// A copy without every cluster that the other list has; the order is kept.
    RKClusterIds excludeClusterIds(const RKClusterIds& other) const;
};
