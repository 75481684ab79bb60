#include "RKImageLoader/drawables/RKDrawable.h"
#include "RKImageLoader/drawables/RKQtScaler_p.h"
#include "support/RKQuietTest.h"
#include "support/RKTestPictures.h"

#include <QColorSpace>
#include <QPainter>

using namespace Qt::StringLiterals;

namespace {

constexpr QSize kSize(96, 64);

// Colours and opacity change from pixel to pixel.
QImage picture(QImage::Format format)
{
    QImage image(kSize, QImage::Format_ARGB32);
    for (int y = 0; y < image.height(); ++y) {
        for (int x = 0; x < image.width(); ++x)
            image.setPixel(x, y, qRgba(2 * x, 255 - 3 * y, x + y, 40 + 2 * x));
    }
    image = image.convertToFormat(format);
    image.setColorSpace(QColorSpace::AdobeRgb);
    image.setText(u"Title"_s, u"kept"_s);
    image.setDotsPerMeterX(3000);
    return image;
}

QImage plain(const QImage& image)
{
    return image.convertToFormat(QImage::Format_ARGB32_Premultiplied);
}

QImage drawn(const QImage& image, const QSize& size)
{
    QImage canvas(size, QImage::Format_ARGB32);
    canvas.fill(0);
    QPainter painter(&canvas);
    RKDrawable(image).draw(&painter, canvas.rect(), image.rect(), SCALING_SMOOTH);
    return canvas;
}

// Both in the multiplied form, in which rounding matters as much as it shows.
int difference(const QImage& a, const QImage& b)
{
    QImage bytes[]{plain(a), plain(b)};
    for (QImage& image : bytes)
        image.reinterpretAsFormat(QImage::Format_ARGB32);
    return RKTestPictures::difference(bytes[0], bytes[1]);
}

} // namespace

/// Every format of QImage is scaled and drawn as the same picture in Qt's best supported one.
class RKQtScalerTest : public RKQuietTest
{
    Q_OBJECT

private Q_SLOTS:

    void everyFormatGivesTheSamePicture_data()
    {
        QTest::addColumn<int>("format");
        for (int format = QImage::Format_Mono; format < QImage::NImageFormats; ++format)
            QTest::addRow("format %d", format) << format;
    }

    void everyFormatGivesTheSamePicture()
    {
        QFETCH(const int, format);
        constexpr int kRounding = 3;
        const QImage image = picture(QImage::Format(format));
        for (const QSize& size : {QSize(32, 21), QSize(200, 133), kSize}) {
            const QImage expected
                = plain(image).scaled(size, Qt::IgnoreAspectRatio, Qt::SmoothTransformation);
            const QImage smooth = RKQtScaler::scaled(image, size, Qt::IgnoreAspectRatio);
            QVERIFY(difference(smooth, expected) <= kRounding);
            QCOMPARE(smooth.colorSpace(), image.colorSpace());
            QCOMPARE(smooth.text(u"Title"_s), u"kept"_s);
            QCOMPARE(smooth.dotsPerMeterX(), 3000);
            QVERIFY(difference(drawn(image, size), drawn(plain(image), size)) <= kRounding);

            const QImage fast
                = RKQtScaler::scaled(image, size, Qt::IgnoreAspectRatio, Qt::FastTransformation);
            QVERIFY(difference(fast, plain(image).scaled(size)) <= kRounding);
        }
        const QImage low = RKQtScaler::scaledToHeight(image, 21);
        QVERIFY(difference(low, plain(image).scaledToHeight(21, Qt::SmoothTransformation))
            <= kRounding);
        QCOMPARE(RKQtScaler::scaledToHeight(image, kSize.height()), image);
    }
};

QTEST_MAIN(RKQtScalerTest)
#include "RKQtScalerTest.moc"
