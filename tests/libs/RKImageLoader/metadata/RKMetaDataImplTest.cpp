#include "RKImageLoader/media/RKImageOption.h"
#include "RKImageLoader/metadata/RKMetaDataField.h"
#include "RKImageLoader/metadata/RKMetaDataImpl_p.h"
#include "support/RKTestPictures.h"

#include <QDebug>
#include <QPainter>
#include <QRect>
#include <QTest>

namespace {

constexpr QSize kThumbnailSize(160, 120);

/// A black thumbnail with a bright picture in it; grey, so that the encoder's coarser colours do
/// not spread over its edges.
QImage thumbnailWith(const QRect& picture)
{
    QImage image(kThumbnailSize, QImage::Format_RGB32);
    image.fill(Qt::black);
    QPainter(&image).fillRect(picture, Qt::lightGray);
    return image;
}

QImage extracted(const QImage& thumbnail, const QSize& imageSize)
{
    RKMetaDataImpl impl;
    impl.writeThumbnail(RKTestPictures::encoded(thumbnail, "JPEG", 100));
    return impl.extractThumbnail(imageSize, RKImageOption());
}

} // namespace

class RKMetaDataImplTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:

    void blackBarsAreCut()
    {
        struct Row
        {
            QRect picture;
            QSize imageSize;
            QSize expected;
        };

        // 3:2 in 4:3 leaves bars of 6.67 rows.
        const QSize landscape(6000, 4000);
        const Row rows[] = {
            {QRect(0, 7, 160, 106), landscape, QSize(160, 106)},
            {QRect(0, 8, 160, 104), landscape, QSize(160, 104)},
            {QRect(0, 5, 160, 106), landscape, QSize(160, 105)}, // two rows off
            {QRect(0, 4, 160, 106), landscape, kThumbnailSize},
            {QRect(0, 7, 160, 113), landscape, kThumbnailSize}, // one bar only
            {QRect(7, 0, 146, 120), landscape, kThumbnailSize}, // on the other axis
            {QRect(), landscape, kThumbnailSize}, // nothing but black
            {QRect(40, 0, 80, 120), QSize(4000, 6000), QSize(80, 120)},
            {QRect(0, 7, 160, 106), QSize(4000, 3000), kThumbnailSize},
            {QRect(0, 1, 160, 119), QSize(4000, 2980), kThumbnailSize}, // a pixel beside
            {QRect(0, 7, 160, 106), QSize(-1, -1), kThumbnailSize},
            {QRect(0, 59, 160, 1), QSize(2'000'000'000, 1), kThumbnailSize},
        };
        for (const Row& row : rows) {
            const QSize size = extracted(thumbnailWith(row.picture), row.imageSize).size();
            QVERIFY2(size == row.expected, qPrintable(QDebug::toString(row.picture)));
        }
    }
};

QTEST_APPLESS_MAIN(RKMetaDataImplTest)

#include "RKMetaDataImplTest.moc"
