#include "RKImageLoader/loading/RKImageClipper.h"

#include "RKImageLoader/drawables/RKDrawable.h"
#include "RKImageLoader/loading/RKMediaLoader.h"
#include "RKImageLoader/media/RKImageLoaderConfig.h"
#include "RKImageLoader/metadata/RKMetaData.h"
#include "support/RKTestPictures.h"

#include <QGuiApplication>
#include <QPainter>
#include <QTemporaryDir>
#include <QTest>

#include <array>
#include <limits>

using namespace RKTestPictures;

namespace {

constexpr int kTile = 10;
constexpr double kInfinity = std::numeric_limits<double>::infinity();
constexpr double kNoNumber = std::numeric_limits<double>::quiet_NaN();
constexpr double kHuge = std::numeric_limits<double>::max();

QColor colorOfTile(int column, int row)
{
    return {20 + 7 * column, 20 + 11 * row, (column * 37 + row * 59) % 256};
}

// 30 x 20 tiles, each of a colour of its own.
QImage tiles()
{
    QImage image(30 * kTile, 20 * kTile, QImage::Format_RGB32);
    QPainter painter(&image);
    for (int row = 0; row < 20; ++row) {
        for (int column = 0; column < 30; ++column)
            painter.fillRect(column * kTile, row * kTile, kTile, kTile, colorOfTile(column, row));
    }
    return image;
}

// The same as a drawing whose view box doesn't begin at the origin.
QByteArray tilesAsSvg()
{
    QByteArray svg = "<svg xmlns='http://www.w3.org/2000/svg' viewBox='-100 50 300 200'>";
    for (int row = 0; row < 20; ++row) {
        for (int column = 0; column < 30; ++column) {
            svg += QStringLiteral("<rect x='%1' y='%2' width='10' height='10' fill='%3'/>")
                       .arg(column * kTile - 100)
                       .arg(row * kTile + 50)
                       .arg(colorOfTile(column, row).name())
                       .toUtf8();
        }
    }
    return svg + "</svg>";
}

struct SizeCase
{
    const char* name = nullptr;
    QSizeF production;
    int dpi = 300;
    QSizeF source = {3000, 2000};
    bool isBitmap = true;
    bool allowUpscaling = false;
    QSizeF expected;
};

const std::array kSizes{
    SizeCase{.name = "as printed", .production = {1500, 1000}, .expected = {1771.654, 1181.102}},
    SizeCase{.name = "not enlarged", .production = {5000, 4000}, .expected = {3000, 2000}},
    SizeCase{.name = "enlarged",
        .production = {5000, 4000},
        .allowUpscaling = true,
        .expected = {5905.512, 4724.409}},
    SizeCase{.name = "one side too large", .production = {2600, 900}, .expected = {3000, 2000}},
    SizeCase{.name = "vector enlarged",
        .production = {5000, 4000},
        .isBitmap = false,
        .expected = {5905.512, 4724.409}},
    SizeCase{.name = "small landscape has the detail of 100 mm",
        .production = {300, 200},
        .expected = {1771.654, 1181.102}},
    SizeCase{.name = "small portrait", .production = {200, 300}, .expected = {1181.102, 1771.654}},
    SizeCase{.name = "small of a narrow source",
        .production = {300, 200},
        .source = {4000, 400},
        .expected = {354.331, 236.220}},
    SizeCase{.name = "only the height is kept",
        .production = {1500, 400},
        .source = {3000, 1000},
        .expected = {1500, 500}},
    SizeCase{.name = "too long",
        .production = {60000, 30000},
        .dpi = 254,
        .isBitmap = false,
        .expected = {32767, 16383.5}},
    SizeCase{
        .name = "no resolution", .production = {1500, 1000}, .dpi = 0, .expected = {3000, 2000}},
    SizeCase{.name = "negative resolution",
        .production = {1500, 1000},
        .dpi = -300,
        .expected = {3000, 2000}},
    SizeCase{.name = "no width",
        .production = {0, 500},
        .allowUpscaling = true,
        .expected = {3000, 2000}},
    SizeCase{.name = "negative", .production = {-5, -5}, .expected = {1181.102, 1181.102}},
    SizeCase{.name = "no number",
        .production = {kNoNumber, 5000},
        .isBitmap = false,
        .expected = {3000, 2000}},
    SizeCase{.name = "infinite",
        .production = {kInfinity, 5000},
        .isBitmap = false,
        .expected = {3000, 2000}},
    SizeCase{.name = "largest number",
        .production = {kHuge / 2, kHuge / 2},
        .isBitmap = false,
        .expected = {32767, 32767}},
};

} // namespace

class RKImageClipperTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:

    void initTestCase()
    {
        write(path("config.xml"), "<c><scaling productionMaxScalePercent='50'/></c>");
        RKImageLoaderConfig::setConfigFile(QFileInfo(path("config.xml")));
    }

    void init()
    {
        // Decoders warn of missing files in words of their own.
        if (QTest::currentTestFunction() != QByteArray("unknownSizesAreDiagnosed"))
            QTest::failOnWarning(QRegularExpression(QStringLiteral(".*")));
    }

    void resultSizes()
    {
        for (const SizeCase& item : kSizes) {
            const QSizeF size = RKImageClipper().calcResultImageSize(
                item.production, item.dpi, item.source, item.isBitmap, item.allowUpscaling);
            QVERIFY2(qAbs(size.width() - item.expected.width()) < 0.001
                    && qAbs(size.height() - item.expected.height()) < 0.001,
                qPrintable(QStringLiteral("%1: %2x%3")
                               .arg(QLatin1String(item.name))
                               .arg(size.width())
                               .arg(size.height())));
        }
        QCOMPARE(RKImageClipper().ratioWidthByHeight({0, 4}), 0.0);
        QCOMPARE(RKImageClipper().ratioWidthByHeight({4, 0}), 1.0);
        QCOMPARE(RKImageClipper().ratioWidthByHeight({-4, 2}), 1.0);
    }

    void safeSizesAreAtLeastOnePixel()
    {
        const RKImageClipper clipper;
        QCOMPARE(clipper.safeValidSize({2.5, 1.4}), QSize(3, 1));
        QCOMPARE(clipper.safeValidSize({1e300, -3}), QSize(std::numeric_limits<int>::max(), 1));
        expectDiagnosis("FIXED:(0.1x-7) TO:(1x1)");
        QCOMPARE(clipper.safeValidSize({0.1, -7}), QSize(1, 1));
        expectDiagnosis("FIXED:(nanx-inf) TO:(1x1)");
        QCOMPARE(clipper.safeValidSize({kNoNumber, -kInfinity}), QSize(1, 1));
    }

    void theClippedRegionIsTheRightOne_data()
    {
        QTest::addColumn<RKDrawable>("drawable");
        QTest::newRow("bitmap") << RKDrawable(tiles());
        QTest::newRow("bitmap with alpha")
            << RKDrawable(tiles().convertToFormat(QImage::Format_ARGB32));
        QTest::newRow("vector") << RKDrawable(tilesAsSvg());
        QTest::newRow("larger vector") << RKDrawable(tilesAsSvg()).scaled({900, 600});
    }

    void theClippedRegionIsTheRightOne()
    {
        QFETCH(const RKDrawable, drawable);
        // In tiles, from the seventh column and the third row on; twice as large.
        const double tile = kTile * drawable.widthF() / 300;
        const QRectF rect(7 * tile, 3 * tile, 12 * tile, 8 * tile);
        const QImage clip = RKImageClipper().clipForProduction(
            drawable, drawable.sizeF(), rect, {2400, 1600}, 25, true);
        QCOMPARE(clip.size(), QSize(236, 157));
        QCOMPARE(clip.format(),
            drawable.hasAlphaChannel() ? QImage::Format_ARGB32 : QImage::Format_RGB32);
        for (int row = 0; row < 8; ++row) {
            for (int column = 0; column < 12; ++column) {
                const QPoint middle(
                    int((column + 0.5) * clip.width() / 12), int((row + 0.5) * clip.height() / 8));
                QCOMPARE(clip.pixelColor(middle), colorOfTile(7 + column, 3 + row));
            }
        }
    }

    void rectanglesOutsideCountAsOnePixel_data()
    {
        QTest::addColumn<QRectF>("rect");
        QTest::addColumn<QByteArray>("size");
        QTest::newRow("outside") << QRectF(400, 0, 50, 50) << QByteArray("(0x0)");
        QTest::newRow("no number") << QRectF(kNoNumber, 0, 50, 50) << QByteArray("(0x0)");
        QTest::newRow("no number wide") << QRectF(0, 0, kNoNumber, 50) << QByteArray("(0x0)");
        QTest::newRow("infinitely far")
            << QRectF(-kInfinity, 0, kInfinity, 50) << QByteArray("(0x0)");
        QTest::newRow("tiny") << QRectF(5, 5, 0.4, 0.25) << QByteArray("(0.4x0.25)");
    }

    void rectanglesOutsideCountAsOnePixel()
    {
        QFETCH(const QRectF, rect);
        QFETCH(const QByteArray, size);
        const auto clip = [&](const RKDrawable& drawable, bool allowUpscaling) {
            const bool isBitmap = drawable.isBitmap();
            expectDiagnosis("FIXED:" + size + " TO:(1x1)");
            expectDiagnosis("DRAWABLE GAVE:" + size
                + (isBitmap ? " ISBITMAP:1 ISNULL:0 ISVECTOR:0"
                            : " ISBITMAP:0 ISNULL:0 ISVECTOR:1"));
            return RKImageClipper().clipForProduction(
                drawable, {300, 200}, rect, {1270, 2540}, 10, allowUpscaling);
        };
        QCOMPARE(clip(tiles(), false).size(), QSize(1, 1));
        QCOMPARE(clip(tiles(), true).size(), QSize(50, 100));
        QCOMPARE(clip(tilesAsSvg(), false).size(), QSize(50, 100));
    }

    void rectanglesAreCutOffAtTheEdges()
    {
        for (const QRectF& rect : {QRectF(250, 150, kInfinity, kHuge), QRectF(300, 200, -50, -50)})
        {
            const QImage clip = RKImageClipper().clipForProduction(
                tiles(), {300, 200}, rect, {9000, 9000}, 254, false);
            QCOMPARE(clip, tiles().copy(250, 150, 50, 50));
        }
    }

    void whatCanNotBeDrawnIsNull()
    {
        const RKImageClipper clipper;
        const QRectF rect(0, 0, 300, 200);
        QVERIFY(clipper.clipForProduction({}, {300, 200}, rect, {1000, 1000}, 254, true).isNull());
        // Less than half a pixel high after the reduction to the longest side.
        QVERIFY(clipper.clipForProduction(tilesAsSvg(), {300, 200}, rect, {1e9, 1100}, 254, true)
                    .isNull());
        // No part that a picture could have.
        for (const double far : {kHuge, kNoNumber, 20000.0}) {
            QImage target(9, 9, QImage::Format_RGB32);
            QPainter painter(&target);
            QTest::ignoreMessage(QtWarningMsg, QRegularExpression(QStringLiteral("out of memory")));
            QVERIFY(!RKDrawable(tiles()).draw(
                &painter, target.rect(), {0, 0, far, 100 * far}, SCALING_FAST));
        }
    }

    void filesAreClippedUpright()
    {
        const RKMediaLoader& loader = *RKMediaLoader::instance();
        const RKMediaDescriptor file{QFileInfo(path("turned.png"))};
        RKMetaData metaData;
        metaData.setImageOrientation(ORIENTATION_LEFT_BOTTOM);
        QVERIFY(loader.save(file, tiles(), metaData));
        const QImage upright = loader.bitmap(file, QSize());
        QCOMPARE(upright.size(), QSize(200, 300));
        const QRect rect(20, 220, 90, 60);
        const QImage clip
            = RKImageClipper().clipForProduction(file, rect, {9000, 6000}, 254, false);
        QCOMPARE(clip, upright.copy(rect).convertToFormat(clip.format()));
    }

    void unknownSizesAreDiagnosed()
    {
        const QString missing = path("missing %1.png");
        expectDiagnosis("GAVE:(-1x-1) PATH:" + missing.toUtf8());
        QVERIFY(RKImageClipper()
                    .clipForProduction(
                        RKMediaDescriptor(QFileInfo(missing)), {0, 0, 1, 1}, {9, 9}, 9, true)
                    .isNull());
    }

private:
    QString path(const char* name) const
    {
        return m_folder.filePath(QString::fromUtf8(name));
    }

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
