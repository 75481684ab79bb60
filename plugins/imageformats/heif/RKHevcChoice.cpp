#include "imageformats/heif/RKHevcChoice.h"

#include "imageformats/heif/RKHevcDecoder.h"

#include <libheif/heif.h>
#include <libheif/heif_plugin.h>

extern "C" {
#include <libavutil/imgutils.h>
#include <libavutil/pixdesc.h>
}

#include <array>
#include <atomic>
#include <climits>
#include <cstring>
#include <optional>

namespace {

// libheif's own decoder has 100.
constexpr int kPriority = 200;

std::atomic<int> s_pictures = 0; // decoded in threads of libheif's
thread_local std::optional<RKHevcChoice::Decoder> t_decoder;

struct ImageDeleter
{
    void operator()(heif_image* image) const
    {
        heif_image_release(image);
    }
};

using Image = std::unique_ptr<heif_image, ImageDeleter>;

struct NclxDeleter
{
    void operator()(heif_color_profile_nclx* profile) const
    {
        heif_nclx_color_profile_free(profile);
    }
};

constexpr heif_error kDone{heif_error_Ok, heif_suberror_Unspecified, "Success"};
constexpr heif_error kNoMemory{
    heif_error_Memory_allocation_error, heif_suberror_Unspecified, "Out of memory"};
constexpr heif_error kTooLarge{
    heif_error_Invalid_input, heif_suberror_Unspecified, "Too much data for a picture"};
constexpr heif_error kFailure{
    heif_error_Decoder_plugin_error, heif_suberror_Unspecified, "Damaged or unknown HEVC data"};

heif_chroma chromaOf(const AVPixFmtDescriptor& format)
{
    if (format.nb_components == 1)
        return heif_chroma_monochrome;
    if (format.log2_chroma_w == 0)
        return heif_chroma_444;
    return format.log2_chroma_h == 0 ? heif_chroma_422 : heif_chroma_420;
}

// What the stream says of its colours; libheif puts what the file says before it.
bool setColors(const AVFrame& frame, heif_image* image)
{
    const std::unique_ptr<heif_color_profile_nclx, NclxDeleter> profile(
        heif_nclx_color_profile_alloc());
    if (!profile)
        return false;
    // All of them are ITU-T H.273's numbers.
    profile->color_primaries = heif_color_primaries(frame.color_primaries);
    profile->transfer_characteristics = heif_transfer_characteristics(frame.color_trc);
    profile->matrix_coefficients = heif_matrix_coefficients(frame.colorspace);
    profile->full_range_flag = frame.color_range == AVCOL_RANGE_JPEG;
    return heif_image_set_nclx_color_profile(image, profile.get()).code == heif_error_Ok;
}

bool copyPlanes(const AVFrame& frame, const AVPixFmtDescriptor& format, heif_image* image)
{
    constexpr std::array kChannels{heif_channel_Y, heif_channel_Cb, heif_channel_Cr};
    const int depth = format.comp[0].depth;
    const int bytes = depth > CHAR_BIT ? 2 : 1;
    for (int i = 0; i < format.nb_components; ++i) {
        const heif_channel channel = kChannels[size_t(i)];
        const int width = i == 0 ? frame.width : AV_CEIL_RSHIFT(frame.width, format.log2_chroma_w);
        const int height
            = i == 0 ? frame.height : AV_CEIL_RSHIFT(frame.height, format.log2_chroma_h);
        const heif_error error = heif_image_add_plane(image, channel, width, height, depth);
        int stride = 0;
        uint8_t* const plane = heif_image_get_plane(image, channel, &stride);
        if (error.code != heif_error_Ok || !plane)
            return false;
        av_image_copy_plane(plane, stride, frame.data[i], frame.linesize[i], width * bytes, height);
    }
    return true;
}

// Null where there isn't a plane for each component.
Image imageOf(const AVFrame& frame)
{
    const AVPixFmtDescriptor* const format = av_pix_fmt_desc_get(AVPixelFormat(frame.format));
    if (!format || (format->nb_components != 1 && format->nb_components != 3)
        || !frame.data[format->nb_components - 1])
        return nullptr;
    const heif_chroma chroma = chromaOf(*format);
    const heif_colorspace space
        = chroma == heif_chroma_monochrome ? heif_colorspace_monochrome : heif_colorspace_YCbCr;
    heif_image* created = nullptr;
    const heif_error error = heif_image_create(frame.width, frame.height, space, chroma, &created);
    Image image(created);
    const bool isDone = error.code == heif_error_Ok && copyPlanes(frame, *format, created)
        && setColors(frame, created);
    return isDone ? std::move(image) : nullptr;
}

// What libheif calls. The pointer to a decoder that it keeps is the packet that it fills.

const char* name()
{
    return "HEVC with libavcodec";
}

int priority(heif_compression_format format)
{
    const bool isChosen
        = t_decoder ? t_decoder != RKHevcChoice::Decoder::Libheif : s_pictures.load() > 0;
    return isChosen && format == heif_compression_HEVC ? kPriority : 0;
}

heif_error createDecoder(void** decoder)
{
    *decoder = av_packet_alloc();
    return *decoder ? kDone : kNoMemory;
}

void freeDecoder(void* decoder)
{
    RKHevcDecoder::Packet(static_cast<AVPacket*>(decoder));
}

heif_error push(void* decoder, const void* data, size_t size)
{
    auto* const packet = static_cast<AVPacket*>(decoder);
    const int before = packet->size;
    if (size > size_t(INT_MAX - before))
        return kTooLarge;
    if (size == 0)
        return kDone;
    if (av_grow_packet(packet, int(size)) != 0)
        return kNoMemory;
    std::memcpy(packet->data + before, data, size);
    return kDone;
}

heif_error decode(void* decoder, heif_image** result)
{
    const RKHevcDecoder::Frame frame
        = RKHevcDecoder().decode(*static_cast<const AVPacket*>(decoder));
    *result = frame ? imageOf(*frame).release() : nullptr;
    return *result ? kDone : kFailure;
}

bool isRegistered()
{
    static heif_decoder_plugin plugin{};
    plugin.plugin_api_version = 1;
    plugin.get_plugin_name = name;
    plugin.does_support_format = priority;
    plugin.new_decoder = createDecoder;
    plugin.free_decoder = freeDecoder;
    plugin.push_data = push;
    plugin.decode_image = decode;
    return RKHevcDecoder::isAvailable()
        && heif_register_decoder_plugin(&plugin).code == heif_error_Ok;
}

} // namespace

bool RKHevcChoice::hasLibavcodec()
{
    static const bool isThere = isRegistered();
    return isThere;
}

RKHevcChoice::RKHevcChoice(Decoder decoder)
    : m_decoder(hasLibavcodec() ? decoder : Decoder::Libheif)
{
    t_decoder = m_decoder;
    if (m_decoder == Decoder::LibavcodecInThreads)
        ++s_pictures;
}

RKHevcChoice::~RKHevcChoice()
{
    if (m_decoder == Decoder::LibavcodecInThreads)
        --s_pictures;
    t_decoder.reset();
}
