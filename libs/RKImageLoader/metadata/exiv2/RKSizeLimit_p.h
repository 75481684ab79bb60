#pragma once

#include "RKImageLoader/metadata/exiv2/RKExiv2Compat_p.h"

#include <cstddef>

/// Shortens metadata until they fit into a JPEG segment, the largest data first. Logs what it
/// removes.
///
/// Reentrant.
class RKSizeLimit
{
public:
    RKSizeLimit() = delete;

    /// The size in bytes of the data in little-endian encoding. Throws what exiv2 throws.
    static size_t encodedSize(const Exiv2::ExifData& data);

    /// Removes copies of the image's colour profile before anything else. Throws what exiv2 throws.
    static void makeSureExifDataIsLessThan64k(Exiv2::ExifData& data);

    /// Removes the largest properties until the packet is shorter than the limit. The caller holds
    /// RKExiv2Library::xmpLock() exclusively.
    static void removeLargest(Exiv2::XmpData& data, size_t limit);
};
