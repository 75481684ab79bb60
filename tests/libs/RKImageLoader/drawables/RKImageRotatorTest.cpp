#include "RKImageLoader/drawables/RKImageRotator.h"

#include <QColorSpace>
#include <QRegularExpression>
#include <QTest>
#include <QTransform>

namespace {

// An opaque image whose pixels all differ.
QImage numbered(int width, int height, QImage::Format format = QImage::Format_RGB32)
{
    QImage image(width, height, QImage::Format_RGB32);
    for (int y = 0; y < height; ++y) {
        for (int x = 0; x < width; ++x)
            image.setPixel(x, y, qRgb(x, y, 0x40 + x + y));
    }
    return image.convertToFormat(format);
}

// Where the upright image's pixel is stored (Exif 2.32, 4.6.4: the sides of the stored picture's
// first row and first column), for a stored picture of the width w and the height h.
QPoint storedPosition(int orientation, QPoint p, int w, int h)
{
    switch (orientation) {
    case 2: return {w - 1 - p.x(), p.y()};
    case 3: return {w - 1 - p.x(), h - 1 - p.y()};
    case 4: return {p.x(), h - 1 - p.y()};
    case 5: return {p.y(), p.x()};
    case 6: return {p.y(), h - 1 - p.x()};
    case 7: return {w - 1 - p.y(), h - 1 - p.x()};
    case 8: return {w - 1 - p.y(), p.x()};
    default: return p;
    }
}

} // namespace

class RKImageRotatorTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void everyOrientationTurnsThePictureUpright_data();
    void everyOrientationTurnsThePictureUpright();
    void uprightAndUnknownOrientationsChangeNothing();
    void allButHalfTurnsNormaliseTheFormat();
    void quarterTurnsGiveWhatQtGives();
    void nullImagesStayNull();
};

void RKImageRotatorTest::init()
{
    QTest::failOnWarning(QRegularExpression(QStringLiteral(".*")));
}

void RKImageRotatorTest::everyOrientationTurnsThePictureUpright_data()
{
    QTest::addColumn<QImage>("stored");

    QTest::newRow("4x2") << numbered(4, 2);
    QTest::newRow("odd sides") << numbered(47, 33);
    QTest::newRow("one column") << numbered(1, 5);
    QTest::newRow("one pixel") << numbered(1, 1);
    QTest::newRow("24 bit") << numbered(5, 3, QImage::Format_RGB888);
    QTest::newRow("premultiplied") << numbered(5, 3, QImage::Format_ARGB32_Premultiplied);
    QTest::newRow("indexed") << numbered(5, 3, QImage::Format_Indexed8);
    QTest::newRow("1 bit") << numbered(13, 7, QImage::Format_Mono);
}

void RKImageRotatorTest::everyOrientationTurnsThePictureUpright()
{
    QFETCH(QImage, stored);
    stored.setColorSpace(QColorSpace(QColorSpace::AdobeRgb));

    for (int orientation = 1; orientation <= 8; ++orientation) {
        const auto value = RKImageOrientation(orientation);
        const QImage upright = RKImageRotator::rotate(stored, value);
        QCOMPARE(upright.size(),
            isTransposingOrientation(value) ? stored.size().transposed() : stored.size());
        QCOMPARE(upright.colorSpace(), stored.colorSpace());
        for (int y = 0; y < upright.height(); ++y) {
            for (int x = 0; x < upright.width(); ++x) {
                const QPoint from
                    = storedPosition(orientation, {x, y}, stored.width(), stored.height());
                QCOMPARE(upright.pixel(x, y), stored.pixel(from));
            }
        }
    }
}

void RKImageRotatorTest::uprightAndUnknownOrientationsChangeNothing()
{
    const QImage image = numbered(4, 2, QImage::Format_ARGB32);
    for (const int orientation : {0, 1, 9, -1}) {
        const QImage result = RKImageRotator::rotate(image, RKImageOrientation(orientation));
        QCOMPARE(result.cacheKey(), image.cacheKey());
    }
}

void RKImageRotatorTest::allButHalfTurnsNormaliseTheFormat()
{
    for (int orientation = 2; orientation <= 8; ++orientation) {
        for (const auto format : {QImage::Format_RGB32,
                 QImage::Format_ARGB32_Premultiplied,
                 QImage::Format_ARGB32,
                 QImage::Format_RGBA64,
                 QImage::Format_Indexed8})
        {
            const bool isKept = orientation == ORIENTATION_BOTTOM_RIGHT
                || format == QImage::Format_RGB32 || format == QImage::Format_ARGB32_Premultiplied;
            const QImage turned
                = RKImageRotator::rotate(numbered(4, 2, format), RKImageOrientation(orientation));
            QCOMPARE(turned.format(), isKept ? format : QImage::Format_ARGB32_Premultiplied);
        }
    }
}

void RKImageRotatorTest::quarterTurnsGiveWhatQtGives()
{
    // The blocks in which pixels are moved are 8 by 32.
    for (const QSize& size : {QSize(47, 33), QSize(64, 16), QSize(65, 17), QSize(31, 7)}) {
        for (int format = QImage::Format_Mono; format < QImage::NImageFormats; ++format) {
            QImage image = numbered(size.width(), size.height(), QImage::Format(format));
            image.setText(QStringLiteral("Title"), QStringLiteral("turned"));
            image.setDotsPerMeterX(3000);
            image.setDevicePixelRatio(2);
            const QImage ours = RKImageRotator::rotateCW(image);
            const QImage theirs = image.transformed(QTransform(0, 1, -1, 0, 0, 0));
            QCOMPARE(ours, theirs);
            QCOMPARE(ours.format(), image.format());
            QCOMPARE(ours.text(), theirs.text());
            QCOMPARE(ours.dotsPerMeterX(), theirs.dotsPerMeterX());
            QCOMPARE(ours.devicePixelRatio(), theirs.devicePixelRatio());
            QCOMPARE(
                RKImageRotator::rotateCCW(image), image.transformed(QTransform(0, -1, 1, 0, 0, 0)));
        }
    }
}

void RKImageRotatorTest::nullImagesStayNull()
{
    for (int orientation = 0; orientation <= 9; ++orientation)
        QVERIFY(RKImageRotator::rotate({}, RKImageOrientation(orientation)).isNull());
    QVERIFY(RKImageRotator::rotateCW({}).isNull());
    QVERIFY(RKImageRotator::rotateCCW({}).isNull());
    QVERIFY(RKImageRotator::normalizeRGB32({}).isNull());
}

QTEST_APPLESS_MAIN(RKImageRotatorTest)
#include "RKImageRotatorTest.moc"
