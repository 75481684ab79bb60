#pragma once

#include <QSize>

/// What a picture may ask for before anything is decoded.
namespace RKPictureLimits {

/// QImage and QPainter count in 16 bits here and there.
inline constexpr qint64 kMaxSide = 32767;
/// More than any camera has today (200 megapixels).
inline constexpr qint64 kMaxPixels = 300'000'000;

/// Compressed to the utmost, plain pictures reach a few thousand pixels a byte. Smaller ones are
/// tried whatever their length.
inline constexpr qint64 kMaxPixelsPerByte = 65536;
inline constexpr qint64 kSmallPicture = 1LL << 24;

inline bool isAcceptable(qint64 width, qint64 height)
{
    return width > 0 && height > 0 && width <= kMaxSide && height <= kMaxSide
        && width * height <= kMaxPixels;
}

inline bool isAcceptable(const QSize& size)
{
    return isAcceptable(size.width(), size.height());
}

inline bool canHold(qint64 bytes, qint64 pixels)
{
    return pixels <= kSmallPicture || pixels / kMaxPixelsPerByte <= bytes;
}

} // namespace RKPictureLimits
