#include "RKImageLoader/decoders/RKPlanarTiff_p.h"
#include "RKImageLoader/guards/RKTiffClaim_p.h"
#include "RKImageLoader/media/RKLogCategories_p.h"

#include <QDebug>

#include <tiffio.h>

#include <algorithm>
#include <cstring>
#include <limits>
#include <memory>

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

/// libtiff multiplies colours with their alpha.
QImage decoded(TIFF* tiff, const QSize& size)
{
    quint16 samples = 0;
    TIFFGetField(tiff, TIFFTAG_SAMPLESPERPIXEL, &samples);
    QImage image(size, samples > 3 ? QImage::Format_ARGB32_Premultiplied : QImage::Format_RGB32);
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
    setResolution(tiff, image);
    return image;
}

} // namespace

std::optional<QImage> RKPlanarTiff::read(
    const QByteArray& data, const QSize& size, const RKCancellation& cancellation)
{
    const auto claim = RKTiffClaim::read(data);
    if (!claim || !claim->hasDeepPlanes || claim->size != size)
        return {};
    Memory memory{data, cancellation};
    const Tiff tiff = open(memory);
    QImage image = tiff ? decoded(tiff.get(), size) : QImage();
    if (image.isNull() && !cancellation.isCancelled())
        qCWarning(rkLoad, "Picture refused: its planes are damaged");
    return image;
}
