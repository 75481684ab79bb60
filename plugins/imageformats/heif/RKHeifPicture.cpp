#include "imageformats/heif/RKHeifPicture.h"

#include "imageformats/common/RKBoxReader.h"
#include "imageformats/common/RKPictureLimits.h"
#include "imageformats/common/RKPicturePixels.h"
#include "imageformats/heif/RKHeifReducer.h"
#include "imageformats/heif/RKHeifThreads.h"
#include "imageformats/heif/RKHevcChoice.h"

#include <libheif/heif.h>

#include <algorithm>
#include <cmath>
#include <limits>

namespace {

// ITU-T H.273, tables 2 and 3.
constexpr int kPrimariesBt2020 = 9;
constexpr int kPrimariesP3 = 12;
constexpr int kTransferPq = 16;
constexpr int kTransferHlg = 18;

struct ImageDeleter
{
    void operator()(const heif_image* image) const
    {
        heif_image_release(image);
    }
};

using Image = std::unique_ptr<const heif_image, ImageDeleter>;

struct OptionsDeleter
{
    void operator()(heif_decoding_options* options) const
    {
        heif_decoding_options_free(options);
    }
};

struct NclxDeleter
{
    void operator()(heif_color_profile_nclx* profile) const
    {
        heif_nclx_color_profile_free(profile);
    }
};

bool isDone(const heif_error& error)
{
    return error.code == heif_error_Ok;
}

// libheif is asked on a thread that hasn't chosen ours.
bool hasHevcDecoder()
{
    return RKHevcChoice::hasLibavcodec()
        || heif_have_decoder_for_format(heif_compression_HEVC) != 0;
}

QSize sizeOf(const heif_image_handle* handle)
{
    return {heif_image_handle_get_width(handle), heif_image_handle_get_height(handle)};
}

// Null where it can't be decoded.
Image decoded(const heif_image_handle* handle, RKHevcChoice::Decoder decoder)
{
    const RKHevcChoice choice(decoder);
    const std::unique_ptr<heif_decoding_options, OptionsDeleter> options(
        heif_decoding_options_alloc());
    options->convert_hdr_to_8bit = 1;
    heif_image* image = nullptr;
    const heif_error error = heif_decode_image(
        handle, &image, heif_colorspace_RGB, heif_chroma_interleaved_RGBA, options.get());
    Image result(image);
    return isDone(error) ? std::move(result) : nullptr;
}

Image decoded(heif_context* context, const heif_image_handle* handle, int threads)
{
    using Decoder = RKHevcChoice::Decoder;
    heif_context_set_max_decoding_threads(context, threads > 1 ? threads : 0);
    if (!RKHevcChoice::hasLibavcodec())
        return decoded(handle, Decoder::Libheif);
    Image image = decoded(handle, threads > 1 ? Decoder::LibavcodecInThreads : Decoder::Libavcodec);
    if (image)
        return image;
    // Damaged pictures are shown as far as they go. The decoder is certain on this thread only.
    heif_context_set_max_decoding_threads(context, 0);
    return decoded(handle, Decoder::Libheif);
}

QImage::Format alphaFormat(const heif_image_handle* handle)
{
    if (!heif_image_handle_has_alpha_channel(handle))
        return QImage::Format_RGBX8888;
    return heif_image_handle_is_premultiplied_alpha(handle) ? QImage::Format_RGBA8888_Premultiplied
                                                            : QImage::Format_RGBA8888;
}

// Lasts as long as the image. Null where there is nothing.
QImage pixelsOf(const heif_image* image, const QSize& size, QImage::Format format)
{
    if (!image)
        return {};
    int stride = 0;
    const uchar* const pixels
        = heif_image_get_plane_readonly(image, heif_channel_interleaved, &stride);
    // Decoded sizes are even, and more is decoded than belongs to the picture.
    const QSize area = size.boundedTo({heif_image_get_width(image, heif_channel_interleaved),
        heif_image_get_height(image, heif_channel_interleaved)});
    return pixels ? QImage(pixels, area.width(), area.height(), stride, format) : QImage();
}

QByteArray profileOf(const heif_image_handle* handle)
{
    const size_t size = heif_image_handle_get_raw_color_profile_size(handle);
    if (size == 0 || size > size_t(RKPicturePixels::kMaxProfileSize))
        return {};
    QByteArray profile(qsizetype(size), Qt::Uninitialized);
    return isDone(heif_image_handle_get_raw_color_profile(handle, profile.data())) ? profile
                                                                                   : QByteArray();
}

// The colour space that a picture without an ICC profile says it has, where it isn't about sRGB.
QColorSpace codedColorSpace(const heif_image_handle* handle)
{
    heif_color_profile_nclx* found = nullptr;
    const heif_error error = heif_image_handle_get_nclx_color_profile(handle, &found);
    // There is one with errors, too.
    const std::unique_ptr<heif_color_profile_nclx, NclxDeleter> profile(found);
    if (!isDone(error) || !profile)
        return {};
    const int transfer = profile->transfer_characteristics;
    if (transfer == kTransferPq || transfer == kTransferHlg)
        return {};
    switch (int(profile->color_primaries)) {
    case kPrimariesP3: return QColorSpace(QColorSpace::DisplayP3);
    case kPrimariesBt2020:
        // ITU-R BT.2020-2, table 3. Pictures for screens have about sRGB's curve.
        return QColorSpace({0.3127, 0.3290},
            {0.708, 0.292},
            {0.170, 0.797},
            {0.131, 0.046},
            QColorSpace::TransferFunction::SRgb);
    default: return {};
    }
}

bool hasAspectOf(const QSize& size, const QSize& picture)
{
    constexpr double kTolerance = 0.02;
    const double ratio
        = double(size.width()) * picture.height() / (double(size.height()) * picture.width());
    return std::abs(ratio - 1) <= kTolerance;
}

} // namespace

void RKHeifPicture::Deleter::operator()(heif_context* context) const
{
    heif_context_free(context);
}

void RKHeifPicture::Deleter::operator()(const heif_image_handle* handle) const
{
    heif_image_handle_release(handle);
}

std::unique_ptr<RKHeifPicture> RKHeifPicture::open(const QByteArray& file, QByteArray* undecodable)
{
    std::unique_ptr<RKHeifPicture> picture(new RKHeifPicture(file));
    const QByteArray coding = picture->m_check.coding();
    const bool isRefused = coding == kHevc && !picture->m_check.isAcceptable();
    const bool hasDecoder = coding.isEmpty() || isRefused || (coding == kHevc && hasHevcDecoder());
    *undecodable = hasDecoder ? QByteArray() : coding;
    return picture->isOpen() ? std::move(picture) : nullptr;
}

RKHeifPicture::RKHeifPicture(const QByteArray& file)
    : m_file(file)
    , m_check(m_file)
    , m_isSizeTransposed(m_check.isSizeTransposed())
{
    if (!m_check.isAcceptable())
        return;
    // Once in the process: libheif counts the calls and loads its codecs at the first.
    static const heif_error initialization = heif_init(nullptr);
    if (!isDone(initialization))
        return;
    m_context.reset(heif_context_alloc());
    heif_context_set_maximum_image_size_limit(m_context.get(), int(RKPictureLimits::kMaxSide));
    if (!isDone(heif_context_read_from_memory_without_copy(
            m_context.get(), m_file.constData(), size_t(m_file.size()), nullptr)))
        return;
    heif_image_handle* handle = nullptr;
    if (isDone(heif_context_get_primary_image_handle(m_context.get(), &handle)))
        m_handle.reset(handle);
}

bool RKHeifPicture::isOpen() const
{
    return m_handle && RKPictureLimits::isAcceptable(size());
}

QSize RKHeifPicture::size() const
{
    const QSize stated = sizeOf(m_handle.get());
    return m_isSizeTransposed ? stated.transposed() : stated;
}

QImage RKHeifPicture::decode(const QSize& size, const RKStopQuestion& mustStop)
{
    const bool isReduced
        = size.width() < this->size().width() && size.height() < this->size().height();
    const QList<quint32> thumbnails = isReduced ? m_check.thumbnails() : QList<quint32>();
    for (const quint32 id : thumbnails) {
        heif_image_handle* found = nullptr;
        if (!isDone(heif_image_handle_get_thumbnail(m_handle.get(), id, &found)))
            continue;
        const Handle thumbnail(found);
        const bool hasAllChannels = heif_image_handle_has_alpha_channel(found)
            || !heif_image_handle_has_alpha_channel(m_handle.get());
        if (!hasAllChannels || !canServe(sizeOf(found), size))
            continue;
        const QImage image = decode(found, id, sizeOf(found), size, mustStop);
        if (!image.isNull())
            return image;
    }
    return decode(m_handle.get(), m_check.primary(), this->size(), size, mustStop);
}

bool RKHeifPicture::canServe(const QSize& thumbnail, const QSize& size) const
{
    return !thumbnail.isEmpty() && thumbnail.width() >= size.width()
        && thumbnail.height() >= size.height() && hasAspectOf(thumbnail, this->size());
}

QImage RKHeifPicture::reduced(
    quint32 id, const QSize& stated, const QSize& size, const RKStopQuestion& mustStop) const
{
    const bool isSmaller = size.width() < stated.width() && size.height() < stated.height();
    const bool hasAlpha = heif_image_handle_has_alpha_channel(m_handle.get());
    const std::optional<RKHeifTiles> tiles
        = isSmaller && !hasAlpha && !m_isSizeTransposed ? m_check.tiles(id) : std::nullopt;
    return tiles ? RKHeifReducer::reduced(*tiles, size, mustStop) : QImage();
}

QImage RKHeifPicture::decode(const heif_image_handle* handle,
    quint32 id,
    const QSize& stated,
    const QSize& size,
    const RKStopQuestion& mustStop) const
{
    QImage pixels = reduced(id, stated, size, mustStop);
    // libheif decodes to the end.
    if (mustStop())
        return {};
    Image image;
    if (pixels.isNull()) {
        image = decoded(m_context.get(), handle, RKHeifThreads::count(stated));
        pixels = pixelsOf(image.get(), stated, alphaFormat(m_handle.get()));
    }
    // What is stated for a thumbnail may be the picture's: some share its clean aperture.
    if (handle != m_handle.get() && !canServe(pixels.size(), size))
        return {};

    const QByteArray profile = profileOf(m_handle.get());
    QImage result = RKPicturePixels::finished(pixels, size, profile);
    // Thumbnails that say nothing of colours have those of the picture.
    const bool hasOwnColors
        = heif_image_handle_get_color_profile_type(handle) != heif_color_profile_type_not_present;
    const QColorSpace coded = codedColorSpace(hasOwnColors ? handle : m_handle.get());
    if (profile.isEmpty() && coded.isValid()) {
        result.setColorSpace(coded);
        result.convertToColorSpace(QColorSpace::SRgb);
    }
    return result;
}
