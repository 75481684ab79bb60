#include "RKImageLoader/metadata/RKMetaData.h"

#include "RKImageLoader/faces/RKFacePositions.h"
#include "RKImageLoader/metadata/RKMetaDataField.h"
#include "support/RKQuietTest.h"
#include "support/RKTestPictures.h"

#include <QBuffer>
#include <QColorSpace>
#include <QFileInfo>
#include <QTemporaryDir>

using namespace Qt::StringLiterals;

namespace {

constexpr QSize kSize(47, 33);

QByteArray jpeg()
{
    return RKTestPictures::encoded(RKTestPictures::quadrants(kSize), "JPEG");
}

RKMetaData fromBytes(const QByteArray& bytes)
{
    return RKMetaData(QFileInfo(u"/nowhere/picture.jpg"_s), bytes);
}

} // namespace

class RKMetaDataTest : public RKQuietTest
{
    Q_OBJECT

private Q_SLOTS:

    void changedCopyLeavesTheOriginal()
    {
        RKMetaData original = fromBytes(jpeg());
        original.setAdobeRating(2);
        RKMetaData copy = original;
        copy.setAdobeRating(4);
        copy.forceSetSize(QSize(5, 6));
        RKMetaData assigned;
        assigned = copy;
        assigned.rotate(true);
        QCOMPARE(original.adobeRating(), 2);
        QCOMPARE(original.unrotatedSize(), kSize);
        QCOMPARE(copy.adobeRating(), 4);
        QVERIFY(!copy.imageIsTiltedByMetadata() && assigned.imageIsTiltedByMetadata());
        copy = std::move(assigned);
        QCOMPARE(copy.imageOrientation(), ORIENTATION_RIGHT_TOP);
        assigned = original;
        QCOMPARE(assigned.adobeRating(), 2);
    }

    void fieldMapGivesTextsAndPosition()
    {
        const RKMetaData metaData(QMap<QString, QVariant>{
            {u"COPYRIGHT"_s, u"\u00a9 100 %1 Anna"_s},
            {u"exifModel"_s, 40},
            {u"rating"_s, 5},
            {u"unknown"_s, u"x"_s},
            {u"exifImageDescription "_s, u"x"_s},
            {u"gpsLatitudeInDegreesNorth"_s, -48.5},
        });
        QCOMPARE(metaData.read(RKMetaDataFieldEnum::copyright), u"\u00a9 100 %1 Anna"_s);
        QCOMPARE(metaData.read(RKMetaDataFieldEnum::exifModel), u"40"_s);
        QCOMPARE(metaData.read(RKMetaDataFieldEnum::exifImageDescription), QString());
        QCOMPARE(metaData.adobeRating(), 0);
        QCOMPARE(metaData.geoPosition().latitude().degrees(), -48.5);
        QCOMPARE(metaData.geoPosition().longitude().degrees(), 0.0);
    }

    void everythingSurvivesTheFile()
    {
        const QTemporaryDir folder;
        const QFileInfo file(folder.filePath(u"gr\u00fcn.jpg"_s));
        RKTestPictures::write(file.filePath(), jpeg());

        const QDateTime taken(QDate(2021, 7, 4), QTime(12, 30, 5));
        const QByteArray profile = QColorSpace(QColorSpace::SRgb).iccProfile();
        RKMetaData written(file);
        written.setImageOrientation(ORIENTATION_LEFT_BOTTOM);
        written.setPictureTaken(taken);
        written.setGeoPosition(RKGeoPosition(-48.858222, -2.2945));
        written.setGeoPosition(RKGeoPosition()); // changes nothing
        written.setAdobeRating(3);
        written.setTamoRating(4);
        written.setTamoStaticScore(-7);
        written.setTamoDynamicScore(90);
        written.setRatingForResolutionOnly(true);
        written.setFlashUsed(true);
        written.setRedEyeCorrectionUsed(true);
        written.setABOProhibited(true);
        written.setABOProhibitedBy(u"Zo\u00eb"_s);
        written.setIsFilmStrip(true);
        written.setDigitalZoomRatio(2.5);
        written.write(RKMetaDataFieldEnum::exifMake, u"Maker"_s);
        written.setIccData(profile);
        QVERIFY(written.save(file));

        const RKMetaData read(file);
        QCOMPARE(read.unrotatedSize(), kSize);
        QCOMPARE(read.imageOrientation(), ORIENTATION_LEFT_BOTTOM);
        QCOMPARE(read.pictureTaken(), taken);
        // A millionth of a second of arc, as the seconds are stored.
        constexpr double kStep = 1.0 / 3600 / 1'000'000;
        QVERIFY(qAbs(read.geoPosition().latitude().degrees() + 48.858222) <= kStep);
        QVERIFY(qAbs(read.geoPosition().longitude().degrees() + 2.2945) <= kStep);
        QCOMPARE(read.adobeRating(), 3);
        QCOMPARE(read.tamoRating(), 4);
        QCOMPARE(read.tamoStaticScore(), -7);
        QCOMPARE(read.tamoDynamicScore(), 90);
        QVERIFY(read.ratingForResolutionOnly() && read.flashUsed() && read.redEyeCorrectionUsed());
        QVERIFY(read.aboProhibited() && read.isFilmStrip());
        QCOMPARE(read.aboProhibitedBy(), u"Zo\u00eb"_s);
        QCOMPARE(read.digitalZoomRatio(), 2.5);
        QCOMPARE(read.read(RKMetaDataFieldEnum::exifMake), u"Maker"_s);
        QVERIFY(read.hasIccData() && !read.isAdobeRGB());
        QCOMPARE(read.iccData(), profile);
        QVERIFY(read.myTalikoPhotoId().isEmpty() && !read.myTalikoExportDate().isValid());
        QVERIFY(!read.allData().isEmpty());
    }

    void thumbnailIsEncodedOrKept()
    {
        RKMetaData metaData = fromBytes(jpeg());
        metaData.setThumbnail(RKTestPictures::quadrants(QSize(160, 112)));
        QTest::ignoreMessage(QtWarningMsg, "could not set thumbnail of source size 0x0 pixels");
        metaData.setThumbnail(QImage());
        RKMetaData other = metaData;
        other.eraseThumbnail();
        QVERIFY(other.thumbnail().isNull());
        QCOMPARE(metaData.thumbnail().size(), QSize(160, 112));
    }
};

QTEST_APPLESS_MAIN(RKMetaDataTest)

#include "RKMetaDataTest.moc"
