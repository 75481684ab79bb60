#include "SheetEntry.h"

#include "RKImageLoader/faces/RKFacePositions.h"
#include "RKImageLoader/loading/RKImageLoader.h"
#include "RKImageLoader/loading/RKMediaLoader.h"
#include "RKImageLoader/metadata/RKMetaData.h"
#include "RKImageLoader/video/RKVideoDecoderRegistry.h"

#include <QBuffer>
#include <QFileInfo>
#include <QPainter>
#include <QStringList>
#include <QTime>

namespace {

QByteArray encoded(const QImage& image)
{
    QImage opaque(image.size(), QImage::Format_RGB32);
    opaque.fill(Qt::white);
    QPainter(&opaque).drawImage(0, 0, image);
    QBuffer buffer;
    buffer.open(QIODevice::WriteOnly);
    constexpr int kQuality = 85;
    opaque.save(&buffer, "jpg", kQuality);
    return buffer.data();
}

QList<SheetEntry::Face> facesOf(const RKMetaData& metaData)
{
    QList<SheetEntry::Face> faces;
    const QList<RKFacePosition> positions
        = metaData.facePositions().toUpright(metaData.imageOrientation()).facePositions();
    for (const RKFacePosition& face : positions)
        faces.append({face.rect(), face.name()});
    return faces;
}

} // namespace

SheetEntry SheetEntry::of(const InputFile& file, int side)
{
    const RKMediaLoader& loader = *RKMediaLoader::instance();
    const RKMediaDescriptor descriptor{QFileInfo(file.path)};
    SheetEntry entry;
    entry.name = QString::fromLocal8Bit(file.name);
    const QImage picture
        = loader.drawable(descriptor, {side, side}, RKImageOption(), &entry.error).image();
    if (picture.isNull())
        return entry;
    entry.picture = encoded(picture);
    entry.pictureSize = picture.size();
    entry.size = loader.size(descriptor);
    if (descriptor.mediaFormat().isVideo()) {
        entry.date = RKVideoDecoderRegistry::instance()->metaData(descriptor).pictureTaken();
        entry.durationMs = RKVideoDecoderRegistry::instance()->durationInMS(descriptor);
    } else if (descriptor.mediaFormat().isBitmap()) {
        const RKMetaData metaData = RKImageLoader::instance()->copyMetaData(descriptor);
        entry.date = metaData.pictureTaken();
        entry.rating = metaData.adobeRating();
        entry.faces = facesOf(metaData);
    }
    return entry;
}

QString SheetEntry::facts() const
{
    QStringList parts;
    if (size.isValid())
        parts << QStringLiteral("%1 × %2").arg(size.width()).arg(size.height());
    if (date.isValid())
        parts << date.toString(QStringLiteral("yyyy-MM-dd HH:mm"));
    if (durationMs >= 0) {
        // Of days, too, which a QTime doesn't hold.
        constexpr int kMsPerHour = 3600 * 1000;
        const int hours = durationMs / kMsPerHour;
        const QTime rest = QTime(0, 0).addMSecs(durationMs % kMsPerHour);
        parts << (hours > 0 ? QString::number(hours) + rest.toString(QStringLiteral(":mm:ss"))
                            : rest.toString(QStringLiteral("m:ss")));
    }
    if (rating > 0)
        parts << QString(rating, u'★');
    return parts.join(QStringLiteral(" · "));
}
