#pragma once

#include "RKImageLoader/RKImageLoaderExport.h"
#include "RKImageLoader/faces/RKIdentifier.h"

/// One detected face of the host's catalogue. Reentrant.
class RKIMAGELOADER_EXPORT RKFaceId : public RKIdentifier<RKFaceId>
{
public:
    /// The invalid identifier -1.
    RKFaceId() = default;
    /// A number of the host's catalogue; a negative one is invalid.
    explicit RKFaceId(int id);

    /// Whether the number is not negative.
    bool isValid() const;
};
