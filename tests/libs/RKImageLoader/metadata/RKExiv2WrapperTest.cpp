#include "RKImageLoader/metadata/RKExiv2Wrapper.h"

#include "RKImageLoader/faces/RKFacePositions.h"
#include "RKImageLoader/metadata/RKMetaDataField.h"
#include "RKMetadataFixtures.h"

#include <QColorSpace>
#include <QTemporaryDir>
#include <QTest>

#include <limits>

using namespace RKMetadataFixtures;
using Field = RKMetaDataFieldEnum;

namespace {

void addIptc(Exiv2::IptcData& data, const char* key, const char* text)
{
    const Exiv2::IptcKey iptcKey(key);
    const auto value = RKExiv2Compat::makeValue(
        Exiv2::IptcDataSets::dataSetType(iptcKey.tag(), iptcKey.record()));
    value->read(text);
    data.add(iptcKey, value.get());
}

RKExiv2Wrapper wrapperWith(const QList<QPair<const char*, const char*>>& values)
{
    return RKExiv2Wrapper(withMetadata(imageFile("JPG"), [&values](Exiv2::Image& image) {
        for (const auto& [key, value] : values) {
            const QByteArray name(key);
            // The tags' own type has neither negative nor large numbers.
            if (name.startsWith("Exif.Image.Rating"))
                image.exifData()[key] = static_cast<int32_t>(QByteArray(value).toInt());
            else if (name.startsWith("Exif"))
                image.exifData()[key] = std::string(value);
            else if (name.startsWith("Xmp"))
                image.xmpData()[key] = std::string(value);
            else
                addIptc(image.iptcData(), key, value);
        }
    }));
}

QByteArray sample(const char* name)
{
    QFile file(QStringLiteral(RK_SAMPLES "/") + QLatin1String(name));
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

} // namespace

class RKExiv2WrapperTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:

    void init()
    {
        QTest::failOnWarning(QRegularExpression(QStringLiteral(".*")));
    }

    void foreignDataAreSilent()
    {
        // exiv2 would read all but the first with its readers of videos.
        const QByteArray starts[] = {QByteArray("no image at all"),
            QByteArray("RIFF\xff\xff\xff\x7f"
                       "AVI LIST"),
            QByteArray("\0\0\0\x18"
                       "ftypisom\0\0\0\0mp41avc1",
                24),
            QByteArray("\0\0\0\x14"
                       "ftypqt  \0\0\0\0qt  ",
                20),
            QByteArray("\x1a\x45\xdf\xa3")};
        for (const QByteArray& start : starts) {
            const RKExiv2Wrapper wrapper(QByteArray(start + QByteArray(200, '.')));
            QCOMPARE(wrapper.unrotatedSize(), QSize(-1, -1));
            QCOMPARE(wrapper.imageOrientation(), RKImageOrientation(0));
        }
    }

    void damagedImagesAreLogged()
    {
        const QString where = QStringLiteral(
            "^RKExiv2WrapperImpl::RKExiv2WrapperImpl\\(const %1\\) caught exception "
            "with errorCode=\\d+ msg=.+");
        const QByteArray damaged = imageFile("PNG").left(60);
        QTest::ignoreMessage(
            QtWarningMsg, QRegularExpression(where.arg(QStringLiteral("QByteArray &"))));
        QCOMPARE(RKExiv2Wrapper(damaged).unrotatedSize(), QSize(-1, -1));

        const QTemporaryDir dir;
        const QString missing = dir.filePath(QStringLiteral("%1 missing.jpg"));
        QTest::ignoreMessage(QtWarningMsg,
            QRegularExpression(
                where.arg(QStringLiteral("QString &")) + QStringLiteral("%1 missing\\.jpg")));
        QCOMPARE(RKExiv2Wrapper(QFileInfo(missing)).unrotatedSize(), QSize(-1, -1));
    }

    void pathsAreNoUrls()
    {
        // "-" would be the standard input, and the others would be asked from elsewhere.
        for (const char* path : {"-", "http://localhost:9/a.jpg", "data:image/jpeg;base64,AAAA"}) {
            QTest::ignoreMessage(
                QtWarningMsg, QRegularExpression(QStringLiteral("errorCode=\\d+")));
            QVERIFY(RKExiv2Wrapper(QString::fromLatin1(path)).allData().isEmpty());
        }
    }

    void sizeIsThatOfTheStoredPicture()
    {
        const QSize size(47, 33);
        for (const char* format : {"JPG", "PNG", "BMP", "TIFF"}) {
            const QByteArray file = imageFile(format, size);
            if (!file.isEmpty())
                QCOMPARE(RKExiv2Wrapper(file).unrotatedSize(), size);
        }
        // Rows from the top down give a negative height.
        QByteArray bitmap = imageFile("BMP", size);
        qToLittleEndian<qint32>(-size.height(), bitmap.data() + 22);
        QCOMPARE(RKExiv2Wrapper(bitmap).unrotatedSize(), size);
        qToLittleEndian(std::numeric_limits<qint32>::min(), bitmap.data() + 22);
        QVERIFY(RKExiv2Wrapper(bitmap).unrotatedSize().height() >= 0);

        RKExiv2Wrapper forced;
        forced.forceSetSize(QSize(3, 4));
        QCOMPARE(forced.unrotatedSize(), QSize(3, 4));

        // A size that exiv2 mistakes, because it stops before: a quarter turn of it is asked
        // elsewhere.
        QCOMPARE(
            RKExiv2Wrapper(imageFile("PNG", QSize(20001, 2))).unrotatedSize(), QSize(20001, 2));
    }

    void picturesInBoxesAreUpright()
    {
        for (const char* name : {"heic/orientation6.heic", "heic/iPhone_7_portrait_o8.heic"}) {
            const QByteArray file = sample(name);
            if (file.isEmpty())
                QSKIP("The samples are missing.");
            const RKExiv2Wrapper wrapper(file);
            QCOMPARE(wrapper.imageOrientation(), ORIENTATION_TOP_LEFT);
            QVERIFY(!wrapper.imageIsTiltedByMetadata());
            QVERIFY(wrapper.unrotatedSize().isValid());
            const QHash<QString, QString> all = wrapper.allData();
            QVERIFY(!all.isEmpty() && !all.contains(QStringLiteral("Exif.Image.Orientation")));
            QVERIFY(!all.contains(QStringLiteral("Xmp.tiff.Orientation")));
        }
    }

    void firstValidDateWins()
    {
        const QPair<const char*, const char*> exif{
            "Exif.Photo.DateTimeOriginal", "2001:02:03 04:05:06"};
        const QPair<const char*, const char*> unset{
            "Exif.Photo.DateTimeOriginal", "0000:00:00 00:00:00"};
        const QPair<const char*, const char*> xmp{
            "Xmp.exif.DateTimeOriginal", "2002-02-03T04:05:06Z"};
        const QPair<const char*, const char*> date{"Iptc.Application2.DateCreated", "2003-02-03"};

        QCOMPARE(wrapperWith({exif, xmp, date}).pictureTaken(),
            QDateTime(QDate(2001, 2, 3), QTime(4, 5, 6)));
        const QDateTime inXmp(QDate(2002, 2, 3), QTime(4, 5, 6), Qt::UTC);
        QCOMPARE(wrapperWith({unset, xmp, date}).pictureTaken(), inXmp);
        QCOMPARE(wrapperWith({xmp}).pictureTaken().timeSpec(), Qt::LocalTime);
        QCOMPARE(wrapperWith({unset, date}).pictureTaken(), QDate(2003, 2, 3).startOfDay());

        RKExiv2Wrapper wrapper;
        const QDateTime now(QDate(2024, 2, 29), QTime(12, 30));
        wrapper.setPictureTaken(now);
        QCOMPARE(wrapper.pictureTaken(), now);
        QVERIFY(!wrapper.allData().contains(QStringLiteral("Xmp.exif.DateTimeOriginal")));
        QCOMPARE(wrapper.allData().value(QStringLiteral("Iptc.Application2.DateCreated")),
            QStringLiteral("2024-02-29"));
    }

    void quarterTurnsFollowTheOrientation()
    {
        struct Row
        {
            int orientation;
            int clockwise;
            int counterClockwise;
        };

        constexpr Row rows[] = {{0, 6, 8},
            {1, 6, 8},
            {2, 2, 2},
            {3, 8, 6},
            {4, 4, 4},
            {5, 5, 5},
            {6, 3, 1},
            {7, 7, 7},
            {8, 1, 3},
            {9, 9, 9}};
        for (const Row& row : rows) {
            for (const bool clockwise : {true, false}) {
                RKExiv2Wrapper wrapper;
                wrapper.setImageOrientation(RKImageOrientation(row.orientation));
                wrapper.rotate(clockwise);
                const int expected = clockwise ? row.clockwise : row.counterClockwise;
                QCOMPARE(int(wrapper.imageOrientation()), expected);
                QCOMPARE(wrapper.allData().value(QStringLiteral("Xmp.tiff.Orientation")).toInt(),
                    expected);
                QCOMPARE(wrapper.imageIsTiltedByMetadata(), expected >= 5 && expected <= 8);
            }
        }
    }

    void ratingsComeFromXmpThenExif()
    {
        const char* const keys[]
            = {"Xmp.xmp.Rating", "Exif.Image.Rating", "Exif.Image.RatingPercent"};

        struct Row
        {
            const char* texts[3]; // of the keys, null without one
            int rating;
        };

        constexpr Row rows[] = {
            {{"0", "4", "99"}, 0},
            {{"-1", "4", nullptr}, 4},
            {{nullptr, "3", nullptr}, 3},
            {{nullptr, nullptr, "50"}, 0},
            {{"17", nullptr, nullptr}, 5},
            {{nullptr, "-1", "74"}, 3},
            {{nullptr, "-1", "2147483647"}, 5},
            {{"3.0", nullptr, nullptr}, 3},
        };
        for (const Row& row : rows) {
            QList<QPair<const char*, const char*>> values;
            for (int i = 0; i < 3; ++i) {
                if (row.texts[i])
                    values.emplaceBack(keys[i], row.texts[i]);
            }
            QCOMPARE(wrapperWith(values).adobeRating(), row.rating);
        }
    }

    void ratingsAreLimitedAndWrittenFourTimes()
    {
        struct Row
        {
            int rating;
            int stored;
            int percent;
        };

        constexpr Row rows[] = {{-3, 0, 0},
            {0, 0, 0},
            {1, 1, 1},
            {2, 2, 25},
            {3, 3, 50},
            {4, 4, 75},
            {5, 5, 99},
            {7, 5, 99}};
        for (const Row& row : rows) {
            RKExiv2Wrapper wrapper;
            wrapper.setAdobeRating(row.rating);
            wrapper.setTamoRating(row.rating);
            QCOMPARE(wrapper.adobeRating(), row.stored);
            QCOMPARE(wrapper.tamoRating(), row.stored);
            const QString stored = QString::number(row.stored);
            const QString percent = QString::number(row.percent);
            const QHash<QString, QString> expected{{QStringLiteral("Xmp.xmp.Rating"), stored},
                {QStringLiteral("Exif.Image.Rating"), stored},
                {QStringLiteral("Exif.Image.RatingPercent"), percent},
                {QStringLiteral("Xmp.MicrosoftPhoto.Rating"), percent},
                {QStringLiteral("Xmp.TAMO.Rating"), stored}};
            QCOMPARE(wrapper.allData(), expected);
        }
    }

    void fieldsTakeTheFirstTextOfTheirKeys()
    {
        struct Row
        {
            Field field;
            QList<QPair<const char*, const char*>> values;
            const char* text;
        };

        const Row rows[] = {
            {Field::originalFilename,
                {{"Xmp.dc.title", "in XMP"}, {"Iptc.Application2.Caption", "in IPTC"}},
                "in IPTC"},
            {Field::originalFilename, {{"Xmp.dc.title", "lang=x-default Zürich"}}, "Zürich"},
            // Nothing but a marker is nothing; nothing but blanks ends the search.
            {Field::exifUserComment,
                {{"Xmp.exif.UserComment", "lang=x-default "},
                    {"Exif.Photo.UserComment", "charset=Ascii "}},
                ""},
            {Field::exifUserComment,
                {{"Exif.Photo.UserComment", "charset=Ascii   "}, {"Xmp.exif.UserComment", "next"}},
                "next"},
            {Field::copyright,
                {{"Exif.Image.Copyright", "   "}, {"Xmp.xmpRights.Owner", "owner"}},
                ""},
            {Field::exifUserComment,
                {{"Exif.Photo.UserComment", "charset=Unicode Grüße"}},
                "Grüße"},
            {Field::author, {{"Exif.Image.Artist", "charset=Ascii is me"}}, "charset=Ascii is me"},
            {Field::author, {{"Exif.Image.Artist", "charset=\"x\" me"}}, "me"},
            {Field::exifMake, {{"Exif.Image.Make", " maker\t "}}, "maker"},
            {Field::keywords,
                {{"Iptc.Application2.Keywords", "a"}, {"Iptc.Application2.Keywords", "b c"}},
                "a, b c"},
            {Field::exifSoftware, {{"Xmp.dc.creator", "me"}}, "me"},
            {Field::rating, {{"Exif.Image.Rating", "3"}}, ""},
        };
        for (const Row& row : rows) {
            QCOMPARE(wrapperWith(row.values).read(RKMetaDataField(row.field)),
                QString::fromUtf8(row.text));
        }
    }

    void profileReplacesTheColorHints()
    {
        RKExiv2Wrapper wrapper = wrapperWith(
            {{"Exif.Iop.InteroperabilityIndex", "R03"}, {"Exif.Photo.ColorSpace", "65535"}});
        QVERIFY(wrapper.isAdobeRGB());
        QVERIFY(wrapper.hasIccData());
        QVERIFY(wrapper.iccData().isEmpty());

        const QByteArray profile = QColorSpace(QColorSpace::DisplayP3).iccProfile();
        wrapper.setIccData(profile);
        QVERIFY(!wrapper.isAdobeRGB());
        QVERIFY(wrapper.hasIccData());
        QCOMPARE(wrapper.iccData(), profile);
        QVERIFY(!wrapper.allData().contains(QStringLiteral("Exif.Photo.ColorSpace")));
        wrapper.setIccData(QByteArray());
        QVERIFY(!wrapper.hasIccData());
    }

    void facesOfTheCameraGiveWayToRegions()
    {
        using Records = QList<QPair<const char*, const char*>>;
        const auto fileOf = [](const char* maker, const Records& records) {
            return withMetadata(imageFile("JPG"), [&](Exiv2::Image& image) {
                image.exifData()["Exif.Image.Make"] = std::string(maker);
                for (const auto& [key, text] : records) {
                    Exiv2::UShortValue record;
                    record.read(text);
                    image.exifData().add(Exiv2::ExifKey(key), &record);
                }
            });
        };
        const RKExiv2Wrapper fujifilm(fileOf(
            "FUJIFILM", {{"Exif.Fujifilm.0x4100", "1"}, {"Exif.Fujifilm.0x4103", "10 5 29 14"}}));
        QCOMPARE(fujifilm.facePositions().rects(fujifilm.unrotatedSize()),
            QList<QRect>{QRect(10, 5, 20, 10)});

        const QByteArray file
            = fileOf("Canon", {{"Exif.Canon.0x0024", "156 35 1 320 240 1 1 16 0 0"}});
        RKExiv2Wrapper wrapper(file);
        QCOMPARE(wrapper.facePositions().count(), 1);
        QCOMPARE(wrapper.facePositions().faceDetectionEngineTypes().first(),
            faceDetectionEngineExifCanon);
        QVERIFY(!wrapper.regionFacePositions().isSurveyComplete());
        QCOMPARE(wrapper.regionImageSize(), QSize());

        const QSize size = wrapper.unrotatedSize();
        const RKFacePositions faces(
            size, {QRect(0, 0, 12, 8), QRect(24, 16, 12, 8)}, QList<RKFaceDetectionEngineType>());
        QVERIFY(wrapper.updateFaces(size, faces));
        QCOMPARE(wrapper.numberOfRegions(), 2);
        QCOMPARE(wrapper.regionImageSize(), size);
        QCOMPARE(wrapper.facePositions().rects(size), faces.rects(size));
        QVERIFY(!wrapper.updateFaces(size, RKFacePositions()));
        QVERIFY(wrapper.removeFaceRegions());
        QCOMPARE(wrapper.facePositions().count(), 1);
    }
};

QTEST_MAIN(RKExiv2WrapperTest)
#include "RKExiv2WrapperTest.moc"
