#pragma once

#include <QString>

#include <optional>

/// How and where a picture was taken, as far as its metadata say. What isn't known is 0 or empty.
struct RKCaptureSettings
{
    /// Who made the camera.
    QString make;
    /// The camera's name; many begin with its maker's.
    QString model;
    /// The lens' name; empty where only its number is known.
    QString lens;
    /// Seconds.
    double exposureTime = 0;
    /// Focal length over the diameter of the aperture.
    double fNumber = 0;
    /// Sensitivity as ISO 12232 counts it.
    int iso = 0;
    /// Exposure compensation in EV.
    std::optional<double> exposureBias;
    /// Millimetres.
    double focalLength = 0;
    /// That of the same view on film of 24 x 36 mm, in millimetres.
    double focalLengthIn35mm = 0;
    /// Above the sea, in metres.
    std::optional<double> altitude;
    /// Names of the place.
    /// @{
    QString city;
    /// Or the province.
    QString state;
    QString country;
    /// @}
};
