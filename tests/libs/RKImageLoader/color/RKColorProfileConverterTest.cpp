#include "RKImageLoader/color/RKColorProfileConverter.h"

#include "RKImageLoader/color/RKColorProfileConverterImpl_p.h"
#include "RKImageLoader/metadata/RKMetaData.h"
#include "support/RKMetadataFixtures.h"
#include "support/RKProcessCost.h"
#include "support/RKQuietTest.h"
#include "support/RKTestPictures.h"
#include "support/RKTestProfiles.h"

#include <QColorSpace>
#include <QFileInfo>
#include <QtEndian>

#include <IccCmm.h>

using namespace Qt::StringLiterals;

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
    return RKMetaData(QFileInfo(u"a.jpg"_s), file);
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

class RKColorProfileConverterTest : public RKQuietTest
{
    Q_OBJECT

private Q_SLOTS:

    void colorsComeOutInSrgb()
    {
        const RKMetaData marked = markedAsAdobeRgb();
        const RKMetaData embedded = withProfile(RKTestProfiles::rgb(kAdobeGamma));
        const RKMetaData swapped = withProfile(RKTestProfiles::rgb(kAdobeGamma, true));
        // The real curve of the one, and the straight piece of the other.
        const RKMetaData srgb = withProfile(QColorSpace(QColorSpace::SRgb).iccProfile());
        const RKMetaData linear = withProfile(QColorSpace(QColorSpace::SRgbLinear).iccProfile());
        const RKMetaData inks = withProfile(RKTestProfiles::cmyk());
        const RKMetaData lab = withProfile(
            patched(RKTestProfiles::bytesOf(cmsCreateLab2Profile(nullptr)), 12, "spac"));
        // By the published primaries and curves.
        const std::tuple<const char*, RKMetaData, QRgb, QRgb> rows[] = {
            {"marker", marked, 0xffc86432, 0xffe3642a},
            {"outside of sRGB", marked, 0xff00ff00, 0xff00ff00},
            {"alpha", marked, 0x40788c5a, 0x406f8d56},
            {"profile", embedded, 0xffc86432, 0xffe3642a},
            {"swapped", swapped, 0xff64c832, 0xffe3642a},
            {"sRGB", srgb, 0xff0a80fe, 0xff0a80fe},
            {"linear", linear, 0xff010080, 0xff0d00bc},
            {"paper", inks, 0xffffffff, 0xffffffff},
            {"black ink, L = 50.2", inks, 0xff808080, 0xff777777},
            {"two thirds of all inks", inks, 0xff0000ff, 0xff4e4e4e},
            {"black", inks, 0xff000000, 0xff000000},
            // a and b of 128 are no hue.
            {"Lab, L = 50.2", lab, 0xff808080, 0xff777777},
        };
        for (const auto& [name, metaData, source, expected] : rows) {
            bool ok = false;
            const QImage converted
                = RKColorProfileConverter::instance()->convert(onePixel(source), metaData, &ok);
            const int difference = RKTestPictures::difference(converted, onePixel(expected));
            QVERIFY2(
                ok && difference <= 1 && qAlpha(converted.pixel(0, 0)) == qAlpha(expected), name);
        }
    }

    void formatsKeepWhatBelongsToThePicture()
    {
        constexpr std::pair<QImage::Format, QImage::Format> kFormats[]
            = {{QImage::Format_RGB32, QImage::Format_RGB32},
                {QImage::Format_ARGB32, QImage::Format_ARGB32},
                {QImage::Format_ARGB32_Premultiplied, QImage::Format_ARGB32_Premultiplied},
                {QImage::Format_Indexed8, QImage::Format_RGB32},
                {QImage::Format_RGBA64, QImage::Format_ARGB32}};
        const RKMetaData metaData = withProfile(RKTestProfiles::rgb(kAdobeGamma, true));
        for (const auto& [before, after] : kFormats) {
            QImage image = RKTestPictures::quadrants({47, 33}).convertToFormat(before);
            image.setColorSpace(QColorSpace::AdobeRgb);
            image.setText(u"TAMO-ImagePipeline"_s, u"history"_s);
            image.setDotsPerMeterX(11811);
            image.setDotsPerMeterY(5906);
            bool ok = false;
            const QImage converted
                = RKColorProfileConverter::instance()->convert(image, metaData, &ok);
            QVERIFY(ok);
            QCOMPARE(converted.format(), after);
            // A writer would embed it once more.
            QVERIFY(!converted.colorSpace().isValid());
            QCOMPARE(converted.text(u"TAMO-ImagePipeline"_s), u"history"_s);
            QCOMPARE(converted.dotsPerMeterX(), 11811);
            QCOMPARE(converted.dotsPerMeterY(), 5906);
            QCOMPARE(RKTestPictures::quadrantColors(converted), "grbw");
        }
    }

    void unusableProfilesLeaveThePicture()
    {
        const QByteArray rgb = RKTestProfiles::rgb(2.2);
        const auto red = qFromBigEndian<quint32>(rgb.constData() + rgb.indexOf("rXYZ") + 4);
        const std::pair<const char*, QByteArray> profiles[] = {{"none", {}},
            {"text", "no profile"},
            {"cut in the directory", rgb.first(170)},
            {"cut in a tag", rgb.chopped(1)},
            {"wrong signature", patched(rgb, 36, "asdf")},
            {"four thousand million tags", patched(rgb, 128, QByteArray(4, '\xff'))},
            {"no green curve", patched(rgb, rgb.indexOf("gTRC"), "xTRC")},
            {"no red", patched(rgb, red + 8, QByteArray(12, '\0'))},
            {"grey", RKTestProfiles::grey(2.2)},
            {"device link",
                RKTestProfiles::bytesOf(cmsCreateInkLimitingDeviceLink(cmsSigCmykData, 200))},
            {"named colours", patched(rgb, 12, "nmcl")},
            {"abstract",
                RKTestProfiles::bytesOf(cmsCreateBCHSWabstractProfile(9, 10, 1, 0, 0, 5000, 5000))},
            {"six inks", patched(rgb, 16, "6CLR")}};
        const QImage image = RKTestPictures::quadrants({9, 7});
        for (const auto& [name, profile] : profiles) {
            bool ok = true;
            const QImage same
                = RKColorProfileConverter::instance()->convert(image, withProfile(profile), &ok);
            QVERIFY2(!ok && same == image, name);
        }
    }

    void profileIdsLeaveOutWhatChangesNoColor()
    {
        // An ID of its maker: the engine computes it in another way.
        cmsHPROFILE profile = cmsCreate_sRGBProfile();
        cmsMD5computeID(profile);
        const QByteArray bytes = RKTestProfiles::bytesOf(profile);
        std::array<quint32, 4> id{};
        std::memcpy(id.data(), bytes.constData() + 84, sizeof id);
        const Key key(id);
        QCOMPARE(keyOf(bytes), key);
        QCOMPARE(keyOf(patched(patched(bytes, 44, "flag"), 84, "id")), key);
        QVERIFY(!(keyOf(patched(bytes, 48, "maker")) == key));
    }

    void batchesGiveWhatSingleColorsGive()
    {
        const RKColorProfileConverterImpl converter;
        CIccCmm cmm(icSigUnknownData, icSigUnknownData, true);
        QVERIFY(
            converter.initCmm(&cmm, converter.readProfileFromByteArray(RKTestProfiles::cmyk())));
        const Table table(&cmm);
        // Wider than a batch; colours that are known, and the same ones several times.
        QImage image = RKTestPictures::numbered(1031, 3, QImage::Format_ARGB32);
        image.setPixel(0, 0, 0x40102030);
        const QImage converted = table.convertImage(image, &cmm);
        for (int y = 0; y < image.height(); ++y) {
            for (int x = 0; x < image.width(); ++x) {
                const QRgb pixel = image.pixel(x, y);
                QCOMPARE(converted.pixel(x, y),
                    (pixel & 0xff000000) | table.convertColor(pixel, &cmm, true));
            }
        }
        // In place.
        const uchar* const pixels = image.constBits();
        const QImage moved = table.convertImage(std::move(image), &cmm);
        QVERIFY(moved.constBits() == pixels && moved == converted);
    }

    void tablesTakeMemoryOnlyForColorsThatAreUsed()
    {
        const qint64 before = RKProcessCost::peakMebibytes();
        RKColorProfileConverter converter;
        for (int i = 0; i < 20; ++i) {
            const QByteArray maker = "mak" + QByteArray(1, char('a' + i));
            const RKMetaData metaData = withProfile(patched(RKTestProfiles::cmyk(), 48, maker));
            converter.convert(RKTestPictures::quadrants({9, 7}), metaData);
        }
        QVERIFY(RKProcessCost::peakMebibytes() - before < 64);
    }

    void tablesAreFoundUntilTheyAreForgotten()
    {
        CIccCmm cmm;
        const Key key({1, 2, 3, 4});
        RKColorProfileConverterLookupTableCache cache;
        cache.updateLookupTable(key, Table());
        QVERIFY(cache.findLookupTable(key, &cmm).isNull());
        cache.reset();
        QVERIFY(!cache.findLookupTable(key, &cmm).isNull());
    }

    void markOfUnusedEntriesIsAColor()
    {
        const RKColorProfileConverterImpl converter;
        CIccCmm cmm(icSigUnknownData, icSigUnknownData, true);
        QVERIFY(converter.initCmm(&cmm, converter.sRGBProfile()));
        const Table table(&cmm);
        const QImage marks = onePixel(0x80f1f1f1);
        for (int i = 0; i < 2; ++i)
            QCOMPARE(table.convertImage(marks, &cmm), marks);
    }
};

QTEST_GUILESS_MAIN(RKColorProfileConverterTest)
#include "RKColorProfileConverterTest.moc"
