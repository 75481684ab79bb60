#include "MetaDataCopy.h"

#include "RKImageLoader/faces/RKFacePositions.h"
#include "RKImageLoader/loading/RKImageLoader.h"
#include "RKImageLoader/metadata/RKExiv2Wrapper.h"
#include "RKImageLoader/metadata/RKMetaData.h"
#include "RKImageLoader/metadata/RKMetaDataField.h"

#include <functional>
#include <utility>
#include <vector>

namespace {

using Copy = std::function<void(const RKMetaData& from, RKMetaData& to)>;

void copyRating(const RKMetaData& from, RKMetaData& to)
{
    if (from.isRejected())
        to.setRejected();
    else if (from.adobeRating() > 0)
        to.setAdobeRating(from.adobeRating());
}

void copyKeywords(const RKMetaData& from, RKMetaData& to)
{
    if (const QStringList keywords = from.keywordsOfAllPlaces(); !keywords.isEmpty())
        to.setKeywords(keywords);
}

void copyTaken(const RKMetaData& from, RKMetaData& to)
{
    if (const QDateTime taken = from.pictureTaken(); taken.isValid())
        to.setPictureTaken(taken);
}

void copyOrientation(const RKMetaData& from, RKMetaData& to)
{
    if (from.imageOrientation() != 0)
        to.setImageOrientation(from.imageOrientation());
}

void copyThumbnail(const RKMetaData& from, RKMetaData& to)
{
    if (const QImage thumbnail = from.thumbnail(); !thumbnail.isNull())
        to.setThumbnail(thumbnail);
}

void copyProfile(const RKMetaData& from, RKMetaData& to)
{
    if (const QByteArray profile = from.iccData(); !profile.isEmpty())
        to.setIccData(profile);
}

/// They lie in the stored picture, which may be turned in another way.
void copyFaces(const RKMetaData& from, RKMetaData& to)
{
    const RKFacePositions faces = from.regionFacePositions();
    if (!faces.isEmpty()) {
        to.removeFaceRegions();
        to.updateFaces(to.unrotatedSize(),
            faces.toUpright(from.imageOrientation()).toStored(to.imageOrientation()));
    }
}

Copy copyOfText(RKMetaDataFieldEnum field)
{
    return [field](const RKMetaData& from, RKMetaData& to) {
        if (const QString text = from.read(field); !text.isEmpty())
            to.write(field, text);
    };
}

const std::vector<std::pair<const char*, Copy>>& fields()
{
    static const std::vector<std::pair<const char*, Copy>> all{{"rating", copyRating},
        {"title", copyOfText(RKMetaDataFieldEnum::originalFilename)},
        {"description", copyOfText(RKMetaDataFieldEnum::exifImageDescription)},
        {"keywords", copyKeywords},
        {"author", copyOfText(RKMetaDataFieldEnum::author)},
        {"copyright", copyOfText(RKMetaDataFieldEnum::copyright)},
        {"comment", copyOfText(RKMetaDataFieldEnum::exifUserComment)},
        {"taken", copyTaken},
        {"gps",
            [](const RKMetaData& from, RKMetaData& to) { to.setGeoPosition(from.geoPosition()); }},
        {"make", copyOfText(RKMetaDataFieldEnum::exifMake)},
        {"model", copyOfText(RKMetaDataFieldEnum::exifModel)},
        {"software", copyOfText(RKMetaDataFieldEnum::exifSoftware)},
        {"faces", copyFaces},
        {"orientation", copyOrientation},
        {"thumbnail", copyThumbnail},
        {"icc", copyProfile}};
    return all;
}

/// All that doesn't describe the pixels: those of the target, their profile and its thumbnail stay.
QString copyAll(const RKMetaData& from, RKMetaData& to, const QFileInfo& target)
{
    const QByteArray profile = to.iccData();
    if (to.isAdobeRGB() && !from.isAdobeRGB() && profile.isEmpty())
        return QStringLiteral("its colours are marked in another way; --fields says what to copy");
    RKMetaData all = from;
    all.adaptToPixels(to.unrotatedSize());
    // Most can't be read in another file; that of the target stays, with the tags to read it.
    all.removeMakerNote();
    const QHash<QString, QString> kept = to.allData();
    if (kept.contains(QStringLiteral("Exif.Photo.MakerNote"))) {
        all.write(RKMetaDataFieldEnum::exifMake, kept[QStringLiteral("Exif.Image.Make")]);
        all.write(RKMetaDataFieldEnum::exifModel, kept[QStringLiteral("Exif.Image.Model")]);
    }
    all.removeFaceRegions();
    all.setImageOrientation(
        to.imageOrientation() == 0 ? ORIENTATION_TOP_LEFT : to.imageOrientation());
    copyFaces(from, all);
    // The same bytes, which leave the old ones where they are.
    if (QByteArray thumbnail; RKExiv2Wrapper(target).extractThumbnailData(thumbnail))
        all.writeThumbnail(thumbnail);
    if (from.isAdobeRGB() && !to.isAdobeRGB())
        all.setIccData(profile);
    to = all;
    return {};
}

} // namespace

MetaDataCopy::MetaDataCopy(const QString& source, const QStringList& fields)
    : m_source(source)
    , m_fields(fields)
{
}

QStringList MetaDataCopy::fieldNames()
{
    QStringList names;
    for (const auto& [name, copy] : fields())
        names << QString::fromLatin1(name);
    return names;
}

QString MetaDataCopy::copyTo(RKMetaData& target, const QFileInfo& file) const
{
    RKMediaError error;
    const RKMetaData source(QFileInfo(m_source), &error);
    if (error.isError())
        return QStringLiteral("can't copy from %1: %2").arg(m_source, error.text());
    if (m_fields.isEmpty())
        return copyAll(source, target, file);
    for (const auto& [name, copy] : fields()) {
        if (m_fields.contains(QLatin1String(name)))
            copy(source, target);
    }
    return {};
}
