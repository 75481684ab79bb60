#include "RKImageLoader/video/RKFfmpegFile_p.h"
#include "RKImageLoader/video/RKFfmpegLog_p.h"

#include <QFileInfo>
#include <QRegularExpression>
#include <QThread>

extern "C" {
#include <libavutil/avutil.h>
#include <libavutil/display.h>
#include <libavutil/imgutils.h>
}

#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>

namespace {

// What camcorders, phones and cameras write. Playlists and the like, which open other files, are
// not among them.
constexpr char kContainers[]
    = "avi,mov,matroska,asf,mpeg,mpegts,mpegvideo,ogg,flv,h264,hevc,m4v,dv";
// Bounds the reading of what claims to be a video, or lies on a slow drive.
constexpr int kOpeningMs = 30000;
// Each holds frames of its own.
constexpr int kMaxDecoderThreads = 4;
// 8K video has 33 million; 24 bits of these are 400 MB.
constexpr qint64 kMaxCodedPixels = qint64(1) << 27;

int toInt(double number)
{
    return RKFfmpeg::toWhole<int>(
        number, std::numeric_limits<int>::min(), std::numeric_limits<int>::max());
}

} // namespace

void RKFfmpeg::Deleter::operator()(AVCodecContext* context) const
{
    avcodec_free_context(&context);
}

void RKFfmpeg::Deleter::operator()(AVFormatContext* context) const
{
    avformat_close_input(&context);
}

void RKFfmpeg::Deleter::operator()(AVFrame* frame) const
{
    av_frame_free(&frame);
}

void RKFfmpeg::Deleter::operator()(AVPacket* packet) const
{
    av_packet_free(&packet);
}

std::unique_ptr<RKFfmpegFile> RKFfmpegFile::open(
    const QString& path, RKVideoFailure* failure, const RKCancellation& cancellation)
{
    std::unique_ptr<RKFfmpegFile> file(new RKFfmpegFile(path, cancellation));
    if (!file->openFormat(failure) || !file->openCodec(failure))
        return {};
    file->repairTimeBase();
    file->readFacts();
    return file;
}

RKFfmpegFile::RKFfmpegFile(const QString& path, const RKCancellation& cancellation)
    : m_cancellation(cancellation)
{
    m_facts.path = path;
}

void RKFfmpegFile::setCancellation(const RKCancellation& cancellation)
{
    m_cancellation = cancellation;
}

bool RKFfmpegFile::isCancelled() const
{
    return m_cancellation.isCancelled();
}

bool RKFfmpegFile::isInterrupted() const
{
    return m_isInterrupted;
}

/// FFmpeg asks before it reads.
int RKFfmpegFile::mustStop(void* file)
{
    auto* const self = static_cast<RKFfmpegFile*>(file);
    if (self->isCancelled())
        self->m_isInterrupted = true;
    return self->m_isInterrupted || self->m_openDeadline.hasExpired() ? 1 : 0;
}

bool RKFfmpegFile::openFormat(RKVideoFailure* failure)
{
    // A named pipe would block for ever.
    if (!QFileInfo(m_facts.path).isFile())
        return false;
    AVFormatContext* context = avformat_alloc_context();
    if (!context)
        return false;
    m_openDeadline.setRemainingTime(kOpeningMs);
    context->interrupt_callback = {mustStop, this};
    AVDictionary* options = nullptr;
    av_dict_set(&options, "protocol_whitelist", "file", 0);
    av_dict_set(&options, "format_whitelist", kContainers, 0);
    int opened
        = avformat_open_input(&context, m_facts.path.toUtf8().constData(), nullptr, &options);
    av_dict_free(&options);
    // A failure has freed the context and made it null.
    m_format.reset(context);
    for (unsigned i = 0; opened >= 0 && i < context->nb_streams; ++i) {
        if (avformat_index_get_entries_count(context->streams[i]) > 0)
            m_hasStoredIndex = true;
    }
    if (opened >= 0)
        opened = avformat_find_stream_info(context, nullptr);
    m_openDeadline = QDeadlineTimer(QDeadlineTimer::Forever);
    if (opened == AVERROR(ENOMEM))
        *failure = RKVideoFailure::OutOfMemory;
    // What was found up to an interruption would pass for all there is.
    return opened >= 0 && !m_isInterrupted;
}

bool RKFfmpegFile::openCodec(RKVideoFailure* failure)
{
    const int index = av_find_best_stream(m_format.get(), AVMEDIA_TYPE_VIDEO, -1, -1, nullptr, 0);
    if (index < 0) {
        log("unable to find stream");
        *failure = RKVideoFailure::NoVideoStream;
        return false;
    }
    const AVCodecParameters* parameters = m_format->streams[index]->codecpar;
    const AVCodec* decoder = avcodec_find_decoder(parameters->codec_id);
    if (!decoder) {
        log("failed to find codec");
        *failure = RKVideoFailure::NoDecoder;
        return false;
    }
    m_codec.reset(avcodec_alloc_context3(decoder));
    if (!m_codec) {
        log("failed to allocate codec context");
        *failure = RKVideoFailure::OutOfMemory;
        return false;
    }
    if (avcodec_parameters_to_context(m_codec.get(), parameters) < 0) {
        log("failed to copy codec parameters to codec context");
        return false;
    }
    m_codec->max_pixels = kMaxCodedPixels;
    // Not libdav1d, whose threads keep the last frames for themselves in FFmpeg 5.
    if (!(decoder->capabilities & AV_CODEC_CAP_OTHER_THREADS))
        m_codec->thread_count = std::clamp(QThread::idealThreadCount(), 1, kMaxDecoderThreads);
    // See RKFrameSeeker::isDecodable().
    if (decoder->id == AV_CODEC_ID_H264)
        m_codec->flags |= AV_CODEC_FLAG_OUTPUT_CORRUPT;
    const int opened = avcodec_open2(m_codec.get(), decoder, nullptr);
    if (opened < 0) {
        log("failed to open codec");
        // The latter is what its threads get.
        if (opened == AVERROR(ENOMEM) || opened == AVERROR(EAGAIN))
            *failure = RKVideoFailure::OutOfMemory;
        return false;
    }
    m_streamIndex = index;
    for (unsigned i = 0; i < m_format->nb_streams; ++i) {
        if (int(i) != index)
            m_format->streams[i]->discard = AVDISCARD_ALL;
    }
    return true;
}

void RKFfmpegFile::repairTimeBase()
{
    const AVRational repaired = RKVideoFacts::repairedTimeBase(m_codec->time_base);
    if (repaired.den == m_codec->time_base.den)
        return;
    m_codec->time_base = repaired;
    log("adjusted time_base.den from 1 to 1000");
}

void RKFfmpegFile::readFacts()
{
    m_facts.frameRate = stream()->r_frame_rate;
    m_facts.timeBase = stream()->time_base;
    m_facts.codecName = QString::fromUtf8(m_codec->codec->name);
    m_facts.estimatedBytes = bytesOfFrames();
    // An unknown duration is a number below 0.
    m_facts.lengthMs = int(std::clamp<qint64>(
        m_format->duration / (AV_TIME_BASE / 1000), 0, std::numeric_limits<int>::max()));
    readDisplayMatrix();
    m_facts.sourceSize = QSize(m_codec->width, m_codec->height);
    m_facts.sourceAspectRatio = m_codec->sample_aspect_ratio;
    m_facts.displayAspectRatio = displayAspectRatio();
    m_facts.effectiveSize = sizeOfDisplay();
    m_facts.creationTime = metaDataText("creation_time");
    m_facts.cameraModel = metaDataText("com.apple.quicktime.model");
    const QString android = metaDataText("com.android.version");
    if (m_facts.cameraModel.isEmpty() && !android.isEmpty())
        m_facts.cameraModel = QStringLiteral("Android ") + android;
    m_facts.location = metaDataText("com.apple.quicktime.location.ISO6709");
    if (m_facts.location.isEmpty())
        m_facts.location = metaDataText("location");
    // FFmpeg prints the numbers of 3GPP's box with the decimal comma of the program's locale.
    // Others write names of places.
    static const QRegularExpression withCommas(QStringLiteral("^[+-]\\d+,\\d+[+-]"));
    if (m_facts.location.contains(withCommas))
        m_facts.location.replace(QLatin1Char(','), QLatin1Char('.'));
}

/// An entry of the container's metadata; empty if missing.
QString RKFfmpegFile::metaDataText(const char* key) const
{
    const AVDictionaryEntry* entry = av_dict_get(m_format->metadata, key, nullptr, 0);
    return QString::fromUtf8(entry ? entry->value : "");
}

void RKFfmpegFile::readDisplayMatrix()
{
    const uint8_t* data = nullptr;
    size_t size = 0;
#if LIBAVCODEC_VERSION_INT >= AV_VERSION_INT(60, 31, 102)
    const AVCodecParameters* parameters = stream()->codecpar;
    const AVPacketSideData* sideData = av_packet_side_data_get(
        parameters->coded_side_data, parameters->nb_coded_side_data, AV_PKT_DATA_DISPLAYMATRIX);
    if (sideData) {
        data = sideData->data;
        size = sideData->size;
    }
#else
    data = av_stream_get_side_data(stream(), AV_PKT_DATA_DISPLAYMATRIX, &size);
#endif
    std::array<int32_t, 9> matrix{};
    if (!data || size < sizeof matrix)
        return;
    std::memcpy(matrix.data(), data, sizeof matrix);
    // Counter-clockwise; no number for a singular matrix.
    const double angle = av_display_rotation_get(matrix.data());
    const double clockwise = -std::round(angle);
    m_facts.rotation = toInt(clockwise - 360 * std::floor(clockwise / 360 + 0.0025));
    // That angle is the way of the rows. The columns go the other way where the determinant is less
    // than 0.
    m_facts.isMirrored = int64_t(matrix[0]) * matrix[4] < int64_t(matrix[1]) * matrix[3];
}

QSize RKFfmpegFile::sizeOfDisplay() const
{
    QSize size = m_facts.sourceSize;
    const AVRational sample = m_facts.sourceAspectRatio;
    const AVRational display = m_facts.displayAspectRatio;
    const double sampleRatio = RKVideoFacts::toReal(sample);
    const double displayRatio = RKVideoFacts::toReal(display);
    // Kept: the display ratio contains the sample ratio, so that this is width * width / height,
    // not the width of display. The order of the operations decides about the last pixel. See
    // RKFfmpegBridgeTest::sizesFollowPixelsAndRotation.
    if (sample.num >= 2 && sample.den >= 2 && display.num != 0 && displayRatio != sampleRatio)
        size.setWidth(toInt(size.width() * displayRatio / sampleRatio));
    return size;
}

AVRational RKFfmpegFile::displayAspectRatio() const
{
    constexpr int64_t kMaxTerm = 0x100000;
    AVRational display{0, 0};
    av_reduce(&display.num,
        &display.den,
        int64_t(m_facts.sourceSize.width()) * m_facts.sourceAspectRatio.num,
        int64_t(m_facts.sourceSize.height()) * m_facts.sourceAspectRatio.den,
        kMaxTerm);
    return display;
}

/// By the rule of what was measured: the decoder's frames, and the picture in RGB twice while it is
/// made smaller.
long long RKFfmpegFile::bytesOfFrames() const
{
    constexpr int kReferenceFrames = 6;
    const int width = m_codec->width;
    const int height = m_codec->height;
    const int shown = av_image_get_buffer_size(AV_PIX_FMT_RGB24, width, height, 1);
    const int coded = av_image_get_buffer_size(m_codec->pix_fmt, width, height, 1);
    const long long frames = kReferenceFrames + std::max(m_codec->thread_count, 1);
    return std::max(coded > 0 ? coded : shown, 0) * frames + std::max(shown, 0) * 2LL;
}

const RKVideoFacts& RKFfmpegFile::facts() const
{
    return m_facts;
}

AVFormatContext& RKFfmpegFile::format()
{
    return *m_format;
}

AVCodecContext& RKFfmpegFile::codec()
{
    return *m_codec;
}

AVStream* RKFfmpegFile::stream() const
{
    return m_format->streams[m_streamIndex];
}

bool RKFfmpegFile::hasIndex() const
{
    // MPEG's program and transport streams enter any packet as that of a key frame.
    return !(m_format->iformat->flags & AVFMT_TS_DISCONT);
}

const AVIndexEntry* RKFfmpegFile::indexEntry(long long timestamp, int flags) const
{
    return hasIndex() ? avformat_index_get_entry_from_timestamp(stream(), timestamp, flags)
                      : nullptr;
}

void RKFfmpegFile::completeIndex(long long timestamp)
{
    const int count = hasIndex() ? avformat_index_get_entries_count(stream()) : 0;
    if (m_isIndexComplete || count == 0)
        return;
    // FFmpeg enters all that it reads of an AVI file without an index as key frames.
    const bool isMadeUp = isAvi() && !m_hasStoredIndex
        && !RKKeyFrameScan::isIntraOnly(stream()->codecpar->codec_id);
    if (!isMadeUp && timestamp <= avformat_index_get_entry(stream(), count - 1)->timestamp)
        return;
    m_isIndexComplete = true;
    const AVIndexEntry* known = avformat_index_get_entry(stream(), 0);
    const QString format = QString::fromLatin1(m_format->iformat->name);
    // Only a seek reads the index of a Matroska file.
    if (format.startsWith(QStringLiteral("matroska")))
        av_seek_frame(m_format.get(), m_streamIndex, known->timestamp, AVSEEK_FLAG_BACKWARD);
    if (!isMadeUp)
        known = avformat_index_get_entry(stream(), avformat_index_get_entries_count(stream()) - 1);
    for (const auto& entry : RKKeyFrameScan::entriesAfter({known->pos, known->timestamp},
             m_facts.path,
             format,
             m_streamIndex,
             stream()->codecpar->codec_id))
        addToIndex(entry);
}

bool RKFfmpegFile::isAvi() const
{
    return std::strcmp(m_format->iformat->name, "avi") == 0;
}

void RKFfmpegFile::addToIndex(const RKKeyFrameScan::Entry& entry)
{
    for (unsigned i = 0; i < m_format->nb_streams; ++i) {
        AVStream* const other = m_format->streams[i];
        // AVI's demuxer goes to the earliest place that the indices of all streams lead to.
        if (int(i) != m_streamIndex && !(isAvi() && entry.isKey))
            continue;
        av_add_index_entry(other,
            entry.position,
            av_rescale_q(entry.timestamp, stream()->time_base, other->time_base),
            entry.size,
            0,
            entry.isKey ? AVINDEX_KEYFRAME : 0);
    }
}

long long RKFfmpegFile::endOfData() const
{
    const int64_t size = avio_size(m_format->pb);
    for (int i = hasIndex() ? avformat_index_get_entries_count(stream()) : 0; i > 0; --i) {
        const AVIndexEntry* entry = avformat_index_get_entry(stream(), i - 1);
        if (entry->pos < size && entry->size <= size - entry->pos)
            return std::clamp<long long>(entry->timestamp, -kMaxTicks, kMaxTicks);
    }
    if (stream()->duration <= 0 && m_format->duration <= 0)
        return kMaxTicks;
    const long long ticks = stream()->duration > 0
        ? stream()->duration
        : av_rescale_q(m_format->duration, {1, AV_TIME_BASE}, stream()->time_base);
    return startTimestamp() + std::clamp<long long>(ticks, 0, kMaxTicks);
}

long long RKFfmpegFile::startTimestamp() const
{
    if (stream()->start_time == AV_NOPTS_VALUE)
        return 0;
    return std::clamp<long long>(stream()->start_time, -kMaxTicks, kMaxTicks);
}

void RKFfmpegFile::log(const char* message) const
{
    RKFfmpegLog::write(m_facts.path, QString::fromLatin1(message));
}
