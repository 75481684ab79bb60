#include "RKImageLoader/media/RKVideoFrameIndex.h"

#include <QTest>

#include <limits>

using Index = RKVideoFrameIndex;

class RKVideoFrameIndexTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:

    void negativeNumbersAreNoFrame()
    {
        QCOMPARE(Index().frame(), -1);
        QVERIFY(Index(-5) == Index(-1));
        QVERIFY(!Index(-5).isValid());
        QVERIFY(Index(0).isValid());
        QCOMPARE((Index(3) - Index(10)).frame(), -1);
        QCOMPARE((-Index(4)).frame(), -1);
        QCOMPARE((Index(4) * -2).frame(), -1);
        QCOMPARE((Index(4) + (-3)).frame(), 3);
        QCOMPARE((-Index()).frame(), 1);
    }

    void arithmeticStaysInRange()
    {
        constexpr int kMax = std::numeric_limits<int>::max();
        Index index(7);
        index += 3;
        index -= Index(2);
        index *= 5;
        QCOMPARE(index.frame(), 40);
        index += -15;
        QCOMPARE(index.frame(), 25);
        index /= 2;
        QCOMPARE(index.frame(), 12);
        index %= 5;
        QCOMPARE(index.frame(), 2);

        QCOMPARE((Index(kMax - 1) + Index(1)).frame(), kMax);
        QCOMPARE((Index(kMax) + Index(1)).frame(), -1);
        QCOMPARE((Index(kMax) * kMax).frame(), -1);
        QCOMPARE((Index(7) / 0).frame(), -1);
        QCOMPARE((Index(7) % 0).frame(), -1);
    }

    void theQuotientOfFramesIsWhole()
    {
        QCOMPARE(Index(7) / Index(2), 3.0);
        QCOMPARE(Index(7) / Index(0), 0.0);
    }

    void orderFollowsTheNumber()
    {
        QVERIFY(Index(1) < Index(2) && Index(2) <= Index(2) && Index(2) >= Index(2));
        QVERIFY(Index() < Index(0) && Index(3) > Index(2) && Index(3) != Index(2));
    }

    void framesTravelInUrlsAndNames()
    {
        QUrl url(QStringLiteral("file:///a/b.mp4?x=1"));
        Index(12).addToUrl(url);
        QCOMPARE(url.query(), QStringLiteral("x=1&frame=12"));
        QCOMPARE(Index::extractFromUrl(url).frame(), 12);

        QUrl untouched(QStringLiteral("file:///a/b.mp4"));
        Index().addToUrl(untouched);
        QCOMPARE(untouched, QUrl(QStringLiteral("file:///a/b.mp4")));
        QVERIFY(!Index::extractFromUrl(untouched).isValid());
        const QUrl text(QStringLiteral("file:///b.mp4?frame=abc"));
        const QUrl negative(QStringLiteral("file:///b.mp4?frame=-7"));
        QCOMPARE(Index::extractFromUrl(text).frame(), -1);
        QCOMPARE(Index::extractFromUrl(negative).frame(), -1);

        QString name = QStringLiteral("b");
        Index().addToFilename(name);
        Index(0).addToFilename(name);
        QCOMPARE(name, QStringLiteral("b-0"));
    }
};

QTEST_GUILESS_MAIN(RKVideoFrameIndexTest)

#include "RKVideoFrameIndexTest.moc"
