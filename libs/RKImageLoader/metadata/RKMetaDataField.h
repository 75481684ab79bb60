#pragma once

#include "RKImageLoader/RKImageLoaderExport.h"
#include "RKImageLoader/media/RKEnumWrapper.h"

#include <QString>
#include <QStringList>

/// The fields of an image's metadata that are addressed by name.
enum class RKMetaDataFieldEnum : qint64
{
    none = 0,
    originalFilename = 1,
    exifImageDescription = 2,
    keywords = 4,
    copyright = 8,
    author = 16,
    exifUserComment = 32,
    dateHint = 64,
    rating = 128,
    exifSoftware = 256,
    exifMake = 512,
    exifModel = 1024,
    rotation = 2048,
    gpsLatitudeInDegreesNorth = 4096,
    gpsLongitudeInDegreesEast = 8192
};

/// One field of an image's metadata, and where it is stored. Its keyword is spelled like its
/// enumerator. Reentrant.
class RKIMAGELOADER_EXPORT RKMetaDataField : public RKEnumWrapper<RKMetaDataFieldEnum>
{
public:
    /// No field.
    RKMetaDataField() = default;
    /// One field; combinations have no keys.
    RKMetaDataField(RKMetaDataFieldEnum field);
    /// From a keyword, without regard to case and to white space around it; no field if it is
    /// unknown. exifImageDescription is not found this way, because its keyword ends in a blank.
    explicit RKMetaDataField(const QString& keyword);

    void fillTable(RKEnumToStringTable<RKMetaDataFieldEnum>* table) const override;

    /// The keys of Exif, IPTC and XMP that hold the field, spelled as exiv2 spells them; the first
    /// one that has a value counts. Empty for fields that are not free text.
    QStringList exiv2Keys() const;

    /// Whether the field is a free text.
    bool isStringValueField() const;
    /// Whether the field is one of the two angles of a geographic position.
    bool isGeoPositionArcField() const;
};
