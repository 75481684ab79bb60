#include "RKImageLoader/media/RKMediaDescriptor.h"

#include "RKImageLoader/media/RKImageOption.h"
#include "RKImageLoader/media/RKImageOrientation.h"
#include "RKImageLoader/media/RKScalingOption.h"

#include <QSet>
#include <QTest>

#include <type_traits>

static_assert(!std::is_constructible_v<RKMediaDescriptor, QString>);
static_assert(std::is_nothrow_move_constructible_v<RKMediaDescriptor>);

class RKMediaDescriptorTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:

    void init()
    {
        QTest::failOnWarning(QRegularExpression(QStringLiteral(".*")));
    }

    void aDescriptorNeedsAFileName()
    {
        QVERIFY(!RKMediaDescriptor().isValid());
        QVERIFY(!RKMediaDescriptor(QFileInfo(QStringLiteral("/photos/"))).isValid());
        QVERIFY(!RKMediaDescriptor(QUrl(QStringLiteral("https://host/a.jpg"))).isValid());
        QVERIFY(RKMediaDescriptor(QFileInfo(QStringLiteral("/photos/a.jpg"))).isValid());

        const QUrl invalid = RKMediaDescriptor().url();
        QVERIFY(invalid.path().isEmpty());
    }

    void theSuffixNamesTheFormat()
    {
        const RKMediaDescriptor descriptor(
            QDir(QStringLiteral("/photos")), QStringLiteral("PHOTO.JPG"));
        QCOMPARE(descriptor.fileFormatAsByteArray(), QByteArray("jpg"));
        QVERIFY(descriptor.hasMediaFormat(MEDIA_FORMAT_JPG));
        QVERIFY(!descriptor.hasMediaFormat(MEDIA_FORMAT_PNG));
        QCOMPARE(descriptor.absoluteFilePath(), QStringLiteral("/photos/PHOTO.JPG"));

        QTest::ignoreMessage(QtWarningMsg, "RKMediaFormat no RKMediaFormat for txt");
        QVERIFY(!RKMediaDescriptor(QFileInfo(QStringLiteral("/a.txt"))).mediaFormat().isValid());
    }

    void framesDistinguishDescriptors()
    {
        const QFileInfo file(QStringLiteral("/clips/Urlaub ä.mp4"));
        RKMediaDescriptor none(file);
        const RKMediaDescriptor third(file, 3);
        QVERIFY(none != third);
        QVERIFY(none.hash() != third.hash());
        QCOMPARE(none.hash(), qHash(file.fileName(), 0) - 1);
        QCOMPARE(QSet<RKMediaDescriptor>({none, third, none}).size(), 2);

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

    void fourOrientationsTranspose()
    {
        for (int number = -1; number <= 9; ++number)
            QCOMPARE(
                isTransposingOrientation(RKImageOrientation(number)), number >= 5 && number <= 8);
    }
};

QTEST_GUILESS_MAIN(RKMediaDescriptorTest)

#include "RKMediaDescriptorTest.moc"
