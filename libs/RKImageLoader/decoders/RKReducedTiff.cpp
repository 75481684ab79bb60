#include "RKImageLoader/decoders/RKAreaReducer_p.h"
#include "RKImageLoader/decoders/RKReducedTiff_p.h"
#include "RKImageLoader/decoders/RKTiffFile_p.h"
#include "RKImageLoader/decoders/RKTiffRows_p.h"
#include "RKImageLoader/drawables/RKImageScaler_p.h"
#include "RKImageLoader/guards/RKTiffClaim_p.h"

#include <QRgba64>

#include <algorithm>
#include <cstring>
#include <vector>

namespace {

using Samples = std::vector<quint16>;

/// Of numbers from 0 to 1 in 16 bits, without the division.
quint16 product(quint16 left, quint16 right)
{
    const quint32 product = quint32(left) * right + 0x8000U;
    return quint16((product + (product >> 16)) >> 16);
}

/// The samples of a kind of picture.
class Layout
{
public:
    explicit Layout(const RKTiffFile& file)
        : m_count(file.number(TIFFTAG_SAMPLESPERPIXEL))
        , m_isDeep(file.number(TIFFTAG_BITSPERSAMPLE) == 16)
        , m_isMultiplied(file.extraSample() == EXTRASAMPLE_ASSOCALPHA)
        , m_isValid((m_count == 1 || m_count == 3 || m_count == 4)
              && (m_isDeep || file.number(TIFFTAG_BITSPERSAMPLE) == 8)
              && file.number(TIFFTAG_PLANARCONFIG) == PLANARCONFIG_CONTIG)
    {
    }

    /// Whether libtiff found what was claimed.
    bool isValid() const
    {
        return m_isValid;
    }

    int count() const
    {
        return m_count;
    }

    QImage::Format format() const
    {
        return hasAlpha() ? QImage::Format_ARGB32_Premultiplied
            : m_isDeep    ? QImage::Format_RGBX64
                          : QImage::Format_RGB32;
    }

    /// One row for each channel, with 16 bits, multiplied with the alpha.
    void split(const uchar* bytes, std::vector<Samples>& channels) const
    {
        const size_t count = channels.size();
        for (size_t i = 0; i < count; ++i) {
            quint16* const row = channels[i].data();
            const size_t width = channels[i].size();
            if (m_isDeep) {
                for (size_t x = 0; x < width; ++x)
                    std::memcpy(row + x, bytes + 2 * (x * count + i), 2);
            } else {
                for (size_t x = 0; x < width; ++x)
                    row[x] = quint16(bytes[x * count + i] * 257U);
            }
        }
        if (!hasAlpha() || m_isMultiplied)
            return;
        const Samples& alphas = channels.back();
        for (Samples& row : std::span(channels).first(channels.size() - 1)) {
            for (size_t x = 0; x < row.size(); ++x)
                row[x] = product(row[x], alphas[x]);
        }
    }

    void join(const std::vector<Samples>& channels, QImage& image, int y) const
    {
        const Samples& red = channels[0];
        const Samples& green = channels[isGray() ? 0 : 1];
        const Samples& blue = channels[isGray() ? 0 : 2];
        if (format() == QImage::Format_RGBX64) {
            auto* const row = reinterpret_cast<QRgba64*>(image.scanLine(y));
            for (size_t x = 0; x < red.size(); ++x)
                row[x] = qRgba64(red[x], green[x], blue[x], 65535);
            return;
        }
        const auto in8Bits = [](quint16 sample) { return (sample + 128) / 257; };
        auto* const row = reinterpret_cast<QRgb*>(image.scanLine(y));
        for (size_t x = 0; x < red.size(); ++x) {
            const int alpha = hasAlpha() ? in8Bits(channels[3][x]) : 255;
            // What says that it is multiplied need not be.
            row[x] = qRgba(std::min(in8Bits(red[x]), alpha),
                std::min(in8Bits(green[x]), alpha),
                std::min(in8Bits(blue[x]), alpha),
                alpha);
        }
    }

private:
    bool isGray() const
    {
        return m_count == 1;
    }

    bool hasAlpha() const
    {
        return m_count == 4;
    }

    int m_count;
    bool m_isDeep;
    bool m_isMultiplied;
    bool m_isValid;
};

QImage reduced(const RKTiffFile& file,
    const QSize& stored,
    const QSize& size,
    const RKCancellation& cancellation)
{
    const Layout layout(file);
    if (!layout.isValid())
        return {};
    RKTiffRows rows(file, stored.width(), layout.count());
    QImage image(size, layout.format());
    if (!rows.isValid() || image.isNull())
        return {};
    std::vector<RKAreaReducer> reducers(size_t(layout.count()), RKAreaReducer(stored, size));
    std::vector<Samples> channels(reducers.size(), Samples(size_t(stored.width())));
    std::vector<Samples> means(reducers.size(), Samples(size_t(size.width())));
    int y = 0;
    for (int i = 0; i < stored.height(); ++i) {
        const uchar* const row = cancellation.isCancelled() ? nullptr : rows.next();
        if (!row)
            return {};
        layout.split(row, channels);
        bool isComplete = false;
        for (size_t channel = 0; channel < channels.size(); ++channel)
            isComplete = reducers[channel].add(channels[channel], means[channel]);
        if (isComplete)
            layout.join(means, image, y++);
    }
    file.copyResolution(image);
    return image;
}

} // namespace

QImage RKReducedTiff::read(
    const QByteArray& data, const QSize& size, const RKCancellation& cancellation)
{
    const auto claim = RKTiffClaim::read(data);
    if (!claim || !claim->hasPlainRows || !RKImageScaler::isReduction(claim->size, size))
        return {};
    const RKTiffFile file(data, cancellation, RKTiffFile::Access::InPlace);
    return file.get() && file.hasSize(claim->size) ? reduced(file, claim->size, size, cancellation)
                                                   : QImage();
}
