#include "RKImageLoader/drawables/RKImageRotator.h"

#include "support/RKQuietTest.h"
#include "support/RKTestPictures.h"

#include <QColorSpace>
#include <QTransform>

using namespace Qt::StringLiterals;

using RKTestPictures::numbered;

namespace {

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

class RKImageRotatorTest : public RKQuietTest
{
    Q_OBJECT

private Q_SLOTS:

    void everyOrientationTurnsThePictureUpright()
    {
        QList<QImage> pictures{numbered(47, 33), numbered(1, 5)};
        for (const QImage::Format format : {QImage::Format_RGB888,
                 QImage::Format_ARGB32_Premultiplied,
                 QImage::Format_Indexed8,
                 QImage::Format_Mono})
            pictures << numbered(13, 7, format);
        for (QImage& stored : pictures) {
            stored.setColorSpace(QColorSpace(QColorSpace::AdobeRgb));
            for (int orientation = 1; orientation <= 8; ++orientation) {
                const QImage upright
                    = RKImageRotator::rotate(stored, RKImageOrientation(orientation));
                QCOMPARE(
                    upright.size(), orientation >= 5 ? stored.size().transposed() : stored.size());
                QCOMPARE(upright.colorSpace(), stored.colorSpace());
                for (int i = 0; i < upright.width() * upright.height(); ++i) {
                    const QPoint place(i % upright.width(), i / upright.width());
                    const QPoint from
                        = storedPosition(orientation, place, stored.width(), stored.height());
                    QCOMPARE(upright.pixel(place), stored.pixel(from));
                }
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

    void quarterTurnsGiveWhatQtGives()
    {
        // The blocks in which pixels are moved are 8 by 32.
        for (const QSize& size : {QSize(64, 16), QSize(65, 17), QSize(31, 7)}) {
            for (int format = QImage::Format_Mono; format < QImage::NImageFormats; ++format) {
                QImage image = numbered(size.width(), size.height(), QImage::Format(format));
                image.setText(u"Title"_s, u"turned"_s);
                image.setDevicePixelRatio(2);
                const QImage ours = RKImageRotator::rotateCW(image);
                const QImage theirs = image.transformed(QTransform(0, 1, -1, 0, 0, 0));
                QCOMPARE(ours, theirs);
                QCOMPARE(ours.text(), theirs.text());
                QCOMPARE(ours.devicePixelRatio(), theirs.devicePixelRatio());
                QCOMPARE(RKImageRotator::rotateCCW(image),
                    image.transformed(QTransform(0, -1, 1, 0, 0, 0)));
            }
        }
    }
};

QTEST_APPLESS_MAIN(RKImageRotatorTest)
#include "RKImageRotatorTest.moc"
