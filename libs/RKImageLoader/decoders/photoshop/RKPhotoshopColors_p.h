#pragma once

#include "RKImageLoader/color/RKPixelTransform_p.h"
#include "RKImageLoader/decoders/photoshop/RKPhotoshopFile_p.h"

#include <QRgb>

#include <optional>
#include <span>
#include <vector>

/// Turns the samples of a Photoshop file's merged picture into sRGB, through the file's profile
/// where it has one that fits. Without one, grey and RGB are sRGB (with 32 bits, linear), and inks
/// are converted by the formula of the CSS Color Module Level 5 for device-cmyk(),
/// red = 1 - min(1, cyan * (1 - black) + black) and so on: far from any press, but what everybody
/// shows.
class RKPhotoshopColors
{
public:
    using Row = std::vector<quint16>;

    explicit RKPhotoshopColors(const RKPhotoshopFile& file);

    /// False when memory is short.
    bool isValid() const;

    /// Converts as many pixels as the target has, from one row a channel, the one of the opacity
    /// last. Changes the rows.
    void convert(std::vector<Row>& rows, std::span<QRgb> target);

private:
    void interleave(const std::vector<Row>& rows, size_t pixels);
    void convertPlainly(std::span<QRgb> target) const;
    int toEightBit(quint16 sample) const;

    RKPixelTransform::Source m_source;
    bool m_isLinear;
    bool m_hasOpacity;
    std::optional<RKPixelTransform> m_transform;
    /// The row at hand, all channels of a pixel together.
    Row m_pixels;
};
