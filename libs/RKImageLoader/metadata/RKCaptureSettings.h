#pragma once

#include <QString>

#include <optional>

/// How and where a picture was taken, as far as its metadata says. What is unknown is 0 or empty.
struct RKCaptureSettings
{
    /// The camera's maker.
    QString make;
    /// The camera's name, which often begins with its maker's.
    QString model;
    /// The lens's name; empty if only its number is known.
    QString lens;
    /// Seconds.
    double exposureTime = 0;
    /// Focal length divided by the diameter of the aperture.
    double fNumber = 0;
    /// Sensitivity as ISO 12232 counts it.
    int iso = 0;
    /// Exposure compensation in EV.
    std::optional<double> exposureBias;
    /// Millimetres.
    double focalLength = 0;
    /// The focal length of the same view on film of 24 x 36 mm, in millimetres.
    double focalLengthIn35mm = 0;
    /// Above the sea, in metres.
    std::optional<double> altitude;
    /// Names of the place.
    /// @{
    QString city;
    /// State or province.
    QString state;
    QString country;
    /// @}
};
