#include "RKImageLoader/faces/RKFacePosition.h"

#include "support/RKQuietTest.h"

#include <cmath>
#include <limits>

using namespace Qt::StringLiterals;

namespace {

RKFacePosition at(double x, double y, double width, double height)
{
    const QRectF rect(x, y, width, height);
    return {rect, faceDetectionEngineHP, RKFaceId(3), RKClusterId(-100), -1, u"Anna"_s, 2};
}

} // namespace

class RKFacePositionTest : public RKQuietTest
{
    Q_OBJECT

private Q_SLOTS:

    void onlyAnAreaIsValid()
    {
        QVERIFY(!at(0, 0, 1, 0).isValid() && !at(0, 0, std::nan(""), 1).isValid());
        QVERIFY(at(-3, 5, 0.1, 0.1).isValid());
    }

    void pixelsAreCutTowardsZero()
    {
        const QSize hundred(100, 100);
        const RKFacePosition face = at(0.119, -0.019, 0.329, 0.55);
        QCOMPARE(face.rectStretched(hundred), QRect(11, -1, 32, 55));
        QCOMPARE(face.centerStretched(hundred), QPoint(28, 25));
        // Hostile numbers stay within an int.
        constexpr double kInfinity = std::numeric_limits<double>::infinity();
        constexpr int kLimit = 500'000'000;
        const QRect rect = at(1e300, std::nan(""), -kInfinity, kInfinity).rectStretched(hundred);
        QCOMPARE(rect, QRect(QPoint(kLimit, 0), QSize(-kLimit, kLimit)));
        const QPoint center = at(-kInfinity, kInfinity, 1, kInfinity).centerStretched(hundred);
        QCOMPARE(center, QPoint(-kLimit, kLimit));
    }

    void rotationMapsTheCentre()
    {
        const RKFacePosition face = at(0.1, 0.2, 0.3, 0.4);
        // By orientation; 0 and 9 are none.
        const QRectF expected[] = {face.rect(),
            face.rect(),
            {0.6, 0.2, 0.3, 0.4},
            {0.6, 0.4, 0.3, 0.4},
            {0.1, 0.4, 0.3, 0.4},
            {0.4, 0.6, 0.4, 0.3},
            {0.4, 0.1, 0.4, 0.3},
            {0.2, 0.1, 0.4, 0.3},
            {0.2, 0.6, 0.4, 0.3},
            face.rect()};
        for (int i = 0; i <= 9; ++i)
            QCOMPARE(face.rotated(RKImageOrientation(i)).rect(), expected[i]);
    }

    void overlapNeedsMoreThanThreeQuarters()
    {
        const RKFacePosition face = at(0, 0, 1, 0.5);
        QVERIFY(!face.isSeriouslyOverlapping(at(0.25, 0, 1, 0.5)));
        QVERIFY(face.isSeriouslyOverlapping(at(0.125, 0, 1, 0.5)));
        // A small face inside is enough, whichever is asked.
        const RKFacePosition small = at(0.5, 0.25, 0.125, 0.125);
        QVERIFY(face.isSeriouslyOverlapping(small) && small.isSeriouslyOverlapping(face));
    }

    void xmlRoundTripKeepsRectAndEngine()
    {
        QDomDocument document;
        QDomElement element = document.createElement(u"face"_s);
        document.appendChild(element);
        at(0.1, 0.25, 1.0 / 3, 0.4).toXml(element);
        QCOMPARE(document.toString(-1),
            u"<face><engine>faceDetectionEngineHP</engine><rect><x>0.1</x><y>0.25</y>"
            "<width>0.333333</width><height>0.4</height></rect></face>"_s);

        const RKFacePosition read(element);
        QCOMPARE(read.rect(), QRectF(0.1, 0.25, 0.333333, 0.4));
        QCOMPARE(read.engine(), faceDetectionEngineHP);
        QVERIFY(document.setContent(QByteArray(
            "<face><engine>none</engine><rect><x>0,5</x><width>1e999</width></rect></face>")));
        QCOMPARE(RKFacePosition(document.documentElement()), RKFacePosition());
    }
};

QTEST_APPLESS_MAIN(RKFacePositionTest)

#include "RKFacePositionTest.moc"
