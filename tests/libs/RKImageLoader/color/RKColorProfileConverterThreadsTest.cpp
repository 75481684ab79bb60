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
        RKMetaData keep;
        keep.setIccData(RKTestProfiles::rgb(2.2));
        RKMetaData swap;
        swap.setIccData(RKTestProfiles::rgb(2.2, true));
        const QImage image = RKTestPictures::quadrants({64, 48});
        const auto transform = RKPixelTransform::fromProfile(
            RKTestProfiles::rgb(2.2, true), RKPixelTransform::Source::Rgb);
        RKColorProfileConverter* const converter = RKColorProfileConverter::instance();

        constexpr int kThreads = 6;
        constexpr int kRounds = 8;
        std::atomic<int> good{0};
        RKTestThreads::run(kThreads, [&](int i) {
            for (int round = 0; round < kRounds; ++round) {
                const bool swaps = (i + round) % 2;
                bool ok = false;
                const QImage result = converter->convert(image, swaps ? swap : keep, &ok);
                good += ok && result.pixel(0, 0) == (swaps ? 0xff00ff00 : 0xffff0000);
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
