#include "RKImageLoader/video/RKFfmpegBridge.h"

#include "RKImageLoader/video/RKFfmpegLog_p.h"
#include "RKImageLoader/video/RKRgbScaling_p.h"

#include "RKCore/RKMonolithFile.h"
#include "RKCore/RKRegularExpression.h"

#include <QDebug>
#include <QFileInfo>
#include <QMutexLocker>
#include <QThread>
#include <QTransform>
#include <QUrl>

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
#include <libavutil/avutil.h>
#include <libavutil/display.h>
#include <libswscale/swscale.h>
}

#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>

namespace {

const RKRegularExpression kDate(QStringLiteral("(\\d\\d\\d\\d-\\d\\d-\\d\\d)"));
const RKRegularExpression kTimeWithSeconds(QStringLiteral("(\\d\\d:\\d\\d:\\d\\d)"));
const RKRegularExpression kTime(QStringLiteral("(\\d\\d:\\d\\d)"));

// What camcorders, phones and cameras write. Playlists and the like, which open other files, are
// not among them.
constexpr char kContainers[]
    = "avi,mov,matroska,asf,mpeg,mpegts,mpegvideo,ogg,flv,h264,hevc,m4v,dv";
// Bounds the reading of what claims to be a video, or lies on a slow drive.
constexpr int kOpeningMs = 30000;
// Each holds frames of its own.
constexpr int kMostDecoderThreads = 4;
// 8K video has 33 million; 24 bits of these are 400 MB.
constexpr qint64 kMostCodedPixels = qint64(1) << 27;
// A coded picture of 16000x16 pixels may ask for a display of 16000000x16.
constexpr int kLongestShownSide = 32767;
constexpr qint64 kMostShownPixels = qint64(1) << 28;
// From the start, and of the start itself, so that their sum is a timestamp.
constexpr long long kGreatestTicks = 1LL << 61;
// Of 23.976, 29.97 and 59.94 frames per second.
constexpr int kNtscDenominator = 1001;
// Decoding on takes less time than a seek even where the key frames lie closer.
constexpr int kSoonFrames = 60;
// The farthest steps back for a key frame, about 18 hours. The start follows.
constexpr int kFarthestStepBack = 1 << 16;

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

int hasExpired(void* deadline)
{
    return static_cast<const QDeadlineTimer*>(deadline)->hasExpired() ? 1 : 0;
}

QString localPath(const QString& path)
{
    const QString local = RKMonolithFile::externalize(QUrl::fromLocalFile(path)).toLocalFile();
    // FFmpeg takes relative paths such as "concat:x" for protocols.
    return local.isEmpty() ? local : QFileInfo(local).absoluteFilePath();
}

/// The whole number, or the nearest one that there is; 0 for what is no number.
template <typename T>
T toWhole(double number, T least, T greatest)
{
    if (std::isnan(number))
        return 0;
    if (number <= double(least))
        return least;
    return number >= double(greatest) ? greatest : T(number);
}

int toInt(double number)
{
    return toWhole<int>(number, std::numeric_limits<int>::min(), std::numeric_limits<int>::max());
}

bool isRightAngle(int rotation)
{
    return rotation != 0 && rotation % 90 == 0;
}

bool isTooLarge(const QSize& size)
{
    return std::max(size.width(), size.height()) > kLongestShownSide
        || qint64(size.width()) * size.height() > kMostShownPixels;
}

} // namespace

void RKFfmpegBridge::Deleter::operator()(AVCodecContext* context) const
{
    avcodec_free_context(&context);
}

void RKFfmpegBridge::Deleter::operator()(AVFormatContext* context) const
{
    avformat_close_input(&context);
}

void RKFfmpegBridge::Deleter::operator()(AVFrame* frame) const
{
    av_frame_free(&frame);
}

void RKFfmpegBridge::Deleter::operator()(AVPacket* packet) const
{
    av_packet_free(&packet);
}

RKFfmpegBridge::RKFfmpegBridge(const QString& path)
    : m_path(localPath(path))
{
    RKFfmpegLog::install();
    openFile();
    log(QStringLiteral("ctor"));
    dump();
}

RKFfmpegBridge::~RKFfmpegBridge()
{
    close();
}

bool RKFfmpegBridge::openFile()
{
    const QMutexLocker locker(&m_mutex);
    if (m_isOpen)
        return true;
    if (!openFormat() || !openCodecContext() || !allocateBuffers()) {
        release();
        return false;
    }
    repairTimeBase();
    m_isOpen = true;
    return true;
}

bool RKFfmpegBridge::reopenFile()
{
    const QMutexLocker locker(&m_mutex);
    close();
    return openFile();
}

void RKFfmpegBridge::close()
{
    const QMutexLocker locker(&m_mutex);
    if (!m_isOpen)
        return;
    m_isOpen = false;
    m_lower = kNoTimestamp;
    m_upper = 0;
    m_lastFrameOkay = false;
    m_packetTime = kNoTimestamp;
    m_isDrained = false;
    m_image = {};
    m_videoLengthMs = kUnknownLength;
    m_rotation = kUnknownRotation;
    m_sourceVideoSize = {};
    m_effectiveVideoSize = {};
    m_cameraModel = QString();
    m_videoTaken = {};
    m_framesPerSecond = {};
    release();
}

bool RKFfmpegBridge::isOpenFile() const
{
    const QMutexLocker locker(&m_mutex);
    return m_isOpen;
}

bool RKFfmpegBridge::openFormat()
{
    // A named pipe would block for ever.
    if (!QFileInfo(m_path).isFile())
        return false;
    AVFormatContext* context = avformat_alloc_context();
    if (!context)
        return false;
    m_openDeadline.setRemainingTime(kOpeningMs);
    context->interrupt_callback = {hasExpired, &m_openDeadline};
    AVDictionary* options = nullptr;
    av_dict_set(&options, "protocol_whitelist", "file", 0);
    av_dict_set(&options, "format_whitelist", kContainers, 0);
    const int opened
        = avformat_open_input(&context, m_path.toUtf8().constData(), nullptr, &options);
    av_dict_free(&options);
    // A failure has freed the context and made it null.
    m_format.reset(context);
    const bool isOpen = opened >= 0 && avformat_find_stream_info(context, nullptr) >= 0;
    m_openDeadline = QDeadlineTimer(QDeadlineTimer::Forever);
    return isOpen;
}

bool RKFfmpegBridge::openCodecContext()
{
    const int index = av_find_best_stream(m_format.get(), AVMEDIA_TYPE_VIDEO, -1, -1, nullptr, 0);
    if (index < 0) {
        log(QStringLiteral("unable to find stream"));
        return false;
    }
    const AVCodecParameters* parameters = m_format->streams[index]->codecpar;
    const AVCodec* decoder = avcodec_find_decoder(parameters->codec_id);
    if (!decoder) {
        log(QStringLiteral("failed to find codec"));
        return false;
    }
    m_codec.reset(avcodec_alloc_context3(decoder));
    if (!m_codec) {
        log(QStringLiteral("failed to allocate codec context"));
        return false;
    }
    if (avcodec_parameters_to_context(m_codec.get(), parameters) < 0) {
        log(QStringLiteral("failed to copy codec parameters to codec context"));
        return false;
    }
    m_codec->max_pixels = kMostCodedPixels;
    // Not libdav1d, whose threads keep the last frames for themselves in FFmpeg 5.
    if (!(decoder->capabilities & AV_CODEC_CAP_OTHER_THREADS))
        m_codec->thread_count = std::clamp(QThread::idealThreadCount(), 1, kMostDecoderThreads);
    // See isDecodable().
    if (decoder->id == AV_CODEC_ID_H264)
        m_codec->flags |= AV_CODEC_FLAG_OUTPUT_CORRUPT;
    if (avcodec_open2(m_codec.get(), decoder, nullptr) < 0) {
        log(QStringLiteral("failed to open codec"));
        return false;
    }
    m_streamIndex = index;
    for (unsigned i = 0; i < m_format->nb_streams; ++i) {
        if (int(i) != index)
            m_format->streams[i]->discard = AVDISCARD_ALL;
    }
    return true;
}

bool RKFfmpegBridge::allocateBuffers()
{
    m_frame.reset(av_frame_alloc());
    if (!m_frame) {
        log(QStringLiteral("failed to allocate frame"));
        return false;
    }
    m_frameRGB = createAVFrameRGB(m_codec->width, m_codec->height);
    if (!m_frameRGB)
        return false;
    m_packet.reset(av_packet_alloc());
    if (!m_packet) {
        log(QStringLiteral("failed to allocate packet"));
        return false;
    }
    return true;
}

RKFfmpegBridge::Handle<AVFrame> RKFfmpegBridge::createAVFrameRGB(int width, int height) const
{
    Handle<AVFrame> frame(av_frame_alloc());
    if (!frame) {
        log(QStringLiteral("failed to allocate frameRGB"));
        return {};
    }
    frame->format = AV_PIX_FMT_RGB24;
    frame->width = width;
    frame->height = height;
    if (av_frame_get_buffer(frame.get(), 0) < 0) {
        log(QStringLiteral("failed to get frame buffer"));
        return {};
    }
    return frame;
}

void RKFfmpegBridge::repairTimeBase()
{
    const AVRational repaired = repairedTimeBase(m_codec->time_base);
    if (repaired.den == m_codec->time_base.den)
        return;
    m_codec->time_base = repaired;
    log(QStringLiteral("adjusted time_base.den from 1 to 1000"));
}

void RKFfmpegBridge::release()
{
    m_codec.reset();
    m_format.reset();
    m_packet.reset();
    m_frame.reset();
    m_frameRGB.reset();
    m_streamIndex = -1;
}

QImage RKFfmpegBridge::decodeFrame(long long frameNumber)
{
    const QMutexLocker locker(&m_mutex);
    return seekFrame(frameNumber) ? getFrame() : QImage();
}

bool RKFfmpegBridge::seekFrame(long long frameNumber)
{
    const QMutexLocker locker(&m_mutex);
    if (!m_isOpen || frameNumber < 0)
        return false;
    const long long timestamp = timestampAt(ticksSinceStart(frameNumber));
    if (leadsSoonTo(timestamp))
        return decodeSeekFrame(timestamp);
    const int backward = m_upper > timestamp ? AVSEEK_FLAG_BACKWARD : 0;
    if (!seek(std::min(startTimestamp(), 0LL), timestamp, AVSEEK_FLAG_FRAME | backward)) {
        log(QStringLiteral("failed to seek file"));
        setLastFrameOkay(false);
        return false;
    }
    const bool isFound = decodeSeekFrame(timestamp);
    return isBeforeFirstFrame(timestamp) ? seekFurtherBack(timestamp) : isFound;
}

/// Whether the frame is the current one or among the next ones, so that decoding on gives what a
/// seek would give.
bool RKFfmpegBridge::leadsSoonTo(long long timestamp) const
{
    if (!m_lastFrameOkay)
        return false;
    if (timestamp <= m_upper)
        return timestamp > m_lower || timestamp == m_upper;
    return double(timestamp) - double(m_upper) <= kSoonFrames * ticksPerFrame();
}

bool RKFfmpegBridge::seek(long long lowest, long long target, int flags)
{
    qCDebug(rkFfmpeg) << "seek to" << target << "in" << m_path;
    if (avformat_seek_file(m_format.get(), m_streamIndex, lowest, target, target, flags) < 0)
        return false;
    avcodec_flush_buffers(m_codec.get());
    m_lower = kNoTimestamp;
    m_lastFrameOkay = false;
    m_packetTime = kNoTimestamp;
    m_isDrained = false;
    return true;
}

/// Whether the seek missed the key frame of the frame wanted, so that the first frame decoded lies
/// more than half a frame behind that one, or there was none.
bool RKFfmpegBridge::isBeforeFirstFrame(long long timestamp) const
{
    return m_lower == kNoTimestamp || double(m_lower) - double(timestamp) > ticksPerFrame() / 2;
}

/// Seeks again, in growing steps and at last to the start. Program and transport streams are
/// searched by packet, which need not be that of a key frame; MP4's edit lists may hide the key
/// frame.
bool RKFfmpegBridge::seekFurtherBack(long long timestamp)
{
    const long long start = startTimestamp();
    const auto second
        = toWhole<long long>(1 / toReal(videoStream()->time_base), 1, kGreatestTicks >> 16);
    for (int seconds = 1; seconds <= kFarthestStepBack; seconds *= 4) {
        const long long earlier = timestamp - seconds * second;
        if (earlier <= start)
            break;
        if (!seek(kNoTimestamp, earlier, AVSEEK_FLAG_BACKWARD))
            continue;
        const bool isFound = decodeSeekFrame(timestamp);
        if (!isBeforeFirstFrame(timestamp))
            return isFound;
    }
    // The start is that of display; some packets are to be decoded before it. Not all containers
    // can be searched for what lies before their index.
    return (seek(kNoTimestamp, start - second, AVSEEK_FLAG_BACKWARD)
               || seek(kNoTimestamp, start, AVSEEK_FLAG_BACKWARD))
        && decodeSeekFrame(timestamp);
}

bool RKFfmpegBridge::decodeSeekFrame(long long timestamp)
{
    const QMutexLocker locker(&m_mutex);
    if (!m_isOpen)
        return false;
    if (timestamp != kAnyTimestamp && m_lastFrameOkay && m_lower <= timestamp
        && timestamp <= m_upper)
        return true;
    bool done = false;
    bool gotImage = false;
    bool isGoingOn = true;
    while (isGoingOn && !done) {
        if (av_read_frame(m_format.get(), m_packet.get()) < 0) {
            drain(timestamp, &done, &gotImage);
            break;
        }
        if (m_packet->stream_index == m_streamIndex)
            isGoingOn = decodePacket(timestamp, &done, &gotImage);
        av_packet_unref(m_packet.get());
    }
    // The range describes the place reached, the image would be that of another one.
    if (!gotImage)
        setLastFrameOkay(false);
    return gotImage;
}

/// Whether decoding can go on.
bool RKFfmpegBridge::decodePacket(long long timestamp, bool* done, bool* gotImage)
{
    m_packetTime = timeOfPacket();
    m_packet->dts = m_packetTime;
    int sent = avcodec_send_packet(m_codec.get(), m_packet.get());
    if (sent == AVERROR(EAGAIN)) {
        // Frames were left in the decoder after the last one wanted.
        if (!canGoOnAfter(receiveFrames(timestamp, done, gotImage)))
            return false;
        sent = avcodec_send_packet(m_codec.get(), m_packet.get());
    }
    if (sent < 0) {
        log(QStringLiteral("send packet failed"));
        return canGoOnAfter(sent);
    }
    return canGoOnAfter(receiveFrames(timestamp, done, gotImage));
}

/// Takes the frames that the decoder holds back at the end of the file.
void RKFfmpegBridge::drain(long long timestamp, bool* done, bool* gotImage)
{
    if (!m_isDrained)
        avcodec_send_packet(m_codec.get(), nullptr);
    m_isDrained = true;
    // Each of the decoder's threads may still have a damaged frame.
    int attempts = m_codec->thread_count + 1;
    while (receiveFrames(timestamp, done, gotImage) == AVERROR_INVALIDDATA && --attempts > 0) {
    }
}

/// Takes frames up to the one wanted; FFmpeg's error, or 0.
int RKFfmpegBridge::receiveFrames(long long timestamp, bool* done, bool* gotImage)
{
    while (!*done) {
        const int received = avcodec_receive_frame(m_codec.get(), m_frame.get());
        if (received == AVERROR_EOF || received == AVERROR(EAGAIN))
            return 0;
        if (received < 0) {
            log(QStringLiteral("error during decoding"));
            return received;
        }
        if (!isDecodable())
            continue;
        const long long time = timeOfFrame();
        m_lastDistance = m_lower == kNoTimestamp ? 0 : av_sat_sub64(time, m_upper);
        m_lower = m_lastFrameOkay ? m_upper : time;
        m_upper = time;
        m_lastFrameOkay = true;
        if (timestamp == kAnyTimestamp || time >= timestamp) {
            *gotImage = decodeCurrentImage();
            *done = true;
        }
        av_frame_unref(m_frame.get());
    }
    return 0;
}

/// Whether all that the frame was predicted from was decoded since the last seek. By itself,
/// H.264's decoder keeps frames of which it doesn't know that, and at the end of a file it doesn't:
/// where the last key frame begins an open group, it loses the frames that it still holds back.
bool RKFfmpegBridge::isDecodable() const
{
    if (m_codec->codec_id != AV_CODEC_ID_H264)
        return true;
    if (m_frame->flags & AV_FRAME_FLAG_CORRUPT)
        return false;
    const bool isFromTheEnd = m_frame->pkt_dts == AV_NOPTS_VALUE;
    // What follows a frame that is decodable is, too.
    return !isFromTheEnd || isKeyFrame(*m_frame) || m_lower != kNoTimestamp;
}

/// The packet's decoding time, or what comes nearest to it.
long long RKFfmpegBridge::timeOfPacket() const
{
    if (m_packet->dts != AV_NOPTS_VALUE)
        return m_packet->dts;
    if (m_packet->pts != AV_NOPTS_VALUE)
        return m_packet->pts;
    return m_packetTime == kNoTimestamp ? startTimestamp()
                                        : av_sat_add64(m_packetTime, qRound64(ticksPerFrame()));
}

/// The decoder gives as many frames as it is sent packets, in order of display: the decoding time
/// of the packet that makes it give a frame is the frame's display time. Not that of the packet
/// just sent: the decoder's threads work on several.
long long RKFfmpegBridge::timeOfFrame() const
{
    if (m_frame->pkt_dts != AV_NOPTS_VALUE)
        return m_frame->pkt_dts;
    // There was no packet: the decoder held the frame back until the end.
    if (m_frame->best_effort_timestamp != AV_NOPTS_VALUE)
        return m_frame->best_effort_timestamp;
    // AVI has none for B frames. Where no frame came since the seek, the last one is another one's.
    const long long before = m_lower == kNoTimestamp ? m_packetTime : m_upper;
    return av_sat_add64(before, qRound64(ticksPerFrame()));
}

bool RKFfmpegBridge::decodeCurrentImage()
{
    // The frame's own size: that of a stream may change on the way, and the codec's with it.
    const int width = m_frame->width;
    const int height = m_frame->height;
    const RKRgbScaling::Context scaling = RKRgbScaling::contextFor(*m_frame);
    if (!scaling)
        return false;
    if (m_frameRGB->width != width || m_frameRGB->height != height) {
        Handle<AVFrame> frameRGB = createAVFrameRGB(width, height);
        if (!frameRGB)
            return false;
        m_frameRGB = std::move(frameRGB);
    }
    // Not straight into the image: scaling writes beyond the ends of rows, into the padding.
    const int rows = sws_scale(scaling.get(),
        m_frame->data,
        m_frame->linesize,
        0,
        height,
        m_frameRGB->data,
        m_frameRGB->linesize);
    if (rows != height)
        return false;
    m_image = QImage(width, height, QImage::Format_RGB888);
    if (m_image.isNull())
        return false;
    for (int y = 0; y < height; ++y) {
        std::memcpy(m_image.scanLine(y),
            m_frameRGB->data[0] + qint64(y) * m_frameRGB->linesize[0],
            size_t(width) * 3);
    }
    m_lastFrameOkay = true;
    return true;
}

QImage RKFfmpegBridge::getFrame() const
{
    const QMutexLocker locker(&m_mutex);
    const QSize size = effectiveVideoSize();
    if (!m_lastFrameOkay || m_image.isNull() || size.isEmpty() || isTooLarge(size))
        return {};
    QImage image = m_image.size() == size
        ? m_image
        : m_image.scaled(size, Qt::IgnoreAspectRatio, Qt::SmoothTransformation);
    if (shouldApplyRotation()) {
        image = image.transformed(
            QTransform().rotate(rotation(), Qt::ZAxis), Qt::SmoothTransformation);
    }
    return image;
}

void RKFfmpegBridge::setLastFrameOkay(bool isOkay)
{
    const QMutexLocker locker(&m_mutex);
    // The range of timestamps is worth nothing without the image that belongs to it.
    m_lastFrameOkay = isOkay && m_lastFrameOkay && !m_image.isNull();
    if (!m_lastFrameOkay)
        m_image = {};
}

long long RKFfmpegBridge::lastTimestamp() const
{
    const QMutexLocker locker(&m_mutex);
    return m_upper;
}

bool RKFfmpegBridge::lastsUntil(long long timestamp) const
{
    const QMutexLocker locker(&m_mutex);
    return m_isOpen && m_lastFrameOkay && timestamp <= m_upper
        && double(m_lastDistance) > 1.5 * ticksPerFrame();
}

const AVStream* RKFfmpegBridge::videoStream() const
{
    const QMutexLocker locker(&m_mutex);
    return m_isOpen ? m_format->streams[m_streamIndex] : nullptr;
}

/// The time scale of the open file. Kept: denominators of 1001 count as 1000.
double RKFfmpegBridge::ticksPerFrame() const
{
    AVRational rate = videoStream()->r_frame_rate;
    if (rate.den == kNtscDenominator)
        rate.den = 1000;
    const double framesPerTick = toReal(rate) * toReal(videoStream()->time_base);
    return framesPerTick > 0.0 ? 1.0 / framesPerTick : 0.0;
}

double RKFfmpegBridge::timeScale() const
{
    const QMutexLocker locker(&m_mutex);
    if (!m_isOpen)
        return 0.0;
    if (videoStream()->r_frame_rate.den == kNtscDenominator)
        log(QStringLiteral("adjusted r_frame_rate.den from 1001 to 1000"));
    return ticksPerFrame();
}

long long RKFfmpegBridge::ticksSinceStart(long long frameNumber) const
{
    return toWhole<long long>(timeScale() * double(frameNumber), 0, kGreatestTicks);
}

/// The stream's first timestamp, 0 if unknown.
long long RKFfmpegBridge::startTimestamp() const
{
    if (videoStream()->start_time == AV_NOPTS_VALUE)
        return 0;
    return std::clamp<long long>(videoStream()->start_time, -kGreatestTicks, kGreatestTicks);
}

long long RKFfmpegBridge::timestampAt(long long ticks) const
{
    const QMutexLocker locker(&m_mutex);
    // Streams of MPEG and some others don't start at 0: without the start, their last frames could
    // not be reached.
    const long long timestamp = m_isOpen ? startTimestamp() + ticks : ticks;
    // The one before is as good: no frame lies between them.
    return timestamp == kAnyTimestamp ? timestamp - 1 : timestamp;
}

RKFramesPerSecond RKFfmpegBridge::framesPerSecond() const
{
    const QMutexLocker locker(&m_mutex);
    if (m_isOpen && m_framesPerSecond.isNull())
        m_framesPerSecond = RKFramesPerSecond(toReal(videoStream()->r_frame_rate));
    return m_framesPerSecond;
}

int RKFfmpegBridge::videoLengthMs() const
{
    const QMutexLocker locker(&m_mutex);
    if (m_isOpen && m_videoLengthMs == kUnknownLength) {
        // Unknown is a number below 0.
        m_videoLengthMs = int(std::clamp<qint64>(
            m_format->duration / (AV_TIME_BASE / 1000), 0, std::numeric_limits<int>::max()));
    }
    return m_videoLengthMs;
}

int RKFfmpegBridge::rotation() const
{
    const QMutexLocker locker(&m_mutex);
    if (!m_isOpen)
        return 0;
    if (m_rotation == kUnknownRotation)
        m_rotation = displayMatrixRotation();
    return m_rotation;
}

int RKFfmpegBridge::displayMatrixRotation() const
{
    const uint8_t* data = nullptr;
    size_t size = 0;
#if LIBAVCODEC_VERSION_INT >= AV_VERSION_INT(60, 31, 102)
    const AVCodecParameters* parameters = videoStream()->codecpar;
    const AVPacketSideData* sideData = av_packet_side_data_get(
        parameters->coded_side_data, parameters->nb_coded_side_data, AV_PKT_DATA_DISPLAYMATRIX);
    if (sideData) {
        data = sideData->data;
        size = sideData->size;
    }
#else
    data = av_stream_get_side_data(videoStream(), AV_PKT_DATA_DISPLAYMATRIX, &size);
#endif
    std::array<int32_t, 9> matrix{};
    if (!data || size < sizeof matrix)
        return 0;
    std::memcpy(matrix.data(), data, sizeof matrix);
    // Counter-clockwise; no number for a singular matrix.
    const double angle = av_display_rotation_get(matrix.data());
    const double clockwise = -std::round(angle);
    return toInt(clockwise - 360 * std::floor(clockwise / 360 + 0.0025));
}

bool RKFfmpegBridge::shouldApplyRotation() const
{
    return isRightAngle(rotation());
}

QSize RKFfmpegBridge::sourceVideoSize() const
{
    const QMutexLocker locker(&m_mutex);
    if (m_isOpen && !m_sourceVideoSize.isValid())
        m_sourceVideoSize = QSize(m_codec->width, m_codec->height);
    return m_sourceVideoSize;
}

QSize RKFfmpegBridge::effectiveVideoSize() const
{
    const QMutexLocker locker(&m_mutex);
    if (!m_isOpen || m_effectiveVideoSize.isValid())
        return m_effectiveVideoSize;
    QSize size = sourceVideoSize();
    const AVRational sample = sourceAspectRatio();
    const AVRational display = displayAspectRatio();
    const double sampleRatio = toReal(sample);
    const double displayRatio = toReal(display);
    // Kept: the display ratio contains the sample ratio, so that this is width * width / height,
    // not the width of display. The order of the operations decides about the last pixel.
    if (sample.num >= 2 && sample.den >= 2 && display.num != 0 && displayRatio != sampleRatio)
        size.setWidth(toInt(size.width() * displayRatio / sampleRatio));
    m_effectiveVideoSize = size;
    return m_effectiveVideoSize;
}

QSize RKFfmpegBridge::videoSize() const
{
    const QMutexLocker locker(&m_mutex);
    const QSize size = effectiveVideoSize();
    return rotation() == 90 || rotation() == 270 ? size.transposed() : size;
}

AVRational RKFfmpegBridge::sourceAspectRatio() const
{
    const QMutexLocker locker(&m_mutex);
    return m_isOpen ? m_codec->sample_aspect_ratio : AVRational{0, 0};
}

AVRational RKFfmpegBridge::displayAspectRatio() const
{
    const QMutexLocker locker(&m_mutex);
    if (!m_isOpen)
        return {0, 0};
    constexpr int64_t kGreatestTerm = 0x100000;
    const QSize size = sourceVideoSize();
    const AVRational sample = sourceAspectRatio();
    AVRational display{0, 0};
    av_reduce(&display.num,
        &display.den,
        int64_t(size.width()) * sample.num,
        int64_t(size.height()) * sample.den,
        kGreatestTerm);
    return display;
}

/// An entry of the container's metadata; empty if missing.
QString RKFfmpegBridge::metaDataText(const char* key) const
{
    const AVDictionaryEntry* entry = av_dict_get(m_format->metadata, key, nullptr, 0);
    return QString::fromUtf8(entry ? entry->value : "");
}

QDateTime RKFfmpegBridge::videoTaken() const
{
    const QMutexLocker locker(&m_mutex);
    if (m_isOpen && !m_videoTaken.isValid())
        m_videoTaken = parseDateTime(metaDataText("creation_time"));
    return m_videoTaken;
}

QString RKFfmpegBridge::cameraModel() const
{
    const QMutexLocker locker(&m_mutex);
    // What is empty but not null has been looked up.
    if (m_isOpen && m_cameraModel.isNull()) {
        m_cameraModel = metaDataText("com.apple.quicktime.model");
        const QString android = metaDataText("com.android.version");
        if (m_cameraModel.isEmpty() && !android.isEmpty())
            m_cameraModel = QStringLiteral("Android ") + android;
    }
    return m_cameraModel;
}

QString RKFfmpegBridge::usedCodec() const
{
    const QMutexLocker locker(&m_mutex);
    return m_isOpen ? QString::fromUtf8(m_codec->codec->name) : QString();
}

void RKFfmpegBridge::dump() const
{
    const QMutexLocker locker(&m_mutex);
    const AVRational source = sourceAspectRatio();
    const AVRational display = displayAspectRatio();
    qDebug() << "RKFfmpegBridge::dump";
    qDebug() << "  file:" << m_path;
    qDebug() << "  isOpen:" << isOpenFile();
    qDebug() << "  camera model:" << cameraModel();
    qDebug() << "  frames per second:" << framesPerSecond().fps();
    qDebug() << "  time scale:" << timeScale();
    qDebug() << "  used codec:" << usedCodec();
    qDebug() << "  video length milliseconds:" << videoLengthMs();
    qDebug() << "  video size:" << videoSize();
    qDebug() << "  source video size:" << sourceVideoSize();
    qDebug() << "  effective video size:" << effectiveVideoSize();
    qDebug() << "  source aspect ratio:" << source.num << "/" << source.den;
    qDebug() << "  display aspect ratio:" << display.num << "/" << display.den;
    qDebug() << "  video taken:" << videoTaken().toString();
    qDebug() << "  rotation:" << rotation();
    qDebug() << "  should apply rotation:" << shouldApplyRotation();
    qDebug() << "";
}

void RKFfmpegBridge::log(const QString& message) const
{
    qDebug() << "FFmpegBridge: file" << m_path << ":" << message;
}

double RKFfmpegBridge::toReal(const AVRational& ratio)
{
    return ratio.den == 0 ? 0.0 : double(ratio.num) / ratio.den;
}

QDateTime RKFfmpegBridge::parseDateTime(const QString& text)
{
    const QDate date
        = QDate::fromString(kDate.match(text).captured(1), QStringLiteral("yyyy-MM-dd"));
    if (!date.isValid())
        return {};
    QRegularExpressionMatch match = kTimeWithSeconds.match(text);
    QString format = QStringLiteral("hh:mm:ss");
    if (!match.hasMatch()) {
        match = kTime.match(text);
        format = QStringLiteral("hh:mm");
    }
    QDateTime dateTime = date.startOfDay();
    const QTime time = QTime::fromString(match.captured(1), format);
    if (time.isValid())
        dateTime.setTime(time);
    return dateTime;
}

AVRational RKFfmpegBridge::repairedTimeBase(const AVRational& timeBase)
{
    const bool isBroken = timeBase.num >= 1001 && timeBase.den == 1;
    return {timeBase.num, isBroken ? 1000 : timeBase.den};
}
