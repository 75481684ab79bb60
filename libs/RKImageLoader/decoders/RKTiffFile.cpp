#include "RKImageLoader/decoders/RKTiffFile_p.h"

#include <QImage>

#include <algorithm>
#include <cstring>
#include <limits>

struct RKTiffFile::Memory
{
    static Memory& of(thandle_t handle)
    {
        return *static_cast<Memory*>(handle);
    }

    static tmsize_t read(thandle_t handle, void* target, tmsize_t size)
    {
        Memory& memory = of(handle);
        if (memory.cancellation.isCancelled())
            return 0;
        const qint64 count = std::clamp<qint64>(
            memory.bytes.size() - memory.position, 0, std::max<qint64>(size, 0));
        if (count > 0)
            std::memcpy(target, memory.bytes.constData() + memory.position, size_t(count));
        memory.position += count;
        return count;
    }

    static tmsize_t writeNothing(thandle_t, void*, tmsize_t)
    {
        return 0;
    }

    static toff_t seek(thandle_t handle, toff_t offset, int whence)
    {
        Memory& memory = of(handle);
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

    static int closeNothing(thandle_t)
    {
        return 0;
    }

    static toff_t size(thandle_t handle)
    {
        return toff_t(of(handle).bytes.size());
    }

    static int map(thandle_t handle, void** begin, toff_t* size)
    {
        // libtiff only reads there.
        *begin = const_cast<char*>(of(handle).bytes.constData());
        *size = Memory::size(handle);
        return 1;
    }

    static void unmapNothing(thandle_t, void*, toff_t)
    {
    }

    const QByteArray& bytes;
    const RKCancellation& cancellation;
    qint64 position = 0;
};

void RKTiffFile::Closer::operator()(TIFF* tiff) const
{
    TIFFClose(tiff);
}

RKTiffFile::RKTiffFile(const QByteArray& bytes, const RKCancellation& cancellation, Access access)
    : m_memory(new Memory{bytes, cancellation})
    // "m" for not mapped into memory.
    , m_tiff(TIFFClientOpen("picture",
          access == Access::Copied ? "rm" : "r",
          m_memory.get(),
          Memory::read,
          Memory::writeNothing,
          Memory::seek,
          Memory::closeNothing,
          Memory::size,
          Memory::map,
          Memory::unmapNothing))
{
}

RKTiffFile::~RKTiffFile() = default;

TIFF* RKTiffFile::get() const
{
    return m_tiff.get();
}

quint16 RKTiffFile::number(ttag_t tag) const
{
    quint16 number = 0;
    TIFFGetFieldDefaulted(get(), tag, &number);
    return number;
}

bool RKTiffFile::hasSize(const QSize& size) const
{
    quint32 width = 0;
    quint32 height = 0;
    return TIFFGetField(get(), TIFFTAG_IMAGEWIDTH, &width) != 0
        && TIFFGetField(get(), TIFFTAG_IMAGELENGTH, &height) != 0 && width == quint32(size.width())
        && height == quint32(size.height());
}

quint16 RKTiffFile::extraSample() const
{
    quint16 count = 0;
    quint16* kinds = nullptr;
    TIFFGetFieldDefaulted(get(), TIFFTAG_EXTRASAMPLES, &count, &kinds);
    return count > 0 && kinds ? kinds[0] : quint16(EXTRASAMPLE_UNSPECIFIED);
}

void RKTiffFile::copyResolution(QImage& image) const
{
    float x = 0;
    float y = 0;
    const quint16 unit = number(TIFFTAG_RESOLUTIONUNIT);
    constexpr float kMost = 1'000'000;
    const bool isKnown = TIFFGetField(get(), TIFFTAG_XRESOLUTION, &x) != 0
        && TIFFGetField(get(), TIFFTAG_YRESOLUTION, &y) != 0 && unit != RESUNIT_NONE;
    if (!isKnown || !(x > 0 && x < kMost && y > 0 && y < kMost))
        return;
    const double perMeter = unit == RESUNIT_CENTIMETER ? 100 : 100 / 2.54;
    image.setDotsPerMeterX(qRound(double(x) * perMeter));
    image.setDotsPerMeterY(qRound(double(y) * perMeter));
}
