#include "RKGeoLocation/RKGeoPosition.h"

#include <QTest>

#include <cmath>
#include <limits>

class RKGeoLocationTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:

    void arcsBecomeExifRationals_data()
    {
        QTest::addColumn<double>("degrees");
        QTest::addColumn<QString>("text");
        QTest::newRow("fraction") << 48.858222 << QStringLiteral("48/1 51/1 29599200/1000000");
        QTest::newRow("negative") << -0.5 << QStringLiteral("0/1 30/1 0/1000000");
        QTest::newRow("carry") << 59.99999999999 << QStringLiteral("60/1 0/1 0/1000000");
        QTest::newRow("zero") << 0.0 << QStringLiteral("0/1 0/1 0/1000000");
        QTest::newRow("not a number") << std::nan("") << QString();
        QTest::newRow("absurd") << 1e300 << QString();
    }

    void arcsBecomeExifRationals()
    {
        QFETCH(double, degrees);
        QFETCH(QString, text);
        QCOMPARE(RKGeoArc(degrees).toExifRational(), text);
    }

    void positionsAreValidOnTheGlobeOnly()
    {
        QVERIFY(!RKGeoPosition().isValid());
        QVERIFY(RKGeoPosition(0.0, 0.0).isValid());
        QVERIFY(RKGeoPosition(-90.0, 180.0).isValid());
        QVERIFY(!RKGeoPosition(90.1, 0.0).isValid());
        QVERIFY(!RKGeoPosition(0.0, -180.1).isValid());
        QVERIFY(!RKGeoPosition(0.0, std::numeric_limits<double>::infinity()).isValid());
        QVERIFY(!RKGeoPosition(RKGeoArc(), RKGeoArc(1.0)).isValid());
    }

    void positionsCompareByTheirArcs()
    {
        QVERIFY(RKGeoPosition(1.5, 2.5) == RKGeoPosition(RKGeoArc(1.5), RKGeoArc(2.5)));
        QVERIFY(RKGeoPosition(1.5, 2.5) != RKGeoPosition(2.5, 1.5));
        QVERIFY(RKGeoPosition() == RKGeoPosition());
        QVERIFY(RKGeoPosition() != RKGeoPosition(0.0, 0.0));
    }
};

QTEST_GUILESS_MAIN(RKGeoLocationTest)

#include "RKGeoLocationTest.moc"
