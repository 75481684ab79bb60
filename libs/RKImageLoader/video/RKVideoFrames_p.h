#pragma once

#include "RKImageLoader/media/RKCancellation.h"
#include "RKImageLoader/video/RKVideoFacts_p.h"

#include <QImage>

#include <memory>

struct AVStream;

/// Why a video can't be opened.
enum class RKVideoFailure
{
    /// The file itself is missing, unreadable or no video.
    Unknown,
    NoFfmpeg,
    NoVideoStream,
    NoDecoder,
    OutOfMemory
};

/// The frames of one open file. The timestamps are ticks of the stream's time base.
///
/// RKFfmpegBridge documents which frame has which number, and what these steps mean. One
/// thread at a time may use an object.
class RKVideoFrames
{
public:
    /// Stands for any timestamp: the next frame is the one wanted.
    static constexpr long long kAnyTimestamp = -1;

    RKVideoFrames() = default;
    /// Closes the file.
    virtual ~RKVideoFrames() = default;

    RKVideoFrames(const RKVideoFrames&) = delete;
    RKVideoFrames& operator=(const RKVideoFrames&) = delete;

    /// What follows gives up soon after it was cancelled, and finds nothing. It has to seek then.
    virtual void setCancellation(const RKCancellation& cancellation) = 0;
    /// Whether reading was stopped in the middle, so that the file has to be opened anew.
    virtual bool isInterrupted() const = 0;
    /// Whether the last search failed for lack of memory; its result says nothing about the frames.
    virtual bool isShortOfMemory() const = 0;

    virtual const RKVideoFacts& facts() const = 0;
    virtual const AVStream* stream() const = 0;

    virtual bool seekFrame(long long frameNumber) = 0;
    virtual bool decodeSeekFrame(long long timestamp) = 0;
    /// The number of the last frame that can be decoded; -1 if there is none. Moves to the end.
    virtual long long lastFrame() = 0;
    /// The current image as it is stored in the file; null if there is none.
    virtual QImage image() const = 0;
    virtual void setLastFrameOkay(bool isOkay) = 0;

    virtual long long lastTimestamp() const = 0;
    virtual bool lastsUntil(long long timestamp) const = 0;
    /// From the stream's start to the frame, if it had no rounding.
    virtual long long ticksSinceStart(long long frameNumber) const = 0;
    /// The earliest time stamp of a frame that belongs there; never kAnyTimestamp.
    virtual long long timestampAt(long long ticks) const = 0;
};
