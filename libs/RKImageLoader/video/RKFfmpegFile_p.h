#pragma once

#include "RKImageLoader/media/RKCancellation.h"
#include "RKImageLoader/video/RKKeyFrameScan_p.h"
#include "RKImageLoader/video/RKVideoFacts_p.h"
#include "RKImageLoader/video/RKVideoFrames_p.h"

#include <QDeadlineTimer>
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

/// A video file: its container, its best video stream and the decoder of that stream, and what was
/// known when it was opened. One thread at a time may use a file.
class RKFfmpegFile
{
public:
    /// From the start, and of the start itself, so that their sum is a timestamp.
    static constexpr long long kMaxTicks = 1LL << 61;

    /// Null if the file is not an ordinary one or can't be decoded; the log says why.
    static std::unique_ptr<RKFfmpegFile> open(
        const QString& path, RKVideoFailure* failure, const RKCancellation& cancellation);

    RKFfmpegFile(const RKFfmpegFile&) = delete;
    RKFfmpegFile& operator=(const RKFfmpegFile&) = delete;

    /// Makes reading fail soon after this is cancelled, or at once if it already is.
    void setCancellation(const RKCancellation& cancellation);
    bool isCancelled() const;
    /// Whether reading has failed because of that: FFmpeg's state of the file may be wrong then.
    bool isInterrupted() const;

    const RKVideoFacts& facts() const;
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
    /// A time near that of the last frame whose data is there, as far as that can be known without
    /// reading: that of a cut-off file's last whole index entry, else start plus duration.
    long long endOfData() const;

    /// The stream's first timestamp, 0 if unknown; far enough from the limits to be added to.
    long long startTimestamp() const;

private:
    RKFfmpegFile(const QString& path, const RKCancellation& cancellation);

    static int mustStop(void* file);

    bool openFormat(RKVideoFailure* failure);
    bool openCodec(RKVideoFailure* failure);
    void repairTimeBase();
    void readFacts();
    void readDisplayMatrix();
    bool isAvi() const;
    void addToIndex(const RKKeyFrameScan::Entry& entry);
    void log(const char* message) const;
    QString metaDataText(const char* key) const;
    QSize sizeOfDisplay() const;
    AVRational displayAspectRatio() const;
    long long bytesOfFrames() const;

    RKVideoFacts m_facts;
    RKCancellation m_cancellation;
    bool m_isInterrupted = false;
    QDeadlineTimer m_openDeadline{QDeadlineTimer::Forever};
    RKFfmpeg::Handle<AVFormatContext> m_format;
    RKFfmpeg::Handle<AVCodecContext> m_codec;
    int m_streamIndex = -1;
    // Whether the file brought index entries, before any packet was read.
    bool m_hasStoredIndex = false;
    bool m_isIndexComplete = false;
};
