#pragma once

#include "RKImageLoader/RKImageLoaderExport.h"

#include <QByteArray>
#include <QSize>

/// Tells raster files whose header promises more than their bytes can hold.
///
/// Decoders allocate and fill the whole picture before they miss its data, so a few bytes could
/// cost gigabytes and minutes. The check compares the size with the best ratio that the format's
/// compression can reach, so that no real picture is refused, however plain it is. Reentrant.
class RKIMAGELOADER_TEST_EXPORT RKPictureHeaderCheck
{
public:
    /// No picture with more pixels is decoded: 4 GiB at 32 bits, what QImage still handles and a
    /// desktop application survives.
    static constexpr qint64 kMaxPixels = 1LL << 30;

    /// Compressed pictures of up to this many pixels (256 MiB at 32 bits) are tried whatever their
    /// length, so that files of today's cameras that were cut off still show their upper part.
    static constexpr qint64 kSmallPicture = 1LL << 26;
    /// The same for formats that are no camera's.
    static constexpr qint64 kSmallGraphic = 1LL << 24;

    /// More passes over the picture than progressive JPEG encoders make. Every one costs the time
    /// of a decode, whatever its length, so a large picture may not have more.
    static constexpr int kMaxJpegScans = 100;

    /// The data can hold a picture of that size in pixels, as a decoder measured it. An invalid
    /// size means that it could not be measured; the data's own header then has to do.
    static bool canHold(const QByteArray& data, const QSize& size);
};
