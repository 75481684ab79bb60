#include "RKImageLoader/drawables/RKImageAttributes_p.h"

#include <QColorSpace>
#include <QStringList>

#include <algorithm>
#include <memory>

namespace {

// How ImageMagick and exiftool store Exif, IPTC and profiles in PNG texts, and XMP's own chunk
// (XMP, part 3, 1.1.5).
bool isMetaDataText(const QString& key)
{
    return key.startsWith(QLatin1String("Raw profile type "))
        || key == QLatin1String("XML:com.adobe.xmp");
}

void copyAllButTexts(const QImage& from, QImage& to)
{
    to.setDotsPerMeterX(from.dotsPerMeterX());
    to.setDotsPerMeterY(from.dotsPerMeterY());
    to.setDevicePixelRatio(from.devicePixelRatio());
    to.setColorSpace(from.colorSpace());
}

} // namespace

void RKImageAttributes::deleteImage(void* image)
{
    delete static_cast<QImage*>(image);
}

void RKImageAttributes::copy(const QImage& from, QImage& to)
{
    copyAllButTexts(from, to);
    const QStringList keys = from.textKeys();
    for (const QString& key : keys)
        to.setText(key, from.text(key));
}

QImage RKImageAttributes::withoutMetaDataTexts(QImage image)
{
    const QStringList keys = image.textKeys();
    if (std::none_of(keys.begin(), keys.end(), isMetaDataText))
        return image;

    // A text can't be removed from a QImage, so the pixels move to another one.
    auto owner = std::make_unique<QImage>(std::move(image));
    uchar* bits = owner->bits();
    const QImage& source = *owner;
    QImage result(bits,
        source.width(),
        source.height(),
        source.bytesPerLine(),
        source.format(),
        deleteImage,
        owner.get());
    if (result.isNull())
        return {};
    // The result deletes it.
    static_cast<void>(owner.release());
    if (source.colorCount() > 0)
        result.setColorTable(source.colorTable());
    copyAllButTexts(source, result);
    for (const QString& key : keys) {
        if (!isMetaDataText(key))
            result.setText(key, source.text(key));
    }
    return result;
}
