#include "RKImageLoader/media/RKVideoFrameIndex.h"

#include "support/RKQuietTest.h"

#include <limits>

using namespace Qt::StringLiterals;

using Index = RKVideoFrameIndex;

class RKVideoFrameIndexTest : public RKQuietTest
{
    Q_OBJECT

private Q_SLOTS:

    void arithmeticStaysInRange()
    {
        constexpr int kMax = std::numeric_limits<int>::max();
        QVERIFY(Index(-5) == Index() && !Index(-5).isValid() && Index(0).isValid());
        QCOMPARE((Index(3) - Index(10)).frame(), -1);
        QCOMPARE((Index(4) * -2).frame(), -1);
        QCOMPARE((Index(4) + (-3)).frame(), 3);
        QCOMPARE((Index(kMax) + Index(1)).frame(), -1);
        QCOMPARE((Index(kMax) * kMax).frame(), -1);
        QCOMPARE((Index(7) / 0).frame(), -1);
        QCOMPARE((Index(7) % 0).frame(), -1);
        // The quotient of frames is whole.
        QCOMPARE(Index(7) / Index(2), 3.0);
        QCOMPARE(Index(7) / Index(0), 0.0);
    }

    void framesTravelInUrlsAndNames()
    {
        QUrl url(u"file:///a/b.mp4?x=1"_s);
        Index(12).addToUrl(url);
        QCOMPARE(url.query(), u"x=1&frame=12"_s);
        QCOMPARE(Index::extractFromUrl(url).frame(), 12);

        for (const char* text : {"file:///b.mp4", "file:///b.mp4?frame=abc", "file:///b?frame=-7"})
        {
            QUrl none(QString::fromLatin1(text));
            QCOMPARE(Index::extractFromUrl(none).frame(), -1);
            Index().addToUrl(none);
            QCOMPARE(none.toString(), QString::fromLatin1(text));
        }

        QString name = u"b"_s;
        Index().addToFilename(name);
        Index(0).addToFilename(name);
        QCOMPARE(name, u"b-0"_s);
    }
};

QTEST_GUILESS_MAIN(RKVideoFrameIndexTest)

#include "RKVideoFrameIndexTest.moc"
