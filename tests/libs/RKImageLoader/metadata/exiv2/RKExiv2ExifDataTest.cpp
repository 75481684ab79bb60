#include "RKImageLoader/metadata/exiv2/RKExiv2ExifData_p.h"
#include "support/RKMetadataFixtures.h"
#include "support/RKQuietTest.h"

using namespace RKMetadataFixtures;
using namespace Qt::StringLiterals;

namespace {

const QString kTooLarge = u" exifData is to large. Deleting the exifData key "_s;

RKExiv2ExifData exifOf(const Exiv2::ExifData& data)
{
    RKExiv2ImagePtr image(Exiv2::ImageFactory::create(Exiv2::ImageType::jpeg).release());
    image->setExifData(data);
    return RKExiv2ExifData(image);
}

Exiv2::ExifData merged(const RKExiv2ExifData& exif)
{
    Exiv2::ExifData data;
    exif.mergeInto(data);
    return data;
}

void add(Exiv2::ExifData& data, const char* key, Exiv2::TypeId type, const std::string& text)
{
    const auto value = RKExiv2Compat::makeValue(type);
    value->read(text);
    data.add(Exiv2::ExifKey(key), value.get());
}

Exiv2::ExifData dataWith(const char* key, Exiv2::TypeId type, const std::string& text)
{
    Exiv2::ExifData data;
    add(data, key, type, text);
    return data;
}

/// A value of the size in bytes that no other value equals.
std::string bytesText(int size, int seed)
{
    std::string text;
    for (int i = 0; i < size; ++i)
        text += (i > 0 ? " " : "") + std::to_string((i * 31 + seed) % 256);
    return text;
}

const char* const kCanonFaces = "Exif.Canon.0x0024";

// The record of a PowerShot A560 that saw four faces.
const std::string kA560 = "156 35 4 320 240 1 1 16 65504 65487 65435 65511 48 65478 101 65480"
                          " 0 0 0 0 0 0 0 0 0 0 0 0 0 0 0 0 0 0 0 0 0 0 0 0 0 0 0 0 0 0 0 0 0 0 0 0"
                          " 0 0 0 0 0 0 0 0 0 0 0 0 0 0 0 0 0 0 0 0 0 0 0 0 0 0";

} // namespace

class RKExiv2ExifDataTest : public RKQuietTest
{
    Q_OBJECT

private Q_SLOTS:

    void integersKeepTheTypeOfTheirTag()
    {
        const std::tuple<const char*, QList<int>, Exiv2::TypeId> rows[] = {
            {"Exif.Image.Rating", {-1}, Exiv2::signedLong},
            {"Exif.Photo.Flash", {65535}, Exiv2::unsignedShort},
            {"Exif.Photo.Flash", {65536}, Exiv2::signedLong},
            {"Exif.Image.ImageWidth", {70000}, Exiv2::unsignedLong},
            // A tag of text.
            {"Exif.Fujifilm.0x4103", {1, 2, 3, 4}, Exiv2::unsignedShort},
            {"Exif.Fujifilm.0x4103", {1, 70000}, Exiv2::signedLong},
        };
        for (const auto& [key, values, type] : rows) {
            RKExiv2ExifData exif;
            exif.setIntList(key, values);
            QCOMPARE(exif.readIntList(key), values);
            QCOMPARE(int(exif.findKey(key)->typeId()), int(type));

            exif.setIntList(key, {});
            QVERIFY(merged(exif).empty());
        }
    }

    void textThatDoesNotParseChangesNothing()
    {
        RKExiv2ExifData exif;
        QTest::ignoreMessage(QtWarningMsg, "Exif.Image.Orientation abc does not work");
        exif.setString("Exif.Image.Orientation", u"abc"_s);
        QVERIFY(merged(exif).empty());

        exif.setRotation(ORIENTATION_RIGHT_TOP);
        QTest::ignoreMessage(QtWarningMsg, "Exif.Image.Orientation  does not work");
        exif.setString("Exif.Image.Orientation", QString());
        QCOMPARE(exif.readRotation(), 6);

        QTest::ignoreMessage(QtWarningMsg, QRegularExpression(u"caught exception .*NoSuchTag"_s));
        exif.setString("Exif.Image.NoSuchTag", u"%1"_s);
        QCOMPARE(merged(exif).count(), 1);
    }

    void datesReadInAnySpelling()
    {
        const QDateTime noon(QDate(2021, 7, 4), QTime(12, 30));
        const QList<QPair<const char*, QDateTime>> spellings{
            {"2021:07:04 12:30:00", noon},
            {"2021:07:04 12:30:00 ", noon},
            {"2021.07.04 12:30:00", noon},
            {"2021:07:04 12:30:00.250", noon.addMSecs(250)},
            {"2021:07:04 12:30:00Z", noon}, // local all the same
            {"0000:00:00 00:00:00", QDateTime()},
            {"    :  :     :  :  ", QDateTime()},
        };
        for (const auto& [text, dateTime] : spellings) {
            RKExiv2ExifData exif;
            exif.setString("Exif.Photo.DateTimeOriginal", QLatin1String(text));
            const QDateTime read = exif.dateTime("Exif.Photo.DateTimeOriginal");
            QCOMPARE(read, dateTime);
            QCOMPARE(read.timeSpec(), Qt::LocalTime);
        }
    }

    void arcsOfOtherWritersAreRead()
    {
        const double none = qQNaN();
        const std::tuple<Exiv2::TypeId, const char*, const char*, double> rows[] = {
            {Exiv2::unsignedRational, "48/1 51/1 36/1", "N", 48.86},
            {Exiv2::unsignedRational, "48/1 51/1 36/1", "South", -48.86},
            {Exiv2::unsignedRational, "48/1 516/10 0/1", "N", 48.86},
            {Exiv2::signedRational, "48/1 51/1 36/1", "N", 48.86},
            {Exiv2::unsignedRational, "48/1 51/1 0/0", "N", none},
            {Exiv2::unsignedRational, "48/1 51/1", "N", none},
            {Exiv2::unsignedRational, "4294967295/1 0/1 0/1", "N", none},
            {Exiv2::unsignedShort, "48 51 36", "N", none},
            {Exiv2::asciiString, "48.86", "N", none},
        };
        for (const auto& [type, arc, ref, degrees] : rows) {
            Exiv2::ExifData data = dataWith("Exif.GPSInfo.GPSLatitude", type, arc);
            add(data, "Exif.GPSInfo.GPSLatitudeRef", Exiv2::asciiString, ref);
            QVERIFY(!exifOf(data).geoPosition().isValid());
            add(data, "Exif.GPSInfo.GPSLongitude", Exiv2::unsignedRational, "180/1 0/1 0/1");
            const RKGeoPosition position = exifOf(data).geoPosition();
            QCOMPARE(position.isValid(), !qIsNaN(degrees));
            if (position.isValid())
                QCOMPARE(position.latitude().degrees(), degrees);
        }
    }

    void makerNotesAloneAreRemoved()
    {
        Exiv2::ExifData data = dataWith("Exif.Image.Make", Exiv2::asciiString, "Canon");
        add(data, "Exif.Photo.MakerNote", Exiv2::undefined, "1 2");
        add(data, kCanonFaces, Exiv2::unsignedShort, kA560);
        RKExiv2ExifData exif = exifOf(data);
        exif.removeMakerNote();
        QCOMPARE(exif.allData().keys(), QStringList{u"Exif.Image.Make"_s});
    }

    void canonFacesAreCentres()
    {
        const RKFacePositions faces
            = exifOf(dataWith(kCanonFaces, Exiv2::unsignedShort, kA560)).facePositions(QSize());
        QVERIFY(faces.isSurveyComplete());
        QCOMPARE(faces.rects(QSize(3200, 2400)),
            (QList<QRect>{{1120, 590, 320, 240},
                {430, 830, 320, 240},
                {1920, 500, 320, 240},
                {2450, 520, 320, 240}}));
        QCOMPARE(faces.faceDetectionEngineTypes().first(), faceDetectionEngineExifCanon);
        const Exiv2::ExifData shortest
            = dataWith(kCanonFaces, Exiv2::unsignedShort, "156 35 1 320 240 1 1 16 0 0");
        QCOMPARE(
            exifOf(shortest).facePositions(QSize()).centers({320, 240}).value(0), QPoint(160, 120));

        const QList<QPair<Exiv2::TypeId, std::string>> others{
            {Exiv2::unsignedShort, "156 35 10" + kA560.substr(8)}, // more than there are places
            {Exiv2::unsignedShort, "156 35 0 320 240 1 1 16 0 0"},
            {Exiv2::unsignedShort, "156 35 1 320 240 1 1 16 0"}, // too short for its number
            {Exiv2::unsignedShort, "156 35 1 0 240 1 1 16 0 0"},
            {Exiv2::unsignedShort, "156 35 1 320"},
            {Exiv2::unsignedShort, "156 35 1 320 240 1 1 16 160 0"}, // outside
            {Exiv2::asciiString, "156 35 1 320 240 1 1 16 0 0"},
        };
        for (const auto& [type, record] : others) {
            const RKFacePositions none
                = exifOf(dataWith(kCanonFaces, type, record)).facePositions(QSize(100, 100));
            QVERIFY2(none.isEmpty() && !none.isSurveyComplete(), record.c_str());
        }
    }

    void fujifilmFacesAreRectangles()
    {
        // The number counts one more than there are places; three of the five are no faces.
        Exiv2::ExifData data = dataWith("Exif.Fujifilm.0x4100", Exiv2::unsignedShort, "6");
        add(data,
            "Exif.Fujifilm.0x4103",
            Exiv2::unsignedShort,
            "100 50 299 149  0 0 0 0  900 0 1000 100  300 200 200 300  0 0 999 499  7 7 7");
        add(data, kCanonFaces, Exiv2::unsignedShort, kA560);
        const RKExiv2ExifData exif = exifOf(data);

        const RKFacePositions faces = exif.facePositions(QSize(1000, 500));
        QCOMPARE(
            faces.rects(QSize(1000, 500)), (QList<QRect>{{100, 50, 200, 100}, {0, 0, 1000, 500}}));
        QCOMPARE(faces.faceDetectionEngineTypes().first(), faceDetectionEngineExifFuji);

        // The size is not known: the rectangles cannot be placed.
        QCOMPARE(exif.facePositions(QSize()).count(), 4);
    }

    void repeatedKeysStayApart()
    {
        Exiv2::ExifData data;
        for (const char* text : {"a", "b", "c"})
            add(data, "Exif.Image.Artist", Exiv2::asciiString, text);
        const RKExiv2ExifData exif = exifOf(data);

        Exiv2::ExifData target = dataWith("Exif.Image.Artist", Exiv2::asciiString, "old");
        add(target, "Exif.Image.Make", Exiv2::asciiString, "maker");
        add(target, "Exif.Image.Artist", Exiv2::asciiString, "old too");
        exif.mergeInto(target);

        QStringList texts;
        for (const Exiv2::Exifdatum& datum : target)
            texts.append(QString::fromStdString(datum.toString()));
        QCOMPARE(texts, QStringList({u"a"_s, u"maker"_s, u"b"_s, u"c"_s}));
    }

    void profileKeysGoFirstWhenTooLarge()
    {
        const QByteArray file = imageFile("JPG");
        RKExiv2ImagePtr image = open(file);
        // exiv2 leaves out single tags above 20480 bytes by itself.
        Exiv2::ExifData data
            = dataWith("Exif.Image.AsShotICCProfile", Exiv2::undefined, bytesText(15000, 1));
        add(data, "Exif.Image.CurrentICCProfile", Exiv2::undefined, bytesText(15000, 2));
        add(data, "Exif.Image.InterColorProfile", Exiv2::undefined, bytesText(15000, 3));
        add(data, "Exif.Image.XPComment", Exiv2::unsignedByte, bytesText(20000, 4));
        add(data, "Exif.Image.XPTitle", Exiv2::unsignedByte, bytesText(18000, 5));

        QTest::ignoreMessage(
            QtWarningMsg, qPrintable(kTooLarge + u"Exif.Image.InterColorProfile"_s));
        QTest::ignoreMessage(
            QtWarningMsg, qPrintable(kTooLarge + u"Exif.Image.CurrentICCProfile"_s));
        QVERIFY(exifOf(data).mergeTo(image));
        QCOMPARE(image->exifData().count(), 3);
        QVERIFY(!textOf(image->exifData(), "Exif.Image.AsShotICCProfile").isEmpty());
    }

    void largestDataGoNextWhenTooLarge()
    {
        // 65526 bytes pass, and encoded sizes are even: one more entry of two bytes is too much.
        const RKExiv2ExifData measure;
        Exiv2::ExifData data
            = dataWith("Exif.Image.XPTitle", Exiv2::unsignedByte, bytesText(20000, 1));
        add(data, "Exif.Image.XPComment", Exiv2::unsignedByte, bytesText(20000, 2));
        add(data, "Exif.Image.XPAuthor", Exiv2::unsignedByte, bytesText(20000, 3));
        const quint32 size = measure.exifDataSize(data) - 8;
        const int rest = 65526 - int(size) - 12;
        Exiv2::ExifData exact = data;
        add(exact, "Exif.Image.XPSubject", Exiv2::unsignedByte, bytesText(rest, 4));
        QCOMPARE(measure.exifDataSize(exact), 65526u + 8);

        const QByteArray file = imageFile("JPG");
        RKExiv2ImagePtr image = open(file);
        QVERIFY(exifOf(exact).mergeTo(image));
        QCOMPARE(image->exifData().count(), 4);
        const QByteArray written = write(*image);
        QCOMPARE(open(written)->exifData().count(), 4);

        // Of the three largest ones, equal in size, the last goes.
        add(data, "Exif.Image.XPSubject", Exiv2::unsignedByte, bytesText(rest + 2, 4));
        RKExiv2ImagePtr other = open(file);
        QTest::ignoreMessage(QtWarningMsg, qPrintable(kTooLarge + u"Exif.Image.XPAuthor"_s));
        QVERIFY(exifOf(data).mergeTo(other));
        QCOMPARE(other->exifData().count(), 3);
    }

    void pagesOfATiffAreNoThumbnails()
    {
        const QByteArray file = tiffOfPages(2);
        RKExiv2ImagePtr image = open(file);
        QVERIFY(!textOf(image->exifData(), "Exif.Thumbnail.StripOffsets").isEmpty());
        const qsizetype before = image->exifData().count();

        RKExiv2ExifData exif(image);
        QVERIFY(exif.thumbnail().isNull());
        exif.eraseThumbnail();
        exif.writeThumbnail(imageFile("JPG", QSize(16, 12)));
        QVERIFY(!exif.thumbnail().isNull());

        // The page stays as it is, and it does not become another file's thumbnail.
        QVERIFY(exif.mergeTo(image));
        QCOMPARE(image->exifData().count(), before);
        QVERIFY(textOf(image->exifData(), "Exif.Thumbnail.JPEGInterchangeFormat").isEmpty());
        const QByteArray jpeg = imageFile("JPG");
        RKExiv2ImagePtr other = open(jpeg);
        QVERIFY(RKExiv2ExifData(open(file)).mergeTo(other));
        QVERIFY(RKExiv2ExifData(other).thumbnail().isNull());
        QVERIFY(exif.mergeTo(other));
        QVERIFY(!RKExiv2ExifData(other).thumbnail().isNull());
    }

    void pixelsOfATiffKeepTheirTags()
    {
        const QByteArray file = tiffOfPages(3);
        RKExiv2ImagePtr image = open(file);
        const Exiv2::ExifData before = image->exifData();

        Exiv2::ExifData data = dataWith("Exif.Image.Make", Exiv2::asciiString, "maker");
        // All of TIFF 6.0, its notes and TIFF/EP.
        for (const QByteArray& name :
            QByteArray(
                "NewSubfileType SubfileType ImageWidth ImageLength BitsPerSample Compression "
                "PhotometricInterpretation Thresholding CellWidth CellLength FillOrder StripOffsets "
                "SamplesPerPixel RowsPerStrip StripByteCounts PlanarConfiguration GrayResponseUnit "
                "GrayResponseCurve T4Options T6Options Predictor ColorMap HalftoneHints TileWidth "
                "TileLength TileOffsets TileByteCounts InkSet ExtraSamples SampleFormat JPEGTables "
                "JPEGProc JPEGInterchangeFormat JPEGRestartInterval JPEGQTables YCbCrCoefficients "
                "YCbCrSubSampling YCbCrPositioning CFARepeatPatternDim CFAPattern")
                .split(' '))
            add(data, ("Exif.Image." + name.toStdString()).c_str(), Exiv2::unsignedLong, "4000");
        add(data, "Exif.Image2.ImageWidth", Exiv2::unsignedLong, "4000");
        add(data, "Exif.SubImage1.ImageWidth", Exiv2::unsignedLong, "4000");
        add(data, "Exif.Image.DNGVersion", Exiv2::unsignedByte, "1 4 0 0");
        QVERIFY(exifOf(data).mergeTo(image));
        QStringList added;
        for (const Exiv2::Exifdatum& datum : image->exifData()) {
            if (before.findKey(Exiv2::ExifKey(datum.key())) == before.end())
                added << QString::fromStdString(datum.key());
        }
        QCOMPARE(added.join(u' '), u"Exif.Image.Make"_s);
        for (const Exiv2::Exifdatum& datum : before)
            QCOMPARE(textOf(image->exifData(), datum.key().c_str()),
                QString::fromStdString(datum.toString()));
    }
};

QTEST_GUILESS_MAIN(RKExiv2ExifDataTest)
#include "RKExiv2ExifDataTest.moc"
