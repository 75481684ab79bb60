#include "RKImageLoader/video/RKVideoFrameIndexList.h"

#include "support/RKQuietTest.h"

#include <QDomDocument>

using namespace Qt::StringLiterals;

using List = RKVideoFrameIndexList;

class RKVideoFrameIndexListTest : public RKQuietTest
{
    Q_OBJECT

private Q_SLOTS:

    void numbersTravelAsText()
    {
        QCOMPARE(List::fromCsv(u"3,,7"_s), List({3, 7}));
        QCOMPARE(List::fromCsv(u"-5,x,2"_s), List({-1, 2}));

        QDomDocument document;
        QDomElement element = document.createElement(u"video"_s);
        QCOMPARE(List::decode(element), List());
        List({3, 7}).encode(element);
        QCOMPARE(element.attribute(u"frameNumbers"_s), u"3,7"_s);
        QCOMPARE(List::decode(element), List({3, 7}));
    }

    /// Stored hashes are compared, so these numbers must never change.
    void hashesStay()
    {
        QCOMPARE(List({3, 7}).hash(), 26u);
        QCOMPARE(List({1999999999}).hash(), 3999999998u);
        QCOMPARE(List({2000000000, 1}).hash(), 2000000001u);
        // 4000000000 + 300000000 - 2^32, doubled.
        QCOMPARE(List({2000000000, 2000000000, 300000000}).hash(), 10065408u);
    }
};

QTEST_GUILESS_MAIN(RKVideoFrameIndexListTest)

#include "RKVideoFrameIndexListTest.moc"
