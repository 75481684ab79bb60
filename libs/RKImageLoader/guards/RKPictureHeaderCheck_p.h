#pragma once

#include <QByteArray>
#include <QByteArrayView>
#include <QSize>

class QIODevice;

/// Finds raster files whose header promises more than their bytes can hold, and pictures that cost
/// more than they are worth.
///
/// Decoders allocate and fill the whole picture before they miss its data, so a few bytes could
/// cost gigabytes and minutes. The check compares the size with the best ratio that the format's
/// compression can reach, so that no real picture is refused, however plain it is. The numbers are
/// in RKImageLimits. Reentrant.
class RKPictureHeaderCheck
{
public:
    RKPictureHeaderCheck() = delete;

    /// Whether the data can hold a picture of that size in pixels, as a decoder measured it. If it
    /// could not be measured, the size is invalid, and the data's own header counts.
    static bool canHold(const QByteArray& data, const QSize& size);

    /// Whether a JPEG file has at most RKImageLimits::kMaxSegments segments before its picture; a
    /// warning if not. True for others. To be asked before a decoder measures the picture. The
    /// device is opened for reading if it isn't, as readers do; its position stays.
    static bool hasFewSegments(QIODevice& device);

    /// Whether a picture of that size may be decoded for one of a quarter of its pixels or fewer.
    /// Large ones may not, unless they are scaled while they are decoded.
    static bool canBeReduced(const QByteArray& data, const QSize& size);

    /// Whether the whole picture may be decoded first for that.
    static bool canBeHeld(const QByteArray& data, const QSize& size);

    /// The bytes that Qt's reader holds at once when it decodes a picture of that size to reduce
    /// it; 0 where it reads and reduces row by row.
    static qint64 wholeBytes(const QByteArray& data, const QSize& size);

    /// Whether it is a JPEG whose single scan ends where the picture does, without a marker in it
    /// that would confuse a decoder. Its tables are not looked at.
    static bool isPlainJpeg(QByteArrayView data);
};
