#include "RKImageLoader/loading/RKMediaCard.h"

#include "RKImageLoader/loading/RKImageLoaderInitializer.h"
#include "RKImageLoader/media/RKImageLoaderConfig.h"
#include "RKImageLoader/media/RKMediaDescriptor.h"
#include "RKImageLoader/metadata/RKMetaData.h"
#include "RKImageLoader/metadata/RKMetaDataField.h"
#include "support/RKQuietTest.h"
#include "support/RKTestPictures.h"

#include <QTemporaryDir>

using namespace Qt::StringLiterals;
using Field = RKMetaDataFieldEnum;

namespace {

QString cardText(const QList<RKMediaCard::Group>& groups)
{
    QStringList texts;
    for (const RKMediaCard::Group& group : groups) {
        QStringList lines;
        for (const auto& [item, text] : group)
            lines << RKMediaCard::label(item) + u": "_s + text;
        texts << lines.join(u'\n');
    }
    return texts.join(u"\n\n"_s);
}

} // namespace

class RKMediaCardTest : public RKQuietTest
{
    Q_OBJECT

private Q_SLOTS:

    void cardSaysWhatIsKnown()
    {
        RKImageLoaderConfig::useDefaults();
        QVERIFY(RKImageLoaderInitializer::installTranslation(QLocale::English));
        const QTemporaryDir dir;
        const QFileInfo file(dir.filePath(u"a.png"_s));
        const RKMediaDescriptor descriptor(file);
        QVERIFY(RKMediaCard::groups(descriptor).isEmpty());
        RKTestPictures::write(
            file.filePath(), RKTestPictures::encoded(RKTestPictures::quadrants({48, 32}), "PNG"));
        RKMetaData metaData(file);
        metaData.setImageOrientation(RKImageOrientation(6));
        metaData.setPictureTaken(QDateTime({2021, 7, 4}, {12, 30, 5}, Qt::OffsetFromUTC, -5400));
        metaData.setGeoPosition(RKGeoPosition(-33.5, 151.25));
        metaData.write(Field::exifMake, u"Acme Optics"_s);
        metaData.write(Field::exifModel, u"ACME 5"_s);
        metaData.setFlashUsed(true);
        metaData.setRejected();
        metaData.write(Field::exifUserComment, u"two\nlines"_s);
        metaData.setKeywords({u"sea"_s, u"ship"_s});
        QVERIFY(metaData.save(file));
        const QString size = QLocale::c().formattedDataSize(QFileInfo(file).size(), 1);
        QCOMPARE(cardText(RKMediaCard::groups(descriptor, QLocale::c())),
            u"File: PNG - Portable Network Graphics (bitmap with transparency), %1\n"
            "Size: 32 × 48 pixels, turned by orientation 6\n"
            "Taken: 2021-07-04 12:30:05 -01:30\n"
            "Position: 33.5° S, 151.25° E\n\n"
            "Camera: ACME 5\nExposure: flash\n\n"
            "Rating: rejected\nComment: two\nlines\nKeywords: sea, ship"_s.arg(size));

        const QString noVideo = dir.filePath(u"a.mp4"_s);
        RKTestPictures::write(noVideo, "none");
        const RKMediaDescriptor unopened{QFileInfo(noVideo)};
        QVERIFY(!cardText(RKMediaCard::groups(unopened)).contains(u"Video: "_s));

        metaData.write(Field::exifModel, u"E 5"_s);
        QVERIFY(RKImageLoaderInitializer::installTranslation(QLocale::German));
        const QString german
            = cardText(RKMediaCard::groups(descriptor, {9000, 4000}, metaData, QLocale::German));
        QVERIFY2(german.contains(u"Größe: 9000 × 4000 Bildpunkte, 36 Megapixel, gedreht"_s)
                && german.contains(u"Position: 33,5° S, 151,25° O"_s)
                && german.contains(u": Acme Optics E 5\n"_s),
            qPrintable(german));
    }
};

QTEST_GUILESS_MAIN(RKMediaCardTest)

#include "RKMediaCardTest.moc"
