#pragma once

#include "RKImageLoader/media/RKMediaError.h"

#include <QString>

namespace ErrorName {

/// The stable name of a code in results for programs, "noPermission" for instance.
QString of(RKMediaErrorCode code);

} // namespace ErrorName
