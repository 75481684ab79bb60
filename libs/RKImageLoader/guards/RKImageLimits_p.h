#pragma once

#include <QtGlobal>

/// How much a file may ask for. A file of a few kilobytes must cost less than 256 MiB and two
/// seconds of work, a real one may cost what its size justifies.
namespace RKImageLimits {

inline constexpr qint64 kMebibyte = 1LL << 20;

/// The most that zlib's compression reaches. RFC 1951: a match of 258 bytes takes at least two
/// bits.
inline constexpr qint64 kDeflateRatio = 1032;

/// No picture with more pixels is decoded: 4 GiB at 32 bits, what QImage still handles and a
/// desktop application survives.
inline constexpr qint64 kMaxPixels = 1LL << 30;
inline constexpr qint64 kMaxSide = 1LL << 30;

/// Memory that any file may claim for a picture that is cut off or asked for smaller. The program
/// around it takes 50 MiB, so that together they stay below 256 MiB.
inline constexpr qint64 kMaxClaim = 192 * kMebibyte;
/// A picture that is asked for smaller never takes more, whatever its file: what is thrown away at
/// once is not worth it. Decoders that scale while they decode hold next to nothing.
inline constexpr qint64 kMaxReducedClaim = 512 * kMebibyte;
/// Memory for each byte of the file where it is beyond kMaxClaim. Graphics of that size compress
/// less; only plain areas compress more.
inline constexpr qint64 kMaxClaimPerByte = 256;
/// Memory of a TIFF picture that is tried although its strips are cut off or missing.
inline constexpr qint64 kSmallClaim = 64 * kMebibyte;

/// Bytes that any file may have a decoder produce for a picture that is asked for smaller, whatever
/// little it holds of them at a time: about a second's work. Beyond that, for each byte of the
/// file, no more than such large pictures have.
inline constexpr qint64 kMaxDecoded = 768 * kMebibyte;
inline constexpr qint64 kMaxDecodedPerByte = 64;

/// Pixels of a graphic that is read whatever the length of its file: 64 MiB at 32 bits.
inline constexpr qint64 kSmallGraphic = 1LL << 24;
/// Cameras of today have up to 60 megapixels; their files that were cut off still show their upper
/// part.
inline constexpr qint64 kSmallPhoto = 1LL << 26;

/// Texts of a PNG file after decompression, its profile among them. XMP packets have a few hundred
/// kilobytes, and libraries inflate each of them several times.
inline constexpr qint64 kMaxInflatedTexts = 16 * kMebibyte;

/// Segments before the picture of a JPEG file. Decoders look for the end of the list for each of
/// them; a hundred megabytes of metadata have 1600.
inline constexpr int kMaxSegments = 8192;

/// Pixels that an MNG file may paint before its first frame shows: half a second. libmng may clear
/// the canvas for each chunk that shows something, which takes as long as kMngLayer pixels even for
/// the smallest.
inline constexpr qint64 kMaxMngPainted = 1LL << 28;
inline constexpr qint64 kMngLayer = 1LL << 16;

/// Passes over the picture of a progressive JPEG file. Encoders make ten or so. Each costs the time
/// of a decode, whatever its length, so a file that has more may not be large too.
inline constexpr qint64 kMaxScans = 24;
inline constexpr qint64 kMaxScannedPixels = 1LL << 30;

} // namespace RKImageLimits
