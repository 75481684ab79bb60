#pragma once

#include "RKImageLoader/metadata/exiv2/RKExiv2Compat_p.h"

#include <QList>

/// The types of tags that hold integers.
namespace RKExiv2IntegerType {

bool isInteger(Exiv2::TypeId type);

/// The type to store the numbers with. Left to itself exiv2 would take its own type of the C++
/// number, such as a signed long for the flash.
Exiv2::TypeId of(Exiv2::TypeId typeOfTag, const QList<int>& values);

} // namespace RKExiv2IntegerType
