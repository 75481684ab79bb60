#pragma once

#include <QImage>

#include <algorithm>
#include <array>
#include <cmath>

/// The scaling formulas written down plainly, one pixel and one channel at a time: what the fast
/// ones are compared with. For 32-bit images.
namespace PlainScaling {

using Samples = std::array<double, 4>;

inline const QRgb* row(const QImage& image, int y)
{
    return reinterpret_cast<const QRgb*>(image.constScanLine(y));
}

/// A number of the pixel; beyond an edge, of the last one.
inline double channel(const QImage& image, int x, int y, int index)
{
    const QRgb* const pixels = row(image, std::clamp(y, 0, image.height() - 1));
    return (pixels[std::clamp(x, 0, image.width() - 1)] >> (8 * index)) & 0xff;
}

/// The formula gets the place in the source and the number of the channel.
template <typename Formula>
QImage scaled(const QImage& source, const QSize& size, const Formula& formula)
{
    QImage result(size, source.format());
    for (int j = 0; j < size.height(); ++j) {
        const double y = j * (double(source.height()) / size.height());
        auto* const target = reinterpret_cast<QRgb*>(result.scanLine(j));
        for (int i = 0; i < size.width(); ++i) {
            const double x = i * (double(source.width()) / size.width());
            target[i] = 0;
            for (int c = 0; c < 4; ++c) {
                const int value = int(std::round(formula(x, y, c)));
                target[i] |= QRgb(std::clamp(value, 0, 255)) << (8 * c);
            }
        }
    }
    return result;
}

inline QImage bilinear(const QImage& image, const QSize& size)
{
    return scaled(image, size, [&](double x, double y, int c) {
        const auto at = [&](int dx, int dy) { return channel(image, int(x) + dx, int(y) + dy, c); };
        const double fx = x - int(x);
        const double fy = y - int(y);
        return (1 - fy) * (1 - fx) * at(0, 0) + (1 - fy) * fx * at(1, 0) + fy * (1 - fx) * at(0, 1)
            + fy * fx * at(1, 1);
    });
}

inline double cubic(const Samples& p, double t)
{
    constexpr double kThird = 0.3333333432674408;
    constexpr double kSixth = 0.1666666716337204;
    const double a1 = -kThird * p[0] + p[2] / 2 - kSixth * p[3];
    const double a2 = p[0] / 2 - p[2] / 2;
    const double a3 = kSixth * p[0] - p[2] / 2 + kThird * p[3];
    return p[1] + t * a1 + t * t * a2 + t * t * t * a3;
}

inline QImage bicubic(const QImage& image, const QSize& size)
{
    const QImage source = image.convertToFormat(QImage::Format_ARGB32);
    return scaled(source, size, [&](double x, double y, int c) {
        // At the edges the window stops.
        const int left = std::max(std::min(int(x), source.width() - 3), 1) - 1;
        Samples across{};
        for (int k = 0; k < 4; ++k) {
            Samples along{};
            for (int n = 0; n < 4; ++n)
                along[size_t(n)] = channel(source, left + n, int(y) - 1 + k, c);
            across[size_t(k)] = cubic(along, x - int(x));
        }
        return cubic(across, y - int(y));
    });
}

} // namespace PlainScaling
