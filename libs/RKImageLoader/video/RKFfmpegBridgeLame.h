#pragma once

#include "RKImageLoader/RKImageLoaderExport.h"
#include "RKImageLoader/video/RKFfmpegBridge.h"

#include <QHash>
#include <QImage>

/// Access to video files in which seeking is unreliable, such as AVCHD camcorders' .mts. Frames are
/// only ever decoded forwards, from the start if need be, and those around the last one asked for
/// are kept (up to 21, 130 MB at 1080p), even after the file was closed.
///
/// A frame takes as long as decoding all frames since the last one, or since the start: frame 45000
/// of a file just opened decodes half an hour of video, and other threads wait for it.
///
/// Thread-safe.
class RKIMAGELOADER_EXPORT RKFfmpegBridgeLame : public RKFfmpegBridge
{
public:
    using RKFfmpegBridge::decodeFrame;
    using RKFfmpegBridge::RKFfmpegBridge;

    QImage decodeFrame(long long frameNumber) override;
    /// Includes all frames that may be kept.
    long long estimatedBytes() const override;

private:
    QImage readFromCache(long long frameNumber) const;
    QImage justDecodeThisFrame(long long frameNumber);
    void recordInCache(long long frameNumber, const QImage& image);

    long long m_lastFrame = -1;
    long long m_lastTimestamp = 0;
    QHash<long long, QImage> m_cache;
};
