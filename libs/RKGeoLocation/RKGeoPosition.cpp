#include "RKGeoLocation/RKGeoPosition.h"

#include <cmath>

RKGeoPosition::RKGeoPosition(double latitude, double longitude)
    : RKGeoPosition(RKGeoArc(latitude), RKGeoArc(longitude))
{
}

RKGeoPosition::RKGeoPosition(const RKGeoArc& latitude, const RKGeoArc& longitude)
    : m_latitude(latitude)
    , m_longitude(longitude)
{
}

RKGeoArc RKGeoPosition::latitude() const
{
    return m_latitude;
}

RKGeoArc RKGeoPosition::longitude() const
{
    return m_longitude;
}

bool RKGeoPosition::isValid() const
{
    return m_latitude.isValid() && m_longitude.isValid() && std::abs(m_latitude.degrees()) <= 90.0
        && std::abs(m_longitude.degrees()) <= 180.0;
}

bool RKGeoPosition::operator==(const RKGeoPosition& other) const
{
    return m_latitude == other.m_latitude && m_longitude == other.m_longitude;
}

bool RKGeoPosition::operator!=(const RKGeoPosition& other) const
{
    return !(*this == other);
}
