#pragma once

#include "RKImageLoader/files/RKSparseBytes_p.h"

#include <optional>

/// Reads a TIFF-based file without its pixels.
namespace RKTiffSkeleton {

/// Holes for pixels - strips, tiles and JPEG streams - and everything else of the file: also what
/// no directory mentions, and all that a directory, a value or the second directory, which may be a
/// thumbnail, uses besides. Large pixels only, of structures that can be read as a whole: any other
/// file has no holes. nullopt if the file cannot be read.
std::optional<RKSparseBytes> read(const RKByteSource& source);

} // namespace RKTiffSkeleton
