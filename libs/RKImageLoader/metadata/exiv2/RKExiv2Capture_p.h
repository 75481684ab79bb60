#pragma once

#include "RKImageLoader/metadata/RKCaptureSettings.h"
#include "RKImageLoader/metadata/exiv2/RKExiv2Compat_p.h"

/// Finds what cameras record about a picture in the many places where they do.
namespace RKExiv2Capture {

/// From Exif, and from XMP what is missing there.
RKCaptureSettings read(const Exiv2::ExifData& exif, const Exiv2::XmpData& xmp);

} // namespace RKExiv2Capture
