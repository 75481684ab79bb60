#include "RKImageLoader/faces/RKFacePositions.h"

#include "RKImageLoader/drawables/RKImageRotator.h"
#include "support/RKQuietTest.h"

#include <limits>

using namespace Qt::StringLiterals;

namespace {

RKFacePosition region(int index, const QRectF& rect, int faceId = -1)
{
    return RKFacePosition(rect,
        faceDetectionEngineHPbyXMP,
        RKFaceId(faceId),
        RKClusterId(),
        RKFacePosition::invalidCoverImageEpoch(),
        QString(),
        index);
}

RKFacePositions listOf(const QList<RKFacePosition>& faces)
{
    RKFacePositions list;
    for (const RKFacePosition& face : faces)
        list.append(face);
    return list;
}

RKFaceRectEntry entry(int faceId, const QRect& rect)
{
    RKFaceRectEntry result;
    result.setFaceId(RKFaceId(faceId));
    result.setFaceRect(rect);
    result.setClusterId(RKClusterId(faceId * 10));
    result.setClusterName(QString::number(faceId));
    return result;
}

} // namespace

class RKFacePositionsTest : public RKQuietTest
{
    Q_OBJECT

private Q_SLOTS:

    void onlyTheDefaultIsNotSurveyed()
    {
        RKFacePositions list;
        list.add(RKFacePositions());
        QVERIFY(!list.isSurveyComplete() && list.isEmpty() && list.isValid());
        QVERIFY(RKFacePositions(QSize(10, 10), QList<QPoint>(), {}).isSurveyComplete());
        list.add(RKFacePositions(QSize(10, 10), QList<RKFaceRectEntry>(), faceDetectionEngineHP));
        list.add(RKFacePositions());
        QVERIFY(list.isSurveyComplete() && list.isEmpty() && list != RKFacePositions());
        QVERIFY(!listOf({RKFacePosition()}).isValid());
    }

    void facesFollowThePixels()
    {
        QImage stored(40, 20, QImage::Format_RGB32);
        stored.fill(Qt::black);
        stored.setPixelColor(6, 3, Qt::white);
        const RKFacePositions faces(stored.size(), QRect(6, 3, 1, 1), faceDetectionEngineHP);
        for (int i = 0; i <= 9; ++i) {
            const auto orientation = RKImageOrientation(i);
            const QImage upright = RKImageRotator::rotate(stored, orientation);
            const RKFacePositions turned = faces.toUpright(orientation);
            const QPoint face = turned.centers(upright.size()).value(0);
            QCOMPARE(upright.pixelColor(face), QColor(Qt::white));
            QCOMPARE(turned.toStored(orientation).centers(stored.size()).value(0), QPoint(6, 3));
        }
    }

    void centresGuessARectangleInTheImage()
    {
        const QSize size(100, 50);
        const RKFacePositions list(size,
            {QPoint(0, 0), QPoint(50, 25), QPoint(500, 10)},
            {faceDetectionEngineExifCanon, faceDetectionEngineExifFuji});
        const QList<RKFacePosition> faces = list.facePositions();
        QCOMPARE(faces[0].rect(), QRectF(0, 0, 0.05, 0.06));
        QCOMPARE(faces[1].rect(), QRectF(0.45, 0.46, 0.1, 0.1));
        QVERIFY(!faces[2].isValid());
        QCOMPARE(list.faceDetectionEngineTypes().value(1), faceDetectionEngineExifFuji);

        // Rectangles are not clipped.
        const QRect rect(-10, 25, 150, 5);
        const RKFacePositions one(size, rect, faceDetectionEngineHP);
        QCOMPARE(one.facePositions().value(0).rect(), QRectF(-0.1, 0.5, 1.5, 0.1));
        QVERIFY(!RKFacePositions(QSize(0, 100), rect, faceDetectionEngineHP).isValid());
    }

    void catalogueEntriesAreSorted()
    {
        const QRect left(10, 20, 10, 10);
        const QRect lower(10, 30, 10, 10);
        const RKFacePositions list(QSize(100, 100),
            QList<RKFaceRectEntry>{entry(5, left),
                entry(-1, lower),
                entry(2, lower),
                entry(2, left),
                RKFaceRectEntry()},
            faceDetectionEngineIphoto);
        QStringList order;
        for (const RKFacePosition& face : list.facePositions())
            order << face.name() + u'@' + QString::number(face.rect().y());
        QCOMPARE(order.join(u' '), u"@0 -1@0.3 2@0.2 2@0.3 5@0.2"_s);
        QVERIFY(list.facePositions().constLast().clusterId() == RKClusterId(50));
    }

    void pixelsFollowTheFrame()
    {
        const RKFacePositions list = listOf({region(0, QRectF(0.25, 0.5, 0.5, 0.26))});
        QCOMPARE(list.rects(QRect(1000, -7, 100, 50)).constFirst(), QRect(1025, 18, 50, 13));
        // The rounded frame is (10, 20, 101, 51).
        const QRectF frame(10.4, 19.5, 100.4, 50.9);
        QCOMPARE(list.positions(frame).constFirst().rect(), QRectF(10 + 25, 20 + 25, 50, 13));
    }

    void unitedAndBiggestRectangle()
    {
        const RKFacePositions list = listOf({region(0, QRectF(0.5, 0.5, 0.1, 0.1)),
            region(1, QRectF(0.1, 0.2, 0.3, 0.2)),
            region(2, QRectF(0.7, 0.1, 0.1, 0.3))});
        QCOMPARE(list.biggestRect({100, 100}), QRect(10, 20, 30, 20));
        QCOMPARE(list.unitedRect({100, 100}), QRect(10, 10, 70, 50));
        QCOMPARE(list.percentCoverdByFaces(), 0.1);
    }

    void hostileRectanglesAreHarmless()
    {
        constexpr double kHuge = std::numeric_limits<double>::max();
        constexpr double kInfinity = std::numeric_limits<double>::infinity();
        const RKFacePositions list
            = listOf({region(0, QRectF(-kHuge, -kHuge, kInfinity, kInfinity)),
                region(1, QRectF(kHuge, kHuge, kHuge, kHuge)),
                region(2, QRectF(kInfinity, kHuge, -kHuge, -kInfinity))});
        QVERIFY(list.biggestRect({6000, 4000}).width() > 0);
        QVERIFY(list.unitedRect({6000, 4000}).width() > 0);
        QCOMPARE(list.rects(QRect(2'000'000'000, 0, 6000, 4000)).size(), 3);
        QCOMPARE(list.percentCoverdByFaces(), 1.0);
        QCOMPARE(list.positions(QRectF(kInfinity, -kHuge, kHuge, kHuge)).size(), 3);
        constexpr int kFar = std::numeric_limits<int>::min();
        QVERIFY(!RKFacePositions({100, 50}, QList<QPoint>{{kFar, kFar}}, {}).isValid());
    }

    void bestMatchIsTheFirstFreeRegion()
    {
        const RKFacePositions regions
            = listOf({region(4, QRectF(0, 0, 0.5, 0.5)), region(7, QRectF(0.25, 0.25, 0.5, 0.5))});
        const RKFacePosition inBoth = region(-1, QRectF(0.25, 0.25, 0.25, 0.25));
        QCOMPARE(regions.bestMatch(inBoth, {}), 4);
        QCOMPARE(regions.bestMatch(inBoth, {4}), 7);
        // The centre lies on the edge of the second region.
        QCOMPARE(regions.bestMatch(region(-1, QRectF(0.5, 0.5, 0.5, 0.25)), {}), 7);
        QCOMPARE(regions.bestMatch(region(-1, QRectF(0.5, 0.75, 0.51, 0.25)), {}), -1);
    }

    void eachRegionIsMappedOnce()
    {
        const RKFacePosition target = region(4, QRectF(0, 0, 0.5, 0.5), 11);
        const RKFacePosition first = region(-1, QRectF(0.1, 0.1, 0.2, 0.2), 1);
        const RKFacePosition second = region(-1, QRectF(0.2, 0.1, 0.2, 0.2), 2);
        const RKFacePosition noRegion = region(-1, QRectF(0.8, 0.8, 0.1, 0.1));
        const auto map
            = listOf({noRegion, target}).mapFacePositionsHPtoXMP(listOf({first, second}));
        RKFacePosition matched = first;
        matched.setXmpRegionIndex(4);
        QCOMPARE(map.value(matched), target);
        QCOMPARE(map.value(second, matched), RKFacePosition());
    }

    void overlapComparesWholeLists()
    {
        const RKFacePosition a = region(0, QRectF(0, 0, 0.5, 0.5));
        const RKFacePosition b = region(1, QRectF(0.5, 0.5, 0.5, 0.5));
        QVERIFY(!listOf({a}).isSeriouslyOverlapping(listOf({a, a})));
        QVERIFY(listOf({a, a}).isSeriouslyOverlapping(listOf({b, a})));
        QVERIFY(!listOf({b, a}).isSeriouslyOverlapping(listOf({a, a})));
        QVERIFY(listOf({a, b}).anySeriouslyOverlapping(b));
        QVERIFY(!listOf({a}).anySeriouslyOverlapping(b));
    }

    void listsKeepTheirFlag()
    {
        RKFacePositions list = listOf({region(3, QRectF(0.1, 0.2, 0.3, 0.4))});
        list.setSurveyComplete(false);
        QVERIFY(!list.rotated(ORIENTATION_RIGHT_TOP).isSurveyComplete());
        QVERIFY(!list.forEngine(faceDetectionEngineHP).isSurveyComplete());
        QVERIFY(list.forEngine(faceDetectionEngineHPbyXMP).isSurveyComplete());
    }

    void onlyTheFirstPositionOfAFaceBecomesTheCover()
    {
        RKFacePositions list = listOf({region(0, {}), region(1, {}, 6), region(2, {}, 6)});
        const RKFacePositions before = list;
        list.setCoverImageEpochToCurrentTime(RKFaceId());
        QCOMPARE(list, before);
        list.setCoverImageEpochToCurrentTime(RKFaceId(6));
        for (const RKFacePosition& face : list.facePositions())
            QCOMPARE(face.isCoverImageEpochValid(), face.xmpRegionIndex() == 1);
    }

    void xmlRoundTripIsSurveyed()
    {
        const RKFacePositions list(QSize(100, 100),
            QList<QRect>{{10, 10, 20, 20}, {60, 60, 20, 20}},
            {faceDetectionEngineExifFuji, faceDetectionEngineHP});
        QDomDocument document;
        QDomElement root = document.createElement(u"faces"_s);
        root.appendChild(document.createElement(u"other"_s));
        list.toXml(root);
        QCOMPARE(RKFacePositions(root), list);
        QVERIFY(RKFacePositions(QDomElement()).isSurveyComplete());
    }
};

QTEST_APPLESS_MAIN(RKFacePositionsTest)

#include "RKFacePositionsTest.moc"
