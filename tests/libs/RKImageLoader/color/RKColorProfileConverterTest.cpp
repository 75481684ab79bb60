#include "RKImageLoader/color/RKColorProfileConverter.h"

#include "RKImageLoader/color/RKColorProfileConverterImpl_p.h"
#include "RKImageLoader/metadata/RKMetaData.h"
#include "libs/RKImageLoader/metadata/RKMetadataFixtures.h"
#include "support/RKTestPictures.h"
#include "support/RKTestProfiles.h"

#include <QColorSpace>
#include <QFileInfo>
#include <QTemporaryDir>
#include <QTest>
#include <QtEndian>

#include <IccCmm.h>

#include <cmath>

using Key = RKColorProfileConverterLookupTableKey;
using Table = RKColorProfileConverterLookupTable;

namespace {

constexpr double kAdobeGamma = 563 / 256.;

RKMetaData withProfile(const QByteArray& profile)
{
    RKMetaData metaData;
    metaData.setIccData(profile);
    return metaData;
}

RKMetaData markedAsAdobeRgb()
{
    using namespace RKMetadataFixtures;
    const QByteArray file = withMetadata(imageFile("JPG"),
        [](Exiv2::Image& image) { image.exifData()["Exif.Iop.InteroperabilityIndex"] = "R03"; });
    return RKMetaData(QFileInfo(QStringLiteral("a.jpg")), file);
}

QImage onePixel(QRgb color)
{
    QImage image(1, 1, QImage::Format_ARGB32);
    image.setPixel(0, 0, color);
    return image;
}

/// The bytes with others at an offset.
QByteArray patched(QByteArray bytes, qsizetype offset, const QByteArray& patch)
{
    return bytes.replace(offset, patch.size(), patch);
}

Key keyOf(const QByteArray& profile)
{
    const auto read = RKColorProfileConverterImpl().readProfileFromByteArray(profile);
    const auto& id = read->m_Header.profileID.ID32;
    return Key({id[0], id[1], id[2], id[3]});
}

} // namespace

class RKColorProfileConverterTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:

    void init()
    {
        QTest::failOnWarning(QRegularExpression(QStringLiteral(".*")));
    }

    void colorsComeOutInSrgb_data()
    {
        QTest::addColumn<RKMetaData>("metaData");
        QTest::addColumn<QRgb>("source");
        QTest::addColumn<QRgb>("expected");

        // By the published primaries and curves; the greatest green of Adobe RGB lies outside of
        // sRGB.
        const RKMetaData marked = markedAsAdobeRgb();
        QTest::newRow("marker") << marked << 0xffc86432U << 0xffe3642aU;
        QTest::newRow("outside") << marked << 0xff00ff00U << 0xff00ff00U;
        QTest::newRow("alpha") << marked << 0x40788c5aU << 0x406f8d56U;
        const RKMetaData embedded = withProfile(RKTestProfiles::rgb(kAdobeGamma));
        QTest::newRow("profile") << embedded << 0xffc86432U << 0xffe3642aU;
        QTest::newRow("unknown entry") << embedded << 0xfff1f1f1U << 0xfff1f1f1U;
        QTest::newRow("swapped") << withProfile(RKTestProfiles::rgb(kAdobeGamma, true))
                                 << 0xff64c832U << 0xffe3642aU;
        // The real curve of the one, and the straight piece of the other.
        const RKMetaData srgb = withProfile(QColorSpace(QColorSpace::SRgb).iccProfile());
        QTest::newRow("sRGB") << srgb << 0xff0a80feU << 0xff0a80feU;
        QTest::newRow("linear") << withProfile(QColorSpace(QColorSpace::SRgbLinear).iccProfile())
                                << 0xff010080U << 0xff0d00bcU;

        const RKMetaData inks = withProfile(RKTestProfiles::cmyk());
        QTest::newRow("paper") << inks << 0xffffffffU << 0xffffffffU;
        QTest::newRow("black ink, L = 50.2") << inks << 0xff808080U << 0xff777777U;
        QTest::newRow("two thirds of all inks") << inks << 0xff0000ffU << 0xff4e4e4eU;
        QTest::newRow("black") << inks << 0xff000000U << 0xff000000U;
        // a and b of 128 are no hue.
        const QByteArray lab
            = patched(RKTestProfiles::bytesOf(cmsCreateLab2Profile(nullptr)), 12, "spac");
        QTest::newRow("Lab, L = 50.2") << withProfile(lab) << 0xff808080U << 0xff777777U;
    }

    void colorsComeOutInSrgb()
    {
        QFETCH(const RKMetaData, metaData);
        QFETCH(const QRgb, source);
        QFETCH(const QRgb, expected);
        bool ok = false;
        const QImage converted
            = RKColorProfileConverter::instance()->convert(onePixel(source), metaData, &ok);
        QVERIFY(ok);
        const QRgb actual = converted.pixel(0, 0);
        QVERIFY2(qAbs(qRed(actual) - qRed(expected)) <= 1
                && qAbs(qGreen(actual) - qGreen(expected)) <= 1
                && qAbs(qBlue(actual) - qBlue(expected)) <= 1 && qAlpha(actual) == qAlpha(expected),
            qPrintable(QString::number(actual, 16)));
    }

    void formatsKeepWhatBelongsToThePicture_data()
    {
        QTest::addColumn<QImage::Format>("before");
        QTest::addColumn<QImage::Format>("after");
        QTest::newRow("RGB32") << QImage::Format_RGB32 << QImage::Format_RGB32;
        QTest::newRow("ARGB32") << QImage::Format_ARGB32 << QImage::Format_ARGB32;
        QTest::newRow("premultiplied")
            << QImage::Format_ARGB32_Premultiplied << QImage::Format_ARGB32_Premultiplied;
        QTest::newRow("indexed") << QImage::Format_Indexed8 << QImage::Format_RGB32;
        QTest::newRow("grey") << QImage::Format_Grayscale8 << QImage::Format_RGB32;
        QTest::newRow("64 bit with alpha") << QImage::Format_RGBA64 << QImage::Format_ARGB32;
    }

    void formatsKeepWhatBelongsToThePicture()
    {
        QFETCH(const QImage::Format, before);
        QFETCH(const QImage::Format, after);
        QImage image = RKTestPictures::quadrants({47, 33}).convertToFormat(before);
        image.setColorSpace(QColorSpace::AdobeRgb);
        image.setText(QStringLiteral("TAMO-ImagePipeline"), QStringLiteral("history"));
        image.setDotsPerMeterX(11811);
        image.setDotsPerMeterY(5906);
        bool ok = false;
        const QImage converted = RKColorProfileConverter::instance()->convert(
            image, withProfile(RKTestProfiles::rgb(kAdobeGamma, true)), &ok);
        QVERIFY(ok);
        QCOMPARE(converted.format(), after);
        QCOMPARE(converted.size(), image.size());
        // A writer would embed it once more.
        QVERIFY(!converted.colorSpace().isValid());
        QCOMPARE(converted.text(QStringLiteral("TAMO-ImagePipeline")), QStringLiteral("history"));
        QCOMPARE(converted.dotsPerMeterX(), 11811);
        QCOMPARE(converted.dotsPerMeterY(), 5906);
        if (before != QImage::Format_Grayscale8) {
            QCOMPARE(converted.pixel(0, 0), 0xff00ff00);
            QCOMPARE(converted.pixel(46, 32), 0xffffffff);
        }
    }

    void unusableProfilesLeaveThePicture_data()
    {
        QTest::addColumn<QByteArray>("profile");
        const QByteArray rgb = RKTestProfiles::rgb(2.2);
        QTest::newRow("none") << QByteArray();
        QTest::newRow("text") << QByteArray("no profile");
        QTest::newRow("header only") << rgb.first(128);
        QTest::newRow("cut in the directory") << rgb.first(170);
        QTest::newRow("cut in a tag") << rgb.chopped(1);
        QTest::newRow("wrong signature") << patched(rgb, 36, "asdf");
        QTest::newRow("four thousand million tags") << patched(rgb, 128, QByteArray(4, '\xff'));
        QTest::newRow("no green curve") << patched(rgb, rgb.indexOf("gTRC"), QByteArray("xTRC"));
        const auto red = qFromBigEndian<quint32>(rgb.constData() + rgb.indexOf("rXYZ") + 4);
        QTest::newRow("no red") << patched(rgb, red + 8, QByteArray(12, '\0'));
        QTest::newRow("grey") << RKTestProfiles::grey(2.2);
        QTest::newRow("device link")
            << RKTestProfiles::bytesOf(cmsCreateInkLimitingDeviceLink(cmsSigCmykData, 200));
        QTest::newRow("named colours") << patched(rgb, 12, "nmcl");
        QTest::newRow("abstract") << RKTestProfiles::bytesOf(
            cmsCreateBCHSWabstractProfile(9, 10, 1, 0, 0, 5000, 5000));
        QTest::newRow("six inks") << patched(rgb, 16, "6CLR");
    }

    void unusableProfilesLeaveThePicture()
    {
        QFETCH(const QByteArray, profile);
        const QImage image = RKTestPictures::quadrants({9, 7});
        bool ok = true;
        const QImage same
            = RKColorProfileConverter::instance()->convert(image, withProfile(profile), &ok);
        QVERIFY(!ok);
        QCOMPARE(same, image);
        RKColorProfileConverter::instance()->convert(image, withProfile(profile), nullptr);
    }

    void profileIdsLeaveOutWhatChangesNoColor()
    {
        // An ID of its maker: the engine computes it in another way.
        cmsHPROFILE profile = cmsCreate_sRGBProfile();
        cmsMD5computeID(profile);
        const QByteArray bytes = RKTestProfiles::bytesOf(profile);
        std::array<quint32, 4> id;
        std::memcpy(id.data(), bytes.constData() + 84, sizeof id);
        QCOMPARE(keyOf(bytes), Key(id));
        QCOMPARE(Key(id).createHash(), size_t(id[0] ^ id[1]));

        const Key key = keyOf(bytes);
        QCOMPARE(keyOf(patched(bytes, 44, "flag")), key);
        QCOMPARE(keyOf(patched(bytes, 64, QByteArray(4, '\1'))), key);
        QCOMPARE(keyOf(patched(bytes, 84, QByteArray(16, 'i'))), key);
        QVERIFY(!(keyOf(patched(bytes, 48, "maker")) == key));
        QVERIFY(!(keyOf(bytes + ' ') == key));
    }

    void tablesAreSharedUntilTheReset()
    {
        const RKColorProfileConverterImpl impl;
        CIccCmm swap;
        CIccCmm keep;
        QVERIFY(impl.initCmm(
            &swap, impl.readProfileFromByteArray(RKTestProfiles::rgb(kAdobeGamma, true))));
        QVERIFY(impl.initCmm(&keep, impl.adobeRGBProfile()));

        const QImage red = onePixel(0xffff0000);
        RKColorProfileConverterLookupTableCache cache;
        const Key first({1, 2, 3, 4});
        QCOMPARE(
            cache.findLookupTable(first, &swap).convertImage(red, &swap).pixel(0, 0), 0xff00ff00);
        // The colour is remembered under its key, whatever converts the next.
        QCOMPARE(
            cache.findLookupTable(first, &keep).convertImage(red, &keep).pixel(0, 0), 0xff00ff00);
        const Table other = cache.findLookupTable(Key({2, 1, 3, 4}), &keep);
        QCOMPARE(other.convertImage(red, &keep).pixel(0, 0), 0xffff0000);
        cache.reset();
        QCOMPARE(
            cache.findLookupTable(first, &keep).convertImage(red, &keep).pixel(0, 0), 0xffff0000);

        const Key third({9, 9, 9, 9});
        cache.updateLookupTable(third, Table());
        QVERIFY(cache.findLookupTable(third, &keep).isNull());
        QCOMPARE(Table().convertImage(red, &swap), red);
    }

    void theEngineKeepsToItsContract()
    {
        const RKColorProfileConverterImpl impl;
        CIccCmm cmm;
        QVERIFY(cmm.Begin(true) != icCmmStatOk && !cmm.Valid());
        QVERIFY(impl.initCmm(&cmm, impl.readProfileFromByteArray(RKTestProfiles::cmyk())));
        QVERIFY(cmm.Valid());

        // Black has no hue: 0/0. The engine must not make a dark grey of it.
        float black[4] = {};
        Table().rgbToCmyk(black);
        QVERIFY(std::isnan(black[0]) && black[3] == 1);
        cmm.Apply(black, black);
        QVERIFY(std::isnan(black[0]) && std::isnan(black[1]) && std::isnan(black[2]));
    }

    void fileFailuresAreNamed()
    {
        const QTemporaryDir folder;
        const QString missing = folder.filePath(QStringLiteral("missing.icc"));
        const QString empty = folder.filePath(QStringLiteral("empty.icc"));
        RKTestPictures::write(empty, {});
        const std::pair<QString, QString> cases[] = {
            {missing, QStringLiteral(" file %1 does not exist").arg(missing)},
            {folder.path(), QStringLiteral(" Unable to open file %1").arg(folder.path())},
            {empty,
                QStringLiteral(
                    " Unable to readAll() from file %1. QByteArray is nullptr. fileSize=0")
                    .arg(empty)},
        };
        for (const auto& [path, message] : cases) {
            QTest::ignoreMessage(QtWarningMsg, qPrintable(message));
            QVERIFY(!RKColorProfileConverterImpl().readProfileFromFile(path));
        }
    }
};

QTEST_GUILESS_MAIN(RKColorProfileConverterTest)
#include "RKColorProfileConverterTest.moc"
