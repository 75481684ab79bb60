#include "RKImageLoader/media/RKMediaDescriptor.h"

#include "RKImageLoader/media/RKImageOption.h"
#include "RKImageLoader/media/RKScalingOption.h"
#include "support/RKQuietTest.h"

class RKMediaDescriptorTest : public RKQuietTest
{
    Q_OBJECT

private Q_SLOTS:

    void aDescriptorNeedsAFileName()
    {
        QVERIFY(!RKMediaDescriptor().isValid());
        QVERIFY(!RKMediaDescriptor(QFileInfo(QStringLiteral("/photos/"))).isValid());
        QVERIFY(!RKMediaDescriptor(QUrl(QStringLiteral("https://host/a.jpg"))).isValid());
        QVERIFY(RKMediaDescriptor(QFileInfo(QStringLiteral("/photos/a.jpg"))).isValid());
        QVERIFY(RKMediaDescriptor().url().path().isEmpty());
    }

    void theSuffixNamesTheFormat()
    {
        const RKMediaDescriptor descriptor(
            QDir(QStringLiteral("/photos")), QStringLiteral("PHOTO.JPG"));
        QCOMPARE(descriptor.fileFormatAsByteArray(), QByteArray("jpg"));
        QVERIFY(descriptor.hasMediaFormat(MEDIA_FORMAT_JPG));
        QCOMPARE(descriptor.absoluteFilePath(), QStringLiteral("/photos/PHOTO.JPG"));
    }

    void framesDistinguishDescriptors()
    {
        const QFileInfo file(QStringLiteral("/clips/Urlaub ä.mp4"));
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
        const RKMediaDescriptor elsewhere(QFileInfo(QStringLiteral("/other/Urlaub ä.mp4")), 3);
        QCOMPARE(elsewhere.hash(), third.hash());
        QVERIFY(elsewhere != third);
    }

    void optionsHoldTheirBits()
    {
        RKImageOption option(3);
        QVERIFY(option.testFlag(RKImageOption::UseEmbeddedThumbnail));
        option.setFlag(RKImageOption::UseEmbeddedThumbnail, false);
        QCOMPARE(option.flags(), quint8(2));
        option.setFlag(RKImageOption::UseEmbeddedThumbnail);
        QCOMPARE(option.flags(), quint8(3));

        QVERIFY(RKScalingOption(QStringLiteral(" Bicubic ")) == SCALING_BICUBIC);
        QCOMPARE(qint64(RKScalingOption(QStringLiteral("smooth,fast,?")).value()), qint64(3));
    }
};

QTEST_GUILESS_MAIN(RKMediaDescriptorTest)

#include "RKMediaDescriptorTest.moc"
