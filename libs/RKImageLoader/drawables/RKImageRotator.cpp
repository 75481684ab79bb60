#include "RKImageLoader/drawables/RKImageRotator.h"

#include "RKImageLoader/drawables/RKImageAttributes_p.h"

#include <QColorSpace>
#include <QTransform>

#include <algorithm>

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

// Rows of the source become columns of the result. Pixels are moved in blocks for which both stay
// in the fastest cache.
constexpr int kBlockHeight = 32;
constexpr int kBlockWidth = 8;

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
        , m_down(1)
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

    void copyRow(int y, int left, int right, QRgb* row) const
    {
        const QRgb* pixel = m_first + y * m_down + left * m_right;
        for (int x = left; x < right; ++x, pixel += m_right)
            row[x] = *pixel;
    }

private:
    const QRgb* m_first;
    // From a pixel to the one below it and to the one right of it in the result.
    qsizetype m_down;
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
    for (int top = 0; top < result.height(); top += kBlockHeight) {
        const int bottom = std::min(top + kBlockHeight, result.height());
        for (int left = 0; left < result.width(); left += kBlockWidth) {
            const int right = std::min(left + kBlockWidth, result.width());
            for (int y = top; y < bottom; ++y)
                pixels.copyRow(y, left, right, reinterpret_cast<QRgb*>(result.scanLine(y)));
        }
    }
    return result;
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
    const QImage::Format format = image.format();
    if (format == QImage::Format_ARGB32_Premultiplied || format == QImage::Format_RGB32)
        return image;

    return image.convertToFormat(QImage::Format_ARGB32_Premultiplied);
}

QImage RKImageRotator::rotate(const QImage& image, RKImageOrientation orientation)
{
    if (image.isNull())
        return image;

    switch (orientation) {
    case ORIENTATION_TOP_RIGHT: return mirrorHorizontal(normalizeRGB32(image));
    // Kept: half a turn moves pixels of any format, so this one doesn't normalise.
    case ORIENTATION_BOTTOM_RIGHT: return image.mirrored(true, true);
    case ORIENTATION_BOTTOM_LEFT: return mirrorVertical(normalizeRGB32(image));
    case ORIENTATION_LEFT_TOP:
        return transposed(normalizeRGB32(image), Order::Forward, Order::Forward);
    case ORIENTATION_RIGHT_TOP: return rotateCW(normalizeRGB32(image));
    case ORIENTATION_RIGHT_BOTTOM:
        return transposed(normalizeRGB32(image), Order::Backward, Order::Backward);
    case ORIENTATION_LEFT_BOTTOM: return rotateCCW(normalizeRGB32(image));
    case ORIENTATION_TOP_LEFT: break;
    }
    return image;
}
