#include "support/RKQuietTest.h"

#include "RKGeoLocation/RKGeoPosition.h"

#include <cmath>
#include <limits>

class RKGeoLocationTest : public RKQuietTest
{
    Q_OBJECT

private Q_SLOTS:

    void arcsBecomeExifRationals()
    {
        for (const auto& [degrees, text] : {std::pair(48.858222, "48/1 51/1 29599200/1000000"),
                 std::pair(-0.5, "0/1 30/1 0/1000000"),
                 std::pair(59.99999999999, "60/1 0/1 0/1000000"),
                 std::pair(std::nan(""), ""),
                 std::pair(1e300, "")})
            QCOMPARE(RKGeoArc(degrees).toExifRational(), QString::fromLatin1(text));
    }

    void positionsAreValidOnTheGlobeOnly()
    {
        QVERIFY(RKGeoPosition(-90.0, 180.0).isValid());
        QVERIFY(!RKGeoPosition(90.1, 0.0).isValid());
        QVERIFY(!RKGeoPosition(0.0, std::numeric_limits<double>::infinity()).isValid());
        QVERIFY(!RKGeoPosition(RKGeoArc(), RKGeoArc(1.0)).isValid());
        QVERIFY(RKGeoArc(std::nan("")) == RKGeoArc() && RKGeoArc(1.0) != RKGeoArc(2.0));
        QVERIFY(RKGeoPosition(1.0, 2.0) == RKGeoPosition(1.0, 2.0));
        QVERIFY(RKGeoPosition(1.0, 2.0) != RKGeoPosition(1.0, 3.0));
    }
};

QTEST_GUILESS_MAIN(RKGeoLocationTest)

#include "RKGeoLocationTest.moc"
