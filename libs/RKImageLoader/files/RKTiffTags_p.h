#pragma once

#include <QtGlobal>

#include <array>

/// Numbers of tags that the library itself looks at, and of the types of values (TIFF 6.0; Exif
/// 2.32, 4.6; TIFF/EP and the notes of their makers for the others).
namespace RKTiffTag {

constexpr quint16 kSubfileType = 0x00fe;
constexpr quint16 kWidth = 0x0100;
constexpr quint16 kHeight = 0x0101;
constexpr quint16 kStripOffsets = 0x0111;
constexpr quint16 kStripSizes = 0x0117;
constexpr quint16 kTileOffsets = 0x0144;
constexpr quint16 kTileSizes = 0x0145;
constexpr quint16 kSubDirectories = 0x014a;
constexpr quint16 kJpegOffset = 0x0201;
constexpr quint16 kJpegSize = 0x0202;
constexpr quint16 kXmp = 0x02bc;
constexpr quint16 kIptc = 0x83bb;
constexpr quint16 kPhotoshop = 0x8649;
constexpr quint16 kExifDirectory = 0x8769;
constexpr quint16 kIccProfile = 0x8773;
constexpr quint16 kGpsDirectory = 0x8825;
constexpr quint16 kMakerNote = 0x927c;
constexpr quint16 kInteroperabilityDirectory = 0xa005;
/// Of DNG; in some raw files the place of a directory that only the maker knows.
constexpr quint16 kPrivateData = 0xc634;

} // namespace RKTiffTag

namespace RKTiffType {

constexpr quint16 kByte = 1;
constexpr quint16 kAscii = 2;
constexpr quint16 kShort = 3;
constexpr quint16 kLong = 4;
constexpr quint16 kUndefined = 7;
constexpr quint16 kSignedLong = 9;
constexpr quint16 kDouble = 12;
/// A long that is the place of a directory (TIFF technical note 1).
constexpr quint16 kDirectory = 13;

/// The bytes of one value; 0 for an unknown type.
constexpr quint32 sizeOf(quint16 type)
{
    constexpr std::array<quint8, 14> kSizes = {0, 1, 1, 2, 4, 8, 1, 1, 2, 4, 8, 4, 8, 4};
    return type < kSizes.size() ? kSizes[type] : 0;
}

} // namespace RKTiffType
