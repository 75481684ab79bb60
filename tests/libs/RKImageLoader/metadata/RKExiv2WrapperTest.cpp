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
            if (name.startsWith("Exif"))
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
    void init();

    void nothingGivesNothingSilently();
    void foreignDataAreSilent_data();
    void foreignDataAreSilent();
    void damagedImagesAreLogged();
    void pathsAreNoUrls();
    void sizeIsThatOfTheStoredPicture();
    void picturesInBoxesAreUpright_data();
    void picturesInBoxesAreUpright();

    void copiesShareUntilOneChanges();
    void quarterTurnsGoRound_data();
    void quarterTurnsGoRound();
    void firstValidDateWins();
    void zoomIsAtLeastOne_data();
    void zoomIsAtLeastOne();
    void ratingsComeFromXmpThenExif_data();
    void ratingsComeFromXmpThenExif();
    void ratingsAreLimitedAndWrittenFourTimes_data();
    void ratingsAreLimitedAndWrittenFourTimes();
    void ownPropertiesKeepTheirNumbers();
    void exportDateIsReadAsThirtyTwoBits_data();
    void exportDateIsReadAsThirtyTwoBits();
    void filmStripNeedsTheExactText();

    void fieldsTakeTheFirstTextOfTheirKeys_data();
    void fieldsTakeTheFirstTextOfTheirKeys();
    void windowsTextsAreDecoded();
    void fieldsAreWrittenToAllTheirKeys();
    void profileReplacesTheColorHints();
    void facesOfTheCameraGiveWayToRegions();
    void allFamiliesAreListed();
};

void RKExiv2WrapperTest::init()
{
    QTest::failOnWarning(QRegularExpression(QStringLiteral(".*")));
}

void RKExiv2WrapperTest::nothingGivesNothingSilently()
{
    for (const RKExiv2Wrapper& wrapper : {RKExiv2Wrapper(), RKExiv2Wrapper(QByteArray())}) {
        QCOMPARE(wrapper.unrotatedSize(), QSize(-1, -1));
        QCOMPARE(wrapper.imageOrientation(), RKImageOrientation(0));
        QVERIFY(!wrapper.pictureTaken().isValid());
        QVERIFY(!wrapper.geoPosition().isValid());
        QCOMPARE(wrapper.adobeRating(), 0);
        QVERIFY(wrapper.allData().isEmpty());
        QVERIFY(wrapper.thumbnail().isNull());
        QCOMPARE(wrapper.numberOfRegions(), 0);
        QVERIFY(!wrapper.facePositions().isSurveyComplete());
    }
    QCOMPARE(RKExiv2Wrapper::copyright(), QStringLiteral("exiv2 0.26 © 2004-2018 Andreas Huggel"));
}

void RKExiv2WrapperTest::foreignDataAreSilent_data()
{
    QTest::addColumn<QByteArray>("data");

    const QByteArray padding(200, '.');
    QTest::newRow("text") << QByteArray(QByteArray("no image at all") + padding);
    // exiv2 would read these with its readers of videos.
    QTest::newRow("AVI") << QByteArray(QByteArray("RIFF\xff\xff\xff\x7f"
                                                  "AVI LIST")
        + padding);
    QTest::newRow("MP4") << QByteArray(QByteArray("\0\0\0\x18"
                                                  "ftypisom\0\0\0\0mp41avc1",
                                           24)
        + padding);
    QTest::newRow("QuickTime") << QByteArray(QByteArray("\0\0\0\x14"
                                                        "ftypqt  \0\0\0\0qt  ",
                                                 20)
        + padding);
    QTest::newRow("Matroska") << QByteArray(QByteArray("\x1a\x45\xdf\xa3") + padding);
}

void RKExiv2WrapperTest::foreignDataAreSilent()
{
    QFETCH(QByteArray, data);
    const RKExiv2Wrapper wrapper(data);
    QCOMPARE(wrapper.unrotatedSize(), QSize(-1, -1));
    QCOMPARE(wrapper.imageOrientation(), RKImageOrientation(0));
}

void RKExiv2WrapperTest::damagedImagesAreLogged()
{
    const QString where
        = QStringLiteral("^RKExiv2WrapperImpl::RKExiv2WrapperImpl\\(const %1\\) caught exception "
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

void RKExiv2WrapperTest::pathsAreNoUrls()
{
    // "-" would be the standard input, and the others would be asked from elsewhere.
    for (const char* path : {"-", "http://localhost:9/a.jpg", "data:image/jpeg;base64,AAAA"}) {
        QTest::ignoreMessage(QtWarningMsg, QRegularExpression(QStringLiteral("errorCode=\\d+")));
        QVERIFY(RKExiv2Wrapper(QString::fromLatin1(path)).allData().isEmpty());
    }
}

void RKExiv2WrapperTest::sizeIsThatOfTheStoredPicture()
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

    RKExiv2Wrapper forced;
    forced.forceSetSize(QSize(3, 4));
    QCOMPARE(forced.unrotatedSize(), QSize(3, 4));

    // A size that exiv2 mistakes, because it stops before: a quarter turn of it is asked elsewhere.
    QCOMPARE(RKExiv2Wrapper(imageFile("PNG", QSize(20001, 2))).unrotatedSize(), QSize(20001, 2));
}

void RKExiv2WrapperTest::picturesInBoxesAreUpright_data()
{
    QTest::addColumn<QByteArray>("name");
    for (const char* name : {"heic/orientation6.heic", "heic/iPhone_7_portrait_o8.heic"})
        QTest::newRow(name) << QByteArray(name);
}

void RKExiv2WrapperTest::picturesInBoxesAreUpright()
{
    QFETCH(QByteArray, name);
    const QByteArray file = sample(name.constData());
    if (file.isEmpty())
        QSKIP("The samples are missing.");
    const RKExiv2Wrapper wrapper(file);
    QCOMPARE(wrapper.imageOrientation(), ORIENTATION_TOP_LEFT);
    QVERIFY(!wrapper.imageIsTiltedByMetadata());
    QVERIFY(wrapper.unrotatedSize().isValid());
    QVERIFY(!wrapper.allData().contains(QStringLiteral("Exif.Image.Orientation")));
    QVERIFY(!wrapper.allData().contains(QStringLiteral("Xmp.tiff.Orientation")));
    QVERIFY(!wrapper.allData().isEmpty());
}

void RKExiv2WrapperTest::copiesShareUntilOneChanges()
{
    RKExiv2Wrapper original(imageFile("JPG"));
    original.setTamoRating(3);
    RKExiv2Wrapper copy = original;
    copy.setTamoRating(4);
    copy.setImageOrientation(ORIENTATION_RIGHT_TOP);
    copy.setIccData("profile");
    copy.forceSetSize(QSize(1, 1));

    QCOMPARE(original.tamoRating(), 3);
    QCOMPARE(original.imageOrientation(), RKImageOrientation(0));
    QVERIFY(original.iccData().isEmpty());
    QCOMPARE(original.unrotatedSize(), QSize(48, 32));
    QCOMPARE(copy.tamoRating(), 4);

    RKExiv2Wrapper moved = std::move(copy);
    QCOMPARE(moved.imageOrientation(), ORIENTATION_RIGHT_TOP);
    copy = original;
    QCOMPARE(copy.tamoRating(), 3);
}

void RKExiv2WrapperTest::quarterTurnsGoRound_data()
{
    QTest::addColumn<int>("orientation");
    QTest::addColumn<int>("clockwise");
    QTest::addColumn<int>("counterClockwise");

    QTest::newRow("none") << 0 << 6 << 8;
    QTest::newRow("1") << 1 << 6 << 8;
    QTest::newRow("3") << 3 << 8 << 6;
    QTest::newRow("6") << 6 << 3 << 1;
    QTest::newRow("8") << 8 << 1 << 3;
    for (const int mirrored : {2, 4, 5, 7, 9})
        QTest::addRow("%d", mirrored) << mirrored << mirrored << mirrored;
}

void RKExiv2WrapperTest::quarterTurnsGoRound()
{
    QFETCH(int, orientation);
    QFETCH(int, clockwise);
    QFETCH(int, counterClockwise);

    RKExiv2Wrapper wrapper;
    if (orientation != 0)
        wrapper.setImageOrientation(RKImageOrientation(orientation));
    RKExiv2Wrapper other = wrapper;
    wrapper.rotate(true);
    other.rotate(false);
    QCOMPARE(int(wrapper.imageOrientation()), clockwise);
    QCOMPARE(int(other.imageOrientation()), counterClockwise);
    QCOMPARE(wrapper.imageIsTiltedByMetadata(), clockwise >= 5 && clockwise <= 8);
    QCOMPARE(wrapper.allData().value(QStringLiteral("Xmp.tiff.Orientation")),
        QString::number(clockwise));
}

void RKExiv2WrapperTest::firstValidDateWins()
{
    const QPair<const char*, const char*> exif{
        "Exif.Photo.DateTimeOriginal", "2001:02:03 04:05:06"};
    const QPair<const char*, const char*> unset{
        "Exif.Photo.DateTimeOriginal", "0000:00:00 00:00:00"};
    const QPair<const char*, const char*> xmp{"Xmp.exif.DateTimeOriginal", "2002-02-03T04:05:06Z"};
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

void RKExiv2WrapperTest::zoomIsAtLeastOne_data()
{
    QTest::addColumn<double>("ratio");
    QTest::addColumn<QString>("stored");
    QTest::addColumn<double>("read");

    QTest::newRow("rounded") << 1.23456 << QStringLiteral("12346/10000") << 1.2346;
    QTest::newRow("below one") << 0.5 << QStringLiteral("5000/10000") << 1.0;
    QTest::newRow("no number") << qQNaN() << QStringLiteral("0/10000") << 1.0;
    QTest::newRow("infinite") << qInf() << QStringLiteral("2147483647/10000") << 214748.3647;
    QTest::newRow("negative") << -1e300 << QStringLiteral("-2147483648/10000") << 1.0;
}

void RKExiv2WrapperTest::zoomIsAtLeastOne()
{
    QFETCH(double, ratio);
    QFETCH(QString, stored);
    QFETCH(double, read);

    RKExiv2Wrapper wrapper;
    QCOMPARE(wrapper.digitalZoomRatio(), 1.0);
    wrapper.setDigitalZoomRatio(ratio);
    QCOMPARE(wrapper.allData().value(QStringLiteral("Exif.Photo.DigitalZoomRatio")), stored);
    QCOMPARE(wrapper.digitalZoomRatio(), read);
}

void RKExiv2WrapperTest::ratingsComeFromXmpThenExif_data()
{
    QTest::addColumn<QByteArray>("xmp");
    QTest::addColumn<QByteArray>("exif");
    QTest::addColumn<QByteArray>("percent");
    QTest::addColumn<int>("rating");

    QTest::newRow("XMP wins") << QByteArray("0") << QByteArray("4") << QByteArray("99") << 0;
    QTest::newRow("rejected, so Exif") << QByteArray("-1") << QByteArray("4") << QByteArray() << 4;
    QTest::newRow("Exif") << QByteArray() << QByteArray("3") << QByteArray() << 3;
    QTest::newRow("percentage alone") << QByteArray() << QByteArray() << QByteArray("50") << 0;
    QTest::newRow("too large") << QByteArray("17") << QByteArray() << QByteArray() << 5;
    QTest::newRow("with a fraction") << QByteArray("3.0") << QByteArray() << QByteArray() << 3;
}

void RKExiv2WrapperTest::ratingsComeFromXmpThenExif()
{
    QFETCH(QByteArray, xmp);
    QFETCH(QByteArray, exif);
    QFETCH(QByteArray, percent);
    QFETCH(int, rating);

    QList<QPair<const char*, const char*>> values;
    if (!xmp.isEmpty())
        values.emplaceBack("Xmp.xmp.Rating", xmp.constData());
    if (!exif.isEmpty())
        values.emplaceBack("Exif.Image.Rating", exif.constData());
    if (!percent.isEmpty())
        values.emplaceBack("Exif.Image.RatingPercent", percent.constData());
    QCOMPARE(wrapperWith(values).adobeRating(), rating);
}

void RKExiv2WrapperTest::ratingsAreLimitedAndWrittenFourTimes_data()
{
    QTest::addColumn<int>("rating");
    QTest::addColumn<int>("stored");
    QTest::addColumn<int>("percent");

    QTest::newRow("negative") << -3 << 0 << 0;
    QTest::newRow("0") << 0 << 0 << 0;
    QTest::newRow("1") << 1 << 1 << 1;
    QTest::newRow("2") << 2 << 2 << 25;
    QTest::newRow("3") << 3 << 3 << 50;
    QTest::newRow("4") << 4 << 4 << 75;
    QTest::newRow("5") << 5 << 5 << 99;
    QTest::newRow("too large") << 7 << 5 << 99;
}

void RKExiv2WrapperTest::ratingsAreLimitedAndWrittenFourTimes()
{
    QFETCH(int, rating);
    QFETCH(int, stored);
    QFETCH(int, percent);

    RKExiv2Wrapper wrapper;
    wrapper.setAdobeRating(rating);
    wrapper.setTamoRating(rating);
    QCOMPARE(wrapper.adobeRating(), stored);
    QCOMPARE(wrapper.tamoRating(), stored);
    const QHash<QString, QString> expected{
        {QStringLiteral("Xmp.xmp.Rating"), QString::number(stored)},
        {QStringLiteral("Exif.Image.Rating"), QString::number(stored)},
        {QStringLiteral("Exif.Image.RatingPercent"), QString::number(percent)},
        {QStringLiteral("Xmp.MicrosoftPhoto.Rating"), QString::number(percent)},
        {QStringLiteral("Xmp.TAMO.Rating"), QString::number(stored)}};
    QCOMPARE(wrapper.allData(), expected);
}

void RKExiv2WrapperTest::ownPropertiesKeepTheirNumbers()
{
    RKExiv2Wrapper wrapper;
    wrapper.setTamoStaticScore(-7);
    wrapper.setTamoDynamicScore(123456);
    wrapper.setFlashUsed(true);
    wrapper.setRedEyeCorrectionUsed(true);
    wrapper.setABOProhibited(true);
    wrapper.setABOProhibitedBy(QStringLiteral("%1 & <ä>"));
    wrapper.setRatingForResolutionOnly(true);
    const QByteArray file = imageFile("JPG");
    QBuffer buffer;
    buffer.setData(file);
    QVERIFY(wrapper.save(&buffer));

    const RKExiv2Wrapper read(buffer.data());
    QCOMPARE(read.tamoStaticScore(), -7);
    QCOMPARE(read.tamoDynamicScore(), 123456);
    QVERIFY(read.flashUsed());
    QVERIFY(read.redEyeCorrectionUsed());
    QVERIFY(read.aboProhibited());
    QCOMPARE(read.aboProhibitedBy(), QStringLiteral("%1 & <ä>"));
    QVERIFY(read.ratingForResolutionOnly());
    // Only the first bit of the flash tells that it fired.
    QVERIFY(!wrapperWith({{"Exif.Photo.Flash", "16"}}).flashUsed());
}

void RKExiv2WrapperTest::exportDateIsReadAsThirtyTwoBits_data()
{
    QTest::addColumn<QByteArray>("stored");
    QTest::addColumn<QDateTime>("date");

    const auto since1970 = [](qint64 ms) { return QDateTime::fromMSecsSinceEpoch(ms); };
    QTest::newRow("small") << QByteArray("86400000") << since1970(86400000);
    QTest::newRow("wrapped") << QByteArray("1625400000000") << since1970(1902362112);
    QTest::newRow("wrapped below zero") << QByteArray("2147483648") << QDateTime();
    QTest::newRow("zero") << QByteArray("0") << QDateTime();
    QTest::newRow("text") << QByteArray("soon") << QDateTime();
}

void RKExiv2WrapperTest::exportDateIsReadAsThirtyTwoBits()
{
    QFETCH(QByteArray, stored);
    QFETCH(QDateTime, date);
    const RKExiv2Wrapper wrapper = wrapperWith({{"Xmp.TAMO.myTalikoExportedAt", stored.constData()},
        {"Xmp.TAMO.myTalikoPhotoId", "id 7"}});
    QCOMPARE(wrapper.myTalikoExportDate(), date);
    QCOMPARE(wrapper.myTalikoPhotoId(), QStringLiteral("id 7"));
}

void RKExiv2WrapperTest::filmStripNeedsTheExactText()
{
    QVERIFY(wrapperWith({{"Xmp.TAMO.IsFilmStrip", "1"}}).isFilmStrip());
    for (const char* text : {"true", " 1", "0", "11"})
        QVERIFY(!wrapperWith({{"Xmp.TAMO.IsFilmStrip", text}}).isFilmStrip());
    RKExiv2Wrapper wrapper;
    QVERIFY(!wrapper.isFilmStrip());
    wrapper.setIsFilmStrip(true);
    QVERIFY(wrapper.isFilmStrip());
    wrapper.setIsFilmStrip(false);
    QVERIFY(!wrapper.isFilmStrip());
}

void RKExiv2WrapperTest::fieldsTakeTheFirstTextOfTheirKeys_data()
{
    using Values = QList<QPair<const char*, const char*>>;
    QTest::addColumn<Values>("values");
    QTest::addColumn<qint64>("field");
    QTest::addColumn<QString>("text");

    const auto row = [](const char* name, const Values& values, Field field, const char* text) {
        QTest::newRow(name) << values << qint64(field) << QString::fromUtf8(text);
    };
    row("IPTC before XMP",
        {{"Xmp.dc.title", "in XMP"}, {"Iptc.Application2.Caption", "in IPTC"}},
        Field::originalFilename,
        "in IPTC");
    row("language marker",
        {{"Xmp.dc.title", "lang=x-default Zürich"}},
        Field::originalFilename,
        "Zürich");
    row("empty after its marker",
        {{"Xmp.exif.UserComment", "lang=x-default "}, {"Exif.Photo.UserComment", "charset=Ascii "}},
        Field::exifUserComment,
        "");
    row("marker only, then the next key",
        {{"Exif.Photo.UserComment", "charset=Ascii   "}, {"Xmp.exif.UserComment", "next"}},
        Field::exifUserComment,
        "next");
    row("blanks end the search",
        {{"Exif.Image.Copyright", "   "}, {"Xmp.xmpRights.Owner", "owner"}},
        Field::copyright,
        "");
    row("character code",
        {{"Exif.Photo.UserComment", "charset=Unicode Grüße"}},
        Field::exifUserComment,
        "Grüße");
    row("no character code",
        {{"Exif.Image.Artist", "charset=Ascii is what I am"}},
        Field::author,
        "charset=Ascii is what I am");
    row("quoted character code", {{"Exif.Image.Artist", "charset=\"x\" me"}}, Field::author, "me");
    row("trimmed", {{"Exif.Image.Make", " maker\t "}}, Field::exifMake, "maker");
    row("several sets",
        {{"Iptc.Application2.Keywords", "a"}, {"Iptc.Application2.Keywords", "b c"}},
        Field::keywords,
        "a, b c");
    row("last key", {{"Xmp.dc.creator", "me"}}, Field::exifSoftware, "me");
    row("no keys", {{"Exif.Image.Rating", "3"}}, Field::rating, "");
}

void RKExiv2WrapperTest::fieldsTakeTheFirstTextOfTheirKeys()
{
    using Values = QList<QPair<const char*, const char*>>;
    QFETCH(Values, values);
    QFETCH(qint64, field);
    QFETCH(QString, text);
    QCOMPARE(wrapperWith(values).read(RKMetaDataField(Field(field))), text);
}

void RKExiv2WrapperTest::windowsTextsAreDecoded()
{
    const auto titled = [](const QString& text) {
        return RKExiv2Wrapper(withMetadata(imageFile("JPG"), [&text](Exiv2::Image& image) {
            const QByteArray bytes(
                reinterpret_cast<const char*>(text.utf16()), text.size() * 2 + 2);
            const auto value = RKExiv2Compat::makeValue(Exiv2::unsignedByte);
            value->read(reinterpret_cast<const Exiv2::byte*>(bytes.constData()),
                bytes.size(),
                Exiv2::littleEndian);
            image.exifData().add(Exiv2::ExifKey("Exif.Image.XPTitle"), value.get());
        })).read(RKMetaDataField(Field::originalFilename));
    };
    QCOMPARE(titled(QStringLiteral("Größe 😀")), QStringLiteral("Größe 😀"));
    QCOMPARE(titled(QString()), QString());
}

void RKExiv2WrapperTest::fieldsAreWrittenToAllTheirKeys()
{
    RKExiv2Wrapper wrapper;
    const QString text = QStringLiteral("Straße %1");
    for (const Field field : {Field::originalFilename,
             Field::exifImageDescription,
             Field::copyright,
             Field::author,
             Field::exifUserComment,
             Field::exifMake})
    {
        wrapper.write(RKMetaDataField(field), text);
        QCOMPARE(wrapper.read(RKMetaDataField(field)), text);
    }
    const QStringList written = wrapper.allData().keys();
    for (const char* key : {"Iptc.Application2.Caption",
             "Xmp.dc.title",
             "Xmp.dc.description",
             "Exif.Image.Copyright",
             "Xmp.xmpRights.Owner",
             "Exif.Image.Artist",
             "Iptc.Application2.Byline",
             "Exif.Photo.UserComment",
             "Xmp.exif.UserComment",
             "Exif.Image.Make"})
        QVERIFY2(written.contains(QLatin1String(key)), key);
    for (const QString& key : written)
        QVERIFY(!key.contains(QLatin1String("Image.XP")));

    const QHash<QString, QString> before = wrapper.allData();
    wrapper.write(RKMetaDataField(Field::rotation), text);
    QCOMPARE(wrapper.allData(), before);
}

void RKExiv2WrapperTest::profileReplacesTheColorHints()
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

void RKExiv2WrapperTest::facesOfTheCameraGiveWayToRegions()
{
    const QByteArray file = withMetadata(imageFile("JPG"), [](Exiv2::Image& image) {
        image.exifData()["Exif.Image.Make"] = std::string("Canon");
        Exiv2::UShortValue record;
        record.read("156 35 1 320 240 1 1 16 0 0");
        image.exifData().add(Exiv2::ExifKey("Exif.Canon.0x0024"), &record);
    });
    RKExiv2Wrapper wrapper(file);
    QCOMPARE(wrapper.facePositions().count(), 1);
    QCOMPARE(
        wrapper.facePositions().faceDetectionEngineTypes().first(), faceDetectionEngineExifCanon);
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

    const QTemporaryDir dir;
    const QString path = dir.filePath(QStringLiteral("packet.xmp"));
    QVERIFY(wrapper.writeXmpData(QFileInfo(path)));
    QVERIFY(QFileInfo(path).size() > 0);
}

void RKExiv2WrapperTest::allFamiliesAreListed()
{
    const RKExiv2Wrapper wrapper = wrapperWith({{"Exif.Image.Make", "maker"},
        {"Xmp.xmp.Rating", "2"},
        {"Iptc.Application2.Caption", "caption"}});
    const QHash<QString, QString> all = wrapper.allData();
    QCOMPARE(all.value(QStringLiteral("Exif.Image.Make")), QStringLiteral("maker"));
    QCOMPARE(all.value(QStringLiteral("Xmp.xmp.Rating")), QStringLiteral("2"));
    QCOMPARE(all.value(QStringLiteral("Iptc.Application2.Caption")), QStringLiteral("caption"));

    const QStringList lines = wrapper.debugOutput();
    QVERIFY(lines.contains(QStringLiteral("Exif.Image.Make 0x010f Ascii 5 Bytes  maker"))
        || lines.contains(QStringLiteral("Exif.Image.Make 0x010f Ascii 6 Bytes  maker")));
    QVERIFY(lines.filter(QRegularExpression(QStringLiteral("^EXIF total size: \\d+ Bytes$"))).size()
        == 1);
}

QTEST_MAIN(RKExiv2WrapperTest)
#include "RKExiv2WrapperTest.moc"
