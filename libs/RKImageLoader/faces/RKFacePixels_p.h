#pragma once

#include <QRect>

#include <algorithm>
#include <cmath>

/// Conversions to pixels that are defined for every number, since face rectangles come from files
/// unchecked: NaN becomes 0, and what lies outside +-kLimit is moved to it.
namespace RKFacePixels {

// Far beyond any picture, and small enough that the sides of a rectangle of such coordinates, and
// of the union of several, are calculated within an int.
constexpr int kLimit = 500'000'000;

inline double limited(double value)
{
    return std::isnan(value) ? 0.0 : std::clamp(value, double(-kLimit), double(kLimit));
}

inline int truncated(double value)
{
    return int(limited(value));
}

inline int rounded(double value)
{
    return qRound(limited(value));
}

/// The sum of two coordinates.
inline int moved(int coordinate, int distance)
{
    return int(std::clamp<qint64>(qint64(coordinate) + distance, -kLimit, kLimit));
}

} // namespace RKFacePixels
