#include "RKImageLoader/drawables/RKImageScaler_p.h"

#include <QColorSpace>

#include <algorithm>
#include <array>
#include <cmath>

namespace {

constexpr double kMaximumPixels = 1 << 29;

using Channels = std::array<double, 4>;

// Single-precision thirds and sixths, used in double arithmetic.
constexpr double kThird = 0.3333333432674408;
constexpr double kSixth = 0.1666666716337204;

double cubic(double p0, double p1, double p2, double p3, double t)
{
    const double a1 = -kThird * p0 + p2 / 2 - kSixth * p3;
    const double a2 = p0 / 2 - p2 / 2;
    const double a3 = kSixth * p0 - p2 / 2 + kThird * p3;
    return p1 + t * a1 + t * t * a2 + t * t * t * a3;
}

QRgb toRgb(const Channels& channels)
{
    const auto toByte = [](double value) { return std::clamp(int(std::round(value)), 0, 255); };
    return qRgba(
        toByte(channels[1]), toByte(channels[2]), toByte(channels[3]), toByte(channels[0]));
}

const QRgb* row(const QImage& image, int y)
{
    return reinterpret_cast<const QRgb*>(image.constScanLine(y));
}

double channel(QRgb pixel, size_t index)
{
    return (pixel >> (24 - 8 * index)) & 0xff;
}

QImage emptyResult(const QImage& image, const QSize& size)
{
    QImage result(size, image.format());
    if (result.isNull())
        return result;

    result.setDotsPerMeterX(image.dotsPerMeterX());
    result.setDotsPerMeterY(image.dotsPerMeterY());
    result.setDevicePixelRatio(image.devicePixelRatio());
    result.setColorSpace(image.colorSpace());
    const QStringList keys = image.textKeys();
    for (const QString& key : keys)
        result.setText(key, image.text(key));
    return result;
}

} // namespace

bool RKImageScaler::isFeasible(const QSizeF& size)
{
    return !size.isEmpty() && std::max(size.width(), size.height()) <= kMaximumPixels
        && size.width() * size.height() <= kMaximumPixels;
}

QImage RKImageScaler::bilinear(const QImage& image, const QSize& size)
{
    if (image.isNull() || !isFeasible(size))
        return {};

    if (image.format() != QImage::Format_ARGB32) {
        const QImage scaled = bilinear(image.convertToFormat(QImage::Format_ARGB32), size);
        return image.colorCount() > 0 ? scaled.convertToFormat(image.format(), image.colorTable())
                                      : scaled.convertToFormat(image.format());
    }

    QImage result = emptyResult(image, size);
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
            Channels channels{};
            for (size_t c = 0; c < 4; ++c) {
                channels[c] = (1 - fy) * (1 - fx) * channel(upper[x0], c)
                    + (1 - fy) * fx * channel(upper[x1], c) + fy * (1 - fx) * channel(lower[x0], c)
                    + fy * fx * channel(lower[x1], c);
            }
            target[i] = toRgb(channels);
        }
    }
    return result;
}

QImage RKImageScaler::bicubic(const QImage& image, const QSize& size)
{
    if (image.isNull() || !isFeasible(size))
        return {};

    const QImage source = image.convertToFormat(QImage::Format_ARGB32);
    QImage result = emptyResult(source, size);
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

            Channels channels{};
            for (size_t c = 0; c < 4; ++c) {
                Channels across{};
                for (size_t k = 0; k < 4; ++k) {
                    across[k] = cubic(channel(rows[k][columns[0]], c),
                        channel(rows[k][columns[1]], c),
                        channel(rows[k][columns[2]], c),
                        channel(rows[k][columns[3]], c),
                        sx - int(sx));
                }
                channels[c] = cubic(across[0], across[1], across[2], across[3], sy - yi);
            }
            target[i] = toRgb(channels);
        }
    }
    return result;
}
