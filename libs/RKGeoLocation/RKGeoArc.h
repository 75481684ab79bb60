#pragma once

#include "RKGeoLocation/RKGeoLocationExport.h"

#include <QString>

#include <limits>

/// An angle of a geographic position in degrees, north and east positive. Reentrant.
class RKGEOLOCATION_EXPORT RKGeoArc
{
public:
    /// An invalid arc.
    RKGeoArc() = default;
    /// In degrees, south and west negative. Not limited to 180 degrees.
    explicit RKGeoArc(double degrees);

    /// The angle in degrees; NaN for an invalid arc.
    double degrees() const;

    /// Whether the angle is a finite number.
    bool isValid() const;

    /// The absolute value as the text of three unsigned rationals, degrees, minutes and seconds of
    /// arc, with the seconds in millionths: "48/1 51/1 29599200/1000000" for 48.858222 degrees
    /// (Exif 2.32, 4.6.6, tags 0x0002 and 0x0004). Empty for an invalid arc or one beyond
    /// 1000000 degrees.
    QString toExifRational() const;

    /// Equal numbers; two invalid arcs are equal.
    bool operator==(const RKGeoArc& other) const;
    bool operator!=(const RKGeoArc& other) const;

private:
    double m_degrees = std::numeric_limits<double>::quiet_NaN();
};
