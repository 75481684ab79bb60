#include "RKImageLoader/drawables/RKDrawable.h"

#include "RKImageLoader/drawables/RKDrawableImpl.h"
#include "RKImageLoader/drawables/RKDrawableInterfaceQImage.h"

#include <QPainter>
#include <QPicture>
#include <QRegularExpression>
#include <QTest>

#include <utility>

namespace {

const QRegularExpression kOutOfMemory(
    QStringLiteral("RKDrawableInterfaceQImage::draw\\(.* out of memory on any operation$"));

// Four 10 × 10 squares, the view box away from the origin.
const QByteArray kFourSquares
    = "<svg xmlns='http://www.w3.org/2000/svg' width='400' height='100' viewBox='10 20 20 20'>"
      "<rect x='10' y='20' width='10' height='10' fill='#ff0000'/>"
      "<rect x='20' y='20' width='10' height='10' fill='#00ff00'/>"
      "<rect x='10' y='30' width='10' height='10' fill='#0000ff'/>"
      "<rect x='20' y='30' width='10' height='10' fill='#ffff00'/></svg>";
constexpr QRgb kRed = 0xffff0000;
constexpr QRgb kGreen = 0xff00ff00;
constexpr QRgb kBlue = 0xff0000ff;
constexpr QRgb kYellow = 0xffffff00;

QImage filled(int width, int height, QImage::Format format, QRgb color = 0xff336699)
{
    QImage image(width, height, format);
    image.fill(QColor::fromRgba(color));
    return image;
}

// An opaque image whose pixels all differ.
QImage numbered(int width, int height, QImage::Format format = QImage::Format_RGB32)
{
    QImage image(width, height, QImage::Format_RGB32);
    for (int y = 0; y < height; ++y) {
        for (int x = 0; x < width; ++x)
            image.setPixel(x, y, qRgb(x * 5, y * 5, 0x40 + x + y));
    }
    return image.convertToFormat(format);
}

QImage drawn(const RKDrawable& drawable,
    const QSize& canvas,
    const QRectF& target,
    const QRectF& source,
    const RKScalingOption& option)
{
    QImage image = filled(canvas.width(), canvas.height(), QImage::Format_ARGB32_Premultiplied, 0);
    QPainter painter(&image);
    if (!drawable.draw(&painter, target, source, option))
        return {};

    return image;
}

} // namespace

class RKDrawableTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();

    void defaultIsANullBitmap();
    void movedFromBehavesLikeNull();
    void nullPointersGiveNullDrawables();
    void copyThenWriteLeavesTheOriginal();
    void pointerConstructorSharesButNotWithOthers();
    void equalMeansTheSameContentOrBothNull();
    void hostContentIsUsedAndCloned();

    void alphaDecidesTheFileFormat_data();
    void alphaDecidesTheFileFormat();
    void lastPixelAloneGivesAlpha_data();
    void lastPixelAloneGivesAlpha();
    void acceptableSizes();
    void optimizingConvertsThePixelsOnce();

    void scaledFitsAndKeepsThePlaceholder();
    void scaledToHeight();
    void identityDrawsAreExact_data();
    void identityDrawsAreExact();
    void drawsTheRoundedPart_data();
    void drawsTheRoundedPart();
    void emptySourceDrawsTheWholeImage();
    void partOutsideOfTheImageIsTransparent();
    void drawnPartsOutliveTheDrawable();
    void drawingRestoresThePainter();
    void anythingButOneMethodIsRefused();
    void tooLargeTargetsAreRefused();
    void bitmapInSvgReadsBackAsThePicture();

    void vectorHasTheSizeOfItsViewBox();
    void vectorDrawsTheSourceOnTheTarget();
    void vectorSourceBeyondTheViewBoxStretchesThePicture();
    void vectorScalesItsNominalSizeOnly();
    void vectorHeightScalesThePicture();
    void brokenVectorIsNull();
    void hugeViewBoxIsNotRendered();

    void historyGrowsByOneStepAtATime();
    void historyIsWrittenToTheDebugLog();
};

void RKDrawableTest::init()
{
    QTest::failOnWarning(QRegularExpression(QStringLiteral(".*")));
}

void RKDrawableTest::defaultIsANullBitmap()
{
    const RKDrawable drawable;
    QImage canvas = filled(4, 4, QImage::Format_RGB32);
    QPainter painter(&canvas);

    QVERIFY(drawable.isNull());
    QVERIFY(!drawable.isVector());
    QVERIFY(drawable.isBitmap());
    QVERIFY(!drawable.hasAlphaChannel());
    QVERIFY(!drawable.hasAlpha());
    QVERIFY(!drawable.isPlaceholder());
    QCOMPARE(drawable.size(), QSize(0, 0));
    QCOMPARE(drawable.numBytes(), 0);
    QVERIFY(drawable.image().isNull());
    QVERIFY(drawable.imageScaledToHeight(10).isNull());
    QVERIFY(drawable.pixmap().isNull());
    QVERIFY(drawable.svg().isEmpty());
    QVERIFY(drawable.scaled({10, 10}).isNull());
    QVERIFY(!drawable.draw(&painter, {0, 0, 4, 4}, {0, 0, 4, 4}, SCALING_SMOOTH));
}

void RKDrawableTest::movedFromBehavesLikeNull()
{
    RKDrawable source(numbered(4, 3));
    const RKDrawable target = std::move(source);

    QCOMPARE(target.size(), QSize(4, 3));
    // What a moved-from drawable does is promised.
    QVERIFY(source.isNull()); // NOLINT(bugprone-use-after-move)
    QVERIFY(source.isBitmap());
    QCOMPARE(source.size(), QSize(0, 0));
    QVERIFY(source.scaled({5, 5}).image().isNull());
    QVERIFY(source == RKDrawable());
    QVERIFY(RKDrawable(&source).isNull());

    source.optimizeForDrawing();
    source.setIsPlaceholder(true);
    QVERIFY(source.isPlaceholder());
    QVERIFY(source.isNull());
}

void RKDrawableTest::nullPointersGiveNullDrawables()
{
    QVERIFY(RKDrawable(static_cast<RKDrawable*>(nullptr)).isNull());
    QVERIFY(RKDrawable(static_cast<RKDrawableImpl*>(nullptr)).isNull());
    QVERIFY(RKDrawable(new RKDrawableImpl(nullptr)).isNull());
}

void RKDrawableTest::copyThenWriteLeavesTheOriginal()
{
    const RKDrawable original(numbered(4, 3));
    RKDrawable marked = original;
    RKDrawable optimized = original;
    QVERIFY(original == marked);

    marked.setIsPlaceholder(true);
    optimized.optimizeForDrawing();

    QVERIFY(!original.isPlaceholder());
    QVERIFY(!optimized.isPlaceholder());
    QCOMPARE(original.image().format(), QImage::Format_RGB32);
    QCOMPARE(optimized.image().format(), QImage::Format_ARGB32_Premultiplied);
    QVERIFY(original != marked);
    QCOMPARE(marked.image(), original.image());
}

void RKDrawableTest::pointerConstructorSharesButNotWithOthers()
{
    const RKDrawable bystander(numbered(4, 3));
    RKDrawable pointed = bystander;
    const RKDrawable sharing(&pointed);

    QVERIFY(sharing == pointed);
    QVERIFY(bystander != pointed);
    QCOMPARE(sharing.image(), bystander.image());
}

void RKDrawableTest::equalMeansTheSameContentOrBothNull()
{
    const QImage image = numbered(4, 3);
    QVERIFY(RKDrawable(image) != RKDrawable(image));
    QVERIFY(RKDrawable() == RKDrawable());
    QVERIFY(RKDrawable() == RKDrawable(QByteArray()));
    QVERIFY(RKDrawable() != RKDrawable(image));
}

void RKDrawableTest::hostContentIsUsedAndCloned()
{
    const RKDrawable original(new RKDrawableImpl(new RKDrawableInterfaceQImage(numbered(4, 3))));
    RKDrawable copy = original;
    copy.setIsPlaceholder(true);

    QCOMPARE(original.size(), QSize(4, 3));
    QCOMPARE(copy.size(), QSize(4, 3));
    QVERIFY(copy != original);
}

void RKDrawableTest::alphaDecidesTheFileFormat_data()
{
    QTest::addColumn<QImage>("image");
    QTest::addColumn<bool>("hasAlphaChannel");
    QTest::addColumn<bool>("hasAlpha");

    QImage palette(9, 5, QImage::Format_Indexed8);
    palette.setColorTable({0xff000000, 0x80ff0000});
    palette.fill(0);
    QImage paletteWithHole = palette;
    paletteWithHole.setPixel(8, 4, 1);

    QTest::newRow("no channel") << filled(9, 5, QImage::Format_RGB32) << false << false;
    QTest::newRow("opaque") << filled(9, 5, QImage::Format_ARGB32) << true << false;
    QTest::newRow("translucent") << filled(9, 5, QImage::Format_ARGB32, 0xfe123456) << true << true;
    QTest::newRow("palette, entry unused") << palette << true << false;
    QTest::newRow("palette, entry used") << paletteWithHole << true << true;
    QTest::newRow("16 bit") << filled(9, 5, QImage::Format_RGBA64) << true << false;
    QTest::newRow("no rows") << QImage(0, 0, QImage::Format_ARGB32) << false << false;
}

void RKDrawableTest::alphaDecidesTheFileFormat()
{
    QFETCH(const QImage, image);
    QFETCH(const bool, hasAlphaChannel);
    QFETCH(const bool, hasAlpha);

    const RKDrawable drawable(image);
    QCOMPARE(drawable.hasAlphaChannel(), hasAlphaChannel);
    QCOMPARE(drawable.hasAlpha(), hasAlpha);
    QVERIFY(drawable.bestImageFileFormat() == (hasAlpha ? MEDIA_FORMAT_PNG : MEDIA_FORMAT_JPG));
    QCOMPARE(drawable.numBytes(), image.sizeInBytes());
}

void RKDrawableTest::lastPixelAloneGivesAlpha_data()
{
    QTest::addColumn<QImage::Format>("format");

    for (const QImage::Format format : {QImage::Format_ARGB32,
             QImage::Format_ARGB32_Premultiplied,
             QImage::Format_RGBA8888,
             QImage::Format_RGBA64,
             QImage::Format_Alpha8,
             QImage::Format_ARGB8565_Premultiplied,
             QImage::Format_RGBA32FPx4})
        QTest::addRow("format %d", int(format)) << format;
}

void RKDrawableTest::lastPixelAloneGivesAlpha()
{
    QFETCH(const QImage::Format, format);

    // More pixels than one strip of a conversion has.
    for (const QSize& size : {QSize(1, 1), QSize(47, 33), QSize(1021, 131), QSize(70001, 2)}) {
        QImage image = filled(size.width(), size.height(), format, 0xffffffff);
        QVERIFY(!RKDrawable(image).hasAlpha());
        image.setPixelColor(size.width() - 1, size.height() - 1, QColor(255, 255, 255, 254));
        QVERIFY(RKDrawable(image).hasAlpha());
    }
}

void RKDrawableTest::acceptableSizes()
{
    QVERIFY(RKDrawable::isAcceptableSize({8, 8}));
    QVERIFY(RKDrawable::isAcceptableSize({8, 511}));
    QVERIFY(!RKDrawable::isAcceptableSize({8, 512}));
    QVERIFY(!RKDrawable::isAcceptableSize({512, 8}));
    QVERIFY(!RKDrawable::isAcceptableSize({7, 7}));
    QVERIFY(!RKDrawable::isAcceptableSize({0, 0}));
    QVERIFY(!RKDrawable::isAcceptableSize({}));
}

void RKDrawableTest::optimizingConvertsThePixelsOnce()
{
    RKDrawable drawable(filled(4, 3, QImage::Format_ARGB32, 0x80ff0000));
    drawable.optimizeForDrawing();
    const QImage once = drawable.image();
    drawable.optimizeForDrawing();

    QCOMPARE(once.format(), QImage::Format_ARGB32_Premultiplied);
    QCOMPARE(drawable.image().cacheKey(), once.cacheKey());
}

void RKDrawableTest::scaledFitsAndKeepsThePlaceholder()
{
    RKDrawable drawable(numbered(40, 20));
    drawable.setIsPlaceholder(true);

    QCOMPARE(drawable.scaled({20, 20}).size(), QSize(20, 10));
    QCOMPARE(drawable.scaled({80, 80}).size(), QSize(80, 40));
    QVERIFY(drawable.scaled({20, 20}).isPlaceholder());
    for (const QSize& invalid : {QSize(-1, 10), QSize(10, -1)})
        QCOMPARE(drawable.scaled(invalid).image(), drawable.image());
    QVERIFY(drawable.scaled({0, 50}).isNull());
    QCOMPARE(RKDrawable(numbered(1000, 7)).scaled({100, 100}).size(), QSize(100, 1));
}

void RKDrawableTest::scaledToHeight()
{
    const RKDrawable drawable(numbered(40, 20));
    QCOMPARE(drawable.imageScaledToHeight(10).size(), QSize(20, 10));
    QVERIFY(drawable.imageScaledToHeight(0).isNull());
    QCOMPARE(drawable.pixmap().size(), QSize(40, 20));
}

void RKDrawableTest::identityDrawsAreExact_data()
{
    QTest::addColumn<QImage::Format>("format");
    QTest::addColumn<RKScalingOptionEnum>("option");

    for (const QImage::Format format :
        {QImage::Format_RGB32, QImage::Format_ARGB32, QImage::Format_ARGB32_Premultiplied})
    {
        for (const RKScalingOptionEnum option : {SCALING_SMOOTH, SCALING_FAST, SCALING_BILINEAR})
            QTest::addRow("format %d, option %d", int(format), int(option)) << format << option;
    }
}

void RKDrawableTest::identityDrawsAreExact()
{
    QFETCH(const QImage::Format, format);
    QFETCH(const RKScalingOptionEnum, option);

    const QImage image = numbered(47, 33, format);
    const QImage result = drawn(image, {50, 40}, {2, 3, 47, 33}, {0, 0, 47, 33}, option);
    QCOMPARE(result.copy(2, 3, 47, 33).convertToFormat(QImage::Format_RGB32),
        image.convertToFormat(QImage::Format_RGB32));
    QCOMPARE(result.pixel(1, 3), 0u);
    QCOMPARE(result.pixel(49, 36), 0u);
}

void RKDrawableTest::drawsTheRoundedPart_data()
{
    QTest::addColumn<QImage::Format>("format");

    for (const QImage::Format format : {QImage::Format_RGB32,
             QImage::Format_RGB888,
             QImage::Format_RGBA64,
             QImage::Format_Indexed8,
             QImage::Format_Grayscale8,
             QImage::Format_Mono})
        QTest::addRow("format %d", int(format)) << format;
}

void RKDrawableTest::drawsTheRoundedPart()
{
    QFETCH(const QImage::Format, format);

    const QImage image = numbered(47, 33, format);
    const QImage result = drawn(image, {10, 10}, {0, 0, 10, 10}, {0.6, 0.4, 10, 10}, SCALING_FAST);
    QCOMPARE(result.convertToFormat(QImage::Format_RGB32),
        image.copy(1, 0, 10, 10).convertToFormat(QImage::Format_RGB32));
}

void RKDrawableTest::emptySourceDrawsTheWholeImage()
{
    const QImage image = numbered(8, 8);
    QCOMPARE(drawn(image, {8, 8}, {0, 0, 8, 8}, {3, 3, 0, 0}, SCALING_FAST)
                 .convertToFormat(QImage::Format_RGB32),
        image);
}

void RKDrawableTest::partOutsideOfTheImageIsTransparent()
{
    const QImage image = numbered(8, 8, QImage::Format_ARGB32);
    const QImage result = drawn(image, {8, 8}, {0, 0, 8, 8}, {4, 4, 8, 8}, SCALING_FAST);
    QCOMPARE(result.pixel(0, 0), image.pixel(4, 4));
    QCOMPARE(result.pixel(3, 3), image.pixel(7, 7));
    QCOMPARE(result.pixel(4, 4), 0u);
}

void RKDrawableTest::drawnPartsOutliveTheDrawable()
{
    // A recording keeps the images it was given, so a part must keep its pixels alive.
    QPicture picture;
    const QImage image = numbered(47, 33);
    {
        const RKDrawable drawable(image.copy());
        QPainter painter(&picture);
        QVERIFY(drawable.draw(&painter, {0, 0, 20, 10}, {5, 6, 20, 10}, SCALING_SMOOTH));
    }

    QImage canvas = filled(20, 10, QImage::Format_RGB32);
    QPainter painter(&canvas);
    painter.drawPicture(0, 0, picture);
    painter.end();
    QCOMPARE(canvas, image.copy(5, 6, 20, 10));
}

void RKDrawableTest::drawingRestoresThePainter()
{
    for (const RKDrawable& drawable : {RKDrawable(numbered(8, 8)), RKDrawable(kFourSquares)}) {
        QImage canvas = filled(20, 20, QImage::Format_RGB32);
        QPainter painter(&canvas);
        const QPainter::RenderHints hints = painter.renderHints();
        QVERIFY(drawable.draw(&painter, {1, 1, 9, 9}, drawable.rectF(), SCALING_SMOOTH));
        QCOMPARE(painter.renderHints(), hints);
        QVERIFY(!painter.hasClipping());
    }
}

void RKDrawableTest::anythingButOneMethodIsRefused()
{
    const RKDrawable drawable(numbered(8, 8));
    for (const RKScalingOption& option : {RKScalingOption(),
             RKScalingOption(QStringLiteral("none")),
             RKScalingOption(QStringLiteral("smooth,fast"))})
    {
        QTest::ignoreMessage(QtWarningMsg, kOutOfMemory);
        QVERIFY(drawn(drawable, {8, 8}, {0, 0, 8, 8}, {0, 0, 8, 8}, option).isNull());
    }
}

void RKDrawableTest::tooLargeTargetsAreRefused()
{
    const RKDrawable drawable(numbered(8, 8));
    for (const RKScalingOptionEnum option :
        {SCALING_SMOOTH, SCALING_FAST, SCALING_BILINEAR, SCALING_BICUBIC})
    {
        QTest::ignoreMessage(QtWarningMsg, kOutOfMemory);
        QVERIFY(drawn(drawable, {8, 8}, {0, 0, 1e6, 1e6}, {0, 0, 8, 8}, option).isNull());
    }
    QVERIFY(drawable.scaled({1000000, 1000000}).isNull());
    QVERIFY(drawable.imageScaledToHeight(1000000).isNull());
}

void RKDrawableTest::bitmapInSvgReadsBackAsThePicture()
{
    const QImage image = numbered(40, 30);
    const QByteArray svg = RKDrawable(image).svg();
    QVERIFY(svg.contains("<title>converted QImage of RKDrawableInterfaceQImage</title>"));

    const RKDrawable vector(svg);
    QCOMPARE(vector.size(), QSize(40, 30));
    QCOMPARE(vector.image().convertToFormat(QImage::Format_RGB32), image);
}

void RKDrawableTest::vectorHasTheSizeOfItsViewBox()
{
    const RKDrawable drawable(kFourSquares);
    QVERIFY(!drawable.isNull());
    QVERIFY(drawable.isVector());
    QVERIFY(!drawable.isBitmap());
    QVERIFY(drawable.hasAlphaChannel());
    QVERIFY(drawable.hasAlpha());
    QVERIFY(drawable.bestImageFileFormat() == MEDIA_FORMAT_SVG);
    QCOMPARE(drawable.rectF(), QRectF(0, 0, 20, 20));
    QCOMPARE(drawable.svg(), kFourSquares);
    QCOMPARE(drawable.numBytes(), kFourSquares.size());
    QCOMPARE(drawable.image().size(), QSize(20, 20));
    QCOMPARE(drawable.image().pixel(0, 0), kRed);
    QCOMPARE(drawable.image().pixel(19, 19), kYellow);
}

void RKDrawableTest::vectorDrawsTheSourceOnTheTarget()
{
    // The centre of the drawing, 10 × 10, blown up to 40 × 20 at (5, 7).
    RKDrawable drawable(kFourSquares);
    for (const RKDrawable& variant : {drawable, drawable.scaled({200, 200})}) {
        const double n = variant.widthF() / 20;
        const QImage result = drawn(
            variant, {60, 40}, {5, 7, 40, 20}, {5 * n, 5 * n, 10 * n, 10 * n}, RKScalingOption());
        QCOMPARE(result.pixel(5, 7), kRed);
        QCOMPARE(result.pixel(24, 16), kRed);
        QCOMPARE(result.pixel(25, 16), kGreen);
        QCOMPARE(result.pixel(44, 7), kGreen);
        QCOMPARE(result.pixel(24, 17), kBlue);
        QCOMPARE(result.pixel(25, 17), kYellow);
        QCOMPARE(result.pixel(44, 26), kYellow);
        QCOMPARE(result.pixel(4, 16), 0u);
        QCOMPARE(result.pixel(45, 16), 0u);
        QCOMPARE(result.pixel(24, 6), 0u);
        QCOMPARE(result.pixel(24, 27), 0u);
    }
}

void RKDrawableTest::vectorSourceBeyondTheViewBoxStretchesThePicture()
{
    const QImage result = drawn(
        RKDrawable(kFourSquares), {40, 40}, {0, 0, 40, 40}, {-10, 0, 40, 20}, SCALING_SMOOTH);
    QCOMPARE(result.pixel(0, 0), kRed);
    QCOMPARE(result.pixel(19, 19), kRed);
    QCOMPARE(result.pixel(20, 19), kGreen);
    QCOMPARE(result.pixel(19, 20), kBlue);
    QCOMPARE(result.pixel(39, 39), kYellow);
}

void RKDrawableTest::vectorScalesItsNominalSizeOnly()
{
    RKDrawable drawable(kFourSquares);
    drawable.setIsPlaceholder(true);
    const RKDrawable scaled = drawable.scaled({60, 100});

    QCOMPARE(scaled.size(), QSize(60, 60));
    QVERIFY(scaled.isPlaceholder());
    QCOMPARE(scaled.svg(), kFourSquares);
    QCOMPARE(scaled.image().pixel(29, 29), kRed);
    QCOMPARE(scaled.image().pixel(30, 30), kYellow);
    QCOMPARE(drawable.scaled({-1, 10}).size(), QSize(20, 20));
    QCOMPARE(drawable.size(), QSize(20, 20));
}

void RKDrawableTest::vectorHeightScalesThePicture()
{
    const RKDrawable drawable(kFourSquares);
    for (const int height : {10, 20, 40}) {
        const QImage image = drawable.imageScaledToHeight(height);
        QCOMPARE(image.size(), QSize(height, height));
        QCOMPARE(image.pixel(0, 0), kRed);
        QCOMPARE(image.pixel(height - 1, 0), kGreen);
        QCOMPARE(image.pixel(0, height - 1), kBlue);
        QCOMPARE(image.pixel(height - 1, height - 1), kYellow);
    }
    QVERIFY(drawable.imageScaledToHeight(0).isNull());
    QVERIFY(drawable.imageScaledToHeight(-5).isNull());
}

void RKDrawableTest::brokenVectorIsNull()
{
    const RKDrawable empty{QByteArray()};
    QVERIFY(empty.isNull());
    QVERIFY(empty.isVector());
    QVERIFY(empty.image().isNull());
    QVERIFY(empty.scaled({10, 10}).image().isNull());
    QVERIFY(drawn(empty, {8, 8}, {0, 0, 8, 8}, {0, 0, 8, 8}, SCALING_SMOOTH).isNull());
}

void RKDrawableTest::hugeViewBoxIsNotRendered()
{
    for (const char* side : {"1000000", "3000000000"}) {
        const RKDrawable drawable(
            QByteArray("<svg xmlns='http://www.w3.org/2000/svg' viewBox='0 0 ") + side + ' ' + side
            + "'><rect width='1' height='1'/></svg>");
        QVERIFY(drawable.image().isNull());
    }
}

void RKDrawableTest::historyGrowsByOneStepAtATime()
{
    const QString key = QStringLiteral("TAMO-ImagePipeline");
    QImage first = numbered(100, 50);
    QImage second = numbered(50, 25);
    QImage created = first;

    RKDrawable::trackImageChange(first, first, QStringLiteral("load"));
    QCOMPARE(first.text(key), QStringLiteral("ExNihiloload"));
    RKDrawable::trackImageChange(first, second, QStringLiteral("scale"));
    QCOMPARE(second.text(key), QStringLiteral("ExNihiloload; scale (100, 50) -> (50, 25)"));
    RKDrawable::trackImageChange(QImage(), created, QStringLiteral("create"));
    QCOMPARE(created.text(key), QStringLiteral("create(100, 50)"));
}

void RKDrawableTest::historyIsWrittenToTheDebugLog()
{
    QImage image = numbered(10, 10);
    RKDrawable::trackImageChange(image, image, QStringLiteral("load"));

    QTest::ignoreMessage(QtDebugMsg, "Image History: ExNihiloload");
    RKDrawable::imageChange(image);
}

QTEST_MAIN(RKDrawableTest)
#include "RKDrawableTest.moc"
