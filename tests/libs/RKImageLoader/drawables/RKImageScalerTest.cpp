#include "RKImageLoader/drawables/RKDrawableInterfaceQImage.h"
#include "RKImageLoader/drawables/RKImageScaler_p.h"
#include "RKImageLoader/media/RKScalingOption.h"
#include "support/PlainScaling.h"

#include <QColorSpace>
#include <QRandomGenerator>
#include <QRegularExpression>
#include <QTest>

namespace {

QImage noise(const QSize& size, QImage::Format format)
{
    QRandomGenerator random(quint32(size.width() * 1000 + size.height()));
    QImage image(size, QImage::Format_ARGB32);
    for (int y = 0; y < size.height(); ++y) {
        for (int x = 0; x < size.width(); ++x)
            image.setPixel(x, y, random.generate());
    }
    return image.convertToFormat(format);
}

// Black and white by turns: the cubic overshoots on both sides.
QImage checkerboard(const QSize& size)
{
    QImage image(size, QImage::Format_ARGB32);
    for (int y = 0; y < size.height(); ++y) {
        for (int x = 0; x < size.width(); ++x)
            image.setPixel(x, y, ((x / 2 + y / 2) % 2) ? 0xffffffff : 0x00000000);
    }
    return image;
}

// Fails at the first pixel that differs; QImage's own comparison ignores unused bits.
bool isSameToTheBit(const QImage& actual, const QImage& expected)
{
    if (actual.size() != expected.size() || actual.format() != expected.format())
        return false;

    for (int y = 0; y < expected.height(); ++y) {
        for (int x = 0; x < expected.width(); ++x) {
            const QRgb a = PlainScaling::row(actual, y)[x];
            const QRgb e = PlainScaling::row(expected, y)[x];
            if (a != e) {
                qCritical("Pixel (%d, %d) is %08x, not %08x", x, y, a, e);
                return false;
            }
        }
    }
    return true;
}

} // namespace

class RKImageScalerTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void equalsThePlainFormula_data();
    void equalsThePlainFormula();
    void overshootIsClamped();
    void unusedBytesOfRgb32DoNotShow();
    void rowsMayBePadded();
    void otherFormatsAreScaledInArgb32();
    void scaleImageGivesArgb32();
    void attributesSurvive_data();
    void attributesSurvive();
    void absurdRequestsGiveNull();
    void feasibleSizesEndAtFourGibibytes();
    void subPixelClampsAndPicksTheChannel();

private:
    const RKDrawableInterfaceQImage m_scaler;
};

void RKImageScalerTest::init()
{
    QTest::failOnWarning(QRegularExpression(QStringLiteral(".*")));
}

void RKImageScalerTest::equalsThePlainFormula_data()
{
    QTest::addColumn<QSize>("from");
    QTest::addColumn<QSize>("to");

    const QList<QSize> sources{{1, 1}, {1, 7}, {2, 3}, {3, 3}, {4, 4}, {5, 1}, {47, 33}, {300, 9}};
    // 64 columns are worked on at a time.
    const QList<QSize> targets{
        {1, 1}, {2, 5}, {4, 4}, {31, 17}, {64, 3}, {65, 2}, {94, 66}, {141, 40}, {257, 129}};
    for (const QSize& from : sources) {
        QTest::addRow("%dx%d unscaled", from.width(), from.height()) << from << from;
        for (const QSize& to : targets) {
            QTest::addRow("%dx%d to %dx%d", from.width(), from.height(), to.width(), to.height())
                << from << to;
        }
    }
}

void RKImageScalerTest::equalsThePlainFormula()
{
    QFETCH(const QSize, from);
    QFETCH(const QSize, to);

    for (const QImage::Format format :
        {QImage::Format_ARGB32, QImage::Format_RGB32, QImage::Format_ARGB32_Premultiplied})
    {
        const QImage image = noise(from, format);
        QVERIFY(
            isSameToTheBit(m_scaler.scaleBilinearly(image, to), PlainScaling::bilinear(image, to)));
        QVERIFY(
            isSameToTheBit(m_scaler.scaleBicubicly(image, to), PlainScaling::bicubic(image, to)));
    }
}

void RKImageScalerTest::overshootIsClamped()
{
    const QImage image = checkerboard({40, 30});
    for (const QSize& to : {QSize(120, 90), QSize(77, 61), QSize(13, 11)})
        QVERIFY(
            isSameToTheBit(m_scaler.scaleBicubicly(image, to), PlainScaling::bicubic(image, to)));
}

void RKImageScalerTest::unusedBytesOfRgb32DoNotShow()
{
    const QImage clean = noise({20, 10}, QImage::Format_RGB32);
    QImage dirty = clean;
    for (int y = 0; y < dirty.height(); ++y) {
        auto* row = reinterpret_cast<QRgb*>(dirty.scanLine(y));
        for (int x = 0; x < dirty.width(); ++x)
            row[x] &= 0x00ffffff | QRgb(x) << 24;
    }

    const QSize to(33, 7);
    QVERIFY(
        isSameToTheBit(m_scaler.scaleBilinearly(dirty, to), m_scaler.scaleBilinearly(clean, to)));
    QVERIFY(isSameToTheBit(m_scaler.scaleBicubicly(dirty, to), m_scaler.scaleBicubicly(clean, to)));
}

void RKImageScalerTest::rowsMayBePadded()
{
    const QImage whole = noise({50, 40}, QImage::Format_ARGB32);
    const QImage window(
        whole.constScanLine(3) + 4 * 5, 20, 30, whole.bytesPerLine(), whole.format());
    const QImage copy = whole.copy(5, 3, 20, 30);
    const QSize to(31, 11);

    QVERIFY(isSameToTheBit(m_scaler.scaleBilinearly(window, to), PlainScaling::bilinear(copy, to)));
    QVERIFY(isSameToTheBit(m_scaler.scaleBicubicly(window, to), PlainScaling::bicubic(copy, to)));
}

void RKImageScalerTest::otherFormatsAreScaledInArgb32()
{
    const QSize to(31, 40);
    for (const QImage::Format format : {QImage::Format_Indexed8,
             QImage::Format_Grayscale8,
             QImage::Format_RGB888,
             QImage::Format_RGBA8888,
             QImage::Format_RGBA64})
    {
        const QImage image = noise({20, 30}, format);
        const QImage argb = image.convertToFormat(QImage::Format_ARGB32);
        const QImage bilinear = m_scaler.scaleBilinearly(image, to);

        QCOMPARE(bilinear.format(), format);
        QCOMPARE(bilinear.colorTable(), image.colorTable());
        QCOMPARE(
            bilinear, PlainScaling::bilinear(argb, to).convertToFormat(format, image.colorTable()));
        QVERIFY(
            isSameToTheBit(m_scaler.scaleBicubicly(image, to), PlainScaling::bicubic(argb, to)));
    }
}

void RKImageScalerTest::scaleImageGivesArgb32()
{
    const QSize to(31, 40);
    for (const QImage::Format format : {QImage::Format_RGB32,
             QImage::Format_ARGB32,
             QImage::Format_ARGB32_Premultiplied,
             QImage::Format_Indexed8})
    {
        const QImage image = noise({20, 30}, format);
        const QImage argb = image.convertToFormat(QImage::Format_ARGB32);
        QVERIFY(isSameToTheBit(
            m_scaler.scaleImage(image, to, SCALING_BILINEAR), PlainScaling::bilinear(argb, to)));
        QVERIFY(isSameToTheBit(
            m_scaler.scaleImage(image, to, SCALING_BICUBIC), PlainScaling::bicubic(argb, to)));
        QCOMPARE(m_scaler.scaleImage(image, to, SCALING_SMOOTH),
            image.scaled(to, Qt::KeepAspectRatio, Qt::SmoothTransformation));
        QCOMPARE(m_scaler.scaleImage(image, to, SCALING_FAST),
            image.scaled(to, Qt::KeepAspectRatio, Qt::FastTransformation));
        QVERIFY(m_scaler.scaleImage(image, to, SCALING_NONE).isNull());
    }
}

void RKImageScalerTest::attributesSurvive_data()
{
    QTest::addColumn<QImage::Format>("format");

    QTest::newRow("RGB32") << QImage::Format_RGB32;
    QTest::newRow("ARGB32") << QImage::Format_ARGB32;
    QTest::newRow("Indexed8") << QImage::Format_Indexed8;
}

void RKImageScalerTest::attributesSurvive()
{
    QFETCH(const QImage::Format, format);

    const QSize to(31, 40);
    QImage image = noise({20, 30}, format);
    image.setText(QStringLiteral("TAMO-ImagePipeline"), QStringLiteral("step one"));
    image.setText(QStringLiteral("Author"), QStringLiteral("J\u00fcrgen"));
    image.setDotsPerMeterX(11811);
    image.setDotsPerMeterY(5906);
    image.setDevicePixelRatio(2);
    image.setColorSpace(QColorSpace::AdobeRgb);

    const QImage expected = image.scaled(to);
    for (const QImage& result :
        {m_scaler.scaleBilinearly(image, to), m_scaler.scaleBicubicly(image, to)})
    {
        QCOMPARE(result.text(), expected.text());
        QCOMPARE(result.dotsPerMeterX(), expected.dotsPerMeterX());
        QCOMPARE(result.dotsPerMeterY(), expected.dotsPerMeterY());
        QCOMPARE(result.devicePixelRatio(), expected.devicePixelRatio());
        QCOMPARE(result.colorSpace(), expected.colorSpace());
    }
}

void RKImageScalerTest::absurdRequestsGiveNull()
{
    const QImage image = noise({20, 30}, QImage::Format_ARGB32);
    for (const QSize& to : {QSize(),
             QSize(10, 0),
             QSize(0, 10),
             QSize(-5, 10),
             QSize(10, -5),
             QSize(INT_MAX, INT_MAX),
             QSize(INT_MAX, 1),
             QSize(32769, 32768)})
    {
        QVERIFY(m_scaler.scaleBilinearly(image, to).isNull());
        QVERIFY(m_scaler.scaleBicubicly(image, to).isNull());
    }
    QVERIFY(m_scaler.scaleBilinearly({}, {10, 10}).isNull());
    QVERIFY(m_scaler.scaleBicubicly({}, {10, 10}).isNull());
}

void RKImageScalerTest::feasibleSizesEndAtFourGibibytes()
{
    QVERIFY(RKImageScaler::isFeasible(QSize(1, 1)));
    QVERIFY(RKImageScaler::isFeasible(QSize(32768, 32768)));
    QVERIFY(!RKImageScaler::isFeasible(QSize(32769, 32768)));
    QVERIFY(RKImageScaler::isFeasible(QSize(1, 1 << 30)));
    QVERIFY(!RKImageScaler::isFeasible(QSize(1, (1 << 30) + 1)));
    QVERIFY(!RKImageScaler::isFeasible(QSizeF(1e300, 1e300)));
    QVERIFY(!RKImageScaler::isFeasible(QSizeF(1e300, 1e-300)));
    QVERIFY(!RKImageScaler::isFeasible(QSize(0, 1)));
}

void RKImageScalerTest::subPixelClampsAndPicksTheChannel()
{
    QImage image(2, 2, QImage::Format_ARGB32);
    image.setPixel(0, 0, 0x01020304);
    image.setPixel(1, 0, 0x05060708);
    image.setPixel(0, 1, 0x090a0b0c);
    image.setPixel(1, 1, 0x0d0e0f10);

    for (int channel = 0; channel < 4; ++channel) {
        QCOMPARE(m_scaler.subPixel(image, 2, 2, -3, -1, channel), 1 + channel);
        QCOMPARE(m_scaler.subPixel(image, 2, 2, 5, 0, channel), 5 + channel);
        QCOMPARE(m_scaler.subPixel(image, 2, 2, 1, 9, channel), 13 + channel);
    }
    QCOMPARE(m_scaler.subPixel(image, 2, 2, 0, 0, 4), 0);
    QCOMPARE(m_scaler.subPixel(image, 2, 2, 0, 0, -1), 0);
    QCOMPARE(m_scaler.subPixel(image, 9, 9, 8, 8, 3), 16);
    QCOMPARE(m_scaler.subPixel({}, 2, 2, 0, 0, 0), 0);

    const QImage premultiplied(reinterpret_cast<const uchar*>("\x20\x30\x40\x80"),
        1,
        1,
        4,
        QImage::Format_ARGB32_Premultiplied);
    QCOMPARE(m_scaler.subPixel(premultiplied, 1, 1, 0, 0, 0),
        int(PlainScaling::row(premultiplied, 0)[0] >> 24));
    QCOMPARE(m_scaler.subPixel(premultiplied, 1, 1, 0, 0, 1),
        int(PlainScaling::row(premultiplied, 0)[0] >> 16 & 0xff));
}

QTEST_APPLESS_MAIN(RKImageScalerTest)
#include "RKImageScalerTest.moc"
