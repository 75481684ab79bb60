#pragma once

#include "RKImageLoader/RKImageLoaderExport.h"
#include "RKImageLoader/media/RKVideoFrameIndex.h"

#include <QString>

/// The rate of a video's frames, in frames per second, with the conversions between times and frame
/// numbers that follow from it. 0 is the null rate, at which every time is frame 0.
///
/// Results that are not finite, or too large for their type, become -1. Reentrant.
class RKIMAGELOADER_EXPORT RKFramesPerSecond
{
public:
    RKFramesPerSecond() = default;
    /// In frames per second; see isValid() for what makes sense.
    RKFramesPerSecond(double fps);

    RKFramesPerSecond(const RKFramesPerSecond&) = default;
    RKFramesPerSecond(RKFramesPerSecond&&) noexcept = default;
    RKFramesPerSecond& operator=(const RKFramesPerSecond&) = default;
    RKFramesPerSecond& operator=(RKFramesPerSecond&&) noexcept = default;
    virtual ~RKFramesPerSecond();

    /// Frames per second; 0 for the null rate.
    double fps() const;
    /// Whether the rate is not 0; negative and infinite ones are not excluded.
    bool isValid() const;
    /// Whether the rate is 0: unknown.
    bool isNull() const;

    /// Exact, without a tolerance.
    bool operator==(const RKFramesPerSecond& other) const;
    bool operator!=(const RKFramesPerSecond& other) const;

    /// The frame nearest to a time in milliseconds from the start; halves round away from zero.
    RKVideoFrameIndex ms2frameIndex(long long ms) const;
    /// When a frame begins, in milliseconds from the start, rounded down; 0 for the null rate.
    long long frameIndex2ms(const RKVideoFrameIndex& frame) const;
    /// The frame some milliseconds after the given one, or before it if negative. The position is
    /// rounded towards zero: 30 ms before frame 10 at 25 frames per second is frame 9.
    RKVideoFrameIndex moveMs(const RKVideoFrameIndex& frame, long long ms) const;

    /// The frame as minutes:seconds,frames, counted with the rate rounded to a whole number of at
    /// least 1: "1:0,10" is frame 1510 at 25 frames per second. No frame gives "0:0,-1".
    QString describe(const RKVideoFrameIndex& frame) const;

private:
    double m_fps = 0.0;
};
