#include "RKImageLoader/video/RKFramesPerSecond.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace {

/// The whole number as a T, which is -1 where T can't hold it.
template <typename T>
T toInteger(double number)
{
    // The greatest T need not be a double; the number after it is a power of two and always one.
    const double limit = std::ldexp(1.0, std::numeric_limits<T>::digits);
    return number >= -limit && number < limit ? T(number) : T(-1);
}

} // namespace

RKFramesPerSecond::RKFramesPerSecond(double fps)
    : m_fps(fps)
{
}

RKFramesPerSecond::~RKFramesPerSecond() = default;

double RKFramesPerSecond::fps() const
{
    return m_fps;
}

bool RKFramesPerSecond::isValid() const
{
    return !isNull();
}

bool RKFramesPerSecond::isNull() const
{
    return m_fps == 0.0;
}

bool RKFramesPerSecond::operator==(const RKFramesPerSecond& other) const
{
    return m_fps == other.m_fps;
}

bool RKFramesPerSecond::operator!=(const RKFramesPerSecond& other) const
{
    return !(*this == other);
}

RKVideoFrameIndex RKFramesPerSecond::ms2frameIndex(long long ms) const
{
    return toInteger<int>(std::round(double(ms) / 1000.0 * m_fps));
}

long long RKFramesPerSecond::frameIndex2ms(const RKVideoFrameIndex& frame) const
{
    return isNull() ? 0 : toInteger<long long>(std::floor(frame.frame() * 1000.0 / m_fps));
}

RKVideoFrameIndex RKFramesPerSecond::moveMs(const RKVideoFrameIndex& frame, long long ms) const
{
    return toInteger<int>(frame.frame() + double(ms) * m_fps / 1000.0);
}

QString RKFramesPerSecond::describe(const RKVideoFrameIndex& frame) const
{
    // NaN counts as 1, too.
    const int rate = std::max(toInteger<int>(std::round(m_fps)), 1);
    const int seconds = frame.frame() / rate;
    const int minutes = seconds / 60;
    return QStringLiteral("%1:%2,%3")
        .arg(minutes)
        .arg(seconds - minutes * 60)
        .arg(frame.frame() % rate);
}
