#include "imageformats/heif/RKHevcDecoder.h"

#include "imageformats/common/RKPictureLimits.h"

namespace {

// The configuration without parameter sets (ISO/IEC 14496-15, 8.3.3.1): no more than that lengths
// have 4 bytes.
bool setConfiguration(AVCodecContext& context)
{
    constexpr int kSize = 23;
    constexpr int kVersion = 0;
    constexpr int kLengthSizeMinusOne = 21;
    context.extradata = static_cast<uint8_t*>(av_mallocz(kSize + AV_INPUT_BUFFER_PADDING_SIZE));
    if (!context.extradata)
        return false;
    context.extradata_size = kSize;
    context.extradata[kVersion] = 1;
    context.extradata[kLengthSizeMinusOne] = 3;
    return true;
}

/// FFmpeg 5 crashes where there is no memory for parameter sets. They are the first that a decoder
/// takes, and much smaller than this, so that other threads leave room for them.
bool hasMemory()
{
    constexpr size_t kEnough = 16 << 20;
    void* const room = av_malloc(kEnough);
    av_free(room);
    return room;
}

} // namespace

bool RKHevcDecoder::isAvailable()
{
    return avcodec_find_decoder(AV_CODEC_ID_HEVC);
}

RKHevcDecoder::RKHevcDecoder()
{
    const AVCodec* const codec = avcodec_find_decoder(AV_CODEC_ID_HEVC);
    m_context.reset(codec ? avcodec_alloc_context3(codec) : nullptr);
    if (!m_context)
        return;
    // Tiles are decoded side by side by several decoders.
    m_context->thread_count = 1;
    m_context->err_recognition = AV_EF_EXPLODE;
    // Has the left side cut off to the pixel, too.
    m_context->flags |= AV_CODEC_FLAG_UNALIGNED;
    m_context->max_pixels = RKPictureLimits::kMaxPixels;
    // FFmpeg's log is the process's. Raised that far, no message is of interest to anybody.
    m_context->log_level_offset = 2 * AV_LOG_TRACE;
    if (!setConfiguration(*m_context) || avcodec_open2(m_context.get(), codec, nullptr) != 0)
        m_context.reset();
}

RKHevcDecoder::Frame RKHevcDecoder::decode(const AVPacket& units)
{
    Frame frame(av_frame_alloc());
    if (!m_context || !frame || !hasMemory())
        return nullptr;
    // Ready for the next picture again.
    avcodec_flush_buffers(m_context.get());
    const bool isDone = avcodec_send_packet(m_context.get(), &units) == 0
        && avcodec_send_packet(m_context.get(), nullptr) == 0
        && avcodec_receive_frame(m_context.get(), frame.get()) == 0;
    const bool isDamaged = frame->decode_error_flags != 0 || frame->flags & AV_FRAME_FLAG_CORRUPT;
    return isDone && !isDamaged ? std::move(frame) : nullptr;
}
