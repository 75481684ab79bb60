#include "RKImageLoader/color/RKColorProfileConverterLookupTable_p.h"
#include "RKImageLoader/color/RKEightBits_p.h"
#include "RKImageLoader/color/RKRowConversion_p.h"

#include <IccCmm.h>
#include <sys/mman.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <vector>

namespace {

constexpr size_t kColors = 0x1000000;
constexpr size_t kBytes = kColors * sizeof(quint32);
constexpr size_t kRoom = 16;
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

/// As many pixels as are looked up before those that were not found are converted together.
constexpr int kBatch = 1024;

/// Numbers the different colours of a batch.
class Numbering
{
public:
    explicit Numbering(std::vector<quint32>& colors)
        : m_colors(colors)
    {
        m_colors.clear();
    }

    /// The index of a colour, which is appended if it is a new one.
    quint16 indexOf(quint32 color)
    {
        // Multiplicative hashing (Knuth, The Art of Computer Programming, 6.4).
        size_t place = (color * 0x9e3779b1U) >> (32 - kBits);
        while (m_numbers[place] != 0 && m_colors[m_numbers[place] - 1] != color)
            place = (place + 1) % kPlaces;
        if (m_numbers[place] == 0) {
            m_colors.push_back(color);
            m_numbers[place] = quint16(m_colors.size());
        }
        return quint16(m_numbers[place] - 1);
    }

private:
    static constexpr int kBits = 11;
    static constexpr size_t kPlaces = 1U << kBits;
    static_assert(kPlaces > kBatch);

    std::vector<quint32>& m_colors;
    // Of the colours, from 1; 0 where a place is free.
    std::array<quint16, kPlaces> m_numbers = {};
};

/// Entries are read and written by several threads at once. Whoever finds one empty computes the
/// same colour, and no order is needed between them.
std::atomic_ref<quint32> entry(quint32* colors, QRgb pixel)
{
    return std::atomic_ref<quint32>(colors[pixel & kColorMask]);
}

} // namespace

struct RKColorProfileConverterLookupTable::Batch
{
    const CIccCmm& cmm;
    const bool isCmyk;
    std::vector<quint32> colors;
    /// What they become.
    std::vector<quint32> results;
    std::vector<float> channels;
};

RKColorProfileConverterLookupTable::RKColorProfileConverterLookupTable(CIccCmm*)
    : m_colors(emptyTable(), [](quint32* pages) {
        if (pages)
            ::munmap(pages, kBytes);
    })
{
}

RKColorProfileConverterLookupTable::~RKColorProfileConverterLookupTable() = default;

bool RKColorProfileConverterLookupTable::isNull() const
{
    return !m_colors;
}

QImage RKColorProfileConverterLookupTable::convertImage(
    QImage image, CIccCmm* cmm, const RKCancellation& cancellation) const
{
    if (!m_colors)
        return image;
    Batch batch{*cmm, cmm->GetSourceSpace() == icSigCmykData, {}, {}, {}};
    return RKRowConversion::converted(
        std::move(image),
        [&](const QRgb* source, QRgb* target, int pixels) {
            for (int done = 0; done < pixels; done += kBatch)
                convertPixels(source + done, target + done, std::min(kBatch, pixels - done), batch);
        },
        cancellation);
}

void RKColorProfileConverterLookupTable::convertPixels(
    const QRgb* source, QRgb* target, int pixels, Batch& batch) const
{
    // Written as far as they are read.
    std::array<quint16, kBatch> unknown; // NOLINT(cppcoreguidelines-pro-type-member-init)
    std::array<quint16, kBatch> indices; // NOLINT(cppcoreguidelines-pro-type-member-init)
    size_t unknownCount = 0;
    for (int x = 0; x < pixels; ++x) {
        const QRgb pixel = source[x];
        const quint32 stored = entry(m_colors.get(), pixel).load(std::memory_order_relaxed);
        target[x] = stored ? (pixel & kAlphaMask) | (stored ^ kUnknown) : pixel;
        // Without a branch, so that many entries are on their way from memory at once.
        unknown[unknownCount] = quint16(x);
        unknownCount += stored == 0;
    }
    if (unknownCount == 0)
        return;

    Numbering numbering(batch.colors);
    for (size_t i = 0; i < unknownCount; ++i)
        indices[i] = numbering.indexOf(target[unknown[i]] & kColorMask);
    convertColors(batch);
    for (size_t i = 0; i < batch.colors.size(); ++i) {
        entry(m_colors.get(), batch.colors[i])
            .store(batch.results[i] ^ kUnknown, std::memory_order_relaxed);
    }
    for (size_t i = 0; i < unknownCount; ++i) {
        QRgb& pixel = target[unknown[i]];
        pixel = (pixel & kAlphaMask) | batch.results[indices[i]];
    }
}

void RKColorProfileConverterLookupTable::convertColors(Batch& batch) const
{
    const size_t perColor = batch.isCmyk ? 4 : 3;
    // Engines want some room after the channels.
    batch.channels.resize(batch.colors.size() * perColor + kRoom);
    for (size_t i = 0; i < batch.colors.size(); ++i) {
        float* const channels = &batch.channels[i * perColor];
        const quint32 color = batch.colors[i];
        for (int channel = 0; channel < 3; ++channel)
            channels[channel] = float((color >> (16 - 8 * channel)) & 255) / 255.0F;
        if (batch.isCmyk)
            rgbToCmyk(channels);
    }
    batch.cmm.Apply(
        batch.channels.data(), batch.channels.data(), icUInt32Number(batch.colors.size()));
    batch.results.resize(batch.colors.size());
    for (size_t i = 0; i < batch.results.size(); ++i)
        batch.results[i] = RKEightBits::rounded(&batch.channels[i * 3]);
}

unsigned int RKColorProfileConverterLookupTable::convertColor(
    const unsigned int& pixel, CIccCmm* cmm, bool sourceIsCmyk) const
{
    Batch batch{*cmm, sourceIsCmyk, {pixel}, {}, {}};
    convertColors(batch);
    return batch.results.front();
}

void RKColorProfileConverterLookupTable::rgbToCmyk(float* pixel) const
{
    const double black = 1.0 - double(std::max({pixel[0], pixel[1], pixel[2]}));
    for (int i = 0; i < 3; ++i)
        pixel[i] = float((1.0 - double(pixel[i]) - black) / (1.0 - black));
    pixel[3] = float(black);
}
