#pragma once

#include <QString>

namespace RKExiv2Version {

/// The version of the exiv2 library that this process has loaded. Thread-safe.
QString running();

} // namespace RKExiv2Version
