#pragma once

#include "RKImageLoader/RKImageLoaderExport.h"
#include "RKImageLoader/faces/RKFaceId.h"

#include <QSet>
#include <QString>

/// A set of faces. Reentrant.
class RKIMAGELOADER_EXPORT RKFaceIds : public QSet<RKFaceId>
{
public:
    RKFaceIds() = default;
    /// A copy of the set.
    explicit RKFaceIds(const QSet<RKFaceId>& ids);

    RKFaceIds(const RKFaceIds&) = default;
    RKFaceIds(RKFaceIds&&) noexcept = default;
    RKFaceIds& operator=(const RKFaceIds&) = default;
    RKFaceIds& operator=(RKFaceIds&&) noexcept = default;
    virtual ~RKFaceIds();

    /// The numbers in ascending order, "-1, 3, 7"; empty for an empty set.
    QString toString() const;
};
