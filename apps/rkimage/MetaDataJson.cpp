#include "MetaDataJson.h"

#include "RKImageLoader/color/RKColorProfileConverter.h"
#include "RKImageLoader/faces/RKFaceDetectionEngine.h"
#include "RKImageLoader/faces/RKFacePositions.h"
#include "RKImageLoader/metadata/RKMetaData.h"
#include "RKImageLoader/metadata/RKMetaDataField.h"

namespace {

QJsonValue sizeOrNull(const QSize& size)
{
    return size.isValid() ? QJsonValue(MetaDataJson::fromSize(size)) : QJsonValue();
}

QJsonObject fields(const RKMetaData& metaData)
{
    using Field = RKMetaDataFieldEnum;
    QJsonObject texts;
    for (const RKMetaDataField field : {Field::originalFilename,
             Field::exifImageDescription,
             Field::keywords,
             Field::copyright,
             Field::author,
             Field::exifUserComment,
             Field::exifSoftware,
             Field::exifMake,
             Field::exifModel})
    {
        const QString text = metaData.read(field);
        // One keyword ends in a blank, which no reader of the JSON would expect.
        if (!text.isEmpty())
            texts[field.enumToStringTable()->keyword(field.value()).trimmed()] = text;
    }
    return texts;
}

QJsonObject fromTexts(const QHash<QString, QString>& texts)
{
    QJsonObject data;
    for (auto datum = texts.cbegin(); datum != texts.cend(); ++datum)
        data[datum.key()] = datum.value();
    return data;
}

void insertKnown(QJsonObject& object, const char* key, const QString& text)
{
    if (!text.isEmpty())
        object[QLatin1String(key)] = text;
}

void insertKnown(QJsonObject& object, const char* key, double number)
{
    if (number > 0)
        object[QLatin1String(key)] = number;
}

void insertCapture(QJsonObject& object, const RKCaptureSettings& settings)
{
    QJsonObject camera;
    insertKnown(camera, "make", settings.make);
    insertKnown(camera, "model", settings.model);
    insertKnown(camera, "lens", settings.lens);
    QJsonObject exposure;
    insertKnown(exposure, "time", settings.exposureTime);
    insertKnown(exposure, "fNumber", settings.fNumber);
    insertKnown(exposure, "iso", settings.iso);
    insertKnown(exposure, "focalLength", settings.focalLength);
    insertKnown(exposure, "focalLengthIn35mm", settings.focalLengthIn35mm);
    if (settings.exposureBias)
        exposure[QStringLiteral("bias")] = *settings.exposureBias;
    QJsonObject place;
    insertKnown(place, "city", settings.city);
    insertKnown(place, "state", settings.state);
    insertKnown(place, "country", settings.country);
    if (settings.altitude)
        place[QStringLiteral("altitude")] = *settings.altitude;
    object[QStringLiteral("place")] = place;
    object[QStringLiteral("camera")] = camera;
    object[QStringLiteral("exposure")] = exposure;
}

} // namespace

QJsonArray MetaDataJson::fromRect(const QRectF& rect)
{
    return {rect.x(), rect.y(), rect.width(), rect.height()};
}

QJsonArray MetaDataJson::fromSize(const QSize& size)
{
    return {size.width(), size.height()};
}

QJsonValue MetaDataJson::fromPosition(const RKGeoPosition& position)
{
    if (!position.isValid())
        return {};
    return QJsonObject{{QStringLiteral("latitude"), position.latitude().degrees()},
        {QStringLiteral("longitude"), position.longitude().degrees()}};
}

QSize MetaDataJson::uprightSize(const RKMetaData& metaData)
{
    const QSize size = metaData.unrotatedSize();
    return metaData.imageIsTiltedByMetadata() ? size.transposed() : size;
}

QJsonArray MetaDataJson::fromFaces(const RKMetaData& metaData, const QSize& uprightSize)
{
    QJsonArray array;
    const RKFacePositions stored = metaData.facePositions();
    const QList<QRect> pixels = stored.toUpright(metaData.imageOrientation()).rects(uprightSize);
    const QList<RKFacePosition> positions = stored.facePositions();
    for (qsizetype i = 0; i < positions.size(); ++i) {
        const RKFacePosition& face = positions[i];
        array << QJsonObject{{QStringLiteral("pixels"), fromRect(pixels.value(i))},
            {QStringLiteral("rect"), fromRect(face.rect())},
            {QStringLiteral("name"), face.name()},
            {QStringLiteral("clusterId"), face.clusterId().id()},
            {QStringLiteral("engine"),
                RKFaceDetectionEngine().enumToStringTable()->keyword(face.engine())},
            {QStringLiteral("xmpRegionIndex"), face.xmpRegionIndex()},
            {QStringLiteral("coverImageEpoch"), qint64(face.coverImageEpoch())}};
    }
    return array;
}

QJsonObject MetaDataJson::fromMetaData(
    const RKMetaData& metaData, const QSize& uprightSize, Extent extent)
{
    QJsonObject object{
        {QStringLiteral("geoPosition"), fromPosition(metaData.geoPosition())},
        {QStringLiteral("fields"), fields(metaData)},
        {QStringLiteral("keywords"), QJsonArray::fromStringList(metaData.keywords())},
        {QStringLiteral("adobeRating"), metaData.adobeRating()},
        {QStringLiteral("rejected"), metaData.isRejected()},
        {QStringLiteral("tamoRating"), metaData.tamoRating()},
        {QStringLiteral("tamoStaticScore"), metaData.tamoStaticScore()},
        {QStringLiteral("tamoDynamicScore"), metaData.tamoDynamicScore()},
        {QStringLiteral("flashUsed"), metaData.flashUsed()},
        {QStringLiteral("redEyeCorrectionUsed"), metaData.redEyeCorrectionUsed()},
        {QStringLiteral("aboProhibited"), metaData.aboProhibited()},
        {QStringLiteral("aboProhibitedBy"), metaData.aboProhibitedBy()},
        {QStringLiteral("isFilmStrip"), metaData.isFilmStrip()},
        {QStringLiteral("digitalZoomRatio"), metaData.digitalZoomRatio()},
        {QStringLiteral("hasIccData"), metaData.hasIccData()},
        {QStringLiteral("iccBytes"), metaData.iccData().size()},
        {QStringLiteral("isAdobeRGB"), metaData.isAdobeRGB()},
        {QStringLiteral("thumbnail"), sizeOrNull(metaData.thumbnailSize())},
        {QStringLiteral("faces"), fromFaces(metaData, uprightSize)},
        {QStringLiteral("regionImageSize"), sizeOrNull(metaData.regionImageSize())},
        {QStringLiteral("numberOfRegions"), metaData.numberOfRegions()},
    };
    const QDateTime taken = metaData.pictureTaken();
    if (taken.isValid())
        object[QStringLiteral("pictureTaken")] = taken.toString(Qt::ISODate);
    insertCapture(object, metaData.captureSettings());
    insertKnown(object, "colorProfile", RKColorProfileConverter::profileName(metaData));
    if (extent == Extent::All) {
        object[QStringLiteral("allData")] = fromTexts(metaData.allData());
        object[QStringLiteral("interpretedData")] = fromTexts(metaData.interpretedData());
    }
    return object;
}
