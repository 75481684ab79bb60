#include "RKImageLoader/color/RKPixelTransform_p.h"
#include "RKImageLoader/decoders/RKTiffFile_p.h"
#include "RKImageLoader/decoders/RKTiffPicture_p.h"
#include "RKImageLoader/decoders/RKTiffRows_p.h"
#include "RKImageLoader/guards/RKTiffClaim_p.h"
#include "RKImageLoader/media/RKLogCategories_p.h"

#include <QDebug>

#include <algorithm>
#include <climits>
#include <cstring>
#include <vector>

namespace {

/// libtiff multiplies colours with what is alpha by its tag, and Qt takes any fourth sample for it.
QImage::Format colorFormat(const RKTiffFile& tiff)
{
    if (tiff.number(TIFFTAG_SAMPLESPERPIXEL) <= 3)
        return QImage::Format_RGB32;
    return tiff.extraSample() == EXTRASAMPLE_UNSPECIFIED ? QImage::Format_ARGB32
                                                         : QImage::Format_ARGB32_Premultiplied;
}

QImage decodedColors(const RKTiffFile& tiff, const QSize& size)
{
    QImage image(size, colorFormat(tiff));
    if (image.isNull())
        return {};
    // As stored: whoever asked for the picture turns it.
    TIFFSetField(tiff.get(), TIFFTAG_ORIENTATION, ORIENTATION_TOPLEFT);
    auto* const pixels = reinterpret_cast<quint32*>(image.bits());
    constexpr int kStopAtErrors = 1;
    if (TIFFReadRGBAImageOriented(tiff.get(),
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

/// The samples of a row, of 8 or 16 bits.
class SampleRow
{
public:
    SampleRow(const RKTiffFile& tiff, const uchar* bytes)
        : m_bytes(bytes)
        , m_isDeep(tiff.number(TIFFTAG_BITSPERSAMPLE) == 16)
    {
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
            return quint16(m_bytes[index] * 257U);
        quint16 deep = 0;
        std::memcpy(&deep, m_bytes + 2 * index, sizeof deep);
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
    const uchar* m_bytes;
    bool m_isDeep;
};

/// The first samples of each pixel, in 8 bits, from the lowest byte on. Null where they are damaged
/// or not what the count says.
QImage samples(const RKTiffFile& tiff, const QSize& size, int count)
{
    const bool hasPlanes = tiff.number(TIFFTAG_PLANARCONFIG) == PLANARCONFIG_SEPARATE;
    const int stored = tiff.number(TIFFTAG_SAMPLESPERPIXEL);
    if (stored < count || !tiff.hasSize(size))
        return {};
    const int stride = hasPlanes ? 1 : stored;
    const int perPlane = hasPlanes ? 1 : count;
    QImage image(size, QImage::Format_ARGB32);
    if (image.isNull())
        return {};
    image.fill(0);
    for (int plane = 0; plane < count / perPlane; ++plane) {
        RKTiffRows rows(tiff, size.width(), stride, plane);
        for (int y = 0; y < size.height(); ++y) {
            const uchar* const bytes = rows.isValid() ? rows.next() : nullptr;
            if (!bytes)
                return {};
            const SampleRow row(tiff, bytes);
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

QImage decodedGray(const RKTiffFile& tiff, const QSize& size)
{
    const bool isMultiplied = tiff.extraSample() == EXTRASAMPLE_ASSOCALPHA;
    const bool isInverted = tiff.number(TIFFTAG_PHOTOMETRIC) == PHOTOMETRIC_MINISWHITE;
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
QImage decodedInks(const RKTiffFile& tiff, const QSize& size)
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
QImage decodedLab(const RKTiffFile& tiff, const QSize& size)
{
    constexpr int kChannels = 3;
    const int stored = tiff.number(TIFFTAG_SAMPLESPERPIXEL);
    const auto transform = RKPixelTransform::fromLab();
    RKTiffRows rows(tiff, size.width(), stored);
    QImage image(size, QImage::Format_RGB32);
    if (!transform || image.isNull() || stored < kChannels || !tiff.hasSize(size)
        || !rows.isValid())
        return {};
    std::vector<quint16> lab(size_t(size.width()) * kChannels);
    for (int y = 0; y < size.height(); ++y) {
        const uchar* const bytes = rows.next();
        if (!bytes)
            return {};
        const SampleRow row(tiff, bytes);
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

QImage decoded(const RKTiffFile& tiff, const RKTiffClaim& claim)
{
    using Samples = RKTiffClaim::Samples;
    QImage image = claim.samples == Samples::GrayAndAlpha ? decodedGray(tiff, claim.size)
        : claim.samples == Samples::DeepInks              ? decodedInks(tiff, claim.size)
        : claim.samples == Samples::Lab                   ? decodedLab(tiff, claim.size)
                                                          : decodedColors(tiff, claim.size);
    tiff.copyResolution(image);
    return image;
}

} // namespace

std::optional<QImage> RKTiffPicture::read(
    const QByteArray& data, const QSize& size, const RKCancellation& cancellation)
{
    const auto claim = RKTiffClaim::read(data);
    if (!claim || claim->samples == RKTiffClaim::Samples::Common || claim->size != size)
        return {};
    const RKTiffFile tiff(data, cancellation, RKTiffFile::Access::Copied);
    QImage image = tiff.get() ? decoded(tiff, *claim) : QImage();
    if (image.isNull() && !cancellation.isCancelled())
        qCWarning(rkLoad, "Picture refused: its samples are damaged");
    return image;
}
