#pragma once

#include "RKImageLoader/files/RKFileDescriptor_p.h"

/// What a file has beside its content and its times.
namespace RKFileAttributes {

/// Gives a file the owner, mode, access lists and extended attributes of another one.
/// std::errc::operation_not_permitted where the process may not give it one of them.
std::error_code copy(const RKFileDescriptor& from, const RKFileDescriptor& to);

} // namespace RKFileAttributes
