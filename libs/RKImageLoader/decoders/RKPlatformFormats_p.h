#pragma once

#include <array>

/// The formats that a decoder of the platform reads, and that no other decoder may take: Photoshop
/// and camera raw files. Their pictures come from the platform's own raw conversion, which others
/// can't match.
inline constexpr std::array kPlatformFormats{
    "psd", "crw", "cr2", "arw", "nef", "raf", "dng", "rw2"};
