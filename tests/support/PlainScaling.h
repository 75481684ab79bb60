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

inline double channel(QRgb pixel, int index)
{
    return (pixel >> (8 * index)) & 0xff;
}

inline QRgb toChannel(double value, int index)
{
    return QRgb(std::clamp(int(std::round(value)), 0, 255)) << (8 * index);
}

inline QImage bilinear(const QImage& image, const QSize& size)
{
    QImage result(size, image.format());
    const double rx = double(image.width()) / size.width();
    const double ry = double(image.height()) / size.height();
    for (int j = 0; j < result.height(); ++j) {
        const double sy = j * ry;
        const int y0 = int(std::floor(sy));
        const double fy = sy - y0;
        const QRgb* upper = row(image, y0);
        const QRgb* lower = row(image, std::min(y0 + 1, image.height() - 1));
        auto* target = reinterpret_cast<QRgb*>(result.scanLine(j));
        for (int i = 0; i < result.width(); ++i) {
            const double sx = i * rx;
            const int x0 = int(std::floor(sx));
            const int x1 = std::min(x0 + 1, image.width() - 1);
            const double fx = sx - x0;
            target[i] = 0;
            for (int c = 0; c < 4; ++c) {
                const double value = (1 - fy) * (1 - fx) * channel(upper[x0], c)
                    + (1 - fy) * fx * channel(upper[x1], c) + fy * (1 - fx) * channel(lower[x0], c)
                    + fy * fx * channel(lower[x1], c);
                target[i] |= toChannel(value, c);
            }
        }
    }
    return result;
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
    QImage result(size, QImage::Format_ARGB32);
    const double rx = double(source.width()) / size.width();
    const double ry = double(source.height()) / size.height();
    for (int j = 0; j < result.height(); ++j) {
        const double sy = j * ry;
        const int yi = int(sy);
        std::array<const QRgb*, 4> rows{};
        for (int k = 0; k < 4; ++k)
            rows[size_t(k)] = row(source, std::clamp(yi - 1 + k, 0, source.height() - 1));

        auto* target = reinterpret_cast<QRgb*>(result.scanLine(j));
        for (int i = 0; i < result.width(); ++i) {
            const double sx = i * rx;
            const int xi = std::max(std::min(int(sx), source.width() - 3), 1);
            std::array<int, 4> columns{};
            for (int k = 0; k < 4; ++k)
                columns[size_t(k)] = std::clamp(xi - 1 + k, 0, source.width() - 1);

            target[i] = 0;
            for (int c = 0; c < 4; ++c) {
                Samples across{};
                for (size_t k = 0; k < 4; ++k) {
                    Samples along{};
                    for (size_t n = 0; n < 4; ++n)
                        along[n] = channel(rows[k][columns[n]], c);
                    across[k] = cubic(along, sx - int(sx));
                }
                target[i] |= toChannel(cubic(across, sy - yi), c);
            }
        }
    }
    return result;
}

} // namespace PlainScaling
