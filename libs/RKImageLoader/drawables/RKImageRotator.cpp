#include "RKImageLoader/drawables/RKImageRotator.h"

#include <QTransform>

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

QImage transformed(const QImage& image, const QTransform& transform)
{
    return image.isNull() ? image : image.transformed(transform, Qt::FastTransformation);
}

} // namespace

QImage RKImageRotator::rotateCW(const QImage& image)
{
    return transformed(image, kClockwise);
}

QImage RKImageRotator::rotateCCW(const QImage& image)
{
    return transformed(image, kCounterClockwise);
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
    switch (orientation) {
    case ORIENTATION_TOP_RIGHT: return mirrorHorizontal(normalizeRGB32(image));
    // Kept: half a turn moves pixels of any format, so this one doesn't normalise.
    case ORIENTATION_BOTTOM_RIGHT: return image.mirrored(true, true);
    case ORIENTATION_BOTTOM_LEFT: return mirrorVertical(normalizeRGB32(image));
    case ORIENTATION_LEFT_TOP: return rotateCCW(mirrorHorizontal(normalizeRGB32(image)));
    case ORIENTATION_RIGHT_TOP: return rotateCW(normalizeRGB32(image));
    case ORIENTATION_RIGHT_BOTTOM: return rotateCW(mirrorHorizontal(normalizeRGB32(image)));
    case ORIENTATION_LEFT_BOTTOM: return rotateCCW(normalizeRGB32(image));
    case ORIENTATION_TOP_LEFT: break;
    }
    return image;
}
