#pragma once

#include <QByteArray>
#include <QRgb>

#include <memory>
#include <optional>

/// Converts rows of pixels from a colour profile to sRGB with 8 bits a channel, for decoders that
/// hold the real colours of a file (inks, Lab, 16 bits) and must use its profile themselves.
///
/// Relative colorimetric with black point compensation, as editors show and export such files by
/// default: colours inside sRGB stay as they are, white becomes white, and black becomes black
/// instead of the dark grey that ink on paper is. The perceptual tables of printing profiles shift
/// all colours, each maker's in its own way, and matrix profiles have none.
///
/// Grey, Lab and RGB with 8 bits (multiples of 257) come out within 1 of 255 of the exact result.
/// RGB with 16 bits in matrix profiles gives what the picture with 8 bits would, except in linear
/// profiles, which are exact and slow. Inks and profiles with tables go through a fine grid, which
/// deviates by 0.2 in the mean.
///
/// Cheap to copy, thread-safe. Nothing is logged.
class RKPixelTransform
{
public:
    enum class Source
    {
        Gray,
        Rgb,
        Cmyk,
        Lab
    };

    /// nullptr if the bytes are not a usable profile, or are one of another colour space.
    static std::optional<RKPixelTransform> fromProfile(const QByteArray& icc, Source source);
    /// From CIE Lab relative to D50, which needs no profile. Nothing when memory is short.
    static std::optional<RKPixelTransform> fromLab();

    /// Converts `pixels` pixels of interleaved channels, 0 to 65535 each. Inks: 0 is none, 65535
    /// full cover. Lab as in ICC profiles of version 4 (ICC.1:2022, 6.3.4): L 0 to 100 as 0 to
    /// 65535, a and b -128 to 127 as 0 to 65535, so that 0 is 0x8080. The target is opaque.
    void convertRow(const quint16* source, QRgb* target, int pixels) const;

private:
    struct Engine;

    explicit RKPixelTransform(std::shared_ptr<const Engine> engine);

    std::shared_ptr<const Engine> m_engine;
};
