#pragma once

#include "RKGeoLocation/RKGeoArc.h"
#include "RKGeoLocation/RKGeoLocationExport.h"

/// A place on Earth (WGS 84). Latitude and longitude 0 are valid. Reentrant.
class RKGEOLOCATION_EXPORT RKGeoPosition
{
public:
    /// An invalid position.
    RKGeoPosition() = default;
    /// Both in degrees, north and east positive.
    RKGeoPosition(double latitude, double longitude);
    /// An invalid arc makes the position invalid.
    RKGeoPosition(const RKGeoArc& latitude, const RKGeoArc& longitude);

    /// Degrees north; negative for the southern hemisphere.
    RKGeoArc latitude() const;
    /// Degrees east; negative west of Greenwich.
    RKGeoArc longitude() const;

    /// Whether both arcs are finite, the latitude within 90 degrees and the longitude within 180.
    bool isValid() const;

    bool operator==(const RKGeoPosition& other) const;
    bool operator!=(const RKGeoPosition& other) const;

private:
    RKGeoArc m_latitude;
    RKGeoArc m_longitude;
};
