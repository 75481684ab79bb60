#include "RKImageLoader/metadata/RKMetaData.h"

#include "RKImageLoader/media/RKImageOption.h"
#include "RKImageLoader/metadata/RKMetaDataField.h"
#include "RKImageLoader/metadata/RKMetaDataImpl_p.h"
#include "support/RKQuietTest.h"
#include "support/RKTestPictures.h"

#include <QBuffer>
#include <QDebug>
#include <QFileInfo>
#include <QPainter>
#include <QRegularExpression>
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

constexpr QSize kThumbnailSize(160, 120);

/// A black thumbnail with a bright picture in it; grey, so that the encoder's coarser colours do
/// not spread over its edges.
QImage thumbnailWith(const QRect& picture)
{
    QImage image(kThumbnailSize, QImage::Format_RGB32);
    image.fill(Qt::black);
    QPainter(&image).fillRect(picture, Qt::lightGray);
    return image;
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
        RKMetaData written(file);
        written.setPictureTaken(taken);
        written.setGeoPosition(RKGeoPosition(-48.858222, -2.2945));
        written.setGeoPosition(RKGeoPosition()); // changes nothing
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
        QVERIFY(written.save(file));

        const RKMetaData read(file);
        QCOMPARE(read.unrotatedSize(), kSize);
        QCOMPARE(read.pictureTaken(), taken);
        // A millionth of a second of arc, as the seconds are stored.
        constexpr double kStep = 1.0 / 3600 / 1'000'000;
        QVERIFY(qAbs(read.geoPosition().latitude().degrees() + 48.858222) <= kStep);
        QVERIFY(qAbs(read.geoPosition().longitude().degrees() + 2.2945) <= kStep);
        QCOMPARE(read.tamoRating(), 4);
        QCOMPARE(read.tamoStaticScore(), -7);
        QCOMPARE(read.tamoDynamicScore(), 90);
        QVERIFY(read.ratingForResolutionOnly() && read.flashUsed() && read.redEyeCorrectionUsed());
        QCOMPARE(read.allData().value(u"Xmp.TAMO.RedEyeCorrectionUsed"_s), u"1"_s);
        QVERIFY(read.aboProhibited() && read.isFilmStrip());
        QCOMPARE(read.aboProhibitedBy(), u"Zo\u00eb"_s);
        QCOMPARE(read.digitalZoomRatio(), 2.5);
        QCOMPARE(read.read(RKMetaDataFieldEnum::exifMake), u"Maker"_s);
        QVERIFY(read.myTalikoPhotoId().isEmpty() && !read.myTalikoExportDate().isValid());
    }

    void thumbnailIsEncodedOrKept()
    {
        RKMetaData metaData = fromBytes(jpeg());
        metaData.setThumbnail(RKTestPictures::quadrants(QSize(160, 112)));
        QTest::ignoreMessage(QtWarningMsg, "could not set thumbnail of source size 0x0 pixels");
        metaData.setThumbnail(QImage());
        RKMetaData other = metaData;
        other.eraseThumbnail();
        QVERIFY(other.thumbnail().isNull() && !other.thumbnailSize().isValid());
        QCOMPARE(metaData.thumbnail().size(), QSize(160, 112));

        QByteArray damaged = jpeg();
        damaged.insert(damaged.size() - 2, "\xff\xd8");
        metaData.writeThumbnail(damaged);
        const QRegularExpression message(u"two SOI markers"_s);
        QTest::ignoreMessage(QtWarningMsg, message);
        QTest::ignoreMessage(QtWarningMsg, message);
        QVERIFY(metaData.thumbnail().isNull() && !metaData.thumbnailSize().isValid());
    }

    void blackBarsAreCut()
    {
        // 3:2 in 4:3 leaves bars of 6.67 rows.
        const QSize landscape(6000, 4000);
        const std::tuple<QRect, QSize, QSize> rows[] = {
            {QRect(0, 7, 160, 106), landscape, QSize(160, 106)},
            {QRect(0, 8, 160, 104), landscape, QSize(160, 104)},
            {QRect(0, 5, 160, 106), landscape, QSize(160, 105)}, // two rows off
            {QRect(0, 4, 160, 106), landscape, kThumbnailSize},
            {QRect(0, 7, 160, 113), landscape, kThumbnailSize}, // one bar only
            {QRect(7, 0, 146, 120), landscape, kThumbnailSize}, // on the other axis
            {QRect(), landscape, kThumbnailSize}, // nothing but black
            {QRect(36, 0, 88, 120), QSize(4400, 6000), QSize(88, 120)},
            {QRect(0, 7, 160, 106), QSize(4000, 3000), kThumbnailSize},
            {QRect(0, 1, 160, 119), QSize(4000, 2980), kThumbnailSize}, // a pixel beside
            {QRect(0, 7, 160, 106), QSize(-1, -1), kThumbnailSize},
            {QRect(0, 59, 160, 1), QSize(2'000'000'000, 1), kThumbnailSize},
        };
        for (const auto& [picture, imageSize, expected] : rows) {
            RKMetaDataImpl impl;
            impl.writeThumbnail(RKTestPictures::encoded(thumbnailWith(picture), "JPEG", 100));
            const QSize size = impl.extractThumbnail(imageSize, RKImageOption()).size();
            QVERIFY2(size == expected, qPrintable(QDebug::toString(picture)));
            QCOMPARE(impl.thumbnailSize(imageSize), size);
        }
    }
};

QTEST_APPLESS_MAIN(RKMetaDataTest)

#include "RKMetaDataTest.moc"
