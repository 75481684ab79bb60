#pragma once

#include "RKImageLoader/RKImageLoaderExport.h"
#include "RKImageLoader/faces/RKIdentifier.h"

/// One image of the host's catalogue. Reentrant.
class RKIMAGELOADER_EXPORT RKImageId : public RKIdentifier<RKImageId>
{
public:
    /// The invalid identifier -1.
    RKImageId() = default;
    /// A number of the host's catalogue; a negative one is invalid.
    explicit RKImageId(int id);

    /// Whether the number is not negative.
    bool isValid() const;
};
