#include "RKImageLoader/drawables/RKImageTester.h"

#include <QImage>

#include <algorithm>

namespace {

// Rows are converted in strips of about this many pixels, which stay in the cache.
constexpr int kPixelsPerStrip = 65536;

bool hasTranslucentPixel(const QRgb* row, int width)
{
    // One comparison for the row; the loop before it runs at the speed of the memory.
    QRgb all = 0xffffffff;
    for (int x = 0; x < width; ++x)
        all &= row[x];
    return qAlpha(all) != 0xff;
}

bool hasTranslucentRow(const QImage& argb)
{
    for (int y = 0; y < argb.height(); ++y) {
        if (hasTranslucentPixel(reinterpret_cast<const QRgb*>(argb.constScanLine(y)), argb.width()))
            return true;
    }
    return false;
}

QImage convertedStrip(const QImage& image, int firstRow, int rows)
{
    QImage strip(
        image.constScanLine(firstRow), image.width(), rows, image.bytesPerLine(), image.format());
    if (image.colorCount() > 0)
        strip.setColorTable(image.colorTable());
    return strip.convertToFormat(QImage::Format_ARGB32);
}

bool hasTranslucentStrip(const QImage& image)
{
    const int rowsPerStrip = std::max(1, kPixelsPerStrip / image.width());
    for (int y = 0; y < image.height(); y += rowsPerStrip) {
        const QImage strip = convertedStrip(image, y, std::min(rowsPerStrip, image.height() - y));
        // Without the memory to look, nothing may be lost: count as not opaque.
        if (strip.isNull() || hasTranslucentRow(strip))
            return true;
    }
    return false;
}

} // namespace

RKImageTester::~RKImageTester() = default;

bool RKImageTester::imageContainsAlphaInformation(const QImage& image) const
{
    if (image.isNull() || !image.hasAlphaChannel())
        return false;

    const QImage::Format format = image.format();
    if (format == QImage::Format_ARGB32 || format == QImage::Format_ARGB32_Premultiplied)
        return hasTranslucentRow(image);

    return hasTranslucentStrip(image);
}
