#include "RKImageLoader/decoders/photoshop/RKPhotoshopColors_p.h"

#include <algorithm>
#include <cmath>

namespace {

using Mode = RKPhotoshopFile::Mode;
using Row = RKPhotoshopColors::Row;
using Source = RKPixelTransform::Source;

constexpr quint16 kMax = 65535;
constexpr int kMaxEightBit = 255;
// a and b of 0.
constexpr quint16 kNeutral = 0x8080;

Source sourceOf(const RKPhotoshopFile& file)
{
    switch (file.mode) {
    case Mode::Indexed:
    case Mode::Rgb: return Source::Rgb;
    case Mode::Cmyk: return Source::Cmyk;
    case Mode::Lab: return Source::Lab;
    case Mode::Multichannel: return file.colorChannels() > 1 ? Source::Cmyk : Source::Gray;
    case Mode::Bitmap:
    case Mode::Gray:
    case Mode::Duotone: break;
    }
    return Source::Gray;
}

size_t channelsOf(Source source)
{
    switch (source) {
    case Source::Gray: return 1;
    case Source::Cmyk: return 4;
    case Source::Rgb:
    case Source::Lab: break;
    }
    return 3;
}

std::optional<RKPixelTransform> transformOf(const RKPhotoshopFile& file, Source source)
{
    if (source == Source::Lab)
        return RKPixelTransform::fromLab();
    if (file.profile.isEmpty())
        return {};
    return RKPixelTransform::fromProfile(file.profile.toByteArray(), source);
}

// Photoshop lays the merged picture on white, with its opacity still beside it. This takes the
// white away again, so that the picture can be laid on anything.
void removeMatte(Row& row, const Row& opacity, quint16 white)
{
    for (size_t i = 0; i < row.size(); ++i) {
        const quint16 alpha = opacity[i];
        if (alpha == 0 || alpha == kMax)
            continue;
        const qint64 difference = (qint64(row[i]) - white) * kMax / alpha;
        row[i] = quint16(std::clamp<qint64>(white + difference, 0, kMax));
    }
}

int rounded(quint16 sample)
{
    return (sample + 128) / 257;
}

// IEC 61966-2-1, for all samples of 16 bits.
const std::vector<uchar>& gammaTable()
{
    static const std::vector<uchar> table = [] {
        std::vector<uchar> values(kMax + 1);
        for (size_t i = 0; i < values.size(); ++i) {
            const double linear = double(i) / kMax;
            const double encoded
                = linear <= 0.0031308 ? 12.92 * linear : 1.055 * std::pow(linear, 1 / 2.4) - 0.055;
            values[i] = uchar(std::lround(encoded * kMaxEightBit));
        }
        return values;
    }();
    return table;
}

} // namespace

RKPhotoshopColors::RKPhotoshopColors(const RKPhotoshopFile& file)
    : m_source(sourceOf(file))
    , m_isLinear(file.depth == 32)
    , m_hasOpacity(file.hasOpacity)
    , m_transform(transformOf(file, m_source))
{
}

bool RKPhotoshopColors::isValid() const
{
    return m_transform || m_source != Source::Lab;
}

void RKPhotoshopColors::convert(std::vector<Row>& rows, std::span<QRgb> target)
{
    if (m_hasOpacity) {
        for (size_t i = 0; i + 1 < rows.size(); ++i)
            removeMatte(rows[i], rows.back(), m_source == Source::Lab && i > 0 ? kNeutral : kMax);
    }
    interleave(rows, target.size());
    if (m_transform)
        m_transform->convertRow(m_pixels.data(), target.data(), int(target.size()));
    else
        convertPlainly(target);
    if (m_hasOpacity) {
        for (size_t i = 0; i < target.size(); ++i)
            target[i] = (target[i] & RGB_MASK) | QRgb(rounded(rows.back()[i])) << 24;
    }
}

void RKPhotoshopColors::interleave(const std::vector<Row>& rows, size_t pixels)
{
    const size_t count = channelsOf(m_source);
    // Inks are stored as what they leave of the paper.
    const quint16 inversion = m_source == Source::Cmyk ? kMax : 0;
    // A picture of three inks has no black.
    m_pixels.assign(pixels * count, 0);
    const size_t stored = std::min(count, rows.size() - (m_hasOpacity ? 1 : 0));
    for (size_t channel = 0; channel < stored; ++channel) {
        const quint16* const from = rows[channel].data();
        quint16* const to = m_pixels.data() + channel;
        for (size_t i = 0; i < pixels; ++i)
            to[i * count] = from[i] ^ inversion;
    }
}

void RKPhotoshopColors::convertPlainly(std::span<QRgb> target) const
{
    const size_t count = channelsOf(m_source);
    for (size_t i = 0; i < target.size(); ++i) {
        const quint16* const pixel = m_pixels.data() + i * count;
        if (m_source == Source::Cmyk) {
            const auto left = [&](size_t ink) {
                const quint32 light = quint32(kMax - pixel[ink]) * quint32(kMax - pixel[3]);
                return toEightBit(quint16(light / kMax));
            };
            target[i] = qRgb(left(0), left(1), left(2));
        } else {
            const auto sample = [&](size_t channel) { return toEightBit(pixel[channel % count]); };
            target[i] = qRgb(sample(0), sample(1), sample(2));
        }
    }
}

int RKPhotoshopColors::toEightBit(quint16 sample) const
{
    return m_isLinear ? gammaTable()[sample] : rounded(sample);
}
