#include "RKImageLoader/video/RKVideoFrameIndexList.h"

#include <QDomDocument>
#include <QTest>

using List = RKVideoFrameIndexList;

class RKVideoFrameIndexListTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:

    void numbersTravelAsText()
    {
        QCOMPARE(List::fromCsv(QStringLiteral("3,,7")), List({3, 7}));
        QCOMPARE(List::fromCsv(QStringLiteral("-5,x,2")), List({-1, 2}));
        QCOMPARE(List::fromCsv({}).size(), 0);
        QCOMPARE(List({3, 7}).toCsv(), QStringLiteral("3,7"));
        QCOMPARE(List(RKVideoFrameIndex(4)).list(), QList<RKVideoFrameIndex>{4});

        QDomDocument document;
        QDomElement element = document.createElement(QStringLiteral("video"));
        QCOMPARE(List::decode(element), List());
        List({3, 7}).encode(element);
        QCOMPARE(element.attribute(QStringLiteral("frameNumbers")), QStringLiteral("3,7"));
        QCOMPARE(List::decode(element), List({3, 7}));
    }

    /// Stored hashes are compared, so these numbers must never change.
    void hashesStay()
    {
        QCOMPARE(List().hash(), 0u);
        QCOMPARE(List({3, 7}).hash(), 26u);
        QVERIFY(List({3, 7}).hash() != List({7, 3}).hash());
        QCOMPARE(List({1999999999}).hash(), 3999999998u);
        QCOMPARE(List({2000000000}).hash(), 2000000000u);
        QCOMPARE(List({2000000000, 1}).hash(), 2000000001u);
        // 4000000000 + 300000000 - 2^32, doubled.
        QCOMPARE(List({2000000000, 2000000000, 300000000}).hash(), 10065408u);
        QCOMPARE(List({-1}).hash(), 4294967295u);
    }
};

QTEST_GUILESS_MAIN(RKVideoFrameIndexListTest)

#include "RKVideoFrameIndexListTest.moc"
