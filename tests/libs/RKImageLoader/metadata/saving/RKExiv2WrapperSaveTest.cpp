#include "RKImageLoader/faces/RKFacePositions.h"
#include "RKImageLoader/files/RKByteReader_p.h"
#include "RKImageLoader/files/RKImageFileParts_p.h"
#include "RKImageLoader/files/RKPhotoshopResources_p.h"
#include "RKImageLoader/metadata/RKExiv2Wrapper.h"
#include "RKImageLoader/metadata/RKMetaDataField.h"
#include "RKImageLoader/metadata/exiv2/RKExiv2Library_p.h"
#include "support/RKChildProcess.h"
#include "support/RKMetadataFixtures.h"
#include "support/RKQuietTest.h"
#include "support/RKRestrictions.h"

#include <QColorSpace>

#include <array>

using namespace RKMetadataFixtures;
using namespace RKRestrictions;
using RKTestPictures::read;
using RKTestPictures::write;
using Field = RKMetaDataFieldEnum;
using namespace Qt::StringLiterals;

namespace {

constexpr int kOldRating = 1;
constexpr int kNewRating = 5;

/// A file that holds all families, with the old rating.
QByteArray ratedFile(const char* format)
{
    return withMetadata(imageFile(format, QSize(200, 150)), [](Exiv2::Image& image) {
        image.exifData()["Exif.Image.Artist"] = std::string("artist");
        image.exifData()["Exif.Image.Rating"] = static_cast<uint16_t>(kOldRating);
        image.xmpData()["Xmp.xmp.Rating"] = std::to_string(kOldRating);
        image.xmpData()["Xmp.dc.title"] = std::string("lang=de Titel");
        image.iptcData()["Iptc.Application2.Caption"] = std::string("caption");
        image.iptcData().add(
            Exiv2::IptcKey("Iptc.Application2.Keywords"), Exiv2::StringValue("a").clone().get());
        image.iptcData().add(
            Exiv2::IptcKey("Iptc.Application2.Keywords"), Exiv2::StringValue("b").clone().get());
    });
}

bool rate(const QString& path, int rating)
{
    RKExiv2Wrapper wrapper{QFileInfo(path)};
    wrapper.setAdobeRating(rating);
    return wrapper.save(QFileInfo(path));
}

// One for each of the processes that save into one file.
constexpr Field kSharedFields[] = {Field::originalFilename,
    Field::exifImageDescription,
    Field::copyright,
    Field::author,
    Field::exifUserComment};
constexpr int kSharedSaves = 60;

/// Gives the field one value after the other; how many were lost that had been saved, or were not
/// saved.
int saveShared(const QString& path, Field field)
{
    int lost = 0;
    QString saved = RKExiv2Wrapper(QFileInfo(path)).read(field);
    for (int i = 1; i <= kSharedSaves; ++i) {
        RKExiv2Wrapper wrapper{QFileInfo(path)};
        lost += int(wrapper.read(field) != saved);
        saved = QString::number(i);
        wrapper.write(field, saved);
        lost += int(!wrapper.save(QFileInfo(path)));
    }
    return lost;
}

/// What the test program does as its own child, named "NUMBER_OF_FIELD PATH".
int runAsChild(const QString& role)
{
    return saveShared(role.mid(2), kSharedFields[role.front().digitValue()]);
}

} // namespace

class RKExiv2WrapperSaveTest : public RKQuietTest
{
    Q_OBJECT

private Q_SLOTS:

    void formatsWithoutMetadataAreLeftAlone()
    {
        const QByteArray boxes("\0\0\0\x18"
                               "ftypheic\0\0\0\0mif1heic",
            24);
        const OpenDir dir;
        const QString path = dir.filePath(u"file"_s);
        RKExiv2Wrapper wrapper;
        wrapper.setAdobeRating(kNewRating);
        for (const QByteArray& file : {imageFile("BMP"), QByteArray(boxes + QByteArray(200, '\0'))})
        {
            write(path, file);
            QVERIFY(!wrapper.save(QFileInfo(path)));
            QCOMPARE(read(path), file);
            QBuffer buffer;
            buffer.setData(file);
            QVERIFY(!wrapper.save(&buffer));
            QCOMPARE(buffer.data(), file);
        }
        QTest::ignoreMessage(
            QtWarningMsg, QRegularExpression(u"^caught exception with errorCode="_s));
        QBuffer buffer;
        buffer.setData(QByteArray(500, 'x'));
        QVERIFY(wrapper.save(&buffer));
        QCOMPARE(buffer.data(), QByteArray(500, 'x'));
    }

    void removedPositionsAndDatesLeaveNoTrace()
    {
        const OpenDir dir;
        for (const char* format : {"JPG", "PNG", "TIFF"}) {
            const QString path = dir.filePath(QString::fromLatin1(format));
            write(path, withMetadata(ratedFile(format), [](Exiv2::Image& image) {
                for (const char* key : {"GPSLatitudeRef", "GPSSatellites", "GPSProcessingMethod"})
                    image.exifData()[std::string("Exif.GPSInfo.") + key] = std::string("N");
                image.exifData()["Exif.GPSInfo.GPSLatitude"] = std::string("1234567/1 0/1 0/1");
                for (const char* key : {"Image.DateTimeOriginal",
                         "Photo.DateTimeOriginal",
                         "Photo.OffsetTimeOriginal",
                         "Photo.SubSecTimeOriginal",
                         "Photo.DateTimeDigitized"})
                    image.exifData()[std::string("Exif.") + key]
                        = std::string("2001:02:03 04:05:06");
                image.iptcData()["Iptc.Application2.DateCreated"] = std::string("2001-02-03");
                image.iptcData()["Iptc.Application2.TimeCreated"] = std::string("04:05:06+00:00");
                RKExiv2Compat::setXmpPacket(image,
                    "<x:xmpmeta xmlns:x='adobe:ns:meta/'><rdf:RDF xmlns:rdf='http://www.w3.org/1999/"
                    "02/22-rdf-syntax-ns#'><rdf:Description xmlns:e='http://ns.adobe.com/exif/1.0/' "
                    "xmlns:l='http://iptc.org/std/Iptc4xmpExt/2008-02-29/' e:GPSAltitude='3/1' "
                    "xmlns:p='http://ns.adobe.com/photoshop/1.0/' p:DateCreated='2001-02-03'>"
                    "<l:LocationCreated><rdf:Bag><rdf:li l:City='Paris' e:GPSLatitude='48,0N'/>"
                    "</rdf:Bag></l:LocationCreated></rdf:Description></rdf:RDF></x:xmpmeta>");
            }));
            RKExiv2Wrapper wrapper{QFileInfo(path)};
            wrapper.removeGeoPosition();
            wrapper.removePictureTaken();
            QVERIFY(wrapper.save(QFileInfo(path)));
            const RKExiv2Wrapper saved{QFileInfo(path)};
            const QStringList keys = saved.allData().keys();
            static const QRegularExpression removed(u"GPS|Original|(Date|Time)Created"_s);
            QCOMPARE(keys.filter(removed), QStringList());
            QCOMPARE(keys.filter(u"DateTimeDigitized"_s).size(), 1);
            QCOMPARE(keys.filter(u"City"_s).size(), 1);
            QCOMPARE(saved.read(Field::author), u"artist"_s);
            // Nor do the old bytes.
            for (const char* trace :
                {"48,0N", "GPS", "2001-02-03", "20010203", "\x87\xd6\x12", "\x12\xd6\x87"})
                QVERIFY(!read(path).contains(trace));
            const QByteArray before = read(path);
            QVERIFY(wrapper.save(QFileInfo(path)));
            QCOMPARE(read(path), before);
        }
    }

    void bufferIsClosedAndHoldsTheNewImage()
    {
        const QByteArray file = ratedFile("JPG");
        RKExiv2Wrapper wrapper(file);
        wrapper.setAdobeRating(kNewRating);
        QVERIFY(!wrapper.save(static_cast<QBuffer*>(nullptr)));

        QByteArray shared = file;
        QBuffer buffer(&shared);
        QVERIFY(buffer.open(QIODevice::ReadWrite));
        QVERIFY(wrapper.save(&buffer));
        QVERIFY(!buffer.isOpen());
        QCOMPARE(RKExiv2Wrapper(buffer.data()).adobeRating(), kNewRating);
        QCOMPARE(RKExiv2Wrapper(file).adobeRating(), kOldRating);

        const QByteArray profile = QColorSpace(QColorSpace::DisplayP3).iccProfile();
        for (const QByteArray& set : {profile, QByteArray()}) { // none leaves the file's own
            wrapper.setIccData(set);
            QVERIFY(wrapper.save(&buffer));
            QCOMPARE(RKExiv2Wrapper(buffer.data()).iccData(), profile);
        }

        // exiv2 changes TIFF files in place: the copy must not change with them.
        const QByteArray tiff = ratedFile("TIFF");
        QBuffer other;
        other.setData(tiff);
        QVERIFY(wrapper.save(&other));
        QCOMPARE(RKExiv2Wrapper(tiff).adobeRating(), kOldRating);
    }

    void changesOfOthersStay()
    {
        const OpenDir dir;
        const QString path = dir.filePath(u"file.jpg"_s);
        write(path, ratedFile("JPG"));
        const QFileInfo file(path);
        RKExiv2Wrapper fromFile(file);
        RKExiv2Wrapper fromBytes(file, read(path));
        QVERIFY(rate(path, kNewRating));
        fromFile.write(Field::author, u"me"_s);
        fromBytes.write(Field::keywords, u"c"_s);
        QVERIFY(fromFile.save(file));
        QVERIFY(fromBytes.save(file));
        const RKExiv2Wrapper after(file);
        QCOMPARE(after.adobeRating(), kNewRating);
        QCOMPARE(after.read(Field::author), u"me"_s);
        QCOMPARE(after.read(Field::keywords), u"c"_s);

        // A picture that was encoded anew in the meantime gets everything.
        write(path, imageFile("JPG"));
        QVERIFY(fromFile.save(file));
        QCOMPARE(RKExiv2Wrapper(file).adobeRating(), kOldRating);
        QCOMPARE(RKExiv2Wrapper(file).read(Field::originalFilename), u"caption"_s);
    }

    void savesAreTakenBackToNothing_data()
    {
        QTest::addColumn<QByteArray>("picture");
        for (const char* format : {"JPG", "PNG", "TIFF", "WEBP"}) {
            QTest::addRow("%s without", format) << imageFile(format, QSize(200, 150));
            QTest::addRow("%s with all families", format) << ratedFile(format);
        }
        QByteArray canon = withMetadata(ratedFile("JPG"), [](Exiv2::Image& image) {
            image.exifData()["Exif.Image.Make"] = std::string("Canon");
            image.exifData()["Exif.Canon.PreviewImageInfo"] = uint32_t(0x12345678);
        });
        const auto place = quint32(canon.size() - canon.indexOf("Exif") - 6);
        canon.replace("\x78\x56\x34\x12"_ba, RKByteReader::bytesOf(place, QSysInfo::LittleEndian));
        QTest::addRow("JPG with a preview after it") << canon + imageFile("JPG");
    }

    void savesAreTakenBackToNothing()
    {
        QFETCH(const QByteArray, picture);
        const OpenDir dir;
        const QString path = dir.filePath(u"file"_s);
        write(path, picture);
        const QFileInfo file(path);
        const RKExiv2Wrapper before(file);
        RKExiv2Wrapper edited = before;
        edited.setAdobeRating(kNewRating);
        edited.setImageOrientation(ORIENTATION_RIGHT_TOP);
        edited.setKeywords({u"Zoë"_s, u"b"_s});
        edited.write(Field::originalFilename, u"Übung"_s);
        edited.write(Field::copyright, u"me"_s);
        edited.setPictureTaken(QDateTime({2021, 7, 4}, {12, 30}, Qt::OffsetFromUTC, 3600));
        edited.setGeoPosition(RKGeoPosition(48.5, -2.25));
        QVERIFY(edited.save(file));
        const RKExiv2Wrapper after(file);
        if (const quint32 place = after.allData().value(u"Exif.Canon.PreviewImageInfo"_s).toUInt();
            place > 0)
        {
            const QByteArray bytes = read(path);
            QCOMPARE(bytes.mid(bytes.indexOf("Exif") + 6 + place), imageFile("JPG"));
        }

        QVERIFY(rate(path, kOldRating + 1)); // somebody else
        RKExiv2Wrapper now(file);
        const auto changed = now.allData();
        QVERIFY(!now.applyDifference(after, before));
        QCOMPARE(now.allData(), changed);
        QVERIFY(rate(path, kNewRating));
        RKExiv2Wrapper other(file);
        other.write(Field::author, u"other"_s);
        QVERIFY(other.save(file));

        RKExiv2Wrapper back(file);
        auto expected = back.allData();
        QVERIFY(back.applyDifference(after, before));
        const QString author = u"Iptc.Application2.Byline"_s;
        QCOMPARE(back.allData().value(author), expected.value(author));
        QVERIFY(back.save(file));
        for (const auto& [key, text] : after.allData().asKeyValueRange()) {
            if (!before.allData().contains(key))
                expected.remove(key);
        }
        expected.insert(before.allData());
        expected[u"Exif.Image.Artist"_s] = u"other"_s;
        auto found = RKExiv2Wrapper(file).allData();
        // The mark of the other texts' encoding; and the places of a preview, of the other families
        // and of directories, which may be empty.
        for (const QLatin1String key : {"Iptc.Envelope.CharacterSet"_L1,
                 "Exif.Canon.PreviewImageInfo"_L1,
                 "Exif.Photo.MakerNote"_L1,
                 "Exif.Image.ExifTag"_L1,
                 "Exif.Image.GPSTag"_L1,
                 "Exif.Image.IPTCNAA"_L1,
                 "Exif.Image.XMLPacket"_L1,
                 "Exif.Image.StripOffsets"_L1})
        {
            expected.remove(key);
            found.remove(key);
        }
        QCOMPARE(found, expected);
    }

    void theLastDataSetTakesItsTagAlong()
    {
        QBuffer buffer;
        buffer.setData(withMetadata(imageFile("TIFF"), [](Exiv2::Image& image) {
            image.iptcData()["Iptc.Application2.Keywords"] = std::string("a");
        }));
        RKExiv2Wrapper wrapper(buffer.data());
        QVERIFY(wrapper.allData().contains(u"Exif.Image.IPTCNAA"_s));
        wrapper.setKeywords({});
        QVERIFY(wrapper.save(&buffer));
        QVERIFY(!RKExiv2Wrapper(buffer.data()).allData().contains(u"Exif.Image.IPTCNAA"_s));
    }

    void iptcInSeveralPlacesIsReadAndChangedThere()
    {
        const auto set = [](int number, const QByteArray& text) -> QByteArray {
            return QByteArray("\x1c\2") + char(number) + RKByteReader::bytesOf(quint16(text.size()))
                + text;
        };
        const auto segment = [](const QByteArray& resources) -> QByteArray {
            return QByteArray("\xff\xed") + RKByteReader::bytesOf(quint16(16 + resources.size()))
                + QByteArray("Photoshop 3.0\0", 14) + resources;
        };
        const auto iptc = [](const QByteArray& block) -> QByteArray {
            return RKPhotoshopResources::resource(RKPhotoshopResources::kIptc, block)
                + QByteArray(block.size() % 2, '\0');
        };
        const QByteArray path = RKPhotoshopResources::resource(0x07d0, "path");
        const auto fileOf = [&](const QByteArray& author, const QByteArray& caption) {
            RKImageFileParts parts(imageFile("JPG"));
            parts.replace(RKImageFileParts::Content::Iptc,
                {segment(path),
                    segment(iptc(set(25, "a") + set(25, "b") + set(80, author))
                        + iptc(set(25, "c") + set(116, "mine"))),
                    segment(iptc(set(80, author) + set(120, caption)) + path)});
            return parts.file();
        };
        QBuffer buffer;
        buffer.setData(fileOf("Anna", "old"));
        RKExiv2Wrapper wrapper(buffer.data());
        QCOMPARE(wrapper.keywords(), QStringList({u"a"_s, u"b"_s}));
        QCOMPARE(wrapper.read(Field::author), u"Anna"_s);
        QCOMPARE(wrapper.read(Field::originalFilename), u"old"_s);
        QVERIFY(wrapper.save(&buffer));
        QCOMPARE(buffer.data(), fileOf("Anna", "old"));
        wrapper.write(Field::author, u"Boris"_s);
        wrapper.write(Field::originalFilename, u"new"_s);
        QVERIFY(wrapper.save(&buffer));
        QCOMPARE(RKImageFileParts(buffer.data()).parts(RKImageFileParts::Content::Iptc),
            RKImageFileParts(fileOf("Boris", "new")).parts(RKImageFileParts::Content::Iptc));
        // Other letters come with the mark of their encoding.
        wrapper.write(Field::author, u"Zoë"_s);
        QVERIFY(wrapper.save(&buffer));
        QCOMPARE(RKExiv2Wrapper(buffer.data()).read(Field::author), u"Zoë"_s);
        QVERIFY(RKImageFileParts(buffer.data()).iptcBlocks().constFirst().contains("\x1b%G"));

        RKImageFileParts single(imageFile("JPG"));
        single.replace(RKImageFileParts::Content::Iptc,
            {segment(iptc(set(25, "a")) + iptc(set(25, "b") + set(120, "caption")))});
        const RKExiv2Wrapper both(single.file());
        QCOMPARE(both.keywords(), QStringList(u"a"_s));
        QCOMPARE(both.read(Field::originalFilename), u"caption"_s);
    }

    void xmpThatCannotBeReadStays()
    {
        QByteArray file = withMetadata(imageFile("JPG"), [](Exiv2::Image& image) {
            image.xmpData()["Xmp.dc.format"] = std::string("image/jpeg");
        });
        // A prefix that nobody has declared.
        file.replace("dc:format=", "xx:format=");
        const QByteArray packet = file.mid(file.indexOf("<?xpacket begin"),
            file.indexOf("<?xpacket end") - file.indexOf("<?xpacket begin"));
        QVERIFY(packet.contains("xx:format"));
        QBuffer buffer;
        buffer.setData(file);
        RKExiv2Wrapper wrapper;
        wrapper.setFlashUsed(true);
        QVERIFY(wrapper.save(&buffer));
        QVERIFY(buffer.data().contains(packet));
        QVERIFY(RKExiv2Wrapper(buffer.data()).flashUsed());

        // What Exif has no place for is not saved without saying so.
        const QByteArray saved = buffer.data();
        const char* const leftAlone
            = "XMP data of the image cannot be decoded and are left as they are";
        QTest::ignoreMessage(QtWarningMsg, leftAlone);
        QTest::ignoreMessage(QtWarningMsg,
            "the metadata of QBuffer are not saved: the format has no place for the change");
        RKExiv2Wrapper withoutPlace = wrapper;
        withoutPlace.setAdobeRating(kNewRating);
        withoutPlace.setABOProhibited(true);
        QVERIFY(!withoutPlace.save(&buffer));
        QCOMPARE(buffer.data(), saved);
        QTest::ignoreMessage(QtWarningMsg, leftAlone);
        wrapper.setAdobeRating(kNewRating);
        wrapper.setImageOrientation(ORIENTATION_RIGHT_TOP);
        QVERIFY(wrapper.save(&buffer));
        QCOMPARE(RKExiv2Wrapper(buffer.data()).adobeRating(), kNewRating);
    }

    void sidecarsHaveTheOffsetOfADate()
    {
        const QByteArray sidecar
            = "<x:xmpmeta xmlns:x='adobe:ns:meta/'><rdf:RDF xmlns:rdf='http://www.w3.org/1999/02/"
              "22-rdf-syntax-ns#'><rdf:Description rdf:about='' xmlns:exif='http://ns.adobe.com/"
              "exif/1.0/' exif:DateTimeOriginal='2001-02-03T04:05:06Z' xmlns:xmp='http://ns.adobe.com/"
              "xap/1.0/' xmp:CreateDate='2001-02-03T04:05:06Z'/></rdf:RDF></x:xmpmeta>";
        QBuffer buffer;
        buffer.setData(sidecar);
        const QDateTime noon(QDate(2020, 2, 29), QTime(12, 0), Qt::OffsetFromUTC, 19800);
        const QDateTime sameDigits(noon.date(), noon.time(), Qt::OffsetFromUTC, -3600);
        const QDateTime local(noon.date(), noon.time());
        for (const auto& [taken, text] : {std::pair(noon, "2020-02-29T12:00:00+05:30"),
                 {sameDigits, "2020-02-29T12:00:00-01:00"},
                 {local, "2020-02-29T12:00:00"}})
        {
            RKExiv2Wrapper wrapper(buffer.data());
            wrapper.setPictureTaken(taken);
            QVERIFY(wrapper.save(&buffer));
            const RKExiv2Wrapper after(buffer.data());
            QCOMPARE(after.pictureTaken(), taken);
            QCOMPARE(after.pictureTaken().time(), taken.time());
            for (const char* key : {"Xmp.photoshop.DateCreated", "Xmp.exif.DateTimeOriginal"})
                QCOMPARE(after.allData().value(QLatin1String(key)), QLatin1String(text));
        }
        buffer.setData(QByteArray(buffer.data()).replace("T12:00:00", "T12:00:00.25"));
        RKExiv2Wrapper wrapper(buffer.data());
        wrapper.shiftDates(3600);
        QVERIFY(wrapper.save(&buffer));
        QVERIFY(buffer.data().contains("2001-02-03T05:05:06Z"));
        QCOMPARE(buffer.data().count("2020-02-29T13:00:00.25\""), 2);
        wrapper.removePictureTaken();
        QVERIFY(wrapper.save(&buffer));
        QVERIFY(!buffer.data().contains("2020-02-29"));
        QVERIFY(buffer.data().contains("2001-02-03T05:05:06Z"));
        // A structure in XMP.
        wrapper.setFlashUsed(true);
        QVERIFY(wrapper.save(&buffer));
        QVERIFY(RKExiv2Wrapper(buffer.data()).flashUsed());
    }

    void unknownPartsOfXmpStay()
    {
        // What exiv2 loses when it encodes them anew.
        const QByteArrayList parts{" rdf:about=\"uuid:1\"",
            "<a:RegionList><rdf:Bag><rdf:li><rdf:Bag><rdf:li>nested</rdf:li></rdf:Bag></rdf:li>",
            "<a:Empty></a:Empty>",
            "<!-- remark -->",
            "<a:Told rdf:ID=\"id\">text</a:Told>",
            "xap:CreatorTool='tool'"};
        QBuffer buffer;
        buffer.setData(withMetadata(imageFile("JPG"), [](Exiv2::Image& image) {
            image.writeXmpFromPacket(true);
            image.xmpPacket() = read(QStringLiteral(RK_TEST_DATA "/xmp/unknown.xmp")).toStdString();
        }));
        QByteArrayList files;
        for (const int rating : {4, 1, 4, 1}) {
            RKExiv2Wrapper wrapper(buffer.data());
            wrapper.setAdobeRating(rating);
            wrapper.write(Field::exifImageDescription, u"text"_s);
            QVERIFY(wrapper.save(&buffer));
            QCOMPARE(RKExiv2Wrapper(buffer.data()).adobeRating(), rating);
            for (const QByteArray& part : parts)
                QVERIFY2(buffer.data().contains(part), part.constData());
            QVERIFY(
                buffer.data().contains(QByteArray(" xap:Rating=\"" + QByteArray::number(rating))));
            QCOMPARE(buffer.data().count("Rating"), 2);
            files.append(buffer.data());
        }
        // The padding has taken what was added, and nothing piles up.
        QCOMPARE(files.at(3), files.at(1));
    }

    void foreignPrefixesDoNotReachOtherFiles()
    {
        QByteArray poison = withMetadata(imageFile("JPG"), [](Exiv2::Image& image) {
            image.xmpData()["Xmp.dc.format"] = std::string("image/jpeg");
            image.xmpData()["Xmp.TAMO.Rating"] = std::string("4");
            image.xmpData()["Xmp.mwg-rs.Any"] = std::string("2");
        });
        poison.replace("http://purl.org/dc/elements/1.1/", "http://purl.org/xx/elements/1.1/");
        poison.replace("\"namespaceTAMO/\"", "\"anotherNamespa\"");
        poison.replace("mwg-rs:", "mwg_rs:").replace("xmlns:mwg-rs", "xmlns:mwg_rs");
        QVERIFY(poison.contains("xmlns:mwg_rs"));
        const QByteArray plain = imageFile("JPG");
        const QSize size(48, 32);
        for (const bool readBefore : {true, false}) {
            RKExiv2Wrapper wrapper(plain);
            if (readBefore)
                QVERIFY(!RKExiv2Wrapper(poison).allData().isEmpty());
            wrapper.setTamoRating(3);
            wrapper.write(Field::exifImageDescription, u"text"_s);
            wrapper.updateFaces(
                size, RKFacePositions(size, QRect(0, 0, 9, 9), faceDetectionEngineHP));
            if (!readBefore)
                QVERIFY(!RKExiv2Wrapper(poison).allData().isEmpty());
            QBuffer buffer;
            buffer.setData(plain);
            QVERIFY(wrapper.save(&buffer));

            const QByteArray& file = buffer.data();
            QVERIFY(file.contains("xmlns:dc=\"http://purl.org/dc/elements/1.1/\""));
            QVERIFY(file.contains("xmlns:TAMO=\"namespaceTAMO/\""));
            QVERIFY(file.contains("mwg-rs:Regions"));
            QVERIFY(!file.contains("xx/elements"));
            QVERIFY(!file.contains("anotherNamespa"));
            QVERIFY(!file.contains("mwg_rs"));
            const RKExiv2Wrapper read(file);
            QCOMPARE(read.tamoRating(), 3);
            QCOMPARE(read.numberOfRegions(), 1);
            QCOMPARE(read.read(Field::exifImageDescription), u"text"_s);
        }
    }

    void linksAndModeStay()
    {
        const OpenDir dir;
        const QString path = dir.filePath(u"file.jpg"_s);
        const QString symbolic = dir.filePath(u"symbolic.jpg"_s);
        const QString hard = dir.filePath(u"hard.jpg"_s);
        write(path, ratedFile("JPG"));
        QVERIFY(setMode(path, 0640));
        QVERIFY(QFile::link(path, symbolic));
        QVERIFY(rate(symbolic, 2));
        QVERIFY(QFileInfo(symbolic).isSymLink());
        QCOMPARE(RKExiv2Wrapper(path).adobeRating(), 2);
        QCOMPARE(status(path).st_mode & 07777, mode_t(0640));

        QCOMPARE(
            ::link(QFile::encodeName(path).constData(), QFile::encodeName(hard).constData()), 0);
        QVERIFY(rate(path, 3));
        QCOMPARE(RKExiv2Wrapper(hard).adobeRating(), 3);
        QCOMPARE(status(hard).st_ino, status(path).st_ino);
    }

    void processesKeepEachOthersValues()
    {
        const OpenDir dir;
        const QString path = dir.filePath(u"file.jpg"_s);
        write(path, ratedFile("JPG"));
        std::array<QProcess, std::size(kSharedFields)> children;
        for (size_t i = 0; i < children.size(); ++i)
            RKChildProcess::start(children[i], u"%1 "_s.arg(i) + path);
        for (QProcess& child : children) {
            QVERIFY(child.waitForFinished(100000));
            QVERIFY2(child.exitCode() == 0, child.readAllStandardError().constData());
        }
        const RKExiv2Wrapper last{QFileInfo(path)};
        for (const Field field : kSharedFields)
            QCOMPARE(last.read(field), QString::number(kSharedSaves));
        QCOMPARE(dir.entries().size(), 1);
    }
};

int main(int argc, char** argv)
{
    return RKChildProcess::main<QGuiApplication, RKExiv2WrapperSaveTest>(argc, argv, runAsChild);
}

#include "RKExiv2WrapperSaveTest.moc"
