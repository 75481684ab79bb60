#include "RKImageLoader/metadata/RKMetaDataField.h"

#include <QHash>

namespace {

using Field = RKMetaDataFieldEnum;

struct Keyword
{
    QLatin1String text;
    Field field = Field::none;
};

constexpr Keyword kKeywords[] = {
    {QLatin1String(""), Field::none},
    {QLatin1String("originalFilename"), Field::originalFilename},
    // Kept: the blank belongs to the keyword. Hosts read it back from the table. See
    // RKMetaDataTest::fieldMapGivesTextsAndPosition.
    {QLatin1String("exifImageDescription "), Field::exifImageDescription},
    {QLatin1String("keywords"), Field::keywords},
    {QLatin1String("copyright"), Field::copyright},
    {QLatin1String("author"), Field::author},
    {QLatin1String("exifUserComment"), Field::exifUserComment},
    {QLatin1String("dateHint"), Field::dateHint},
    {QLatin1String("rating"), Field::rating},
    {QLatin1String("exifSoftware"), Field::exifSoftware},
    {QLatin1String("exifMake"), Field::exifMake},
    {QLatin1String("exifModel"), Field::exifModel},
    {QLatin1String("rotation"), Field::rotation},
    {QLatin1String("gpsLatitudeInDegreesNorth"), Field::gpsLatitudeInDegreesNorth},
    {QLatin1String("gpsLongitudeInDegreesEast"), Field::gpsLongitudeInDegreesEast},
};

QHash<qint64, QStringList> keysOfFields()
{
    return {
        {qint64(Field::originalFilename),
            {QStringLiteral("Iptc.Application2.Caption"),
                QStringLiteral("Xmp.dc.title"),
                QStringLiteral("Exif.Image.XPTitle")}},
        {qint64(Field::exifImageDescription), {QStringLiteral("Xmp.dc.description")}},
        {qint64(Field::keywords),
            {QStringLiteral("Iptc.Application2.Keywords"),
                QStringLiteral("Xmp.dc.subject"),
                QStringLiteral("Exif.Image.XPKeywords")}},
        {qint64(Field::copyright),
            {QStringLiteral("Exif.Image.Copyright"), QStringLiteral("Xmp.xmpRights.Owner")}},
        {qint64(Field::author),
            {QStringLiteral("Exif.Image.Artist"),
                QStringLiteral("Exif.Image.XPAuthor"),
                QStringLiteral("Iptc.Application2.Byline")}},
        {qint64(Field::exifUserComment),
            {QStringLiteral("Exif.Photo.UserComment"),
                QStringLiteral("Xmp.exif.UserComment"),
                QStringLiteral("Exif.Image.XPComment")}},
        {qint64(Field::exifSoftware),
            {QStringLiteral("Exif.Image.Software"),
                QStringLiteral("Xmp.xmp.CreatorTool"),
                QStringLiteral("Xmp.dc.creator")}},
        {qint64(Field::exifMake), {QStringLiteral("Exif.Image.Make")}},
        {qint64(Field::exifModel), {QStringLiteral("Exif.Image.Model")}},
    };
}

} // namespace

RKMetaDataField::RKMetaDataField(RKMetaDataFieldEnum field)
    : RKEnumWrapper(field)
{
}

RKMetaDataField::RKMetaDataField(const QString& keyword)
{
    RKMetaDataFieldEnum field = Field::none;
    if (enumToStringTable()->decode(keyword, field))
        *this = RKMetaDataField(field);
}

void RKMetaDataField::fillTable(RKEnumToStringTable<RKMetaDataFieldEnum>* table) const
{
    for (const Keyword& keyword : kKeywords)
        table->insert(keyword.text, keyword.field);
}

QStringList RKMetaDataField::exiv2Keys() const
{
    static const QHash<qint64, QStringList> keys = keysOfFields();
    return keys.value(qint64(value()));
}

bool RKMetaDataField::isStringValueField() const
{
    return !exiv2Keys().isEmpty();
}

bool RKMetaDataField::isGeoPositionArcField() const
{
    return value() == Field::gpsLatitudeInDegreesNorth
        || value() == Field::gpsLongitudeInDegreesEast;
}
