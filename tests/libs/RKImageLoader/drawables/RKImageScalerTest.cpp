#include "RKImageLoader/drawables/RKDrawableInterfaceQImage.h"
#include "RKImageLoader/drawables/RKImageScaler_p.h"
#include "RKImageLoader/media/RKScalingOption.h"
#include "support/PlainScaling.h"
#include "support/RKQuietTest.h"

#include <QColorSpace>
#include <QRandomGenerator>

#include <algorithm>

using namespace Qt::StringLiterals;

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

// QImage's own comparison ignores unused bits.
bool isSameToTheBit(const QImage& actual, const QImage& expected)
{
    bool isSame = actual.size() == expected.size() && actual.format() == expected.format();
    for (int y = 0; isSame && y < expected.height(); ++y) {
        const QRgb* const row = PlainScaling::row(actual, y);
        isSame = std::equal(row, row + actual.width(), PlainScaling::row(expected, y));
    }
    return isSame;
}

// Both formulas give the same bits as the plain ones.
bool scalesPlainly(const QImage& image, const QSize& to)
{
    const RKDrawableInterfaceQImage scaler;
    return isSameToTheBit(scaler.scaleBilinearly(image, to), PlainScaling::bilinear(image, to))
        && isSameToTheBit(scaler.scaleBicubicly(image, to), PlainScaling::bicubic(image, to));
}

} // namespace

class RKImageScalerTest : public RKQuietTest
{
    Q_OBJECT

private Q_SLOTS:

    void equalsThePlainFormula()
    {
        // 64 columns are worked on at a time.
        for (const QSize& from : {QSize(1, 1), QSize(1, 7), QSize(2, 3), QSize(47, 33)}) {
            for (const QSize& to : {from, QSize(1, 1), QSize(2, 5), QSize(64, 3), QSize(257, 129)})
            {
                for (const QImage::Format format : {QImage::Format_ARGB32,
                         QImage::Format_RGB32,
                         QImage::Format_ARGB32_Premultiplied})
                    QVERIFY(scalesPlainly(noise(from, format), to));
            }
        }
        // Black and white by turns: the cubic overshoots on both sides.
        QImage image(40, 30, QImage::Format_ARGB32);
        for (int i = 0; i < 40 * 30; ++i)
            image.setPixel(i % 40, i / 40, (i % 40 / 2 + i / 40 / 2) % 2 ? 0xffffffff : 0);
        for (const QSize& to : {QSize(120, 90), QSize(77, 61), QSize(13, 11)})
            QVERIFY(scalesPlainly(image, to));
    }

    void bytesThatAreNoPixelsDoNotShow()
    {
        const QImage clean = noise({20, 10}, QImage::Format_RGB32);
        QImage dirty = clean;
        for (int i = 0; i < 200; ++i)
            reinterpret_cast<QRgb*>(dirty.bits())[i] &= 0x00ffffff | QRgb(i) << 24;
        const QSize to(33, 7);
        const auto isClean = [&](auto scale) {
            return isSameToTheBit((m_scaler.*scale)(dirty, to), (m_scaler.*scale)(clean, to));
        };
        QVERIFY(isClean(&RKDrawableInterfaceQImage::scaleBilinearly));
        QVERIFY(isClean(&RKDrawableInterfaceQImage::scaleBicubicly));

        // Rows that are longer than the picture.
        const QImage whole = noise({50, 40}, QImage::Format_ARGB32);
        const uchar* const corner = whole.constScanLine(3) + 4 * 5;
        const QImage window(corner, 20, 30, whole.bytesPerLine(), whole.format());
        QVERIFY(scalesPlainly(window, to));
    }

    void everyFormatIsScaled()
    {
        const QSize to(31, 40);
        for (const QImage::Format format :
            {QImage::Format_RGB32, QImage::Format_Indexed8, QImage::Format_RGBA64})
        {
            QImage image = noise({20, 30}, format);
            const QImage argb = image.convertToFormat(QImage::Format_ARGB32);
            const QImage bilinear = PlainScaling::bilinear(argb, to);
            const QImage bicubic = PlainScaling::bicubic(argb, to);
            QVERIFY(isSameToTheBit(m_scaler.scaleImage(image, to, SCALING_BICUBIC), bicubic));
            QVERIFY(isSameToTheBit(m_scaler.scaleImage(image, to, SCALING_BILINEAR), bilinear));
            QCOMPARE(m_scaler.scaleImage(image, to, SCALING_FAST),
                image.scaled(to, Qt::KeepAspectRatio, Qt::FastTransformation));
            QCOMPARE(m_scaler.scaleBilinearly(image, to),
                bilinear.convertToFormat(format, image.colorTable()));

            image.setText(u"Author"_s, u"Jürgen"_s);
            image.setDotsPerMeterX(11811);
            image.setDevicePixelRatio(2);
            image.setColorSpace(QColorSpace::AdobeRgb);
            for (const QImage& result :
                {m_scaler.scaleBilinearly(image, to), m_scaler.scaleBicubicly(image, to)})
            {
                QCOMPARE(result.text(), image.text());
                QCOMPARE(result.dotsPerMeterX(), 11811);
                QCOMPARE(result.devicePixelRatio(), 2.0);
                QCOMPARE(result.colorSpace(), image.colorSpace());
            }
        }
    }

    void sizesEndAtFourGibibytes()
    {
        const QImage image = noise({20, 30}, QImage::Format_ARGB32);
        for (const QSize& to :
            {QSize(), QSize(10, 0), QSize(INT_MAX, INT_MAX), QSize(32769, 32768)}) {
            QVERIFY(m_scaler.scaleBilinearly(image, to).isNull());
            QVERIFY(m_scaler.scaleBicubicly(image, to).isNull());
        }
        QVERIFY(m_scaler.scaleBilinearly({}, {10, 10}).isNull());
        for (const QSizeF& to : {QSizeF(32768, 32768), QSizeF(1, 1 << 30)})
            QVERIFY(RKImageScaler::isFeasible(to));
        for (const QSizeF& to : {QSizeF(1, (1 << 30) + 1), QSizeF(1e300, 1e-300)})
            QVERIFY(!RKImageScaler::isFeasible(to));
    }

private:
    const RKDrawableInterfaceQImage m_scaler{};
};

QTEST_APPLESS_MAIN(RKImageScalerTest)
#include "RKImageScalerTest.moc"
