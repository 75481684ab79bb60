#include "RKImageLoader/color/RKColorProfileConverter.h"
#include "RKImageLoader/color/RKPixelTransform_p.h"
#include "RKImageLoader/metadata/RKMetaData.h"
#include "support/RKQuietTest.h"
#include "support/RKTestPictures.h"
#include "support/RKTestProfiles.h"
#include "support/RKTestThreads.h"

#include <atomic>

class RKColorProfileConverterThreadsTest : public RKQuietTest
{
    Q_OBJECT

private Q_SLOTS:

    void twoProfilesAndResetsOnSeveralThreads()
    {
        // One of each kind: a matrix, and a table that the threads fill together.
        RKMetaData metaData[2];
        metaData[0].setIccData(RKTestProfiles::rgb(2.2));
        metaData[1].setIccData(RKTestProfiles::cmyk());
        const QImage image = RKTestPictures::numbered(51, 51);
        QImage expected[2];
        for (int i = 0; i < 2; ++i)
            expected[i] = RKColorProfileConverter().convert(image, metaData[i]);
        const auto transform = RKPixelTransform::fromProfile(
            RKTestProfiles::rgb(2.2, true), RKPixelTransform::Source::Rgb);
        RKColorProfileConverter* const converter = RKColorProfileConverter::instance();

        constexpr int kThreads = 6;
        constexpr int kRounds = 8;
        std::atomic<int> good{0};
        RKTestThreads::run(kThreads, [&](int i) {
            for (int round = 0; round < kRounds; ++round) {
                const int kind = (i + round) % 2;
                bool ok = false;
                const QImage result = converter->convert(image, metaData[kind], &ok);
                good += ok && result == expected[kind];
                const quint16 red[3] = {65535, 0, 0};
                QRgb pixel = 0;
                transform->convertRow(red, &pixel, 1);
                good += pixel == 0xff00ff00;
                if (i == 0)
                    converter->resetCache();
            }
        });
        QCOMPARE(good.load(), 2 * kThreads * kRounds);
    }
};

QTEST_GUILESS_MAIN(RKColorProfileConverterThreadsTest)
#include "RKColorProfileConverterThreadsTest.moc"
