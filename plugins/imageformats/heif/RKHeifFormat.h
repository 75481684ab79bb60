#pragma once

#include <QByteArray>

#include <array>

/// What the plug-in knows of HEIF without libheif.
class RKHeifFormat
{
public:
    static constexpr std::array kKeys{"heic", "heif", "heics", "heifs"};
    /// The place where the list of brands is expected to end.
    static constexpr qint64 kStartSize = 512;
    /// The type of items that are coded with HEVC.
    static constexpr char kHevc[] = "hvc1";

    static bool isRecognized(const QByteArray& start);
};
