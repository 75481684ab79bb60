#include "RKImageLoader/drawables/RKImageRotator.h"

#include "support/RKQuietTest.h"
#include "support/RKTestPictures.h"

#include <QColorSpace>
#include <QTransform>

using namespace Qt::StringLiterals;

using RKTestPictures::numbered;

class RKImageRotatorTest : public RKQuietTest
{
    Q_OBJECT

private Q_SLOTS:

    void everyOrientationTurnsThePictureUpright()
    {
        // Mirrored after they were turned clockwise from 5 on (Exif 2.32, 4.6.4).
        const QTransform clockwise(0, 1, -1, 0, 0, 0);
        const QList<int> horizontally{2, 3, 5, 8};
        const QList<int> vertically{3, 4, 7, 8};
        // The blocks in which pixels are moved are 512 by 16, and the squares in them 4 by 4.
        for (const QSize& size : {QSize(1, 5), QSize(64, 16), QSize(18, 519), QSize(31, 7)}) {
            for (int format = QImage::Format_Mono; format < QImage::NImageFormats; ++format) {
                QImage image = numbered(size.width(), size.height(), QImage::Format(format));
                image.setText(u"Title"_s, u"turned"_s);
                image.setDevicePixelRatio(2);
                image.setColorSpace(QColorSpace(QColorSpace::AdobeRgb));
                for (int orientation = 1; orientation <= 8; ++orientation) {
                    const QImage upright
                        = RKImageRotator::rotate(image, RKImageOrientation(orientation));
                    QImage expected = image.convertToFormat(upright.format());
                    if (orientation >= 5)
                        expected = expected.transformed(clockwise);
                    expected = expected.mirrored(
                        horizontally.contains(orientation), vertically.contains(orientation));
                    expected.setColorSpace(image.colorSpace()); // transformed() forgets it.
                    QCOMPARE(upright, expected);
                    QCOMPARE(upright.colorSpace(), image.colorSpace());
                    QCOMPARE(upright.text(), image.text());
                    // In place.
                    QCOMPARE(RKImageRotator::rotate(image.copy(), RKImageOrientation(orientation)),
                        upright);
                }
                image.setColorSpace({});
                QCOMPARE(RKImageRotator::rotateCW(image), image.transformed(clockwise));
                QCOMPARE(RKImageRotator::rotateCCW(image),
                    image.transformed(QTransform(0, -1, 1, 0, 0, 0)));
            }
        }
    }

    void uprightPicturesAreShared()
    {
        const QImage image = numbered(4, 2, QImage::Format_ARGB32);
        for (const int orientation : {0, 1, 9}) {
            const QImage result = RKImageRotator::rotate(image, RKImageOrientation(orientation));
            QCOMPARE(result.cacheKey(), image.cacheKey());
        }
        QVERIFY(RKImageRotator::rotate({}, ORIENTATION_RIGHT_TOP).isNull());
        QVERIFY(RKImageRotator::rotateCW({}).isNull());
    }
};

QTEST_APPLESS_MAIN(RKImageRotatorTest)
#include "RKImageRotatorTest.moc"
