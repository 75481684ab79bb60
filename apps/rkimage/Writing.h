#pragma once

#include "RKImageLoader/media/RKMediaDescriptor.h"
#include "RKImageLoader/media/RKMediaError.h"

class QFileDevice;

namespace Writing {

/// Why no picture can be saved in the format that a file's name says; no error if one can.
RKMediaError formatError(const RKMediaDescriptor& target);

/// What has gone wrong with a file that was written.
RKMediaError errorOf(const QFileDevice& file);

/// The extension of a picture made of the file when nobody asks for one: that of the file itself
/// where its format can be written.
QString usualExtension(const RKMediaDescriptor& source);

} // namespace Writing
