#include "RKGeoLocation/RKGeoArc.h"

#include <cmath>

namespace {

// Any angle worth writing is far smaller; the bound keeps the count of micro-seconds in 64 bits.
constexpr double kMaxDegrees = 1e6;
constexpr qint64 kMicrosecondsPerMinute = 60LL * 1000000LL;
constexpr qint64 kMicrosecondsPerDegree = 60LL * kMicrosecondsPerMinute;

} // namespace

RKGeoArc::RKGeoArc(double degrees)
    : m_degrees(degrees)
{
}

double RKGeoArc::degrees() const
{
    return m_degrees;
}

bool RKGeoArc::isValid() const
{
    return std::isfinite(m_degrees);
}

QString RKGeoArc::toExifRational() const
{
    const double absolute = std::abs(m_degrees);
    if (!isValid() || absolute > kMaxDegrees)
        return {};
    // Rounded as a whole, so that 59.99999999 degrees carry into 60 and never read "60 seconds".
    const qint64 total = std::llround(absolute * double(kMicrosecondsPerDegree));
    const qint64 degrees = total / kMicrosecondsPerDegree;
    const qint64 minutes = total % kMicrosecondsPerDegree / kMicrosecondsPerMinute;
    const qint64 microseconds = total % kMicrosecondsPerMinute;
    return QStringLiteral("%1/1 %2/1 %3/1000000").arg(degrees).arg(minutes).arg(microseconds);
}

bool RKGeoArc::operator==(const RKGeoArc& other) const
{
    return m_degrees == other.m_degrees || (!isValid() && !other.isValid());
}

bool RKGeoArc::operator!=(const RKGeoArc& other) const
{
    return !(*this == other);
}
