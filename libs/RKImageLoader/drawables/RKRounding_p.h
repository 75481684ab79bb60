#pragma once

#include <QtGlobal>

#include <algorithm>
#include <cmath>
#include <limits>

namespace RKRounding {

/// qRound() for lengths that come from a file or a host and need not fit into an int: those that
/// don't become the nearest int, and NaN becomes 0.
inline int toInt(double length)
{
    constexpr double kLimit = std::numeric_limits<int>::max();
    return std::isnan(length) ? 0 : qRound(std::clamp(length, -kLimit, kLimit));
}

} // namespace RKRounding
