#pragma once

#include "RKImageLoader/video/RKFfmpegLog_p.h"

#include <QSize>
#include <QString>

extern "C" {
#include <libavutil/rational.h>
}

/// What is known of a video file from its opening on. RKFfmpegBridge explains the values.
struct RKVideoFacts
{
    QString path;
    AVRational frameRate{0, 0};
    /// That of the stream, in seconds per tick.
    AVRational timeBase{0, 0};
    int lengthMs = 0;
    int rotation = 0;
    /// Whether top and bottom are swapped before the rotation.
    bool isMirrored = false;
    QSize sourceSize;
    QSize effectiveSize;
    AVRational sourceAspectRatio{0, 0};
    AVRational displayAspectRatio{0, 0};
    QString creationTime;
    QString cameraModel;
    QString location;
    QString codecName;
    /// About how much memory the open file takes.
    long long estimatedBytes = 0;

    /// The numerator divided by the denominator; 0 for denominator 0.
    static double toReal(const AVRational& ratio)
    {
        return ratio.den == 0 ? 0.0 : double(ratio.num) / ratio.den;
    }

    /// Thousandths where RKFfmpegBridge::repairedTimeBase() says so.
    static AVRational repairedTimeBase(const AVRational& timeBase)
    {
        const bool isBroken = timeBase.num >= 1001 && timeBase.den == 1;
        return {timeBase.num, isBroken ? 1000 : timeBase.den};
    }

    /// Whether the rate is a multiple of 1/1001, such as 29.97 frames per second.
    bool isNtscRate() const
    {
        return frameRate.den == 1001;
    }

    /// Ticks of the stream's time base; 0 if unknown. Kept: denominators of 1001 count as 1000. See
    /// RKFfmpegBridgeFramesTest, "long.mp4".
    double ticksPerFrame() const
    {
        const AVRational rate{frameRate.num, isNtscRate() ? 1000 : frameRate.den};
        const double framesPerTick = toReal(rate) * toReal(timeBase);
        return framesPerTick > 0.0 ? 1.0 / framesPerTick : 0.0;
    }

    /// The same, and a line in the log where the rate was adjusted.
    double timeScale() const
    {
        if (isNtscRate())
            RKFfmpegLog::write(path, QStringLiteral("adjusted r_frame_rate.den from 1001 to 1000"));
        return ticksPerFrame();
    }
};
