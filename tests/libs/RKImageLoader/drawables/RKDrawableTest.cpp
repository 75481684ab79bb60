#include "RKImageLoader/drawables/RKDrawable.h"

#include "RKImageLoader/drawables/RKDrawableImpl.h"
#include "RKImageLoader/drawables/RKDrawableInterfaceQImage.h"
#include "RKImageLoader/drawables/RKImageTester.h"
#include "support/RKQuietTest.h"
#include "support/RKTestPictures.h"
#include "support/RKTestThreads.h"

#include <QPainter>
#include <QPicture>

#include <algorithm>
#include <atomic>
#include <cmath>
#include <initializer_list>
#include <limits>
#include <utility>

using namespace Qt::StringLiterals;

using RKTestPictures::numbered;

namespace {

const QRegularExpression kOutOfMemory(
    u"RKDrawableInterfaceQImage::draw\\(.* out of memory on any operation$"_s);

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
constexpr QRgb kNothing = 0;

QImage filled(int width, int height, QImage::Format format, QRgb color = 0xff336699)
{
    QImage image(width, height, format);
    image.fill(QColor::fromRgba(color));
    return image;
}

QImage drawn(const RKDrawable& drawable,
    const QSize& canvas,
    const QRectF& target,
    const QRectF& source,
    const RKScalingOption& option)
{
    QImage image = filled(canvas.width(), canvas.height(), QImage::Format_ARGB32_Premultiplied, 0);
    QPainter painter(&image);
    return drawable.draw(&painter, target, source, option) ? image : QImage();
}

QImage rgb(const QImage& image)
{
    return image.convertToFormat(QImage::Format_RGB32);
}

using Pixel = std::tuple<int, int, QRgb>;

bool hasPixels(const QImage& image, std::initializer_list<Pixel> pixels)
{
    return std::all_of(pixels.begin(), pixels.end(), [&image](const Pixel& pixel) {
        const auto& [x, y, color] = pixel;
        return image.pixel(x, y) == color;
    });
}

} // namespace

class RKDrawableTest : public RKQuietTest
{
    Q_OBJECT

private Q_SLOTS:

    void nothingIsDrawnOfNothing()
    {
        RKDrawable source(numbered(4, 3));
        const RKDrawable target = std::move(source);
        // What a moved-from drawable does is promised.
        // NOLINTNEXTLINE(bugprone-use-after-move,clang-analyzer-cplusplus.Move)
        const RKDrawable movedFrom(source);
        for (const RKDrawable& drawable : {RKDrawable(),
                 RKDrawable(QByteArray()),
                 RKDrawable(static_cast<RKDrawable*>(nullptr)),
                 RKDrawable(new RKDrawableImpl(nullptr)),
                 movedFrom})
        {
            QVERIFY(drawable.isNull() && drawable == RKDrawable() && drawable != target);
            QVERIFY(drawable.size() == QSize(0, 0) && drawable.svg().isEmpty());
            QVERIFY(drawable.image().isNull() && drawable.imageScaledToHeight(10).isNull());
            QVERIFY(drawable.scaled({10, 10}).isNull());
            QVERIFY(drawn(drawable, {4, 4}, {0, 0, 4, 4}, {0, 0, 4, 4}, SCALING_SMOOTH).isNull());
        }
    }

    void copyThenWriteLeavesTheOriginal()
    {
        // As a host makes one with content of its own.
        const RKDrawable original(
            new RKDrawableImpl(new RKDrawableInterfaceQImage(numbered(4, 3))));
        RKDrawable marked = original;
        RKDrawable optimized = original;
        QVERIFY(original == marked);
        marked.setIsPlaceholder(true);
        optimized.optimizeForDrawing();

        QVERIFY(!original.isPlaceholder() && !optimized.isPlaceholder());
        QCOMPARE(original.image().format(), QImage::Format_RGB32);
        QCOMPARE(optimized.image().format(), QImage::Format_ARGB32_Premultiplied);
        QVERIFY(original != marked);
    }

    void alphaDecidesTheFileFormat()
    {
        QImage palette(9, 5, QImage::Format_Indexed8);
        palette.setColorTable({0xff000000, 0x80ff0000});
        palette.fill(0);
        QVERIFY(!RKDrawable(palette).hasAlpha());
        palette.setPixel(8, 4, 1);
        QVERIFY(RKDrawable(palette).hasAlpha());
        QVERIFY(!RKImageTester().imageContainsAlphaInformation(numbered(4, 3)));

        for (const QImage::Format format :
            {QImage::Format_ARGB32, QImage::Format_RGBA8888, QImage::Format_RGBA64})
        {
            // More pixels than one strip of a conversion has; the last one alone counts.
            for (const QSize& size : {QSize(1, 1), QSize(1021, 131), QSize(70001, 2)}) {
                QImage image = filled(size.width(), size.height(), format, 0xffffffff);
                QVERIFY(RKDrawable(image).bestImageFileFormat() == MEDIA_FORMAT_JPG);
                image.setPixelColor(
                    size.width() - 1, size.height() - 1, QColor(255, 255, 255, 254));
                QVERIFY(RKDrawable(image).bestImageFileFormat() == MEDIA_FORMAT_PNG);
            }
        }
    }

    void bitmapsAreScaledToFit()
    {
        RKDrawable drawable(numbered(40, 20));
        drawable.setIsPlaceholder(true);
        QVERIFY(drawable.scaled({20, 20}).isPlaceholder());
        QCOMPARE(drawable.scaled({80, 80}).size(), QSize(80, 40));
        QCOMPARE(drawable.scaled({-1, 10}).image(), drawable.image());
        QVERIFY(drawable.scaled({1000000, 1000000}).isNull());
        QCOMPARE(RKDrawable(numbered(1000, 7)).scaled({100, 100}).size(), QSize(100, 1));
        QCOMPARE(drawable.imageScaledToHeight(10).size(), QSize(20, 10));
        QVERIFY(drawable.imageScaledToHeight(1000000).isNull());
    }

    void drawsInPlaceAreExact()
    {
        for (const QImage::Format format : {QImage::Format_RGB32,
                 QImage::Format_ARGB32,
                 QImage::Format_RGB888,
                 QImage::Format_Indexed8,
                 QImage::Format_Mono})
        {
            const QImage image = numbered(47, 33, format);
            for (const auto option : {SCALING_SMOOTH, SCALING_FAST, SCALING_BILINEAR}) {
                // The source is rounded to whole pixels.
                const QImage result
                    = drawn(image, {12, 13}, {2, 3, 9, 10}, {0.6, 6.4, 9, 10}, option);
                QCOMPARE(rgb(result.copy(2, 3, 9, 10)), rgb(image.copy(1, 6, 9, 10)));
                QVERIFY(hasPixels(result, {{1, 3, kNothing}, {11, 12, kNothing}}));
            }
        }
        // Kept: a source without width and height is the whole image.
        const QImage image = numbered(8, 8, QImage::Format_ARGB32);
        QCOMPARE(rgb(drawn(image, {8, 8}, {0, 0, 8, 8}, {3, 3, 0, 0}, SCALING_FAST)), rgb(image));
        const QImage outside = drawn(image, {8, 8}, {0, 0, 8, 8}, {4, 4, 8, 8}, SCALING_FAST);
        QVERIFY(hasPixels(
            outside, {{0, 0, image.pixel(4, 4)}, {3, 3, image.pixel(7, 7)}, {4, 4, kNothing}}));
    }

    void drawnPartsOutliveTheDrawable()
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

    void impossibleDrawsAreRefused()
    {
        const auto refuses
            = [](const QRectF& target, const RKScalingOption& option, double sourceWidth = 8) {
                  QTest::ignoreMessage(QtWarningMsg, kOutOfMemory);
                  const QRectF source(0, 0, sourceWidth, 100 * sourceWidth);
                  return drawn(numbered(8, 8), {8, 8}, target, source, option).isNull();
              };
        // Exactly one method has to be named.
        for (const int option : {0, 3, 16})
            QVERIFY(refuses({0, 0, 8, 8}, RKScalingOption(RKScalingOptionEnum(option))));
        for (const auto option : {SCALING_SMOOTH, SCALING_FAST, SCALING_BILINEAR, SCALING_BICUBIC})
            QVERIFY(refuses({0, 0, 1e6, 1e6}, option));
        // No part that a picture could have.
        for (const double far : {std::numeric_limits<double>::max(), std::nan(""), 20000.0})
            QVERIFY(refuses({0, 0, 8, 8}, SCALING_FAST, far));
    }

    void vectorHasTheSizeOfItsViewBox()
    {
        const RKDrawable drawable(kFourSquares);
        QVERIFY(drawable.bestImageFileFormat() == MEDIA_FORMAT_SVG);
        QCOMPARE(drawable.rectF(), QRectF(0, 0, 20, 20));

        // Only the nominal size is scaled.
        const RKDrawable scaled = drawable.scaled({60, 100});
        QCOMPARE(scaled.svg(), kFourSquares);
        QCOMPARE(scaled.size(), QSize(60, 60));
        QVERIFY(hasPixels(scaled.image(), {{29, 29, kRed}, {30, 30, kYellow}}));
        QCOMPARE(drawable.scaled({-1, 10}).size(), QSize(20, 20));
        QVERIFY(hasPixels(drawable.imageScaledToHeight(40), {{39, 0, kGreen}, {0, 39, kBlue}}));
        QVERIFY(drawable.imageScaledToHeight(-5).isNull());
    }

    void vectorDrawsTheSourceOnTheTarget()
    {
        // The centre of the drawing, 10 × 10, blown up to 40 × 20 at (5, 7).
        const RKDrawable drawable(kFourSquares);
        for (const RKDrawable& variant : {drawable, drawable.scaled({200, 200})}) {
            const double n = variant.widthF() / 20;
            const QRectF source(5 * n, 5 * n, 10 * n, 10 * n);
            const QImage result
                = drawn(variant, {60, 40}, {5, 7, 40, 20}, source, RKScalingOption());
            QVERIFY(hasPixels(result, {{5, 7, kRed}, {24, 16, kRed}, {25, 16, kGreen}}));
            QVERIFY(hasPixels(result, {{24, 17, kBlue}, {25, 17, kYellow}, {44, 26, kYellow}}));
            QVERIFY(hasPixels(result, {{4, 16, kNothing}, {45, 16, kNothing}, {24, 27, kNothing}}));
        }
        // Kept: a source beyond the view box stretches the drawing.
        const QImage beyond
            = drawn(drawable, {40, 40}, {0, 0, 40, 40}, {-10, 0, 40, 20}, SCALING_SMOOTH);
        QVERIFY(hasPixels(beyond,
            {{0, 0, kRed}, {19, 19, kRed}, {20, 19, kGreen}, {19, 20, kBlue}, {39, 39, kYellow}}));
    }

    void copiesDrawInSeveralThreads()
    {
        // The styles change from element to element, and the renderer keeps the current one.
        QByteArray svg = "<svg xmlns='http://www.w3.org/2000/svg' viewBox='0 0 20 20'>";
        for (int i = 0; i < 200; ++i) {
            svg += "<g fill-opacity='0." + QByteArray::number(1 + i % 9) + "' fill='#"
                + QByteArray::number(100 + i) + "'><rect x='" + QByteArray::number(i % 20) + "' y='"
                + QByteArray::number(i / 20) + "' width='1' height='9'/></g>";
        }
        const RKDrawable vector(svg + "</svg>");
        const RKDrawable bitmap(numbered(47, 33));
        const auto draw = [](const RKDrawable& drawable) {
            return drawn(drawable, {200, 200}, {0, 0, 200, 200}, drawable.rectF(), SCALING_BICUBIC);
        };
        const QImage expectedVector = draw(vector);
        const QImage expectedBitmap = draw(bitmap);

        std::atomic<int> differences = 0;
        RKTestThreads::run(4, [&, vector, bitmap](int) {
            for (int round = 0; round < 50; ++round) {
                differences += draw(vector) != expectedVector;
                differences += draw(bitmap) != expectedBitmap;
            }
        });
        QCOMPARE(differences.load(), 0);
    }

    void hugeViewBoxIsNotRendered()
    {
        for (const char* side : {"1000000", "3000000000"}) {
            const RKDrawable drawable(
                QByteArray("<svg xmlns='http://www.w3.org/2000/svg' viewBox='0 0 ") + side + ' '
                + side + "'><rect width='1' height='1'/></svg>");
            QVERIFY(drawable.image().isNull());
        }
    }
};

QTEST_MAIN(RKDrawableTest)
#include "RKDrawableTest.moc"
