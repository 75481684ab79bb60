#pragma once

#include <QByteArray>

#include <array>

/// What the plug-in knows of HEIF without libheif.
class RKHeifFormat
{
public:
    static constexpr std::array kKeys{"heic", "heif", "heics", "heifs"};
    /// Where the list of brands is expected to end.
    static constexpr qint64 kStartSize = 512;

    static bool isRecognized(const QByteArray& start);
};
