#include "RKImageLoader/color/RKColorProfileConverterLookupTable_p.h"

#include <IccCmm.h>
#include <sys/mman.h>

#include <algorithm>
#include <cmath>

namespace {

constexpr size_t kColors = 0x1000000;
constexpr size_t kBytes = kColors * sizeof(quint32);
constexpr quint32 kColorMask = 0x00ffffff;
constexpr quint32 kAlphaMask = 0xff000000;
/// Marks a colour that has not been converted yet. A colour that becomes this one is converted each
/// time; that is accepted. Entries are stored XOR the marker, so that zeroed memory is a table
/// without colours.
constexpr quint32 kUnknown = 0x00f1f1f1;

/// Zeroed pages that take no memory until they are written to: a thumbnail needs few of them. Null
/// if there is no address space left.
quint32* emptyTable()
{
    void* const pages
        = ::mmap(nullptr, kBytes, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (pages == MAP_FAILED)
        return nullptr;
#ifdef MADV_NOHUGEPAGE
    // Some systems would hand out 2 MiB for every colour that lies apart.
    ::madvise(pages, kBytes, MADV_NOHUGEPAGE);
#endif
    return static_cast<quint32*>(pages);
}

/// What a picture keeps apart from its pixels. Not the colour space: those are in sRGB from now on,
/// and a writer would embed the old profile again.
void copyProperties(const QImage& from, QImage* to)
{
    to->setDotsPerMeterX(from.dotsPerMeterX());
    to->setDotsPerMeterY(from.dotsPerMeterY());
    to->setDevicePixelRatio(from.devicePixelRatio());
    to->setOffset(from.offset());
    const QStringList keys = from.textKeys();
    for (const QString& key : keys)
        to->setText(key, from.text(key));
}

unsigned int packed(float channel)
{
    // Pure black of an ink profile is no number, and stays black.
    if (!std::isfinite(channel))
        return 0;
    // Kept: no limit, the low eight bits count. The engine gives 0 to 1.
    return static_cast<unsigned int>(static_cast<int>(std::round(double(channel) * 255.0))) & 0xff;
}

} // namespace

RKColorProfileConverterLookupTable::RKColorProfileConverterLookupTable(CIccCmm*)
    : m_colors(emptyTable())
{
}

RKColorProfileConverterLookupTable::~RKColorProfileConverterLookupTable() = default;

bool RKColorProfileConverterLookupTable::isNull() const
{
    return !m_colors;
}

void RKColorProfileConverterLookupTable::free()
{
    if (m_colors)
        ::munmap(m_colors, kBytes);
    m_colors = nullptr;
}

QImage RKColorProfileConverterLookupTable::convertImage(const QImage& image, CIccCmm* cmm) const
{
    if (!m_colors)
        return image;
    QImage result(image.size(), image.format());
    if (result.isNull())
        return image;
    copyProperties(image, &result);
    const bool isCmyk = cmm->GetSourceSpace() == icSigCmykData;
    for (int y = 0; y < image.height(); ++y) {
        const auto* source = reinterpret_cast<const QRgb*>(image.constScanLine(y));
        auto* target = reinterpret_cast<QRgb*>(result.scanLine(y));
        for (int x = 0; x < image.width(); ++x) {
            const QRgb pixel = source[x];
            quint32& stored = m_colors[pixel & kColorMask];
            if (stored == 0)
                stored = convertColor(pixel, cmm, isCmyk) ^ kUnknown;
            target[x] = (pixel & kAlphaMask) | (stored ^ kUnknown);
        }
    }
    return result;
}

unsigned int RKColorProfileConverterLookupTable::convertColor(
    const unsigned int& pixel, CIccCmm* cmm, bool sourceIsCmyk) const
{
    // Engines want some room after the channels.
    float channels[16] = {float((pixel >> 16) & 255) / 255.0F,
        float((pixel >> 8) & 255) / 255.0F,
        float(pixel & 255) / 255.0F};
    if (sourceIsCmyk)
        rgbToCmyk(channels);
    cmm->Apply(channels, channels);
    return (packed(channels[0]) << 16) | (packed(channels[1]) << 8) | packed(channels[2]);
}

void RKColorProfileConverterLookupTable::rgbToCmyk(float* pixel) const
{
    const double black = 1.0 - double(std::max({pixel[0], pixel[1], pixel[2]}));
    for (int i = 0; i < 3; ++i)
        pixel[i] = float((1.0 - double(pixel[i]) - black) / (1.0 - black));
    pixel[3] = float(black);
}
