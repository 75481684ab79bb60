#pragma once

#include "RKImageLoader/RKImageLoaderExport.h"

class QImage;

/// Answers questions about the pixels of an image. Stateless and thread-safe.
class RKIMAGELOADER_EXPORT RKImageTester
{
public:
    RKImageTester() = default;
    RKImageTester(const RKImageTester&) = default;
    RKImageTester& operator=(const RKImageTester&) = default;
    virtual ~RKImageTester();

    /// Whether at least one pixel is not opaque. False for null images. Looks at every pixel of an
    /// opaque image that has an alpha channel.
    bool imageContainsAlphaInformation(const QImage& image) const;
};
