#include "RKImageLoader/drawables/RKImageAttributes_p.h"
#include "RKImageLoader/drawables/RKImageScaler_p.h"

#include <algorithm>
#include <array>

// Functions marked so exist twice, for AVX2 and for any machine; the better one is chosen when the
// library is loaded. Both give the same bits.
#ifdef RK_HAS_TARGET_CLONES
#    define RK_VECTOR_CLONES __attribute__((target_clones("avx2", "default")))
#else
#    define RK_VECTOR_CLONES
#endif

namespace {

constexpr double kMaximumPixels = 1 << 30;

// Pictures are scaled in strips of this many columns, so that everything between the source's
// pixels and the result stays in the fastest cache.
constexpr int kStripWidth = 64;
constexpr int kChannels = 4;

// The greatest double below a half. Adding it and cutting off the fraction rounds halves up and,
// unlike adding a half, leaves the number itself at 0.
constexpr double kRounding = 0.49999999999999994;

// A third and a sixth in single precision, as the formula has them.
constexpr double kThird = 0.3333333432674408;
constexpr double kSixth = 0.1666666716337204;

using Columns = std::array<int, kStripWidth>;
using Pixels = std::array<QRgb, kStripWidth>;
/// One number for each channel of each pixel.
using Values = std::array<double, kStripWidth * kChannels>;

/// Where a row or a column of the result lies in the source: at or after a whole position.
struct Position
{
    int whole = 0;
    double fraction = 0;
};

class Axis
{
public:
    Axis(int sourceLength, int targetLength)
        : m_ratio(double(sourceLength) / targetLength)
    {
    }

    Position at(int target) const
    {
        const double position = target * m_ratio;
        const int whole = int(position);
        return {whole, position - whole};
    }

    /// How far apart the positions of a row and the next one lie.
    int step(int target) const
    {
        return at(target + 1).whole - at(target).whole;
    }

private:
    double m_ratio;
};

class Source
{
public:
    explicit Source(const QImage& image)
        : m_bits(image.constBits())
        , m_bytesPerLine(image.bytesPerLine())
        , m_width(image.width())
        , m_height(image.height())
    {
    }

    const QRgb* row(int y) const
    {
        return reinterpret_cast<const QRgb*>(m_bits + y * m_bytesPerLine);
    }

    int width() const
    {
        return m_width;
    }

    int height() const
    {
        return m_height;
    }

    int clampedRow(int y) const
    {
        return std::clamp(y, 0, m_height - 1);
    }

private:
    const uchar* m_bits;
    qsizetype m_bytesPerLine;
    int m_width;
    int m_height;
};

// The loops below run over channels and don't care for their order in a pixel.

const uchar* channels(const QRgb* pixels)
{
    return reinterpret_cast<const uchar*>(pixels);
}

RK_VECTOR_CLONES void widen(const uchar* __restrict channel, double* __restrict value, int count)
{
    for (int i = 0; i < count; ++i)
        value[i] = channel[i];
}

// The sum needs no clamping: the weights add up to 1, and their error is far from a rounding step
// at 255.
RK_VECTOR_CLONES void interpolateLinearly(const double* __restrict p00,
    const double* __restrict p10,
    const double* __restrict p01,
    const double* __restrict p11,
    const double* __restrict fx,
    double fy,
    uchar* __restrict target,
    int count)
{
    const double gy = 1 - fy;
    for (int i = 0; i < count; ++i) {
        const double gx = 1 - fx[i];
        const double value
            = gy * gx * p00[i] + gy * fx[i] * p10[i] + fy * gx * p01[i] + fy * fx[i] * p11[i];
        target[i] = uchar(int(value + kRounding));
    }
}

// Kept: this is no interpolating cubic. It has no terms of p1 beyond the constant one and misses
// p2 at the right end.
inline double cubic(double p0, double p1, double p2, double p3, double t, double t2, double t3)
{
    const double a1 = -kThird * p0 + p2 / 2 - kSixth * p3;
    const double a2 = p0 / 2 - p2 / 2;
    const double a3 = kSixth * p0 - p2 / 2 + kThird * p3;
    return p1 + t * a1 + t2 * a2 + t3 * a3;
}

RK_VECTOR_CLONES void interpolateAlong(const uchar* __restrict p0,
    const uchar* __restrict p1,
    const uchar* __restrict p2,
    const uchar* __restrict p3,
    const double* __restrict t,
    const double* __restrict t2,
    const double* __restrict t3,
    double* __restrict value,
    int count)
{
    for (int i = 0; i < count; ++i)
        value[i] = cubic(p0[i], p1[i], p2[i], p3[i], t[i], t2[i], t3[i]);
}

RK_VECTOR_CLONES void interpolateAcross(const double* __restrict p0,
    const double* __restrict p1,
    const double* __restrict p2,
    const double* __restrict p3,
    double t,
    uchar* __restrict target,
    int count)
{
    const double t2 = t * t;
    const double t3 = t * t * t;
    for (int i = 0; i < count; ++i) {
        const double value = cubic(p0[i], p1[i], p2[i], p3[i], t, t2, t3);
        // A number below 0 may come out one too high, but still below 0 or at it.
        target[i] = uchar(std::clamp(int(value + kRounding), 0, 255));
    }
}

class Bilinear
{
public:
    Bilinear(const QImage& image, const QSize& size)
        : m_source(image)
        , m_horizontal(image.width(), size.width())
        , m_vertical(image.height(), size.height())
    {
    }

    void startStrip(int firstColumn, int columns)
    {
        m_columns = columns;
        m_sourceRows = {-1, -1};
        for (int i = 0; i < columns; ++i) {
            const Position position = m_horizontal.at(firstColumn + i);
            m_left[size_t(i)] = position.whole;
            m_right[size_t(i)] = std::min(position.whole + 1, m_source.width() - 1);
            std::fill_n(&m_fractions[size_t(i) * kChannels], kChannels, position.fraction);
        }
    }

    void scaleRow(int row, uchar* target)
    {
        const Position position = m_vertical.at(row);
        m_step = m_vertical.step(row);
        const Neighbours& upper = values(position.whole);
        const Neighbours& lower = values(m_source.clampedRow(position.whole + 1));
        interpolateLinearly(upper.left.data(),
            upper.right.data(),
            lower.left.data(),
            lower.right.data(),
            m_fractions.data(),
            position.fraction,
            target,
            kChannels * m_columns);
    }

private:
    /// For each column the pixel to the left of it and the one to the right.
    struct Neighbours
    {
        Values left{};
        Values right{};
    };

    // Two rows next to each other have places of their own; a row stays until it is replaced.
    const Neighbours& values(int y)
    {
        const size_t place = size_t(y & 1);
        Neighbours& values = m_values[place];
        if (m_sourceRows[place] == y)
            return values;

        const QRgb* source = m_source.row(y);
        const QRgb* ahead = m_source.row(m_source.clampedRow(y + m_step));
        for (size_t i = 0; i < size_t(m_columns); ++i) {
            m_leftPixels[i] = source[m_left[i]];
            m_rightPixels[i] = source[m_right[i]];
            __builtin_prefetch(ahead + m_left[i]);
        }
        widen(channels(m_leftPixels.data()), values.left.data(), kChannels * m_columns);
        widen(channels(m_rightPixels.data()), values.right.data(), kChannels * m_columns);
        m_sourceRows[place] = y;
        return values;
    }

    Source m_source;
    Axis m_horizontal;
    Axis m_vertical;
    int m_columns = 0;
    /// How far the rows for the next row of the result are away. They are fetched ahead, for rows
    /// that lie apart are too much for the hardware to foresee.
    int m_step = 0;
    Columns m_left{};
    Columns m_right{};
    Values m_fractions{};
    Pixels m_leftPixels{};
    Pixels m_rightPixels{};
    std::array<int, 2> m_sourceRows{};
    std::array<Neighbours, 2> m_values{};
};

class Bicubic
{
public:
    Bicubic(const QImage& image, const QSize& size)
        : m_source(image)
        , m_horizontal(image.width(), size.width())
        , m_vertical(image.height(), size.height())
    {
    }

    void startStrip(int firstColumn, int columns)
    {
        m_columns = columns;
        m_sourceRows = {-1, -1, -1, -1};
        for (int i = 0; i < columns; ++i) {
            const Position position = m_horizontal.at(firstColumn + i);
            // Kept: at the edges the window stops, but the fraction isn't corrected.
            m_left[size_t(i)] = std::max(std::min(position.whole, m_source.width() - 3), 1) - 1;
            const double t = position.fraction;
            const size_t place = size_t(i) * kChannels;
            std::fill_n(&m_t[place], kChannels, t);
            std::fill_n(&m_t2[place], kChannels, t * t);
            std::fill_n(&m_t3[place], kChannels, t * t * t);
        }
    }

    void scaleRow(int row, uchar* target)
    {
        const Position position = m_vertical.at(row);
        m_step = m_vertical.step(row);
        std::array<const double*, 4> rows{};
        for (int k = 0; k < 4; ++k)
            rows[size_t(k)] = values(m_source.clampedRow(position.whole - 1 + k));
        interpolateAcross(
            rows[0], rows[1], rows[2], rows[3], position.fraction, target, kChannels * m_columns);
    }

private:
    // Four rows next to each other have places of their own; a row stays until it is replaced.
    const double* values(int y)
    {
        const size_t place = size_t(y & 3);
        double* values = m_values[place].data();
        if (m_sourceRows[place] == y)
            return values;

        std::array<QRgb, 4> narrow{};
        const QRgb* source = m_source.row(y);
        const QRgb* ahead = m_source.row(m_source.clampedRow(y + m_step));
        if (m_source.width() < 4) {
            for (int x = 0; x < 4; ++x)
                narrow[size_t(x)] = source[std::min(x, m_source.width() - 1)];
            source = narrow.data();
        }

        for (size_t i = 0; i < size_t(m_columns); ++i) {
            for (size_t k = 0; k < 4; ++k)
                m_pixels[k][i] = source[size_t(m_left[i]) + k];
            __builtin_prefetch(ahead + m_left[i]);
        }
        interpolateAlong(channels(m_pixels[0].data()),
            channels(m_pixels[1].data()),
            channels(m_pixels[2].data()),
            channels(m_pixels[3].data()),
            m_t.data(),
            m_t2.data(),
            m_t3.data(),
            values,
            kChannels * m_columns);
        m_sourceRows[place] = y;
        return values;
    }

    Source m_source;
    Axis m_horizontal;
    Axis m_vertical;
    int m_columns = 0;
    /// How far the rows for the next row of the result are away. They are fetched ahead, for rows
    /// that lie apart are too much for the hardware to foresee.
    int m_step = 0;
    /// The first of the four source columns.
    Columns m_left{};
    Values m_t{};
    Values m_t2{};
    Values m_t3{};
    std::array<Pixels, 4> m_pixels{};
    std::array<int, 4> m_sourceRows{};
    /// Source rows with the columns of the result: the formula runs along a row first, and the
    /// rows of the result share these.
    std::array<Values, 4> m_values{};
};

void makeOpaque(uchar* row, int columns)
{
    auto* pixels = reinterpret_cast<QRgb*>(row);
    for (int i = 0; i < columns; ++i)
        pixels[i] |= 0xff000000;
}

template <typename Method>
QImage scaled(const QImage& image, const QSize& size, QImage::Format format)
{
    QImage result(size, format);
    if (result.isNull())
        return {};

    RKImageAttributes::copy(image, result);
    // The fourth byte of RGB32 has no meaning and may be anything.
    const bool isOpaque = image.format() == QImage::Format_RGB32;
    uchar* bits = result.bits();
    Method method(image, size);
    for (int x = 0; x < size.width(); x += kStripWidth) {
        const int columns = std::min(kStripWidth, size.width() - x);
        method.startStrip(x, columns);
        for (int y = 0; y < size.height(); ++y) {
            uchar* target = bits + y * result.bytesPerLine() + qsizetype(kChannels) * x;
            method.scaleRow(y, target);
            if (isOpaque)
                makeOpaque(target, columns);
        }
    }
    return result;
}

bool isArgbWord(QImage::Format format)
{
    return format == QImage::Format_RGB32 || format == QImage::Format_ARGB32
        || format == QImage::Format_ARGB32_Premultiplied;
}

} // namespace

bool RKImageScaler::isFeasible(const QSizeF& size)
{
    return !size.isEmpty() && std::max(size.width(), size.height()) <= kMaximumPixels
        && size.width() * size.height() <= kMaximumPixels;
}

bool RKImageScaler::isReduction(const QSize& from, const QSize& to)
{
    return !to.isEmpty() && to != from && to.width() <= from.width()
        && to.height() <= from.height();
}

QImage RKImageScaler::bilinear(const QImage& image, const QSize& size)
{
    if (image.isNull() || !isFeasible(size))
        return {};

    if (isArgbWord(image.format()))
        return scaled<Bilinear>(image, size, image.format());

    const QImage result = bilinear(image.convertToFormat(QImage::Format_ARGB32), size);
    return image.colorCount() > 0 ? result.convertToFormat(image.format(), image.colorTable())
                                  : result.convertToFormat(image.format());
}

QImage RKImageScaler::bicubic(const QImage& image, const QSize& size)
{
    if (image.isNull() || !isFeasible(size))
        return {};

    const QImage source = image.format() == QImage::Format_RGB32
        ? image
        : image.convertToFormat(QImage::Format_ARGB32);
    return source.isNull() ? source : scaled<Bicubic>(source, size, QImage::Format_ARGB32);
}
