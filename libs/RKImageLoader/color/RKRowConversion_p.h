#pragma once

#include "RKImageLoader/files/RKHugePages_p.h"
#include "RKImageLoader/media/RKCancellation.h"

#include <QColorSpace>
#include <QImage>
#include <QStringList>

namespace RKRowConversion {

/// What a picture keeps apart from its pixels. Not the colour space: those are in sRGB from now on,
/// and a writer would embed the old profile again.
inline void copyProperties(const QImage& from, QImage* to)
{
    to->setDotsPerMeterX(from.dotsPerMeterX());
    to->setDotsPerMeterY(from.dotsPerMeterY());
    to->setDevicePixelRatio(from.devicePixelRatio());
    to->setOffset(from.offset());
    const QStringList keys = from.textKeys();
    for (const QString& key : keys)
        to->setText(key, from.text(key));
}

/// A picture with 32 bits a pixel after convertRow(const QRgb* source, QRgb* target, int pixels)
/// for each row. Source and target are the same if nobody shares the picture's pixels. Unchanged if
/// there is no memory, null if it was cancelled.
template <typename Function>
QImage converted(QImage image, const Function& convertRow, const RKCancellation& cancellation = {})
{
    QImage result;
    if (image.isDetached()) {
        result.swap(image);
        result.setColorSpace(QColorSpace());
    } else {
        result = QImage(image.size(), image.format());
        if (result.isNull())
            return image;
        RKHugePages::advise(result.bits(), result.sizeInBytes());
        copyProperties(image, &result);
    }
    for (int y = 0; y < result.height(); ++y) {
        if (cancellation.isCancelled())
            return {};
        auto* const target = reinterpret_cast<QRgb*>(result.scanLine(y));
        const auto* const source
            = image.isNull() ? target : reinterpret_cast<const QRgb*>(image.constScanLine(y));
        convertRow(source, target, result.width());
    }
    return result;
}

} // namespace RKRowConversion
