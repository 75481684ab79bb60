// Edits the metadata of an image in memory, saves them and reads them back. The first two bytes
// choose the edits, the rest is the image.
#include "Fuzzing.h"
#include "RKImageLoader/faces/RKFacePositions.h"
#include "RKImageLoader/files/RKImageFileParts_p.h"
#include "RKImageLoader/metadata/RKMetaData.h"
#include "RKImageLoader/metadata/RKMetaDataField.h"

#include <QBuffer>
#include <QFileInfo>
#include <QImage>
#include <QRegularExpression>

#include <algorithm>
#include <utility>

namespace {

using Content = RKImageFileParts::Content;

const QString kText = QStringLiteral("Grüße 17");
const QDateTime kMoment(QDate(2020, 2, 29), QTime(12, 34, 56));

/// Keys begin with what is listed.
struct Edit
{
    void (*make)(RKMetaData&);
    bool (*isMade)(const RKMetaData&);
    QList<const char*> keys;
    QList<Content> contents;
    /// Sidecars have no place for pictures and profiles, nor have TIFF files with pages for a
    /// thumbnail.
    bool needsPlace = false;
};

/// Other languages of a text follow the one that was written.
template <RKMetaDataFieldEnum field>
Edit text(const QList<const char*>& keys, const QList<Content>& contents)
{
    return {[](RKMetaData& data) { data.write(field, kText); },
        [](const RKMetaData& data) { return data.read(field).startsWith(kText); },
        keys,
        contents};
}

/// A profile of the least size that has all fields of a header (ICC.1:2010, 7.2).
QByteArray profile()
{
    QByteArray bytes(132, '\0');
    bytes[3] = char(132);
    bytes.replace(8, 1, "\x02");
    bytes.replace(12, 12, "mntrRGB XYZ ");
    bytes.replace(36, 4, "acsp");
    return bytes;
}

const QList<Edit>& edits()
{
    static const QList<Edit> list
        = {{[](RKMetaData& data) { data.setAdobeRating(4); },
               [](const RKMetaData& data) { return data.adobeRating() == 4; },
               {"Exif.Image.Rating", "Xmp.xmp.Rating", "Xmp.MicrosoftPhoto.Rating"},
               {Content::Exif, Content::Xmp}},
            {[](RKMetaData& data) { data.setImageOrientation(ORIENTATION_LEFT_BOTTOM); },
                [](const RKMetaData& data) {
                    return data.imageOrientation() == ORIENTATION_LEFT_BOTTOM;
                },
                {"Exif.Image.Orientation", "Xmp.tiff.Orientation"},
                {Content::Exif, Content::Xmp}},
            {[](RKMetaData& data) { data.setPictureTaken(kMoment); },
                [](const RKMetaData& data) { return data.pictureTaken() == kMoment; },
                {"Exif.Photo.DateTimeOriginal",
                    "Exif.Photo.OffsetTimeOriginal",
                    "Iptc.Application2.DateCreated",
                    "Iptc.Application2.TimeCreated"},
                {Content::Exif, Content::Iptc}},
            {[](RKMetaData& data) { data.setGeoPosition(RKGeoPosition(48.5, -2.25)); },
                [](const RKMetaData& data) { return data.geoPosition().isValid(); },
                {"Exif.GPSInfo.GPSL", "Exif.GPSInfo.GPSVersionID"},
                {Content::Exif}},
            text<RKMetaDataFieldEnum::originalFilename>(
                {"Iptc.Application2.Caption", "Xmp.dc.title"}, {Content::Iptc, Content::Xmp}),
            text<RKMetaDataFieldEnum::author>(
                {"Exif.Image.Artist", "Iptc.Application2.Byline"}, {Content::Exif, Content::Iptc}),
            text<RKMetaDataFieldEnum::copyright>(
                {"Exif.Image.Copyright", "Xmp.xmpRights.Owner"}, {Content::Exif, Content::Xmp}),
            text<RKMetaDataFieldEnum::exifUserComment>(
                {"Exif.Photo.UserComment", "Xmp.exif.UserComment"}, {Content::Exif, Content::Xmp}),
            {[](RKMetaData& data) { data.setIccData(profile()); },
                [](const RKMetaData& data) { return data.iccData() == profile(); },
                {"Exif.Image.InterColorProfile",
                    "Exif.Image.PrimaryChromaticities",
                    "Exif.Image.WhitePoint",
                    "Exif.Image.YCbCrCoefficients",
                    "Exif.Photo.ColorSpace",
                    "Exif.Iop.InteroperabilityIndex"},
                {Content::Icc, Content::Exif},
                true},
            {[](RKMetaData& data) {
                 QImage image(8, 8, QImage::Format_RGB32);
                 image.fill(Qt::red);
                 data.setThumbnail(image);
             },
                [](const RKMetaData& data) { return !data.thumbnail().isNull(); },
                {"Exif.Thumbnail"},
                {Content::Exif},
                true},
            {[](RKMetaData& data) { data.eraseThumbnail(); },
                [](const RKMetaData&) { return true; },
                {"Exif.Thumbnail"},
                {Content::Exif}},
            {[](RKMetaData& data) { data.removeFaceRegions(); },
                [](const RKMetaData& data) { return data.regionFacePositions().isEmpty(); },
                {"Xmp.mwg-rs.Regions"},
                {Content::Xmp}},
            {[](RKMetaData& data) { data.rotate(true); },
                [](const RKMetaData&) { return true; },
                {"Exif.Image.Orientation", "Xmp.tiff.Orientation"},
                {Content::Exif, Content::Xmp}}};
    return list;
}

/// The metadata whose keys begin with none of the owned.
QHash<QString, QString> others(const RKMetaData& data, const QList<const char*>& owned)
{
    // Places in the file, and what follows from others.
    static const QRegularExpression structural(
        QStringLiteral("Offsets$|JPEGInterchangeFormat|^Exif\\.MakerNote\\.(Offset|ByteOrder)"
                       "|^Exif\\.Image\\.(ExifTag|GPSTag|IPTCNAA|XMLPacket|ImageResources)"
                       "|^Exif\\.Image\\.(InterColorProfile|SubIFDs)"
                       "|^Exif\\.Photo\\.(InteroperabilityTag|MakerNote)"
                       "|^Iptc\\.(Envelope\\.CharacterSet|Application2\\.RecordVersion)"));
    QHash<QString, QString> found = data.allData();
    found.removeIf([&owned](const auto& datum) {
        return datum.key().contains(structural)
            || std::any_of(owned.begin(), owned.end(), [&](const char* start) {
                   return datum.key().startsWith(QLatin1String(start));
               });
    });
    return found;
}

RKMetaData metaDataOf(const QByteArray& file)
{
    return RKMetaData(QFileInfo(), file);
}

/// The file after a save; nothing after one that was refused, which must have left the bytes.
std::optional<QByteArray> saved(const RKMetaData& data, const QByteArray& file)
{
    QBuffer buffer;
    buffer.setData(file);
    buffer.open(QIODevice::ReadWrite);
    const bool isSaved = data.save(&buffer);
    if (buffer.isOpen())
        qFatal("the buffer is left open");
    if (!isSaved && buffer.data() != file)
        qFatal("a refused save has changed the image");
    return isSaved ? std::optional(buffer.data()) : std::nullopt;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* bytes, size_t size)
{
    constexpr qsizetype kChoice = 2;
    const QByteArray input = quietInput(bytes, size);
    // Larger ones meet the limits of Exif and XMP blocks, which may delete data.
    if (input.size() < kChoice || input.size() > 50000)
        return 0;
    const QByteArray file = input.mid(kChoice);
    const unsigned chosen = uchar(input[0]) | unsigned(uchar(input[1])) << 8U;

    RKMetaData data = metaDataOf(file);
    const auto untouched = saved(data, file);
    if (untouched && *untouched != file)
        qFatal("a save of nothing has changed the image");
    const RKMetaData before = data;
    QList<const char*> keys;
    QList<Content> contents;
    QList<Edit> made;
    for (int i = 0; i < edits().size(); ++i) {
        if ((chosen >> unsigned(i)) & 1U) {
            const Edit& edit = edits()[i];
            edit.make(data);
            keys += edit.keys;
            contents += edit.contents;
            // What a later edit has changed again cannot be expected.
            made += edit;
        }
    }
    const auto result = saved(data, file);
    // Unchanged: an image type that exiv2 does not know counts as saved.
    if (!result || *result == file)
        return 0;

    const RKMetaData after = metaDataOf(*result);
    const RKImageFileParts oldParts(file);
    for (const Edit& edit : std::as_const(made)) {
        const bool isExpected = (!edit.needsPlace || oldParts.isValid()) && edit.isMade(data);
        if (isExpected && !edit.isMade(after))
            qFatal("%s cannot be read back", edit.keys.first());
    }
    // Sidecars get Exif and IPTC data as XMP.
    const auto kept = others(before, keys);
    const auto found = others(after, keys);
    // exiv2 may have read nothing before the save has put lengths right.
    const QStringList all
        = kept.isEmpty() || file.left(8).contains('<') ? QStringList() : kept.keys() + found.keys();
    for (const QString& key : all) {
        if (kept.value(key) != found.value(key))
            qFatal("%s has changed: %s", qPrintable(key), qPrintable(found.value(key)));
    }
    const RKImageFileParts newParts(*result);
    if (oldParts.isValid() && newParts.isValid()) {
        const QString lost = RKImageFileParts::firstDifference(oldParts, newParts, contents);
        if (!lost.isEmpty())
            qFatal("lost: %s", qPrintable(lost));
    }
    if (saved(after, *result) != result)
        qFatal("a second save has changed the image again");
    return 0;
}
