#include "RKImageLoader/drawables/RKImageRotator.h"

#include "RKImageLoader/drawables/RKImageAttributes_p.h"
#include "RKImageLoader/files/RKHugePages_p.h"

#include <QColorSpace>
#include <QTransform>

#ifdef __SSE2__
#    include <emmintrin.h>
#endif

namespace {

// QTransform finds out its type on first use and keeps it, so it has to be known before several
// threads read the constants below.
QTransform withKnownType(const QTransform& transform)
{
    static_cast<void>(transform.type());
    return transform;
}

const QTransform kClockwise = withKnownType(QTransform(0, 1, -1, 0, 0, 0));
const QTransform kCounterClockwise = withKnownType(QTransform(0, -1, 1, 0, 0, 0));

// Rows of the source become columns of the result. Pixels are moved in blocks whose source lines
// stay in the cache until all their pixels were used.
constexpr int kBlockHeight = 16;
constexpr int kBlockWidth = 512;

enum class Order
{
    Forward,
    Backward
};

// The pixels of the source in the order in which the rows of the result need them.
class TransposedPixels
{
public:
    TransposedPixels(const QImage& source, Order rows, Order columns)
        : m_first(reinterpret_cast<const QRgb*>(source.constBits()))
        , m_right(source.bytesPerLine() / qsizetype(sizeof(QRgb)))
    {
        if (columns == Order::Backward) {
            m_first += source.width() - 1;
            m_down = -m_down;
        }
        if (rows == Order::Backward) {
            m_first += (source.height() - 1) * m_right;
            m_right = -m_right;
        }
    }

    // A row of the result begins `stride` pixels after the one above it.
    void copyBlock(const QRect& block, QRgb* result, qsizetype stride) const
    {
        const int left = block.left();
        const int top = block.top();
        const QSize whole(
            block.width() - block.width() % kSquare, block.height() - block.height() % kSquare);
        for (int y = top; y < top + whole.height(); y += kSquare) {
            for (int x = left; x < left + whole.width(); x += kSquare)
                copySquare(x, y, result + y * stride + x, stride);
        }
        copyPixels(QRect(left + whole.width(), top, block.width() - whole.width(), block.height()),
            result,
            stride);
        copyPixels(
            QRect(left, top + whole.height(), whole.width(), block.height() - whole.height()),
            result,
            stride);
    }

private:
#ifdef __SSE2__
    static constexpr int kSquare = 4;

    void copySquare(int x, int y, QRgb* target, qsizetype stride) const
    {
        const QRgb* const source = m_first + y * m_down + x * m_right + (m_down < 0 ? -3 : 0);
        const auto load = [&](int column) {
            return _mm_loadu_si128(reinterpret_cast<const __m128i*>(source + column * m_right));
        };
        const auto store = [&](int row, __m128i pixels) {
            QRgb* const place = target + (m_down < 0 ? 3 - row : row) * stride;
            _mm_storeu_si128(reinterpret_cast<__m128i*>(place), pixels);
        };
        const __m128i first = load(0);
        const __m128i second = load(1);
        const __m128i third = load(2);
        const __m128i fourth = load(3);
        const __m128i upperLeft = _mm_unpacklo_epi32(first, second);
        const __m128i lowerLeft = _mm_unpackhi_epi32(first, second);
        const __m128i upperRight = _mm_unpacklo_epi32(third, fourth);
        const __m128i lowerRight = _mm_unpackhi_epi32(third, fourth);
        store(0, _mm_unpacklo_epi64(upperLeft, upperRight));
        store(1, _mm_unpackhi_epi64(upperLeft, upperRight));
        store(2, _mm_unpacklo_epi64(lowerLeft, lowerRight));
        store(3, _mm_unpackhi_epi64(lowerLeft, lowerRight));
    }
#else
    static constexpr int kSquare = 1;

    void copySquare(int x, int y, QRgb* target, qsizetype) const
    {
        *target = m_first[y * m_down + x * m_right];
    }
#endif

    void copyPixels(const QRect& part, QRgb* result, qsizetype stride) const
    {
        for (int y = part.top(); y <= part.bottom(); ++y) {
            for (int x = part.left(); x <= part.right(); ++x)
                result[y * stride + x] = m_first[y * m_down + x * m_right];
        }
    }

    const QRgb* m_first;
    // From a pixel to the one below it and to the one right of it in the result.
    qsizetype m_down = 1;
    qsizetype m_right;
};

// An image of 32 bits per pixel whose columns are the rows of the source, and the other way round,
// each taken from the first on or from the last on. As QImage::transformed() gives it, without a
// pass of its own for mirroring, and with the colour space.
QImage transposed(const QImage& source, Order rows, Order columns)
{
    QImage result(source.size().transposed(), source.format());
    if (result.isNull())
        return {};

    RKImageAttributes::copy(source, result);
    const TransposedPixels pixels(source, rows, columns);
    auto* const target = reinterpret_cast<QRgb*>(result.bits());
    const qsizetype stride = result.bytesPerLine() / qsizetype(sizeof(QRgb));
    RKHugePages::advise(target, result.sizeInBytes());
    for (int top = 0; top < result.height(); top += kBlockHeight) {
        for (int left = 0; left < result.width(); left += kBlockWidth) {
            const QRect block(left, top, kBlockWidth, kBlockHeight);
            pixels.copyBlock(block & result.rect(), target, stride);
        }
    }
    return result;
}

QImage normalized(QImage image)
{
    const QImage::Format format = image.format();
    if (format == QImage::Format_ARGB32_Premultiplied || format == QImage::Format_RGB32)
        return image;

    return std::move(image).convertToFormat(QImage::Format_ARGB32_Premultiplied);
}

// In place if nobody shares the pixels.
QImage mirrored(QImage image, bool horizontally, bool vertically)
{
    return image.isDetached() ? std::move(image).mirrored(horizontally, vertically)
                              : image.mirrored(horizontally, vertically);
}

bool canBeTransposed(const QImage& image)
{
    return !image.isNull() && image.depth() == 32;
}

QImage transformed(const QImage& image, const QTransform& transform)
{
    if (image.isNull())
        return image;
    QImage result = image.transformed(transform, Qt::FastTransformation);
    // Qt 6.4 forgets it.
    result.setColorSpace(image.colorSpace());
    return result;
}

} // namespace

QImage RKImageRotator::rotateCW(const QImage& image)
{
    return canBeTransposed(image) ? transposed(image, Order::Backward, Order::Forward)
                                  : transformed(image, kClockwise);
}

QImage RKImageRotator::rotateCCW(const QImage& image)
{
    return canBeTransposed(image) ? transposed(image, Order::Forward, Order::Backward)
                                  : transformed(image, kCounterClockwise);
}

QImage RKImageRotator::mirrorVertical(const QImage& image)
{
    return image.mirrored(false, true);
}

QImage RKImageRotator::mirrorHorizontal(const QImage& image)
{
    return image.mirrored(true, false);
}

QImage RKImageRotator::normalizeRGB32(const QImage& image)
{
    return normalized(image);
}

QImage RKImageRotator::rotate(const QImage& image, RKImageOrientation orientation)
{
    return rotate(QImage(image), orientation);
}

QImage RKImageRotator::rotate(QImage&& image, RKImageOrientation orientation)
{
    if (image.isNull())
        return std::move(image);

    switch (orientation) {
    case ORIENTATION_TOP_RIGHT: return mirrored(normalized(std::move(image)), true, false);
    // Kept: half a turn moves pixels of any format, so this one doesn't normalise.
    case ORIENTATION_BOTTOM_RIGHT: return mirrored(std::move(image), true, true);
    case ORIENTATION_BOTTOM_LEFT: return mirrored(normalized(std::move(image)), false, true);
    case ORIENTATION_LEFT_TOP:
        return transposed(normalized(std::move(image)), Order::Forward, Order::Forward);
    case ORIENTATION_RIGHT_TOP: return rotateCW(normalized(std::move(image)));
    case ORIENTATION_RIGHT_BOTTOM:
        return transposed(normalized(std::move(image)), Order::Backward, Order::Backward);
    case ORIENTATION_LEFT_BOTTOM: return rotateCCW(normalized(std::move(image)));
    case ORIENTATION_TOP_LEFT: break;
    }
    return std::move(image);
}
