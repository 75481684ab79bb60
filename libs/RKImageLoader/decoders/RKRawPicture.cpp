#include "RKImageLoader/decoders/RKBitmapDecoderLibRaw_p.h"
#include "RKImageLoader/decoders/RKCodecVersions_p.h"
#include "RKImageLoader/decoders/RKRawDirectories_p.h"
#include "RKImageLoader/decoders/RKRawPicture_p.h"
#include "RKImageLoader/decoders/RKStoppableBuffer_p.h"
#include "RKImageLoader/drawables/RKImageRotator.h"
#include "RKImageLoader/guards/RKPictureHeaderCheck_p.h"
#include "RKImageLoader/guards/RKTruncation_p.h"
#include "RKImageLoader/media/RKLogCategories_p.h"
#include "RKImageLoader/media/RKMemory_p.h"

#include <QColorSpace>
#include <QDebug>
#include <QImageReader>
#include <QThread>

#include <libraw/libraw.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <exception>
#include <new>
#include <numbers>
#include <optional>

namespace {

constexpr double kAspectTolerance = 0.02;

// No raw compression gets below a bit for a block of 8x8 pixels (lossy DNG is made of JPEG; ITU-T
// T.81). A header that promises more would have the memory taken before its data are missed.
constexpr qint64 kPixelsPerByte = 8 * 64;

// Values of output_color and user_qual.
constexpr int kSrgb = 1;
constexpr int kBilinear = 0;
constexpr int kAhd = 3;

// The turns that LibRaw writes as bits (1 mirrors left and right, 2 top and bottom, 4 transposes
// after that), as orientations of Exif 2.32, 4.6.4, tag 0x0112.
constexpr std::array kOrientations{1, 2, 4, 3, 5, 8, 6, 7};
constexpr int kTransposed = 4;

struct ProcessedDeleter
{
    void operator()(libraw_processed_image_t* image) const
    {
        LibRaw::dcraw_clear_mem(image);
    }
};

// LibRaw reports failures as numbers, but what it is built on may throw.
template <typename Step>
int resultOf(const Step& step)
{
    try {
        return step();
    } catch (const std::bad_alloc&) {
        return LIBRAW_UNSUFFICIENT_MEMORY;
    } catch (const std::exception&) {
        return LIBRAW_UNSPECIFIED_ERROR;
    }
}

template <typename Step>
bool succeeds(const Step& step)
{
    return resultOf(step) == LIBRAW_SUCCESS;
}

RKMediaErrorCode reasonOf(int result)
{
    switch (result) {
    case LIBRAW_UNSUFFICIENT_MEMORY: return RKMediaErrorCode::OutOfMemory;
    // It reads from memory, so that the bytes have come to their end.
    case LIBRAW_IO_ERROR: return RKMediaErrorCode::Truncated;
    case LIBRAW_TOO_BIG: return RKMediaErrorCode::TooLarge;
    default: return RKMediaErrorCode::Damaged;
    }
}

bool isAtLeast(const QSize& size, const QSize& other)
{
    return size.width() >= other.width() && size.height() >= other.height();
}

bool hasAspectOf(const QSize& size, const QSize& other)
{
    const double ratio
        = double(size.width()) * other.height() / (double(size.height()) * other.width());
    return std::abs(ratio - 1) <= kAspectTolerance;
}

int flip(const LibRaw& raw)
{
    // Some makers' files are noted in degrees.
    switch (raw.imgdata.sizes.flip) {
    case 90: return 6;
    case 180: return 3;
    case 270: return 5;
    default: return raw.imgdata.sizes.flip & 7;
    }
}

// How a preview of the size has to be turned upright; absent when it shows another part of the
// scene than the picture, for instance with black bars.
std::optional<RKImageOrientation> orientationOfPreview(
    const QSize& preview, const QSize& stored, int flip)
{
    if (hasAspectOf(preview, stored))
        return RKImageOrientation(kOrientations[size_t(flip)]);
    // Some cameras turn their previews.
    if ((flip & kTransposed) && hasAspectOf(preview, stored.transposed()))
        return RKImageOrientation(kOrientations[0]);
    return {};
}

/// A preview that may be read.
class Preview
{
public:
    Preview(QByteArrayView jpeg, const RKCancellation& cancellation)
        : m_cancellation(cancellation)
    {
        openJpeg(QByteArray::fromRawData(jpeg.data(), jpeg.size()));
    }

    Preview(const libraw_thumbnail_t& thumbnail, const RKCancellation& cancellation)
        : m_cancellation(cancellation)
    {
        if (!thumbnail.thumb)
            return;
        const QByteArray bytes
            = QByteArray::fromRawData(thumbnail.thumb, qsizetype(thumbnail.tlength));
        if (thumbnail.tformat == LIBRAW_THUMBNAIL_JPEG)
            openJpeg(bytes);
        else if (thumbnail.tformat == LIBRAW_THUMBNAIL_BITMAP)
            openBitmap(bytes, {thumbnail.twidth, thumbnail.theight});
    }

    /// Empty when there is no preview.
    QSize size() const
    {
        return m_size;
    }

    QImage read(const QSize& scaled)
    {
        if (!m_bitmap.isNull())
            return m_bitmap.scaled(scaled, Qt::IgnoreAspectRatio, Qt::SmoothTransformation);
        m_reader.setScaledSize(scaled);
        return m_reader.read();
    }

private:
    void openJpeg(const QByteArray& bytes)
    {
        m_device = RKStoppableBuffer::open(bytes, m_cancellation);
        m_reader.setDevice(m_device.get());
        m_reader.setFormat("jpg");
        // Some previews have an orientation of their own, which is right or not.
        m_reader.setAutoTransform(false);
        const QSize size = m_reader.size();
        if (!size.isEmpty() && RKPictureHeaderCheck::canHold(bytes, size))
            m_size = size;
    }

    void openBitmap(const QByteArray& bytes, const QSize& size)
    {
        constexpr qint64 kBytesPerPixel = 3;
        const qint64 bytesPerLine = kBytesPerPixel * size.width();
        if (size.isEmpty() || bytesPerLine * size.height() > bytes.size())
            return;
        const QImage rows(reinterpret_cast<const uchar*>(bytes.constData()),
            size.width(),
            size.height(),
            bytesPerLine,
            QImage::Format_RGB888);
        m_bitmap = rows.convertToFormat(QImage::Format_RGB32);
        m_size = m_bitmap.size();
    }

    const RKCancellation m_cancellation;
    std::unique_ptr<QIODevice> m_device;
    QImageReader m_reader;
    QImage m_bitmap;
    QSize m_size;
};

// The file of a scanner holds a finished picture with 8 bits (Nikon Coolscan IV).
bool isFinished(const LibRaw& raw)
{
    constexpr unsigned kWhite = 255;
    constexpr int kWideWhite = 65535;
    const libraw_colordata_t& color = raw.imgdata.color;
    return color.maximum == kWhite && color.curve[kWhite] == kWideWhite;
}

// LibRaw widens the samples to 16 bits, but not their white, so that nearly all would be white; and
// it would brighten the picture and give it a tone curve once more.
void keepFinishedPicture(libraw_output_params_t& params)
{
    params.user_sat = 65535;
    params.no_auto_bright = 1;
    params.gamm[0] = 1;
    params.gamm[1] = 1;
}

// The colours that a file says its finished pictures have. Invalid where they are those of sRGB.
QColorSpace statedColorSpace(const libraw_colordata_t& color)
{
    // ICC.1:2010, 7.2.5. Those of the input class are about the sensor.
    constexpr qsizetype kClass = 12;
    const QByteArray profile = QByteArray::fromRawData(static_cast<const char*>(color.profile),
        color.profile ? qsizetype(color.profile_length) : 0);
    if (profile.mid(kClass, 4) == "mntr")
        return QColorSpace::fromIccProfile(profile);
    // "Uncalibrated" is how LibRaw notes the marker "R03" of Adobe RGB pictures.
    const bool isAdobeRgb = color.ExifColorSpace == LIBRAW_COLORSPACE_AdobeRGB
        || color.ExifColorSpace == LIBRAW_COLORSPACE_Uncalibrated;
    return isAdobeRgb ? QColorSpace(QColorSpace::AdobeRgb) : QColorSpace();
}

// For a picture that was finished by the camera or its software. Its own profile comes first.
QImage inSrgb(const QImage& finished, const libraw_colordata_t& color)
{
    QImage image = finished.convertToFormat(QImage::Format_RGB32);
    if (!image.colorSpace().isValid())
        image.setColorSpace(statedColorSpace(color));
    if (image.colorSpace().isValid())
        image.convertToColorSpace(QColorSpace::SRgb);
    image.setColorSpace({});
    return image;
}

// The pixels copied, and so independent of LibRaw.
QImage toImage(const libraw_processed_image_t& processed)
{
    const bool isGray = processed.colors == 1;
    const QImage rows(processed.data,
        processed.width,
        processed.height,
        qsizetype(processed.width) * processed.colors,
        isGray ? QImage::Format_Grayscale8 : QImage::Format_RGB888);
    return rows.convertToFormat(QImage::Format_RGB32);
}

} // namespace

/// LibRaw's decoders look at its flag from time to time, and all of them read.
class RKRawPicture::StoppableStream : public LibRaw_buffer_datastream
{
public:
    StoppableStream(LibRaw& raw, const QByteArray& bytes, const RKCancellation& cancellation)
        // LibRaw doesn't write to the buffer.
        : LibRaw_buffer_datastream(const_cast<char*>(bytes.constData()), size_t(bytes.size()))
        , m_raw(raw)
        , m_cancellation(cancellation)
    {
    }

    int read(void* target, size_t size, size_t count) override
    {
        check();
        return LibRaw_buffer_datastream::read(target, size, count);
    }

    int get_char() override
    {
        constexpr uint kSeldom = 0x3FFF;
        if ((++m_count & kSeldom) == 0)
            check();
        return LibRaw_buffer_datastream::get_char();
    }

    /// LibRaw goes on while this returns 0.
    static int report(void* stream, LibRaw_progress, int, int)
    {
        return static_cast<StoppableStream*>(stream)->m_cancellation.isCancelled() ? 1 : 0;
    }

private:
    void check()
    {
        if (m_cancellation.isCancelled())
            m_raw.setCancelFlag();
    }

    LibRaw& m_raw;
    const RKCancellation m_cancellation;
    uint m_count = 0;
};

QString RKCodecVersions::libraw()
{
    return QString::fromLatin1(LibRaw::version());
}

bool RKRawPicture::isAvailable()
{
    return true;
}

RKRawPicture::RKRawPicture(const QByteArray& data, const RKCancellation& cancellation)
    : m_bytes(data)
    , m_cancellation(cancellation)
{
    open();
}

RKRawPicture::~RKRawPicture() = default;

void RKRawPicture::open()
{
    constexpr unsigned kSilent = LIBRAW_OPIONS_NO_DATAERR_CALLBACK
#if !LIBRAW_COMPILE_CHECK_VERSION_NOTLESS(0, 21)
        // Later ones have no such callback.
        | LIBRAW_OPIONS_NO_MEMERR_CALLBACK
#endif
        ;
    m_raw = std::make_unique<LibRaw>(kSilent);
    m_openResult = resultOf([&] { return openBytes(); });
    m_isOpen = m_openResult == LIBRAW_SUCCESS && !storedSize().isEmpty();
}

int RKRawPicture::openBytes()
{
    if (!m_cancellation.isPossible()) {
        // LibRaw doesn't write to the buffer.
        return m_raw->open_buffer(const_cast<char*>(m_bytes.constData()), size_t(m_bytes.size()));
    }
    m_stream = std::make_unique<StoppableStream>(*m_raw, m_bytes, m_cancellation);
    m_raw->set_progress_handler(StoppableStream::report, m_stream.get());
    return m_raw->open_datastream(m_stream.get());
}

bool RKRawPicture::isOpen() const
{
    return m_isOpen;
}

RKMediaErrorCode RKRawPicture::openError() const
{
    return reasonOf(m_openResult);
}

QSize RKRawPicture::storedSize() const
{
    // What adjust_sizes_info_only() says too; but after it, nothing can be developed.
    const libraw_image_sizes_t& sizes = m_raw->imgdata.sizes;
    const int diagonal = m_raw->is_fuji_rotated();
    if (diagonal > 0) {
        // The rows of these sensors run diagonally through a picture that stands on its corner.
        constexpr double kRoot = std::numbers::sqrt2;
        return {int(diagonal * kRoot), int((sizes.height - diagonal) * kRoot)};
    }
    const double aspect = sizes.pixel_aspect;
    const int width = aspect > 1.005 ? qRound(sizes.width * aspect) : sizes.width;
    const bool isTall = aspect > 0 && aspect < 0.995;
    return {width, isTall ? qRound(sizes.height / aspect) : sizes.height};
}

bool RKRawPicture::isTransposed() const
{
    return flip(*m_raw) & kTransposed;
}

QSize RKRawPicture::uprightSize() const
{
    return isTransposed() ? storedSize().transposed() : storedSize();
}

QImage RKRawPicture::preview(const QSize& upright)
{
    const auto scaled = [&](Preview&& preview) -> QImage {
        const auto orientation = preview.size().isEmpty()
            ? std::nullopt
            : orientationOfPreview(preview.size(), storedSize(), flip(*m_raw));
        if (!orientation)
            return {};
        const QSize size = isTransposingOrientation(*orientation) ? upright.transposed() : upright;
        if (!isAtLeast(preview.size(), size))
            return {};
        return RKImageRotator::rotate(
            inSrgb(preview.read(size), m_raw->imgdata.color), *orientation);
    };
    if (succeeds([&] { return m_raw->unpack_thumb(); }))
        return scaled(Preview(m_raw->imgdata.thumbnail, m_cancellation));

    // After a failure, LibRaw can't develop the file either. And it knows the largest preview only.
    if (m_cancellation.isCancelled())
        return {};
    open();
    const QList<QByteArrayView> others = RKRawDirectories(m_bytes).previews();
    for (const QByteArrayView jpeg : others) {
        const QImage image = m_isOpen ? scaled(Preview(jpeg, m_cancellation)) : QImage();
        if (!image.isNull())
            return image;
    }
    return {};
}

QImage RKRawPicture::developed(const QSize& upright, RKLoadContext& context)
{
    // Most of LibRaw's decoders leave what is missing black, or repeat what came before.
    if (m_cancellation.isCancelled())
        return {};
    if (isTruncated()) {
        qCWarning(rkLoad, "Raw file refused: it is truncated, some of its pixels are missing");
        context.fail(RKMediaErrorCode::Truncated);
        return {};
    }
    if (!isPlausible()) {
        context.fail(RKTruncation::reasonForClaim(m_bytes, storedSize()));
        return {};
    }
    if (isShortOfMemory()) {
        context.fail(RKMediaErrorCode::OutOfMemory);
        return {};
    }
    int result = resultOf([&] { return m_raw->unpack(); });
    if (result != LIBRAW_SUCCESS) {
        context.fail(reasonOf(result));
        return {};
    }
    const bool isShrunk = isAtLeast(uprightSize(), upright) && uprightSize() != upright;
    libraw_output_params_t& params = m_raw->imgdata.params;
    params.output_color = kSrgb;
    params.output_bps = 8;
    params.use_camera_wb = 1;
    params.half_size = isAtLeast(uprightSize() / 2, upright) ? 1 : 0;
    params.user_qual = isShrunk ? kBilinear : kAhd;
    const bool isScan = isFinished(*m_raw);
    if (isScan)
        keepFinishedPicture(params);

    std::unique_ptr<libraw_processed_image_t, ProcessedDeleter> processed;
    result = resultOf([&] {
        const int done = m_raw->dcraw_process();
        if (done == LIBRAW_SUCCESS)
            processed.reset(m_raw->dcraw_make_mem_image());
        return done;
    });
    const bool isBitmap = result == LIBRAW_SUCCESS && processed
        && processed->type == LIBRAW_IMAGE_BITMAP && processed->bits == 8
        && (processed->colors == 1 || processed->colors == 3);
    if (!isBitmap) {
        context.fail(reasonOf(result));
        return {};
    }
    const QImage image = toImage(*processed);
    return isScan ? inSrgb(image, m_raw->imgdata.color) : image;
}

bool RKRawPicture::isPlausible() const
{
    const libraw_image_sizes_t& sizes = m_raw->imgdata.sizes;
    const qint64 pixels
        = std::max(qint64(sizes.raw_width) * sizes.raw_height, qint64(sizes.width) * sizes.height);
    return pixels <= RKBitmapDecoderLibRaw::kMaxPixels && pixels <= kPixelsPerByte * m_bytes.size();
}

/// LibRaw's threads end the process where they can't be started or get no memory.
bool RKRawPicture::isShortOfMemory() const
{
    // The sensor's values, four channels of 16 bits, and two finished pictures.
    constexpr qint64 kBytesPerPixel = 20;
    // A usual stack, and the tiles of the demosaicing.
    constexpr qint64 kBytesPerThread = 24 << 20;
    const libraw_image_sizes_t& sizes = m_raw->imgdata.sizes;
    return RKMemory::isShortOf(kBytesPerPixel * sizes.raw_width * sizes.raw_height
        + kBytesPerThread * QThread::idealThreadCount());
}

bool RKRawPicture::isTruncated() const
{
    return RKRawDirectories(m_bytes).isTruncated(
        m_raw->get_internal_data_pointer()->unpacker_data.data_offset);
}
