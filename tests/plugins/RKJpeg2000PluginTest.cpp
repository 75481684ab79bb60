#include "RKPluginReading.h"

#include <QColorSpace>
#include <QtPlugin>

Q_IMPORT_PLUGIN(RKJpeg2000Plugin)

using namespace RKPluginReading;

namespace {

constexpr QSize kSize(64, 48);

QByteArray fixture(const QByteArray& name)
{
    return RKTestPictures::read(QLatin1String(RK_TEST_DATA "/jp2/") + QLatin1String(name));
}

QImage quadrants()
{
    return RKTestPictures::quadrants(kSize);
}

} // namespace

class RKJpeg2000PluginTest : public RKQuietTest
{
    Q_OBJECT

private Q_SLOTS:

    void componentsBecomeColors()
    {
        const QImage color = quadrants();
        const QImage gray = color.convertToFormat(QImage::Format_Grayscale8)
                                .convertToFormat(QImage::Format_RGB32);
        const auto halfOf = [](QImage image) {
            QImage alpha(image.size(), QImage::Format_Alpha8);
            alpha.fill(128);
            image.setAlphaChannel(alpha);
            return image.convertToFormat(QImage::Format_ARGB32);
        };
        const std::pair<QByteArray, QImage> pictures[]{
            {"rgb.jp2 rgb.j2k rgb-tiles.jp2 rgb-16-bits.jp2 rgb-signed.jp2 rgb-few-bits.jp2",
                color},
            {"ycc.jp2 ycc-coarse.jp2 ycc-unnamed.jp2 cmyk.jp2", color},
            {"rgb-alpha.jp2 rgb-alpha.j2k", halfOf(color)},
            {"grey.jp2", gray},
            {"grey-alpha.jp2", halfOf(gray)}};
        constexpr int kRounding = 2;
        for (const auto& [names, expected] : pictures) {
            for (const QByteArray& name : names.split(' ')) {
                QCOMPARE(size(fixture(name)), kSize);
                const QImage image = read(fixture(name));
                QCOMPARE(image.format(), expected.format());
                QVERIFY2(difference(image, expected) <= kRounding, name);
            }
        }
    }

    void palettesAreApplied()
    {
        const QImage image = read(fixture("palette.jp2"));
        QCOMPARE(image.size(), kSize);
        QCOMPARE(image.pixelColor(1, 1), QColor(0x10, 0x20, 0x30));
        QCOMPARE(image.pixelColor(60, 1), QColor(0xa0, 0xb0, 0xc0));
    }

    void rgbProfilesStayAndGrayOnesAreApplied()
    {
        const QImage image = read(fixture("rgb-display-p3.jp2"));
        QCOMPARE(image.colorSpace(), QColorSpace(QColorSpace::DisplayP3));
        QCOMPARE(difference(image, quadrants()), 0);

        const QImage gray = read(fixture("grey-linear.jp2"));
        QCOMPARE(gray.colorSpace(), QColorSpace(QColorSpace::SRgb));
        QVERIFY(std::abs(qRed(gray.pixel(5, 5)) - 188) <= 1);
    }

    void smallPicturesLeaveLevelsOut()
    {
        const QImage expected = quadrants().scaled(801, 602).scaled(
            50, 37, Qt::IgnoreAspectRatio, Qt::SmoothTransformation);
        const QImage small = read(fixture("large.jp2"), {50, 37});
        QCOMPARE(small.size(), QSize(50, 37));
        // Away from the edges, where filters differ.
        for (const QRect& middle :
            {QRect(5, 5, 15, 9), QRect(30, 5, 15, 9), QRect(5, 22, 15, 9), QRect(30, 22, 15, 9)})
            QVERIFY(difference(small.copy(middle), expected.copy(middle)) <= 2);
    }

    void hostileFilesAreRefused()
    {
        // From the marker on: the size (ITU-T T.800, A.5.1), then the coding (A.6.1).
        for (const auto& [what, offset, bytes] : {std::tuple("width", 6, "7fffffff"),
                 {"pixels", 6, "0000700000007000"},
                 {"no tiles", 22, "0000000000000000"},
                 {"components", 38, "4000"}})
        {
            QByteArray file = fixture("rgb.j2k");
            const QByteArray changed = QByteArray::fromHex(bytes);
            file.replace(file.indexOf("\xff\x51") + offset, changed.size(), changed);
            QVERIFY2(isRefused(file), what);
        }
        // Many layers of many precincts.
        QByteArray file = fixture("grey-1600.j2k");
        const qsizetype coding = file.indexOf("\xff\x52");
        file.insert(coding + 14, QByteArray(6, '\x44'));
        file.replace(coding + 2, 3, QByteArray::fromHex("001201"));
        QVERIFY(isRefused(file.replace(coding + 6, 2, "\xff\xff")));
    }

    void cutFilesAreRefused()
    {
        // The last bytes are the end marker, which nobody misses, and some of the finest details.
        const QByteArray file = fixture("rgb.jp2");
        QVERIFY(areBeginningsRefused(file, file.size() / 2));
    }
};

QTEST_GUILESS_MAIN(RKJpeg2000PluginTest)
#include "RKJpeg2000PluginTest.moc"
