#pragma once

#include "RKImageLoader/RKImageLoaderExport.h"
#include "RKImageLoader/media/RKMediaError.h"

#include <system_error>

/// What an error of the system means for a medium. No error for none.
namespace RKFileReason {

/// A file could not be read. A directory is std::errc::is_a_directory, anything else that is not a
/// regular file std::errc::not_supported.
RKMediaError ofReading(const std::error_code& error, const QString& path);

/// A file could not be written, or created. std::errc::resource_unavailable_try_again means that
/// others keep changing it.
RKMediaError ofWriting(const std::error_code& error, const QString& path);

} // namespace RKFileReason
