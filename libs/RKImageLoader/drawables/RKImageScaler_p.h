#pragma once

#include <QImage>
#include <QSize>
#include <QSizeF>

/// Scales images with the bilinear and the bicubic formula. Stateless and thread-safe.
///
/// The results are those of the plain formulas in double arithmetic, to the bit, on every machine;
/// therefore nothing may be fused, reordered or computed in fixed point here.
class RKImageScaler
{
public:
    RKImageScaler() = delete;

    /// A picture of the size fits into 4 GiB at 4 bytes per pixel and has no empty side. Larger
    /// ones are requests gone wrong; painters and codecs, too, count bytes in 32 bits.
    static bool isFeasible(const QSizeF& size);

    /// No side gets longer, and one gets shorter.
    static bool isReduction(const QSize& from, const QSize& to);

    /// The image in the size, in the image's format. Null for a null image, a size that isn't
    /// feasible, and when there is too little memory; so is bicubic().
    static QImage bilinear(const QImage& image, const QSize& size);

    /// The image in the size, in ARGB32.
    static QImage bicubic(const QImage& image, const QSize& size);
};
