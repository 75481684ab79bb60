#include "imageformats/jpeg2000/RKJpeg2000Picture.h"

#include "imageformats/common/RKBoxReader.h"
#include "imageformats/common/RKPictureLimits.h"
#include "imageformats/common/RKPicturePixels.h"
#include "imageformats/jpeg2000/RKJpeg2000Check.h"

#include <openjpeg.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <vector>

namespace {

// A file in memory as OpenJPEG reads it.
class MemoryStream
{
public:
    explicit MemoryStream(const QByteArray& file)
        : m_file(file)
        , m_stream(opj_stream_default_create(OPJ_TRUE))
    {
        if (!m_stream)
            return;
        opj_stream_set_user_data(m_stream.get(), this, nullptr);
        opj_stream_set_user_data_length(m_stream.get(), OPJ_UINT64(file.size()));
        opj_stream_set_read_function(m_stream.get(), read);
        opj_stream_set_skip_function(m_stream.get(), skip);
        opj_stream_set_seek_function(m_stream.get(), seek);
    }

    Q_DISABLE_COPY_MOVE(MemoryStream)

    /// Reading fails once that says so. OpenJPEG has nothing else to be stopped by.
    void setStopQuestion(const RKStopQuestion& mustStop)
    {
        m_mustStop = mustStop;
    }

    opj_stream_t* get() const
    {
        return m_stream.get();
    }

private:
    struct Deleter
    {
        void operator()(opj_stream_t* stream) const
        {
            opj_stream_destroy(stream);
        }
    };

    static OPJ_SIZE_T read(void* target, OPJ_SIZE_T size, void* stream)
    {
        auto* const self = static_cast<MemoryStream*>(stream);
        const qint64 count = std::min(qint64(size), self->m_file.size() - self->m_position);
        // OpenJPEG would ask for ever if it got 0 at the end.
        if (count <= 0 || (self->m_mustStop && self->m_mustStop()))
            return OPJ_SIZE_T(-1);
        std::memcpy(target, self->m_file.constData() + self->m_position, size_t(count));
        self->m_position += count;
        return OPJ_SIZE_T(count);
    }

    static OPJ_OFF_T skip(OPJ_OFF_T size, void* stream)
    {
        auto* const self = static_cast<MemoryStream*>(stream);
        if (size < 0 || size > self->m_file.size() - self->m_position)
            return -1;
        self->m_position += size;
        return size;
    }

    static OPJ_BOOL seek(OPJ_OFF_T position, void* stream)
    {
        auto* const self = static_cast<MemoryStream*>(stream);
        if (position < 0 || position > self->m_file.size())
            return OPJ_FALSE;
        self->m_position = position;
        return OPJ_TRUE;
    }

    QByteArray m_file;
    RKStopQuestion m_mustStop;
    qint64 m_position = 0;
    std::unique_ptr<opj_stream_t, Deleter> m_stream;
};

struct CodecDeleter
{
    void operator()(opj_codec_t* codec) const
    {
        opj_destroy_codec(codec);
    }
};

struct ImageDeleter
{
    void operator()(opj_image_t* image) const
    {
        opj_image_destroy(image);
    }
};

struct InfoDeleter
{
    void operator()(opj_codestream_info_v2_t* info) const
    {
        opj_destroy_cstr_info(&info);
    }
};

// The samples of one component, spread over the picture and brought to 8 bits.
class Channel
{
public:
    Channel(const opj_image_comp_t& component, const QSize& size)
        : m_component(component)
        , m_height(size.height())
        , m_columns(size_t(size.width()))
        , m_row(size_t(size.width()))
    {
        // Components may have fewer samples than the picture has pixels (ITU-T T.800, B.2).
        for (size_t x = 0; x < m_columns.size(); ++x)
            m_columns[x] = size_t(x * component.w / m_columns.size());

        // Deeper samples lose what 8 bits can't show before the table gets large.
        constexpr quint32 kMaxTableBits = 16;
        m_shift = component.prec > kMaxTableBits ? component.prec - kMaxTableBits : 0;
        m_offset = component.sgnd ? 1LL << (component.prec - 1) : 0;
        const quint32 highest = (1U << (component.prec - m_shift)) - 1;
        m_table.resize(highest + 1);
        for (quint32 value = 0; value <= highest; ++value)
            m_table[value] = uchar((value * 255 + highest / 2) / highest);
    }

    static bool isUsable(const opj_image_comp_t& component)
    {
        constexpr quint32 kMaxBits = 31;
        return component.data && component.w > 0 && component.h > 0 && component.prec > 0
            && component.prec <= kMaxBits;
    }

    const uchar* row(int y)
    {
        const qint64 line = qint64(y) * m_component.h / m_height;
        const OPJ_INT32* const samples = m_component.data + line * m_component.w;
        const auto highest = qint64(m_table.size()) - 1;
        for (size_t x = 0; x < m_row.size(); ++x) {
            const qint64 value = (samples[m_columns[x]] + m_offset) >> m_shift;
            m_row[x] = m_table[size_t(std::clamp<qint64>(value, 0, highest))];
        }
        return m_row.data();
    }

private:
    const opj_image_comp_t& m_component;
    int m_height;
    quint32 m_shift = 0;
    qint64 m_offset = 0;
    std::vector<size_t> m_columns;
    std::vector<uchar> m_table;
    std::vector<uchar> m_row;
};

enum class ColorModel
{
    Gray,
    Rgb,
    Ycc,
    Cmyk,
};

QRgb fromYcc(int y, int cb, int cr)
{
    // ITU-R BT.601 with full range, as for JPEG (ITU-T T.871, 7).
    const auto level = [](double value) { return std::clamp(int(std::lround(value)), 0, 255); };
    return qRgb(level(y + 1.402 * (cr - 128)),
        level(y - 0.344136 * (cb - 128) - 0.714136 * (cr - 128)),
        level(y + 1.772 * (cb - 128)));
}

QRgb fromCmyk(int c, int m, int y, int k)
{
    const auto level = [k](int ink) { return (255 - ink) * (255 - k) / 255; };
    return qRgb(level(c), level(m), level(y));
}

size_t channelsOf(ColorModel model)
{
    switch (model) {
    case ColorModel::Gray: return 1;
    case ColorModel::Cmyk: return 4;
    default: return 3;
    }
}

// OpenJPEG passes over colours that a profile of any kind describes (ITU-T T.801, M.11.7.3), the
// way of Photoshop's files. Their box differs by one number from that of a simple profile.
QByteArray withPlainProfile(const QByteArray& file)
{
    constexpr char kSimple = 2;
    constexpr char kAny = 3;
    RKBoxReader boxes(file);
    while (boxes.next()) {
        if (!boxes.is("jp2h"))
            continue;
        RKBoxReader parts(boxes.content());
        while (parts.next()) {
            if (!parts.is("colr") || !parts.content().startsWith(QByteArrayView(&kAny, 1)))
                continue;
            QByteArray result = file;
            result.data()[parts.content().data() - file.constData()] = kSimple;
            return result;
        }
    }
    return file;
}

// Premultiplied transparency (ITU-T T.800, table I.16).
constexpr int kPremultiplied = 2;

// The components of a picture and what they mean.
class Components
{
public:
    Components(const opj_image_t& image, const QByteArray& profile)
        : m_image(image)
        , m_hasInkProfile(RKPicturePixels::profileSpace(profile) == "CMYK")
    {
        for (quint32 i = 0; i < image.numcomps; ++i)
            (image.comps[i].alpha ? m_alpha : m_colors).push_back(i);
        m_model = model();
        // Bare code streams don't say what a component is for, and many files neither.
        if (m_alpha.empty() && m_colors.size() == channelsOf(m_model) + 1) {
            m_alpha.push_back(m_colors.back());
            m_colors.pop_back();
        }
    }

    QImage toImage(const QSize& size) const
    {
        if (m_colors.size() < channelsOf(m_model))
            return {};
        std::vector<Channel> channels;
        for (size_t i = 0; i < channelsOf(m_model); ++i)
            channels.emplace_back(m_image.comps[m_colors[i]], size);
        if (!m_alpha.empty())
            channels.emplace_back(m_image.comps[m_alpha[0]], size);

        QImage result(size, format());
        if (result.isNull())
            return {};
        for (int y = 0; y < size.height(); ++y)
            convertRow(channels, y, result);
        return result;
    }

private:
    QImage::Format format() const
    {
        if (m_alpha.empty())
            return QImage::Format_RGB32;
        return m_image.comps[m_alpha[0]].alpha == kPremultiplied
            ? QImage::Format_ARGB32_Premultiplied
            : QImage::Format_ARGB32;
    }

    ColorModel model() const
    {
        const size_t count = m_colors.size();
        if (count < channelsOf(ColorModel::Rgb))
            return ColorModel::Gray;
        const bool isCmyk = m_image.color_space == OPJ_CLRSPC_CMYK || m_hasInkProfile;
        if (isCmyk && count >= channelsOf(ColorModel::Cmyk))
            return ColorModel::Cmyk;
        // Only colour differences have fewer samples than the lightness.
        const opj_image_comp_t& first = m_image.comps[m_colors[0]];
        const opj_image_comp_t& second = m_image.comps[m_colors[1]];
        const bool isYcc = m_image.color_space == OPJ_CLRSPC_SYCC
            || m_image.color_space == OPJ_CLRSPC_EYCC || second.dx > first.dx;
        return isYcc ? ColorModel::Ycc : ColorModel::Rgb;
    }

    void convertRow(std::vector<Channel>& channels, int y, QImage& result) const
    {
        std::array<const uchar*, 5> rows{};
        for (size_t i = 0; i < channels.size(); ++i)
            rows[i] = channels[i].row(y);
        const auto& [a, b, c, d, unused] = rows;
        const uchar* const alpha = m_alpha.empty() ? nullptr : rows[channels.size() - 1];
        auto* const target = reinterpret_cast<QRgb*>(result.scanLine(y));
        for (int x = 0; x < result.width(); ++x) {
            QRgb color = 0;
            switch (m_model) {
            case ColorModel::Gray: color = qRgb(a[x], a[x], a[x]); break;
            case ColorModel::Rgb: color = qRgb(a[x], b[x], c[x]); break;
            case ColorModel::Ycc: color = fromYcc(a[x], b[x], c[x]); break;
            case ColorModel::Cmyk: color = fromCmyk(a[x], b[x], c[x], d[x]); break;
            }
            target[x] = alpha ? (color & RGB_MASK) | QRgb(alpha[x]) << 24 : color;
        }
    }

    const opj_image_t& m_image;
    bool m_hasInkProfile;
    ColorModel m_model = ColorModel::Gray;
    std::vector<quint32> m_colors;
    std::vector<quint32> m_alpha;
};

} // namespace

// A file whose header has been read. It is good for one decode.
class RKJpeg2000Picture::Decoder
{
public:
    explicit Decoder(const QByteArray& file)
        : m_stream(file)
    {
        const bool isFile = file.startsWith(RKJpeg2000Check::kFileSignature);
        m_codec.reset(opj_create_decompress(isFile ? OPJ_CODEC_JP2 : OPJ_CODEC_J2K));
        opj_dparameters_t parameters;
        opj_set_default_decoder_parameters(&parameters);
        opj_image_t* image = nullptr;
        if (m_codec && m_stream.get() && opj_setup_decoder(m_codec.get(), &parameters)
            && opj_read_header(m_stream.get(), m_codec.get(), &image))
            m_image.reset(image);
    }

    const opj_image_t* image() const
    {
        return m_image.get();
    }

    QSize size() const
    {
        return {int(m_image->x1 - m_image->x0), int(m_image->y1 - m_image->y0)};
    }

    // OpenJPEG keeps the parameters of CIELab in the place of a profile, without a length.
    bool isLab() const
    {
        return m_image->icc_profile_buf && m_image->icc_profile_len == 0;
    }

    QByteArray profile() const
    {
        // Without a length it is something else that OpenJPEG keeps there (CIELab).
        const bool isProfile = m_image->icc_profile_buf
            && m_image->icc_profile_len <= RKPicturePixels::kMaxProfileSize;
        return isProfile ? QByteArray(reinterpret_cast<const char*>(m_image->icc_profile_buf),
                   qsizetype(m_image->icc_profile_len))
                         : QByteArray();
    }

    // How often the picture can be halved, as far as the header says. Tiles may have fewer levels.
    quint32 levels() const
    {
        const std::unique_ptr<opj_codestream_info_v2_t, InfoDeleter> info(
            opj_get_cstr_info(m_codec.get()));
        if (!info || !info->m_default_tile_info.tccp_info || info->nbcomps == 0)
            return 0;
        const opj_tccp_info_t* const components = info->m_default_tile_info.tccp_info;
        quint32 least = components[0].numresolutions;
        for (quint32 i = 1; i < info->nbcomps; ++i)
            least = std::min(least, components[i].numresolutions);
        return least > 0 ? least - 1 : 0;
    }

    // The picture, halved that often. Null where it can't be decoded or need not be.
    QImage decode(quint32 halvings, const RKStopQuestion& mustStop)
    {
        m_stream.setStopQuestion(mustStop);
        const QSize whole = size();
        // The area, which is the whole picture, is set because it takes over the halving.
        if ((halvings > 0
                && (!opj_set_decoded_resolution_factor(m_codec.get(), halvings)
                    || !opj_set_decode_area(m_codec.get(), m_image.get(), 0, 0, 0, 0)))
            || !opj_decode(m_codec.get(), m_stream.get(), m_image.get()))
            return {};
        opj_image_comp_t* const end = m_image->comps + m_image->numcomps;
        if (m_image->numcomps == 0 || !std::all_of(m_image->comps, end, Channel::isUsable))
            return {};
        const int divisor = 1 << halvings;
        const QSize size(
            (whole.width() + divisor - 1) / divisor, (whole.height() + divisor - 1) / divisor);
        return Components(*m_image, profile()).toImage(size);
    }

private:
    MemoryStream m_stream;
    std::unique_ptr<opj_codec_t, CodecDeleter> m_codec;
    std::unique_ptr<opj_image_t, ImageDeleter> m_image;
};

RKJpeg2000Picture::RKJpeg2000Picture(std::unique_ptr<Decoder> decoder, const QByteArray& file)
    : m_file(file)
    , m_decoder(std::move(decoder))
{
}

RKJpeg2000Picture::~RKJpeg2000Picture() = default;

bool RKJpeg2000Picture::isRecognized(const QByteArray& start)
{
    return start.startsWith(RKJpeg2000Check::kFileSignature)
        || start.startsWith(RKJpeg2000Check::kCodestreamSignature);
}

std::unique_ptr<RKJpeg2000Picture> RKJpeg2000Picture::open(const QByteArray& file)
{
    if (!RKJpeg2000Check::isAcceptable(file))
        return nullptr;
    const QByteArray readable = withPlainProfile(file);
    auto decoder = std::make_unique<Decoder>(readable);
    // Rather none than one in wrong colours.
    if (!decoder->image() || decoder->isLab() || !RKPictureLimits::isAcceptable(decoder->size()))
        return nullptr;
    const QSize size = decoder->size();
    if (!RKPictureLimits::canHold(file.size(), qint64(size.width()) * size.height()))
        return nullptr;
    return std::unique_ptr<RKJpeg2000Picture>(new RKJpeg2000Picture(std::move(decoder), readable));
}

QSize RKJpeg2000Picture::size() const
{
    return m_decoder->size();
}

QImage RKJpeg2000Picture::decode(const QSize& size, const RKStopQuestion& mustStop)
{
    const QSize whole = m_decoder->size();
    const quint32 levels = m_decoder->levels();
    quint32 halvings = 0;
    while (halvings < levels && whole.width() >> (halvings + 1) >= size.width()
        && whole.height() >> (halvings + 1) >= size.height())
        ++halvings;

    QImage image = m_decoder->decode(halvings, mustStop);
    if (mustStop())
        return {};
    if (image.isNull() && halvings > 0) {
        m_decoder = std::make_unique<Decoder>(m_file);
        image = m_decoder->image() ? m_decoder->decode(0, mustStop) : QImage();
    }
    return RKPicturePixels::finished(
        image, size, m_decoder->image() ? m_decoder->profile() : QByteArray());
}
