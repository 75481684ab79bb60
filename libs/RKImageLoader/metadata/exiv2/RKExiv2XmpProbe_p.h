#pragma once

#include "RKImageLoader/RKImageLoaderExport.h"
#include "RKImageLoader/metadata/exiv2/RKExiv2Compat_p.h"

/// Finds out, without exiv2's XMP parser, whether reading an image will call it.
///
/// Reentrant.
class RKIMAGELOADER_TEST_EXPORT RKExiv2XmpProbe
{
public:
    RKExiv2XmpProbe() = delete;

    /// False only for a JPEG whose segments show that exiv2 will find no XMP, as most cameras write
    /// them. Other formats would have to be searched as thoroughly as exiv2 does when it reads
    /// them.
    static bool mayHaveXmp(Exiv2::Image& image);
};
