#include "RKImageLoader/media/RKMediaDescriptor.h"

#include "support/RKQuietTest.h"

using namespace Qt::StringLiterals;

class RKMediaDescriptorTest : public RKQuietTest
{
    Q_OBJECT

private Q_SLOTS:

    void framesDistinguishDescriptors()
    {
        const QFileInfo file(u"/clips/Urlaub ä.mp4"_s);
        RKMediaDescriptor none(file);
        const RKMediaDescriptor third(file, 3);
        QVERIFY(none != third);
        QVERIFY(none.hash() != third.hash());
        QCOMPARE(none.hash(), qHash(file.fileName(), 0) - 1);

        none.setFrame(3);
        QVERIFY(none == third);
        QCOMPARE(RKVideoFrameIndex::extractFromUrl(third.url()).frame(), 3);
        QVERIFY(RKMediaDescriptor(third.url(), 3) == third);

        // Only the name counts in the hash, not the folder.
        const RKMediaDescriptor elsewhere(QFileInfo(u"/other/Urlaub ä.mp4"_s), 3);
        QCOMPARE(elsewhere.hash(), third.hash());
        QVERIFY(elsewhere != third);
    }
};

QTEST_GUILESS_MAIN(RKMediaDescriptorTest)

#include "RKMediaDescriptorTest.moc"
