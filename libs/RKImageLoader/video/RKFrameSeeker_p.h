#pragma once

#include "RKImageLoader/video/RKFfmpegFile_p.h"
#include "RKImageLoader/video/RKVideoFrames_p.h"

#include <QImage>

#include <limits>
#include <memory>

/// Finds and decodes frames of an open file.
class RKFrameSeeker : public RKVideoFrames
{
public:
    /// Null if there is no memory for the frames.
    static std::unique_ptr<RKFrameSeeker> create(std::unique_ptr<RKFfmpegFile> file);

    void setCancellation(const RKCancellation& cancellation) override;
    bool isInterrupted() const override;
    bool isShortOfMemory() const override;

    const RKVideoFacts& facts() const override;
    const AVStream* stream() const override;

    bool seekFrame(long long frameNumber) override;
    bool decodeSeekFrame(long long timestamp) override;
    long long lastFrame() override;
    QImage image() const override;
    void setLastFrameOkay(bool isOkay) override;

    long long lastTimestamp() const override;
    bool lastsUntil(long long timestamp) const override;
    long long ticksSinceStart(long long frameNumber) const override;
    long long timestampAt(long long ticks) const override;

private:
    static constexpr long long kNoTimestamp = std::numeric_limits<long long>::min();

    explicit RKFrameSeeker(std::unique_ptr<RKFfmpegFile> file);

    bool findFrame(long long timestamp);

    bool allocateBuffers();
    void log(const char* message) const;

    void noteFailure(int error);
    bool isGivenUp() const;
    bool leadsSoonTo(long long timestamp) const;
    bool seek(long long lowest, long long target, int flags);
    bool isBeforeFirstFrame(long long timestamp) const;
    bool seekFurtherBack(long long timestamp);
    bool decodeFromHere(long long timestamp);
    bool readToKeyFrame(long long latest);
    bool readPacket();
    void leaveOutUnneeded(long long timestamp);
    long long settlingTicks() const;
    bool isBeforeSettled(const AVFrame& frame) const;
    bool decodePacket(long long timestamp, bool* done, bool* gotImage);
    void drain(long long timestamp, bool* done, bool* gotImage);
    void rememberEnd(long long timestamp, bool isFound);
    int receiveFrames(long long timestamp, bool* done, bool* gotImage);
    long long advance();
    bool isDecodable() const;
    long long timeOfPacket() const;
    long long timeOfFrame() const;
    long long tolerance() const;
    long long latestOf(long long timestamp) const;
    bool decodeCurrentImage();

    const std::unique_ptr<RKFfmpegFile> m_file;
    RKFfmpeg::Handle<AVFrame> m_frame;
    RKFfmpeg::Handle<AVPacket> m_packet;

    // The timestamps of the last two frames decoded; they hold while m_lastFrameOkay does.
    long long m_lower = kNoTimestamp;
    long long m_upper = 0;
    bool m_lastFrameOkay = false;
    // From the frame before to the last one; 0 if there was none since the last seek.
    long long m_lastDistance = 0;
    // The time of the last packet sent to the decoder since the last seek.
    long long m_packetTime = kNoTimestamp;
    // Whether the decoder knows that no packets follow; it takes none until it is flushed.
    bool m_isDrained = false;
    // Whether the packet has been read but not decoded.
    bool m_hasPacket = false;
    // The time of the last frame of the file, if it was reached.
    long long m_lastTime = kNoTimestamp;
    // The number from which on there are no frames.
    long long m_missingFrom = std::numeric_limits<long long>::max();
    // Whether pictures that no other is predicted from may be left out on the way to a frame.
    enum class LeavingOut
    {
        Never, ///< In this file.
        NotNow,
        Possible,
    };
    LeavingOut m_leavingOut = LeavingOut::Never;
    // The latest display time up to which pictures were left out since the last seek.
    long long m_leftOutUpTo = kNoTimestamp;
    // Whether the search may have gone wrong because of that.
    bool m_isDoubtful = false;
    bool m_isShortOfMemory = false;
    // Whether the container says which packets are key frames.
    bool m_areKeyFramesMarked = true;
    QImage m_image;
};
