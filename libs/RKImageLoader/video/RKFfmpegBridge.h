#pragma once

#include "RKImageLoader/RKImageLoaderExport.h"
#include "RKImageLoader/media/RKLoadContext.h"
#include "RKImageLoader/video/RKFramesPerSecond.h"

#include <QDateTime>
#include <QImage>
#include <QSize>
#include <QString>

#include <memory>
#include <mutex>

class RKVideoFrames;
struct RKVideoFacts;
struct AVRational;
struct AVStream;

/// Access to the frames and properties of one video file through FFmpeg.
///
/// Frames are addressed by numbers from 0: frame n is the first one whose display time, counted
/// from the start of the video stream, is not below n * timeScale() by more than a quarter of a
/// frame, so that time stamps may be a little off the grid. With a variable frame rate several
/// numbers therefore share a frame. Rates of n/1001 count as n/1000, so that at 29.97 frames per
/// second the numbers from 1001 on give the frame before, those from 2002 on the one before that;
/// in AVI and Ogg, whose times count frames, the numbers from 1 on give the frame before. AVI files
/// with B frames carry no display times: they give frame n - 1, and the frame past the end is the
/// last one.
///
/// Frames come upright, at the size of display, in the colours of the file: what it says about its
/// YCbCr matrix and range is followed (untagged video counts as BT.601), HDR is not tone-mapped,
/// interlaced video is not deinterlaced. Mirrored display matrices are only rotated.
///
/// A file that can't be opened leaves the bridge closed; every query then returns the value that is
/// documented for that. Each failure is a line in the debug log. Only regular files in containers
/// of camcorders, phones and cameras are opened, and never a second file that they refer to.
///
/// Keeps the file and the decoder open, which usually takes 40 MB at 1080p and 160 MB at 4K, some
/// 20 % more on four processors. Changes of the file on disk are not noticed meanwhile.
///
/// Thread-safe: a bridge decodes one frame at a time, and other callers wait; the properties of an
/// open file (sizes, rate, length, rotation, codec, date) are given without waiting. FFmpeg's
/// decoders use a thread for each processor, up to four, and give the same frames with any number
/// of threads; only damaged frames may come out differently from one decode to the next.
class RKIMAGELOADER_EXPORT RKFfmpegBridge
{
public:
    /// Opens the file. A path inside one of the host's container files is turned into a plain file
    /// first. If that is cancelled, the bridge stays closed.
    explicit RKFfmpegBridge(const QString& path, const RKCancellation& cancellation = {});
    virtual ~RKFfmpegBridge();

    RKFfmpegBridge(const RKFfmpegBridge&) = delete;
    RKFfmpegBridge& operator=(const RKFfmpegBridge&) = delete;

    /// Opens the file unless it is open; true if it is open now. Gives up after 30 s of reading.
    bool openFile();
    /// Closes and opens the file, so that all is read anew; true if it is open now.
    bool reopenFile();
    /// Frees the decoder and its frames; waits for a decode that is under way.
    void close();
    /// Whether the file is open: it could be opened and was not closed since.
    bool isOpenFile() const;
    /// Why the file could not be opened, as far as FFmpeg knows; no error while it is open, nor if
    /// the file itself is missing or not a video.
    RKMediaError openError() const;

    /// The frame in QImage::Format_RGB888, of videoSize(). Null for numbers below 0 or past the
    /// end, for damaged frames, if the file is closed, and if frames would be wider or higher than
    /// 32767 pixels or have more than 2^28 of them.
    ///
    /// Seeks to the key frame before, unless decoding on from the last frame gets there sooner, and
    /// takes as long as decoding all frames in between. A missing frame takes about as long as one
    /// group of pictures; later ones are then known to be missing.
    virtual QImage decodeFrame(long long frameNumber);
    /// The same; finding the reason for a missing frame takes as long again. Null soon after the
    /// request is cancelled, even while another thread decodes; the file stays open for others.
    QImage decodeFrame(long long frameNumber, RKLoadContext& context);

    /// The number of the last frame that can be decoded, which may be less than the length
    /// promises; -1 if there is none. Takes as long as a missing frame.
    long long lastFrameNumber();

    /// Stands for any timestamp: the next frame is the one wanted.
    static constexpr long long kAnyTimestamp = -1;

    /// These functions are the steps of decodeFrame(), which takes them under one lock. Between
    /// single calls other threads may move the bridge to another frame.
    ///
    /// Makes the frame the current image: decodes on if that gets there soon, else seeks. Returns
    /// false if there is no such frame; the current image is dropped then.
    bool seekFrame(long long frameNumber);
    /// Decodes forwards, never back, to the first frame whose display time, in ticks of the stream,
    /// is not below the given one; true at once if that lies between those of the last two frames.
    /// Returns false if there is no such frame; the current image is dropped then.
    bool decodeSeekFrame(long long timestamp);
    /// The current image as it is to be shown; null if there is none.
    QImage getFrame() const;
    /// False drops the current image, so that the next frame is sought anew; true keeps it, if
    /// there is one.
    void setLastFrameOkay(bool isOkay);
    /// The stream that is decoded, until the file is closed or opened again; null if closed.
    const AVStream* videoStream() const;

    /// Ticks of the stream's time base per frame; 0 if unknown or closed.
    double timeScale() const;
    /// Null if unknown or closed. Not adjusted: 30000/1001 is 29.97.
    RKFramesPerSecond framesPerSecond() const;
    /// The duration in milliseconds, rounded down; 0 if unknown, -1 if closed.
    int videoLengthMs() const;

    /// By how much frames are turned clockwise to stand upright, in degrees, 0 to 359; 0 if closed.
    /// Those of a mirrored video are mirrored at their middle row before.
    int rotation() const;
    /// Whether the rotation is a multiple of 90 degrees other than 0. Others are not applied.
    bool shouldApplyRotation() const;

    /// The size in pixels as coded; (-1, -1) if closed, like the other sizes.
    QSize sourceVideoSize() const;
    /// The display size before the rotation. If both terms of the sample aspect ratio are at least
    /// 2, the width is width * display ratio / sample ratio, calculated from the left and rounded
    /// down; otherwise it is the source size.
    QSize effectiveVideoSize() const;
    /// The size of the frames that are returned: the effective one, with its sides swapped for
    /// rotations of 90 and 270 degrees.
    QSize videoSize() const;
    /// A pixel's width to its height, as the decoder states it; 0/1 if unknown, 0/0 if closed.
    AVRational sourceAspectRatio() const;
    /// The picture's width to its height, as displayed before the rotation; 0/0 if closed.
    AVRational displayAspectRatio() const;
    /// sourceAspectRatio() without FFmpeg's headers, with the numerator as the width: 64x45 for the
    /// pixels of a wide PAL video.
    QSize sourceAspect() const;
    /// displayAspectRatio() in the same way: 16x9 for that video.
    QSize displayAspect() const;

    /// "creation_time" of the container, as local time; invalid if missing.
    QDateTime videoTaken() const;
    /// The model that Apple's devices write, else "Android " and the version; empty if missing.
    QString cameraModel() const;
    /// Where the video was taken, as its container says (ISO 6709, Annex H): "+48.8577+002.295/".
    /// Empty if missing.
    QString location() const;
    /// The name of FFmpeg's decoder, such as "h264"; empty if closed.
    QString usedCodec() const;

    /// About how much memory the open file takes for its decoder and its frames; 0 if closed.
    virtual long long estimatedBytes() const;

    /// Writes all properties to the debug log.
    void dump() const;
    /// Writes a message with the file's path to the debug log.
    void log(const QString& message) const;

    /// The numerator divided by the denominator; 0 for denominator 0.
    static double toReal(const AVRational& ratio);
    /// The first date and time in a text such as "2021-07-04T13:45:10.000000Z", as local time; the
    /// start of the day without a time, invalid without a date.
    static QDateTime parseDateTime(const QString& text);
    /// The time base, divided by 1000 if its numerator is at least 1001 and its denominator 1, as
    /// in some broken files; all others stay.
    static AVRational repairedTimeBase(const AVRational& timeBase);

protected:
    /// Whether the current decode was cancelled: that alone may be why its frame is missing, and
    /// the position in the file is undefined.
    bool isCancelled() const;
    /// Whether the last search failed for lack of memory; the position is undefined then, too.
    bool isShortOfMemory() const;
    /// The timestamp of the last frame decoded; 0 before the first one.
    long long lastTimestamp() const;
    /// Whether the current image lasts for several frame numbers, so that it is also the one to
    /// show at this timestamp, which is later than those it was decoded for.
    bool lastsUntil(long long timestamp) const;
    /// Ticks of the stream's time base from its start to a frame.
    long long ticksSinceStart(long long frameNumber) const;
    /// The earliest timestamp of a frame that belongs some ticks after the stream's start; never
    /// kAnyTimestamp.
    long long timestampAt(long long ticks) const;

    /// Guards the frames and all that derived classes add, and is held for a whole decode.
    // ThreadSanitizer can't follow Qt's recursive mutex.
    mutable std::recursive_mutex m_mutex;

private:
    class Cancellable;

    void open();
    /// False if there is no open file to find frames in.
    bool canMove();
    RKMediaError reasonForNoFrame(long long frameNumber);
    std::shared_ptr<const RKVideoFacts> facts() const;
    void setFacts(
        std::shared_ptr<const RKVideoFacts> facts, const RKMediaError& openError = RKMediaError());

    const QString m_path;
    std::unique_ptr<RKVideoFrames> m_frames;
    // Of the request that holds the mutex.
    RKCancellation m_cancellation;
    // Guards the pointer to the facts and why there are none, so that these don't wait for a
    // decode; taken last.
    mutable std::mutex m_factsMutex;
    std::shared_ptr<const RKVideoFacts> m_facts;
    RKMediaError m_openError;
};
