#include "RKImageLoader/video/RKFramesPerSecond.h"

#include "support/RKQuietTest.h"

#include <limits>

using namespace Qt::StringLiterals;

using Rate = RKFramesPerSecond;

class RKFramesPerSecondTest : public RKQuietTest
{
    Q_OBJECT

private Q_SLOTS:

    void timesAndFramesFollowFromTheRate()
    {
        QCOMPARE(Rate(25).ms2frameIndex(59).frame(), 1);
        QCOMPARE(Rate(25).ms2frameIndex(60).frame(), 2);
        QCOMPARE(Rate(30).frameIndex2ms(1), 33);
        QCOMPARE(Rate(25).moveMs(10, -30).frame(), 9);
        QCOMPARE(Rate(25).moveMs(1, -200).frame(), -1);
        QCOMPARE(Rate().frameIndex2ms(10), 0);
    }

    void resultsOutOfRangeAreMinusOne()
    {
        constexpr double kInfinity = std::numeric_limits<double>::infinity();
        constexpr int kLast = std::numeric_limits<int>::max();
        QCOMPARE(Rate(1000).ms2frameIndex(kLast).frame(), kLast);
        QCOMPARE(Rate(1000).ms2frameIndex(qint64(kLast) + 1).frame(), -1);
        QCOMPARE(Rate(kInfinity).ms2frameIndex(0).frame(), -1);
        QCOMPARE(Rate(1e-300).frameIndex2ms(kLast), -1);
        QCOMPARE(Rate(kInfinity).moveMs(0, 1).frame(), -1);
    }

    void timeCodesCountWholeFrames()
    {
        QCOMPARE(Rate(25).describe(1510), u"1:0,10"_s);
        QCOMPARE(Rate(29.97).describe(1510), u"0:50,10"_s);
        QCOMPARE(Rate(qQNaN()).describe(3), u"0:3,0"_s);
    }
};

QTEST_GUILESS_MAIN(RKFramesPerSecondTest)

#include "RKFramesPerSecondTest.moc"
