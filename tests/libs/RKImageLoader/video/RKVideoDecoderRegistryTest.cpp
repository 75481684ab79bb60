#include "RKImageLoader/video/RKVideoDecoderRegistry.h"

#include "RKImageLoader/video/RKVideoDecoderDummy.h"

#include <QTest>

namespace {

class TestCardDecoder : public RKVideoDecoderDummy
{
public:
    void freeResources() const override
    {
    }

    void freeResource(const RKMediaDescriptor&) const override
    {
    }
};

RKMediaDescriptor descriptor(const QString& name, const RKVideoFrameIndex& frame = {})
{
    return {QDir(QStringLiteral("/missing")), name, frame};
}

} // namespace

class RKVideoDecoderRegistryTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:

    void init()
    {
        QTest::failOnWarning(QRegularExpression(QStringLiteral(".*")));
    }

    void oneDecoderReadsAllVideos()
    {
        const RKVideoDecoderRegistry registry;
        const RKMediaFormatList formats = registry.supportedMediaFormats();
        QStringList names;
        for (const RKMediaFormat& format : formats) {
            names << format.defaultExtension();
            QVERIFY(format.isVideo() && registry.decoder(format));
        }
        QCOMPARE(names.join(u' '),
            QStringLiteral("avi 3gp mpg wmv mp4 mov mod mts vro vob m4v ogg mkv"));
        QVERIFY(!registry.decoder(MEDIA_FORMAT_JPG));
        QVERIFY(registry.hasSupportedFileFormat(QFileInfo(QStringLiteral("/a/B.MP4"))));
        QVERIFY(!registry.hasSupportedFileFormat(QFileInfo(QStringLiteral("a.mp4.jpg"))));
    }

    void withoutADecoderAnswersAreEmpty()
    {
        const RKVideoDecoderRegistry registry;
        const RKMediaDescriptor picture = descriptor(QStringLiteral("a.jpg"));
        QVERIFY(registry.decodeDrawable(picture, QSize()).isNull());
        QVERIFY(registry.metaData(picture).allData().isEmpty());
        QCOMPARE(registry.durationInMS(picture), 0);
        QCOMPARE(registry.rotation(picture), 0);
        registry.freeResource(picture);
    }

    void theTestCardStandsInForAnyVideo()
    {
        const TestCardDecoder decoder;
        const RKMediaDescriptor video = descriptor(QStringLiteral("a %1.avi"), 1510);
        const QImage card = decoder.decode(video, {600, 600});
        QCOMPARE(card.size(), QSize(600, 600));
        QVERIFY(card != decoder.decode(descriptor(QStringLiteral("a %1.avi"), 1511), {600, 600}));
        QCOMPARE(decoder.decode(video, QSize()).size(), QSize(640, 480));
        QVERIFY(decoder.decode(video, {0, 5}).isNull());

        QCOMPARE(decoder.defaultFrameIndex(video).frame(), 125);
        QCOMPARE(decoder.metaData(video).unrotatedSize(), decoder.size(video));
    }
};

QTEST_MAIN(RKVideoDecoderRegistryTest)

#include "RKVideoDecoderRegistryTest.moc"
