#include "RKImageLoader/color/RKPixelTransform_p.h"
#include "RKImageLoader/decoders/RKTiffPicture_p.h"
#include "RKImageLoader/guards/RKTiffClaim_p.h"
#include "RKImageLoader/media/RKLogCategories_p.h"

#include <QDebug>

#include <tiffio.h>

#include <algorithm>
#include <climits>
#include <cstring>
#include <limits>
#include <memory>
#include <vector>

namespace {

/// A file in memory, of which libtiff reads.
struct Memory
{
    const QByteArray& bytes;
    const RKCancellation& cancellation;
    qint64 position = 0;
};

Memory& memoryOf(thandle_t handle)
{
    return *static_cast<Memory*>(handle);
}

tmsize_t readBytes(thandle_t handle, void* target, tmsize_t size)
{
    Memory& memory = memoryOf(handle);
    if (memory.cancellation.isCancelled())
        return 0;
    const qint64 count
        = std::clamp<qint64>(memory.bytes.size() - memory.position, 0, std::max<qint64>(size, 0));
    if (count > 0)
        std::memcpy(target, memory.bytes.constData() + memory.position, size_t(count));
    memory.position += count;
    return count;
}

tmsize_t writeNothing(thandle_t, void*, tmsize_t)
{
    return 0;
}

toff_t seekTo(thandle_t handle, toff_t offset, int whence)
{
    Memory& memory = memoryOf(handle);
    const qint64 base = whence == SEEK_CUR ? memory.position
        : whence == SEEK_END               ? qint64(memory.bytes.size())
                                           : 0;
    // A distance backwards comes as a number that wraps around.
    const auto place = qint64(quint64(base) + offset);
    if (place < 0)
        return std::numeric_limits<toff_t>::max();
    memory.position = place;
    return toff_t(place);
}

int closeNothing(thandle_t)
{
    return 0;
}

toff_t sizeOf(thandle_t handle)
{
    return toff_t(memoryOf(handle).bytes.size());
}

struct TiffDeleter
{
    void operator()(TIFF* tiff) const
    {
        TIFFClose(tiff);
    }
};

using Tiff = std::unique_ptr<TIFF, TiffDeleter>;

Tiff open(Memory& memory)
{
    // "m" for not mapped into memory.
    return Tiff(TIFFClientOpen("picture",
        "rm",
        &memory,
        readBytes,
        writeNothing,
        seekTo,
        closeNothing,
        sizeOf,
        nullptr,
        nullptr));
}

void setResolution(TIFF* tiff, QImage& image)
{
    quint16 unit = RESUNIT_INCH;
    float x = 0;
    float y = 0;
    TIFFGetFieldDefaulted(tiff, TIFFTAG_RESOLUTIONUNIT, &unit);
    constexpr float kMost = 1'000'000;
    const bool isKnown = TIFFGetField(tiff, TIFFTAG_XRESOLUTION, &x) != 0
        && TIFFGetField(tiff, TIFFTAG_YRESOLUTION, &y) != 0 && unit != RESUNIT_NONE;
    if (!isKnown || !(x > 0 && x < kMost && y > 0 && y < kMost))
        return;
    const double perMeter = unit == RESUNIT_CENTIMETER ? 100 : 100 / 2.54;
    image.setDotsPerMeterX(qRound(double(x) * perMeter));
    image.setDotsPerMeterY(qRound(double(y) * perMeter));
}

quint16 numberOf(TIFF* tiff, ttag_t tag)
{
    quint16 number = 0;
    TIFFGetFieldDefaulted(tiff, tag, &number);
    return number;
}

bool hasSize(TIFF* tiff, const QSize& size)
{
    quint32 width = 0;
    quint32 height = 0;
    return TIFFGetField(tiff, TIFFTAG_IMAGEWIDTH, &width) != 0
        && TIFFGetField(tiff, TIFFTAG_IMAGELENGTH, &height) != 0 && width == quint32(size.width())
        && height == quint32(size.height());
}

/// What the first sample after the colours is.
quint16 extraSample(TIFF* tiff)
{
    quint16 count = 0;
    quint16* kinds = nullptr;
    TIFFGetFieldDefaulted(tiff, TIFFTAG_EXTRASAMPLES, &count, &kinds);
    return count > 0 && kinds ? kinds[0] : quint16(EXTRASAMPLE_UNSPECIFIED);
}

/// libtiff multiplies colours with what is alpha by its tag, and Qt takes any fourth sample for it.
QImage::Format colorFormat(TIFF* tiff)
{
    if (numberOf(tiff, TIFFTAG_SAMPLESPERPIXEL) <= 3)
        return QImage::Format_RGB32;
    return extraSample(tiff) == EXTRASAMPLE_UNSPECIFIED ? QImage::Format_ARGB32
                                                        : QImage::Format_ARGB32_Premultiplied;
}

QImage decodedColors(TIFF* tiff, const QSize& size)
{
    QImage image(size, colorFormat(tiff));
    if (image.isNull())
        return {};
    // As stored: whoever asked for the picture turns it.
    TIFFSetField(tiff, TIFFTAG_ORIENTATION, ORIENTATION_TOPLEFT);
    auto* const pixels = reinterpret_cast<quint32*>(image.bits());
    constexpr int kStopAtErrors = 1;
    if (TIFFReadRGBAImageOriented(tiff,
            quint32(size.width()),
            quint32(size.height()),
            pixels,
            ORIENTATION_TOPLEFT,
            kStopAtErrors)
        == 0)
        return {};
    const auto toRgb = [](quint32 pixel) {
        return qRgba(TIFFGetR(pixel), TIFFGetG(pixel), TIFFGetB(pixel), TIFFGetA(pixel));
    };
    std::transform(pixels, pixels + qint64(size.width()) * size.height(), pixels, toRgb);
    return image;
}

/// A row of samples of 8 or 16 bits.
class SampleRow
{
public:
    explicit SampleRow(TIFF* tiff)
        : m_tiff(tiff)
        , m_isDeep(numberOf(tiff, TIFFTAG_BITSPERSAMPLE) == 16)
        , m_bytes(size_t(std::max<tmsize_t>(TIFFScanlineSize(tiff), 0)))
    {
    }

    bool holds(qint64 samples) const
    {
        return qint64(m_bytes.size()) >= samples * (m_isDeep ? 2 : 1);
    }

    bool read(int y, int plane)
    {
        return TIFFReadScanline(m_tiff, m_bytes.data(), quint32(y), quint16(plane)) >= 0;
    }

    /// In 8 bits.
    QRgb at(qint64 index) const
    {
        return (deepAt(index) * 255U + 32767U) / 65535U;
    }

    /// In 16 bits.
    quint16 deepAt(qint64 index) const
    {
        if (!m_isDeep)
            return quint16(m_bytes[size_t(index)] * 257U);
        quint16 deep = 0;
        std::memcpy(&deep, &m_bytes[2 * size_t(index)], sizeof deep);
        return deep;
    }

    /// a or b of Lab as RKPixelTransform takes it. They are stored with a sign (TIFF 6.0, section
    /// 23); 16 bits hold 256 steps for each of the 8-bit ones.
    quint16 chromaAt(qint64 index) const
    {
        if (!m_isDeep)
            return quint16(deepAt(index) ^ 0x8080U);
        const quint32 chroma = deepAt(index) ^ 0x8000U;
        return quint16(std::min(chroma + (chroma >> CHAR_BIT), 65535U));
    }

private:
    TIFF* m_tiff;
    bool m_isDeep;
    std::vector<uchar> m_bytes;
};

/// The first samples of each pixel, in 8 bits, from the lowest byte on. Null where they are damaged
/// or not what the count says.
QImage samples(TIFF* tiff, const QSize& size, int count)
{
    const bool hasPlanes = numberOf(tiff, TIFFTAG_PLANARCONFIG) == PLANARCONFIG_SEPARATE;
    const int stored = numberOf(tiff, TIFFTAG_SAMPLESPERPIXEL);
    if (stored < count || !hasSize(tiff, size))
        return {};
    const int stride = hasPlanes ? 1 : stored;
    const int perPlane = hasPlanes ? 1 : count;
    SampleRow row(tiff);
    QImage image(size, QImage::Format_ARGB32);
    if (image.isNull() || !row.holds(qint64(size.width()) * stride))
        return {};
    image.fill(0);
    // Rows of a plane have to be read one after the other.
    for (int plane = 0; plane < count / perPlane; ++plane) {
        for (int y = 0; y < size.height(); ++y) {
            if (!row.read(y, plane))
                return {};
            auto* const pixels = reinterpret_cast<QRgb*>(image.scanLine(y));
            for (int x = 0; x < size.width(); ++x) {
                for (int i = 0; i < perPlane; ++i)
                    pixels[x] |= row.at(qint64(x) * stride + i) << CHAR_BIT * (plane + i);
            }
        }
    }
    return image;
}

template <typename Convert>
void convertPixels(QImage& image, const Convert& convert)
{
    for (int y = 0; y < image.height(); ++y) {
        auto* const row = reinterpret_cast<QRgb*>(image.scanLine(y));
        std::transform(row, row + image.width(), row, convert);
    }
}

QImage decodedGray(TIFF* tiff, const QSize& size)
{
    const bool isMultiplied = extraSample(tiff) == EXTRASAMPLE_ASSOCALPHA;
    const bool isInverted = numberOf(tiff, TIFFTAG_PHOTOMETRIC) == PHOTOMETRIC_MINISWHITE;
    QImage image = samples(tiff, size, 2);
    convertPixels(image, [=](QRgb pixel) {
        const QRgb alpha = pixel >> CHAR_BIT & 0xff;
        const QRgb gray = isInverted ? 255 - (pixel & 0xff) : pixel & 0xff;
        const int shown = int(isMultiplied ? std::min(gray, alpha) : gray);
        return qRgba(shown, shown, shown, int(alpha));
    });
    if (isMultiplied)
        image.reinterpretAsFormat(QImage::Format_ARGB32_Premultiplied);
    return image;
}

/// As libtiff does with 8 bits.
QImage decodedInks(TIFF* tiff, const QSize& size)
{
    QImage image = samples(tiff, size, 4);
    convertPixels(image, [](QRgb inks) {
        const QRgb white = 255 - (inks >> 3 * CHAR_BIT);
        const auto level
            = [=](int ink) { return int(white * (255 - (inks >> CHAR_BIT * ink & 0xff)) / 255); };
        return qRgb(level(0), level(1), level(2));
    });
    image.reinterpretAsFormat(QImage::Format_RGB32);
    return image;
}

/// Lab is relative to D50. libtiff takes its white for that of sRGB, which makes all colours
/// yellow.
QImage decodedLab(TIFF* tiff, const QSize& size)
{
    constexpr int kChannels = 3;
    const int stored = numberOf(tiff, TIFFTAG_SAMPLESPERPIXEL);
    const auto transform = RKPixelTransform::fromLab();
    SampleRow row(tiff);
    QImage image(size, QImage::Format_RGB32);
    if (!transform || image.isNull() || stored < kChannels || !hasSize(tiff, size)
        || !row.holds(qint64(size.width()) * stored))
        return {};
    std::vector<quint16> lab(size_t(size.width()) * kChannels);
    for (int y = 0; y < size.height(); ++y) {
        if (!row.read(y, 0))
            return {};
        for (int x = 0; x < size.width(); ++x) {
            const qint64 from = qint64(x) * stored;
            quint16* const to = &lab[size_t(x) * kChannels];
            to[0] = row.deepAt(from);
            to[1] = row.chromaAt(from + 1);
            to[2] = row.chromaAt(from + 2);
        }
        transform->convertRow(lab.data(), reinterpret_cast<QRgb*>(image.scanLine(y)), size.width());
    }
    return image;
}

QImage decoded(TIFF* tiff, const RKTiffClaim& claim)
{
    using Samples = RKTiffClaim::Samples;
    QImage image = claim.samples == Samples::GrayAndAlpha ? decodedGray(tiff, claim.size)
        : claim.samples == Samples::DeepInks              ? decodedInks(tiff, claim.size)
        : claim.samples == Samples::Lab                   ? decodedLab(tiff, claim.size)
                                                          : decodedColors(tiff, claim.size);
    setResolution(tiff, image);
    return image;
}

} // namespace

std::optional<QImage> RKTiffPicture::read(
    const QByteArray& data, const QSize& size, const RKCancellation& cancellation)
{
    const auto claim = RKTiffClaim::read(data);
    if (!claim || claim->samples == RKTiffClaim::Samples::Common || claim->size != size)
        return {};
    Memory memory{data, cancellation};
    const Tiff tiff = open(memory);
    QImage image = tiff ? decoded(tiff.get(), *claim) : QImage();
    if (image.isNull() && !cancellation.isCancelled())
        qCWarning(rkLoad, "Picture refused: its samples are damaged");
    return image;
}
