#pragma once

#include <cmath>

/// Channels of the engine, 0 to 1, as the 8 bits that pictures hold.
namespace RKEightBits {

inline unsigned int rounded(float channel)
{
    // Pure black of an ink profile is NaN, and stays black.
    if (!std::isfinite(channel))
        return 0;
    // Kept: no limit, the low eight bits count. The engine gives 0 to 1.
    return static_cast<unsigned int>(static_cast<int>(std::round(double(channel) * 255.0))) & 0xff;
}

/// 0x00rrggbb.
inline unsigned int rounded(const float* channels)
{
    return (rounded(channels[0]) << 16) | (rounded(channels[1]) << 8) | rounded(channels[2]);
}

} // namespace RKEightBits
