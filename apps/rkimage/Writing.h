#pragma once

#include "RKImageLoader/media/RKMediaDescriptor.h"
#include "RKImageLoader/media/RKMediaError.h"

namespace Writing {

/// Why no picture can be saved in the format that a file's name says; no error if one can.
RKMediaError formatError(const RKMediaDescriptor& target);

} // namespace Writing
