#include "RKImageLoader/decoders/RKReducedWebp_p.h"
#include "RKImageLoader/drawables/RKImageScaler_p.h"

#include <QColorSpace>

#include <webp/decode.h>
#include <webp/demux.h>

#include <algorithm>
#include <limits>
#include <memory>

namespace {

struct DemuxerDeleter
{
    void operator()(WebPDemuxer* demuxer) const
    {
        WebPDemuxDelete(demuxer);
    }
};

using DemuxerPtr = std::unique_ptr<WebPDemuxer, DemuxerDeleter>;

/// The first frame of a file.
class Frame
{
public:
    explicit Frame(const WebPDemuxer* demuxer)
    {
        m_isValid = demuxer && WebPDemuxGetFrame(demuxer, 1, &m_frame) != 0;
    }

    ~Frame()
    {
        WebPDemuxReleaseIterator(&m_frame);
    }

    Frame(const Frame&) = delete;
    Frame& operator=(const Frame&) = delete;

    bool isComplete() const
    {
        return m_isValid && m_frame.complete != 0;
    }

    QSize size() const
    {
        return {m_frame.width, m_frame.height};
    }

    const WebPData& data() const
    {
        return m_frame.fragment;
    }

private:
    WebPIterator m_frame{};
    bool m_isValid = false;
};

/// The scaler adds up the samples below a pixel of the result in 32 bits, each times the width of
/// the picture.
bool canBeAddedUp(const QSize& from, const QSize& to)
{
    const qint64 rows = from.height() / to.height() + 2;
    return 255 * rows * from.width() <= std::numeric_limits<quint32>::max();
}

bool hasFlag(const WebPDemuxer* demuxer, WebPFeatureFlags flag)
{
    return (WebPDemuxGetI(demuxer, WEBP_FF_FORMAT_FLAGS) & quint32(flag)) != 0;
}

QColorSpace colorSpace(const WebPDemuxer* demuxer)
{
    QColorSpace result;
    WebPChunkIterator chunk{};
    if (hasFlag(demuxer, ICCP_FLAG) && WebPDemuxGetChunk(demuxer, "ICCP", 1, &chunk) != 0) {
        const auto* const bytes = reinterpret_cast<const char*>(chunk.chunk.bytes);
        result = QColorSpace::fromIccProfile(QByteArray(bytes, qsizetype(chunk.chunk.size)));
    }
    WebPDemuxReleaseChunkIterator(&chunk);
    return result;
}

bool isLossyWithAlpha(const WebPBitstreamFeatures& features)
{
    constexpr int kLossy = 1;
    return features.has_alpha != 0 && features.format == kLossy;
}

struct IncrementalDeleter
{
    void operator()(WebPIDecoder* decoder) const
    {
        WebPIDelete(decoder);
    }
};

/// In pieces of the file, as if it came over a network.
VP8StatusCode decodeInPieces(
    const WebPData& frame, WebPDecoderConfig& config, const RKCancellation& cancellation)
{
    constexpr size_t kPiece = 64 << 10;
    const std::unique_ptr<WebPIDecoder, IncrementalDeleter> decoder(
        WebPIDecode(nullptr, 0, &config));
    VP8StatusCode status = decoder ? VP8_STATUS_SUSPENDED : VP8_STATUS_OUT_OF_MEMORY;
    for (size_t done = 0; status == VP8_STATUS_SUSPENDED && done < frame.size;) {
        if (cancellation.isCancelled())
            return VP8_STATUS_USER_ABORT;
        done = std::min(done + kPiece, frame.size);
        status = WebPIUpdate(decoder.get(), frame.bytes, done);
    }
    return status;
}

bool decode(const WebPData& frame, QImage& image, const RKCancellation& cancellation)
{
    WebPDecoderConfig config;
    if (WebPInitDecoderConfig(&config) == 0
        || WebPGetFeatures(frame.bytes, frame.size, &config.input) != VP8_STATUS_OK)
        return false;
    // These are scaled before colours are multiplied with their alpha, so that those of invisible
    // pixels would show at edges.
    if (isLossyWithAlpha(config.input))
        return false;
    config.options.use_scaling = 1;
    config.options.scaled_width = image.width();
    config.options.scaled_height = image.height();
    config.output.colorspace
        = QSysInfo::ByteOrder == QSysInfo::LittleEndian ? MODE_BGRA : MODE_ARGB;
    config.output.is_external_memory = 1;
    config.output.u.RGBA.rgba = image.bits();
    config.output.u.RGBA.stride = int(image.bytesPerLine());
    config.output.u.RGBA.size = size_t(image.sizeInBytes());
    const VP8StatusCode status = cancellation.isPossible()
        ? decodeInPieces(frame, config, cancellation)
        : WebPDecode(frame.bytes, frame.size, &config);
    return status == VP8_STATUS_OK;
}

} // namespace

QImage RKReducedWebp::read(
    const QByteArray& data, const QSize& size, const RKCancellation& cancellation)
{
    const WebPData file{reinterpret_cast<const uint8_t*>(data.constData()), size_t(data.size())};
    const DemuxerPtr demuxer(WebPDemux(&file));
    const Frame frame(demuxer.get());
    if (!frame.isComplete() || hasFlag(demuxer.get(), ANIMATION_FLAG)
        || !RKImageScaler::isReduction(frame.size(), size) || !canBeAddedUp(frame.size(), size))
        return {};
    const bool hasAlpha = hasFlag(demuxer.get(), ALPHA_FLAG);
    QImage image(size, hasAlpha ? QImage::Format_ARGB32 : QImage::Format_RGB32);
    if (image.isNull() || !decode(frame.data(), image, cancellation))
        return {};
    image.setColorSpace(colorSpace(demuxer.get()));
    return image;
}
