#pragma once

#include "RKImageLoader/RKImageLoaderExport.h"
#include "RKImageLoader/faces/RKIdentifierList.h"
#include "RKImageLoader/faces/RKImageId.h"

/// An ordered list of images. Reentrant.
class RKIMAGELOADER_EXPORT RKImageIds : public RKIdentifierList<RKImageId>
{
public:
    RKImageIds() = default;
    /// A list of one image.
    explicit RKImageIds(const RKImageId& id);
};
