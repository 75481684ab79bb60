#include "RKImageLoader/loading/RKImageClipper.h"

#include "RKImageLoader/drawables/RKDrawable.h"
#include "RKImageLoader/media/RKImageLoaderConfig.h"
#include "support/RKQuietTest.h"
#include "support/RKTestPictures.h"

#include <QTemporaryDir>

#include <limits>

using namespace Qt::StringLiterals;

namespace {

constexpr double kInfinity = std::numeric_limits<double>::infinity();
constexpr double kNoNumber = std::numeric_limits<double>::quiet_NaN();
constexpr double kHuge = std::numeric_limits<double>::max();

// 30 x 20 tiles of 10 x 10 pixels, each of a colour of its own.
QImage tiles()
{
    return RKTestPictures::numbered(30, 20).scaled(300, 200);
}

RKDrawable tilesAsVector()
{
    return RKDrawable(RKDrawable(tiles()).svg());
}

} // namespace

class RKImageClipperTest : public RKQuietTest
{
    Q_OBJECT

private Q_SLOTS:

    void initTestCase()
    {
        const QString config = m_folder.filePath(u"config.xml"_s);
        RKTestPictures::write(config, "<c><scaling productionMaxScalePercent='50'/></c>");
        RKImageLoaderConfig::setConfigFile(QFileInfo(config));
    }

    void resultSizes()
    {
        using Case = std::tuple<QSizeF, int, QSizeF, bool, bool, QSizeF>;
        const Case cases[]{{{1500, 1000}, 300, {3000, 2000}, true, false, {1771.654, 1181.102}},
            {{2600, 900}, 300, {3000, 2000}, true, false, {3000, 2000}},
            {{5000, 4000}, 300, {3000, 2000}, true, true, {5905.512, 4724.409}},
            {{5000, 4000}, 300, {3000, 2000}, false, false, {5905.512, 4724.409}},
            // The detail of 100 mm for smaller prints of large pictures.
            {{300, 200}, 300, {3000, 2000}, true, false, {1771.654, 1181.102}},
            {{200, 300}, 300, {3000, 2000}, true, false, {1181.102, 1771.654}},
            {{300, 200}, 300, {4000, 400}, true, false, {354.331, 236.220}},
            // The configured share of the height.
            {{1500, 400}, 300, {3000, 1000}, true, false, {1500, 500}},
            {{60000, 30000}, 254, {3000, 2000}, false, false, {32767, 16383.5}},
            {{600, 1.5}, 254, {1200, 2}, false, false, {600, 1.5}},
            // Requests without sense.
            {{1500, 1000}, 0, {3000, 2000}, true, false, {3000, 2000}},
            {{0, 500}, 300, {3000, 2000}, true, true, {3000, 2000}},
            {{kNoNumber, 5000}, 300, {3000, 2000}, false, false, {3000, 2000}},
            {{kHuge / 2, kHuge / 2}, 300, {3000, 2000}, false, false, {32767, 32767}}};

        for (const auto& [production, dpi, source, isBitmap, allowUpscaling, expected] : cases) {
            const QSizeF size = RKImageClipper().calcResultImageSize(
                production, dpi, source, isBitmap, allowUpscaling);
            QVERIFY(qAbs(size.width() - expected.width()) < 0.001);
            QVERIFY(qAbs(size.height() - expected.height()) < 0.001);
        }
    }

    void safeSizesAreAtLeastOnePixel()
    {
        const RKImageClipper clipper;
        QCOMPARE(clipper.safeValidSize({2.5, 1.4}), QSize(3, 1));
        QCOMPARE(clipper.safeValidSize({1e300, -3}), QSize(std::numeric_limits<int>::max(), 1));
        expectDiagnosis("FIXED:(nanx-7.5) TO:(1x1)");
        QCOMPARE(clipper.safeValidSize({kNoNumber, -7.5}), QSize(1, 1));
    }

    void theClippedRegionIsTheRightOne()
    {
        for (const RKDrawable& drawable :
            {RKDrawable(tiles()), tilesAsVector(), tilesAsVector().scaled({900, 600})})
        {
            const double tile = drawable.widthF() / 30;
            const QImage clip = RKImageClipper().clipForProduction(drawable,
                drawable.sizeF(),
                {7 * tile, 3 * tile, 12 * tile, 8 * tile},
                {2400, 1600},
                25,
                true);
            QCOMPARE(clip.size(), QSize(236, 157));
            QCOMPARE(clip.hasAlphaChannel(), drawable.isVector());
            for (int i = 0; i < 96; ++i) {
                const QPoint middle((i % 12 * 2 + 1) * 236 / 24, (i / 12 * 2 + 1) * 157 / 16);
                const QPoint tileBelow(7 + i % 12, 3 + i / 12);
                QCOMPARE(clip.pixel(middle), RKTestPictures::numbered(30, 20).pixel(tileBelow));
            }
        }
    }

    void clipsSayTheResolutionOfThePrint()
    {
        const auto clip = [](const QSizeF& production) {
            return RKImageClipper().clipForProduction(
                tiles(), {300, 200}, {0, 0, 300, 200}, production, 300, false);
        };
        for (const auto& [print, dotsPerInch] : {std::pair(169.33, 300), {338.67, 225}}) {
            const QImage image = clip({print, print / 3 * 2});
            QVERIFY(std::abs(image.dotsPerMeterX() * 0.0254 - dotsPerInch) < 0.5);
            QVERIFY(std::abs(image.dotsPerMeterY() * 0.0254 - dotsPerInch) < 0.5);
        }
        // Nobody can say it of a print without size.
        const int unknown = QImage(1, 1, QImage::Format_RGB32).dotsPerMeterX();
        QCOMPARE(clip({0, 100}).dotsPerMeterX(), unknown);
        QCOMPARE(clip({1e-6, 100}).dotsPerMeterX(), unknown);
    }

    void rectanglesOutsideCountAsOnePixel()
    {
        for (const QRectF& rect : {QRectF(400, 0, 50, 50),
                 QRectF(kNoNumber, 0, 50, 50),
                 QRectF(-kInfinity, 0, kInfinity, 50)})
        {
            const auto clip = [&](const RKDrawable& drawable, bool allowUpscaling) {
                expectDiagnosis("FIXED:(0x0) TO:(1x1)");
                expectDiagnosis(drawable.isBitmap()
                        ? "DRAWABLE GAVE:(0x0) ISBITMAP:1 ISNULL:0 ISVECTOR:0"
                        : "DRAWABLE GAVE:(0x0) ISBITMAP:0 ISNULL:0 ISVECTOR:1");
                return RKImageClipper().clipForProduction(
                    drawable, {300, 200}, rect, {1270, 2540}, 10, allowUpscaling);
            };
            QCOMPARE(clip(tiles(), false).size(), QSize(1, 1));
            QCOMPARE(clip(tiles(), true).size(), QSize(50, 100));
            QCOMPARE(clip(tilesAsVector(), false).size(), QSize(50, 100));
        }
        // What reaches beyond an edge is cut off.
        for (const QRectF& rect : {QRectF(250, 150, kInfinity, kHuge), QRectF(300, 200, -50, -50)})
        {
            QCOMPARE(RKImageClipper().clipForProduction(
                         tiles(), {300, 200}, rect, {9000, 9000}, 254, false),
                tiles().copy(250, 150, 50, 50));
        }
    }

    void whatCanNotBeDrawnIsNull()
    {
        // Less than half a pixel high after the reduction to the longest side.
        for (const RKDrawable& drawable : {RKDrawable(), RKDrawable(tiles())}) {
            QVERIFY(RKImageClipper()
                        .clipForProduction(
                            drawable, {300, 200}, {0, 0, 300, 200}, {1e9, 1100}, 254, true)
                        .isNull());
        }
    }

private:
    // In both logs.
    static void expectDiagnosis(const QByteArray& text)
    {
        const QByteArray message = "BUGHUNT 1PIXEL " + text;
        QTest::ignoreMessage(QtInfoMsg, message.constData());
        QTest::ignoreMessage(QtDebugMsg, message.constData());
    }

    QTemporaryDir m_folder;
};

QTEST_MAIN(RKImageClipperTest)

#include "RKImageClipperTest.moc"
