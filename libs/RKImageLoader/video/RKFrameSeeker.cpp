#include "RKImageLoader/media/RKMemoryShortage_p.h"
#include "RKImageLoader/video/RKFfmpegLog_p.h"
#include "RKImageLoader/video/RKFrameSeeker_p.h"
#include "RKImageLoader/video/RKRgbScaling_p.h"

extern "C" {
#include <libswscale/swscale.h>
}

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdlib>
#include <utility>

namespace {

// If the container doesn't say where its key frames are, frames up to here are reached by
// decoding on.
constexpr int kMaxSoonFrames = 60;
// A seek costs about as much as decoding so many frames: what the decoder's threads hold is lost.
constexpr int kFramesOfASeek = 3;
// Seconds, about 18 hours. The start follows.
constexpr int kMaxStepBack = 1 << 16;
// Seconds. Where there is no marked key frame for so long, they are taken not to be marked.
constexpr int kMaxSecondsOfGroup = 16;

/// A damaged packet costs its own frame, not those after it.
bool canGoOnAfter(int result)
{
    return result >= 0 || result == AVERROR_INVALIDDATA;
}

bool isKeyFrame(const AVFrame& frame)
{
#ifdef AV_FRAME_FLAG_KEY
    return frame.flags & AV_FRAME_FLAG_KEY;
#else
    return frame.key_frame;
#endif
}

/// Whether a frame's number is known if others before it were not decoded: the container gives
/// exact display times. H.264 marks the pictures that no other one needs, whatever their type; one
/// of the two fields of a frame may be such a picture. (HEVC marks those that none of their own
/// layer needs.)
bool canLeaveOut(RKFfmpegFile& file)
{
    const QByteArrayView container(file.format().iformat->name);
    const AVFieldOrder fields = file.codec().field_order;
    return file.codec().codec_id == AV_CODEC_ID_H264
        && (container.startsWith("mov") || container.startsWith("matroska"))
        && (fields == AV_FIELD_PROGRESSIVE || fields == AV_FIELD_UNKNOWN);
}

/// An image to be scaled into, which takes padding: whole vectors are written, also at the ends of
/// rows. Null if there is not enough memory.
QImage imageWithPadding(int width, int height)
{
    constexpr qsizetype kVector = 64;
    const qsizetype stride = 3 * ((width + kVector - 1) / kVector * kVector);
    void* const pixels = std::aligned_alloc(kVector, size_t(stride * (height + 1)));
    if (!pixels)
        return {};
    // free() is there until the end, which this module may not be.
    return {static_cast<uchar*>(pixels),
        width,
        height,
        stride,
        QImage::Format_RGB888,
        std::free,
        pixels};
}

} // namespace

std::unique_ptr<RKFrameSeeker> RKFrameSeeker::create(std::unique_ptr<RKFfmpegFile> file)
{
    std::unique_ptr<RKFrameSeeker> seeker(new RKFrameSeeker(std::move(file)));
    return seeker->allocateBuffers() ? std::move(seeker) : nullptr;
}

RKFrameSeeker::RKFrameSeeker(std::unique_ptr<RKFfmpegFile> file)
    : m_file(std::move(file))
    , m_leavingOut(canLeaveOut(*m_file) ? LeavingOut::NotNow : LeavingOut::Never)
{
}

void RKFrameSeeker::setCancellation(const RKCancellation& cancellation)
{
    m_file->setCancellation(cancellation);
}

bool RKFrameSeeker::isInterrupted() const
{
    return m_file->isInterrupted();
}

bool RKFrameSeeker::isShortOfMemory() const
{
    return m_isShortOfMemory;
}

/// Decoders leave out pictures, or parts of them, that they have no memory for, and call that
/// damage or nothing at all: what comes after would be taken for the frame wanted.
void RKFrameSeeker::noteFailure(int error)
{
    m_isShortOfMemory |= error == AVERROR(ENOMEM) || RKMemory::isShortOf(facts().estimatedBytes);
}

/// Whether a search ends without an answer.
bool RKFrameSeeker::isGivenUp() const
{
    return m_file->isCancelled() || m_isShortOfMemory;
}

const RKVideoFacts& RKFrameSeeker::facts() const
{
    return m_file->facts();
}

bool RKFrameSeeker::allocateBuffers()
{
    m_frame.reset(av_frame_alloc());
    if (!m_frame) {
        log("failed to allocate frame");
        return false;
    }
    m_packet.reset(av_packet_alloc());
    if (!m_packet) {
        log("failed to allocate packet");
        return false;
    }
    return true;
}

bool RKFrameSeeker::seekFrame(long long frameNumber)
{
    if (frameNumber < 0)
        return false;
    m_isShortOfMemory = false;
    const long long timestamp = timestampAt(ticksSinceStart(frameNumber));
    if (timestamp >= m_missingFrom) {
        setLastFrameOkay(false);
        return false;
    }
    if (m_leavingOut == LeavingOut::NotNow && timestamp <= m_file->endOfData())
        m_leavingOut = LeavingOut::Possible;
    bool isFound = findFrame(timestamp);
    if (std::exchange(m_isDoubtful, false) && !isGivenUp()) {
        qCDebug(rkFfmpeg) << "all frames are decoded from now on in" << facts().path;
        m_leavingOut = LeavingOut::Never;
        m_lastFrameOkay = false;
        isFound = findFrame(timestamp);
    }
    if (m_leavingOut == LeavingOut::Possible)
        m_leavingOut = LeavingOut::NotNow;
    return isFound;
}

bool RKFrameSeeker::findFrame(long long timestamp)
{
    if (leadsSoonTo(timestamp))
        return decodeSeekFrame(timestamp);
    const long long target = latestOf(timestamp);
    const int backward = m_upper > timestamp ? AVSEEK_FLAG_BACKWARD : 0;
    if (!seek(std::min(m_file->startTimestamp(), 0LL), target, AVSEEK_FLAG_FRAME | backward)) {
        log("failed to seek file");
        setLastFrameOkay(false);
        return false;
    }
    const bool isFound = decodeFromHere(timestamp);
    const bool isMissed = isBeforeFirstFrame(timestamp) && !isGivenUp();
    return isMissed ? seekFurtherBack(timestamp) : isFound;
}

long long RKFrameSeeker::lastFrame()
{
    // Searching for a frame that can't be there leads to the end.
    constexpr long long kBeyondAll = std::numeric_limits<int>::max();
    const double ticks = facts().ticksPerFrame();
    if (seekFrame(kBeyondAll))
        return kBeyondAll;
    if (m_lastTime == kNoTimestamp || ticks <= 0.0)
        return -1;
    // Rounding, and rates that count as others, may be wrong by some frames.
    auto frame = RKFfmpeg::toWhole<long long>(
        (double(m_lastTime) - double(m_file->startTimestamp())) / ticks + 2, 0, kBeyondAll);
    while (frame >= 0 && timestampAt(ticksSinceStart(frame)) > m_lastTime)
        --frame;
    return frame;
}

/// Whether the frame is the current one or a later one that decoding on reaches sooner than a seek,
/// which would give the same frame.
bool RKFrameSeeker::leadsSoonTo(long long timestamp) const
{
    if (!m_lastFrameOkay)
        return false;
    if (timestamp <= m_upper)
        return timestamp > m_lower || timestamp == m_upper;
    const double ticks = facts().ticksPerFrame();
    // Most indices hold decoding times, which are earlier.
    const long long delay = qRound64(m_file->codec().has_b_frames * ticks);
    const long long target = latestOf(timestamp) - delay;
    if (const AVIndexEntry* key = m_file->indexEntry(target, AVSEEK_FLAG_BACKWARD)) {
        if (double(key->timestamp) - double(m_packetTime) > kFramesOfASeek * ticks)
            return false;
        // A seek would lead to a frame that has been decoded already.
        if (m_file->indexEntry(target, AVSEEK_FLAG_ANY))
            return true;
    }
    return double(timestamp) - double(m_upper) <= kMaxSoonFrames * ticks;
}

bool RKFrameSeeker::seek(long long lowest, long long target, int flags)
{
    qCDebug(rkFfmpeg) << "seek to" << target << "in" << facts().path;
    m_file->completeIndex(target);
    if (avformat_seek_file(
            &m_file->format(), m_file->stream()->index, lowest, target, target, flags)
        < 0)
        return false;
    avcodec_flush_buffers(&m_file->codec());
    av_packet_unref(m_packet.get());
    m_hasPacket = false;
    m_lower = kNoTimestamp;
    m_lastFrameOkay = false;
    m_packetTime = kNoTimestamp;
    m_isDrained = false;
    m_leftOutUpTo = kNoTimestamp;
    return true;
}

/// Whether the seek missed the key frame of the frame wanted, so that the first frame decoded comes
/// more than half a frame after the wanted time, or there was none.
bool RKFrameSeeker::isBeforeFirstFrame(long long timestamp) const
{
    return m_lower == kNoTimestamp
        || double(m_lower) - double(timestamp) > 0.75 * facts().ticksPerFrame();
}

/// Seeks again, in growing steps and at last to the start. Program and transport streams are
/// searched by packet, which need not be that of a key frame; MP4's edit lists may hide the key
/// frame; and the file may have been cut off before the frame.
bool RKFrameSeeker::seekFurtherBack(long long timestamp)
{
    const long long start = m_file->startTimestamp();
    const auto second = RKFfmpeg::toWhole<long long>(
        1 / RKVideoFacts::toReal(m_file->stream()->time_base), 1, RKFfmpegFile::kMaxTicks >> 16);
    const long long end = std::min(timestamp, m_file->endOfData());
    for (int seconds = end < timestamp ? 0 : 1; seconds <= kMaxStepBack;
         seconds = std::max(1, 2 * seconds))
    {
        const long long earlier = end - seconds * second;
        if (earlier <= start)
            break;
        if (!seek(kNoTimestamp, earlier, AVSEEK_FLAG_BACKWARD))
            continue;
        const bool isFound = decodeFromHere(timestamp);
        if (!isBeforeFirstFrame(timestamp) || isGivenUp())
            return isFound;
        if (seconds >= kMaxSecondsOfGroup)
            m_areKeyFramesMarked = false;
    }
    // The start is that of display; some packets are to be decoded before it. Not all containers
    // can be searched for what lies before their index.
    return (seek(kNoTimestamp, start - second, AVSEEK_FLAG_BACKWARD)
               || seek(kNoTimestamp, start, AVSEEK_FLAG_BACKWARD))
        && decodeSeekFrame(timestamp);
}

/// Decodes up to the frame, beginning with the next key frame, unless that comes after it.
bool RKFrameSeeker::decodeFromHere(long long timestamp)
{
    if (m_areKeyFramesMarked && !m_file->hasIndex() && !readToKeyFrame(latestOf(timestamp)))
        return false;
    return decodeSeekFrame(timestamp);
}

/// Leaves the packet of the next key frame to be decoded. Reading takes a small part of the time of
/// decoding; decoders would go through all that they can't show. False if it is too late.
bool RKFrameSeeker::readToKeyFrame(long long latest)
{
    while (readPacket() && timeOfPacket() <= latest && !isGivenUp()) {
        if (m_packet->flags & AV_PKT_FLAG_KEY) {
            m_hasPacket = m_packet->pts == AV_NOPTS_VALUE || m_packet->pts <= latest;
            return m_hasPacket;
        }
    }
    return false;
}

/// Reads the next packet of the stream; false at the end.
bool RKFrameSeeker::readPacket()
{
    if (std::exchange(m_hasPacket, false))
        return true;
    do {
        av_packet_unref(m_packet.get());
        const int read = av_read_frame(&m_file->format(), m_packet.get());
        if (read < 0 && read != AVERROR_EOF)
            noteFailure(read);
        if (read < 0)
            return false;
    } while (m_packet->stream_index != m_file->stream()->index);
    return true;
}

bool RKFrameSeeker::decodeSeekFrame(long long timestamp)
{
    if (timestamp != kAnyTimestamp && m_lastFrameOkay && m_lower <= timestamp
        && timestamp <= m_upper)
        return true;
    m_isShortOfMemory = false;
    bool done = false;
    bool gotImage = false;
    bool isGoingOn = true;
    while (isGoingOn && !done) {
        const bool hasPacket = readPacket();
        // Not the end of the file. The next search begins with a seek, since there is no frame.
        if (isGivenUp())
            break;
        if (!hasPacket) {
            drain(timestamp, &done, &gotImage);
            if (isGivenUp())
                break;
            // What was left out may be the last frame.
            if (m_leftOutUpTo == kNoTimestamp)
                rememberEnd(timestamp, done);
            else
                m_isDoubtful |= !done;
            break;
        }
        isGoingOn = decodePacket(timestamp, &done, &gotImage);
        av_packet_unref(m_packet.get());
    }
    // The range describes the place reached, the image would be that of another one.
    if (!gotImage)
        setLastFrameOkay(false);
    return gotImage;
}

/// Has the decoder leave out the packet's picture if no other one is predicted from it and it comes
/// well before the frame wanted.
void RKFrameSeeker::leaveOutUnneeded(long long timestamp)
{
    const bool isUnneeded = m_leavingOut == LeavingOut::Possible && timestamp != kAnyTimestamp
        && m_packet->pts != AV_NOPTS_VALUE
        && double(m_packet->pts) + 2.0 * double(settlingTicks()) < double(timestamp);
    // A decoder with several threads takes this over with each packet.
    m_file->codec().skip_frame = isUnneeded ? AVDISCARD_NONREF : AVDISCARD_DEFAULT;
    if (isUnneeded)
        m_leftOutUpTo = std::max<long long>(m_leftOutUpTo, m_packet->pts);
}

/// How long the decoder takes to give frames in step with the packets again, after pictures were
/// left out: until it has replaced all those that it holds back for their order.
long long RKFrameSeeker::settlingTicks() const
{
    const int held = std::max(m_file->codec().has_b_frames, 2);
    return qRound64((2 * held + 2) * facts().ticksPerFrame());
}

/// Whether the frame is given by a decoder that is not in step with the packets, so that only its
/// own display time counts. It comes well before the frame wanted.
bool RKFrameSeeker::isBeforeSettled(const AVFrame& frame) const
{
    return m_leftOutUpTo != kNoTimestamp && frame.pts != AV_NOPTS_VALUE
        && double(frame.pts) < double(m_leftOutUpTo) + double(settlingTicks());
}

/// Whether decoding can go on.
bool RKFrameSeeker::decodePacket(long long timestamp, bool* done, bool* gotImage)
{
    m_packetTime = timeOfPacket();
    m_packet->dts = m_packetTime;
    leaveOutUnneeded(timestamp);
    int sent = avcodec_send_packet(&m_file->codec(), m_packet.get());
    if (sent == AVERROR(EAGAIN)) {
        // Frames were left in the decoder after the last one wanted.
        if (!canGoOnAfter(receiveFrames(timestamp, done, gotImage)))
            return false;
        sent = avcodec_send_packet(&m_file->codec(), m_packet.get());
    }
    if (sent < 0) {
        log("send packet failed");
        noteFailure(sent);
        m_isDoubtful |= m_leftOutUpTo != kNoTimestamp;
        return canGoOnAfter(sent);
    }
    return canGoOnAfter(receiveFrames(timestamp, done, gotImage));
}

/// Takes the frames that the decoder holds back at the end of the file.
void RKFrameSeeker::drain(long long timestamp, bool* done, bool* gotImage)
{
    if (!m_isDrained)
        avcodec_send_packet(&m_file->codec(), nullptr);
    m_isDrained = true;
    // Each of the decoder's threads may still have a damaged frame.
    int attempts = m_file->codec().thread_count + 1;
    while (receiveFrames(timestamp, done, gotImage) == AVERROR_INVALIDDATA && --attempts > 0) {
    }
}

/// Frames that come after the last one are not searched for again.
void RKFrameSeeker::rememberEnd(long long timestamp, bool isFound)
{
    const AVIOContext* io = m_file->format().pb;
    if (isFound || m_lower == kNoTimestamp || timestamp == kAnyTimestamp || (io && io->error < 0))
        return;
    m_lastTime = m_upper;
    // Where times may jump, later frames may have come before this end.
    const long long missing = m_file->hasIndex() ? m_upper + 1 : timestamp;
    m_missingFrom = std::min(m_missingFrom, missing);
}

/// Takes frames up to the one wanted; FFmpeg's error, or 0.
int RKFrameSeeker::receiveFrames(long long timestamp, bool* done, bool* gotImage)
{
    while (!*done) {
        const int received = avcodec_receive_frame(&m_file->codec(), m_frame.get());
        if (received == AVERROR_EOF || received == AVERROR(EAGAIN))
            return 0;
        if (received < 0) {
            log("error during decoding");
            noteFailure(received);
            m_isDoubtful |= m_leftOutUpTo != kNoTimestamp;
            return received;
        }
        // Concealing takes up what was decoded before, whether it was needed or not.
        m_isDoubtful |= m_leftOutUpTo != kNoTimestamp && m_frame->decode_error_flags != 0;
        if (m_frame->decode_error_flags != 0)
            noteFailure(0);
        if (m_isShortOfMemory)
            return AVERROR(ENOMEM);
        if (!isDecodable())
            continue;
        const long long time = advance();
        if (timestamp == kAnyTimestamp || time >= timestamp) {
            *gotImage = decodeCurrentImage();
            *done = true;
            if (!*gotImage)
                noteFailure(0);
        }
        av_frame_unref(m_frame.get());
    }
    return 0;
}

/// Moves on to the frame that was received; its time.
long long RKFrameSeeker::advance()
{
    const bool isBefore = isBeforeSettled(*m_frame);
    const long long time = isBefore ? m_frame->pts : timeOfFrame();
    m_isDoubtful |= m_leftOutUpTo != kNoTimestamp && time != m_frame->pts;
    // The frame before it may have been left out.
    const long long before = isBefore ? m_upper : std::max(m_upper, m_leftOutUpTo);
    m_lastDistance = m_lower == kNoTimestamp ? 0 : av_sat_sub64(time, before);
    m_lower = m_lastFrameOkay ? before : time;
    m_upper = time;
    m_lastFrameOkay = true;
    return time;
}

/// Whether all that the frame was predicted from was decoded since the last seek. By itself,
/// H.264's decoder keeps frames of which it doesn't know that, and at the end of a file it doesn't:
/// where the last key frame begins an open group, it loses the frames that it still holds back.
bool RKFrameSeeker::isDecodable() const
{
    if (m_file->codec().codec_id != AV_CODEC_ID_H264)
        return true;
    if (m_frame->flags & AV_FRAME_FLAG_CORRUPT)
        return false;
    const bool isFromTheEnd = m_frame->pkt_dts == AV_NOPTS_VALUE;
    // What follows a frame that is decodable is, too.
    return !isFromTheEnd || isKeyFrame(*m_frame) || m_lower != kNoTimestamp;
}

/// The packet's decoding time, or what comes nearest to it.
long long RKFrameSeeker::timeOfPacket() const
{
    if (m_packet->dts != AV_NOPTS_VALUE)
        return m_packet->dts;
    if (m_packet->pts != AV_NOPTS_VALUE)
        return m_packet->pts;
    return m_packetTime == kNoTimestamp
        ? m_file->startTimestamp()
        : av_sat_add64(m_packetTime, qRound64(facts().ticksPerFrame()));
}

/// The display time, from two sources. The decoder gives as many frames as it is sent packets, in
/// order of display: the decoding time of the packet that makes it give a frame is about the
/// frame's display time. (Not that of the packet just sent: the decoder's threads work on several.)
/// The frame's own display time is exact, but wrong by frames where the container has to guess it.
long long RKFrameSeeker::timeOfFrame() const
{
    if (m_frame->pkt_dts != AV_NOPTS_VALUE) {
        const double distance = std::abs(double(m_frame->pts) - double(m_frame->pkt_dts));
        const bool isSameFrame
            = m_frame->pts != AV_NOPTS_VALUE && distance < facts().ticksPerFrame();
        return isSameFrame ? m_frame->pts : m_frame->pkt_dts;
    }
    // There was no packet: the decoder held the frame back until the end.
    if (m_frame->best_effort_timestamp != AV_NOPTS_VALUE)
        return m_frame->best_effort_timestamp;
    // AVI has none for B frames. If no frame has been decoded since the seek, the last one belongs
    // to an earlier position.
    const long long before = m_lower == kNoTimestamp ? m_packetTime : m_upper;
    return av_sat_add64(before, qRound64(facts().ticksPerFrame()));
}

bool RKFrameSeeker::decodeCurrentImage()
{
    // The frame's own size: that of a stream may change on the way, and the codec's with it.
    const int width = m_frame->width;
    const int height = m_frame->height;
    const RKRgbScaling::Context scaling = RKRgbScaling::contextFor(*m_frame);
    if (!scaling)
        return false;
    // Its memory may do for the new one.
    m_image = {};
    QImage image = imageWithPadding(width, height);
    if (image.isNull())
        return false;
    // Scaling looks at four planes.
    const std::array<uint8_t*, 4> planes{image.bits()};
    const std::array<int, 4> strides{int(image.bytesPerLine())};
    const int rows = sws_scale(
        scaling.get(), m_frame->data, m_frame->linesize, 0, height, planes.data(), strides.data());
    if (rows != height)
        return false;
    m_image = std::move(image);
    m_lastFrameOkay = true;
    return true;
}

void RKFrameSeeker::setLastFrameOkay(bool isOkay)
{
    // The range of timestamps is worth nothing without the image that belongs to it.
    m_lastFrameOkay = isOkay && m_lastFrameOkay && !m_image.isNull();
    if (!m_lastFrameOkay)
        m_image = {};
}

long long RKFrameSeeker::lastTimestamp() const
{
    return m_upper;
}

bool RKFrameSeeker::lastsUntil(long long timestamp) const
{
    return m_lastFrameOkay && timestamp <= m_upper
        && double(m_lastDistance) > 1.5 * facts().ticksPerFrame();
}

long long RKFrameSeeker::ticksSinceStart(long long frameNumber) const
{
    double ticks = std::trunc(facts().timeScale() * double(frameNumber));
    // Where x/1001 counts as x/1000, the wanted times come ever earlier than the frames. Each means
    // the next frame, so that the tolerance does not reach the one before.
    if (facts().isNtscRate()) {
        constexpr double kRounding = 1e-6;
        const double trueTicks = facts().ticksPerFrame() * 1.001;
        ticks = std::ceil(ticks / trueTicks - kRounding) * trueTicks + kRounding;
    }
    return RKFfmpeg::toWhole<long long>(ticks, 0, RKFfmpegFile::kMaxTicks);
}

long long RKFrameSeeker::timestampAt(long long ticks) const
{
    // Streams of MPEG and some others don't start at 0: without the start, their last frames could
    // not be reached.
    const long long timestamp = m_file->startTimestamp() + ticks - tolerance();
    // The one before is as good: no frame lies between them.
    return timestamp == kAnyTimestamp ? timestamp - 1 : timestamp;
}

/// How far time stamps may be off, in ticks: a quarter of a frame.
long long RKFrameSeeker::tolerance() const
{
    return RKFfmpeg::toWhole<long long>(facts().ticksPerFrame() / 4, 0, RKFfmpegFile::kMaxTicks);
}

/// The latest that the frame of timestampAt() may be.
long long RKFrameSeeker::latestOf(long long timestamp) const
{
    return timestamp + 2 * tolerance();
}

QImage RKFrameSeeker::image() const
{
    return m_lastFrameOkay ? m_image : QImage();
}

const AVStream* RKFrameSeeker::stream() const
{
    return m_file->stream();
}

void RKFrameSeeker::log(const char* message) const
{
    RKFfmpegLog::write(facts().path, QString::fromLatin1(message));
}
