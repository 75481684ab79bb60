#pragma once

#include "RKImageLoader/video/RKFramesPerSecond.h"
#include "RKImageLoader/video/RKKeyFrameScan_p.h"

#include <QDateTime>
#include <QDeadlineTimer>
#include <QSize>
#include <QString>

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
}

#include <cmath>
#include <memory>

/// Owners of FFmpeg's objects.
namespace RKFfmpeg {

struct Deleter
{
    void operator()(AVCodecContext* context) const;
    void operator()(AVFormatContext* context) const;
    void operator()(AVFrame* frame) const;
    void operator()(AVPacket* packet) const;
};

template <typename T>
using Handle = std::unique_ptr<T, Deleter>;

/// The numerator divided by the denominator; 0 for denominator 0.
double toReal(const AVRational& ratio);

/// The whole number, or the nearest one that there is; 0 for what is not a number.
template <typename T>
T toWhole(double number, T least, T greatest)
{
    if (std::isnan(number))
        return 0;
    if (number <= double(least))
        return least;
    return number >= double(greatest) ? greatest : T(number);
}

} // namespace RKFfmpeg

/// A video file: its container, its best video stream and the decoder of that stream while it is
/// open, and the facts that were known when it was opened. RKFfmpegBridge explains the facts.
///
/// The constant functions from ticksPerFrame() to estimatedBytes() may be called by any thread at
/// any time, also after the file was closed; all others by one thread at a time, while it is open.
class RKFfmpegFile
{
public:
    /// From the start, and of the start itself, so that their sum is a timestamp.
    static constexpr long long kMaxTicks = 1LL << 61;

    /// Null if the file is not an ordinary one or can't be decoded; the log says why.
    static std::shared_ptr<RKFfmpegFile> open(const QString& path);

    RKFfmpegFile(const RKFfmpegFile&) = delete;
    RKFfmpegFile& operator=(const RKFfmpegFile&) = delete;

    /// Frees the container and the decoder; the facts stay.
    void close();

    const QString& path() const;
    AVFormatContext& format();
    AVCodecContext& codec();
    AVStream* stream() const;
    /// Whether times go up through the file and the container's index, complete or not, can be
    /// relied on.
    bool hasIndex() const;
    /// The index entry for a time, for FFmpeg's AVSEEK_FLAG_...; null if there is none.
    const AVIndexEntry* indexEntry(long long timestamp, int flags) const;
    /// Completes the container's index, once, if a seek to that time can't rely on it. A seek has
    /// to follow.
    void completeIndex(long long timestamp);
    /// A time near that of the last frame whose data are there, as far as that can be known without
    /// reading: that of a cut-off file's last whole index entry, else start plus duration.
    long long endOfData() const;

    /// The stream's first timestamp, 0 if unknown; far enough from the limits to be added to.
    long long startTimestamp() const;

    /// Ticks of the stream's time base. Kept: denominators of 1001 count as 1000. See
    /// RKFfmpegBridgeFramesTest, "long.mp4".
    double ticksPerFrame() const;
    /// Whether the rate is a multiple of 1/1001, such as 29.97 frames per second.
    bool isNtscRate() const;
    /// The same, and a line in the log where the rate was adjusted.
    double timeScale() const;

    RKFramesPerSecond framesPerSecond() const;
    int lengthMs() const;
    int rotation() const;
    QSize sourceSize() const;
    QSize effectiveSize() const;
    AVRational sourceAspectRatio() const;
    AVRational displayAspectRatio() const;
    QDateTime taken() const;
    QString cameraModel() const;
    QString codecName() const;
    /// About how much memory the open file takes.
    long long estimatedBytes() const;

    static QDateTime parseDateTime(const QString& text);
    static AVRational repairedTimeBase(const AVRational& timeBase);

private:
    explicit RKFfmpegFile(const QString& path);

    bool openFormat();
    bool openCodec();
    void repairTimeBase();
    void readFacts();
    bool isAvi() const;
    void addToIndex(const RKKeyFrameScan::Entry& entry);
    void log(const char* message) const;
    QString metaDataText(const char* key) const;
    int displayMatrixRotation() const;
    QSize sizeOfDisplay() const;
    long long bytesOfFrames() const;

    const QString m_path;
    QDeadlineTimer m_openDeadline{QDeadlineTimer::Forever};
    RKFfmpeg::Handle<AVFormatContext> m_format;
    RKFfmpeg::Handle<AVCodecContext> m_codec;
    int m_streamIndex = -1;
    // Whether the file brought index entries, before any packet was read.
    bool m_hasStoredIndex = false;
    bool m_isIndexComplete = false;

    AVRational m_frameRate{0, 0};
    AVRational m_timeBase{0, 0};
    QString m_codecName;
    long long m_estimatedBytes = 0;
    int m_lengthMs = 0;
    int m_rotation = 0;
    QSize m_sourceSize;
    AVRational m_sourceAspectRatio{0, 0};
    QSize m_effectiveSize;
    QDateTime m_taken;
    QString m_cameraModel;
};
