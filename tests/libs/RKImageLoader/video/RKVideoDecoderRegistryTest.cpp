#include "RKImageLoader/video/RKVideoDecoderRegistry.h"

#include "support/RKQuietTest.h"

using namespace Qt::StringLiterals;

class RKVideoDecoderRegistryTest : public RKQuietTest
{
    Q_OBJECT

private Q_SLOTS:

    void onlyVideosHaveADecoder()
    {
        const RKVideoDecoderRegistry registry;
        for (const RKMediaFormat& format : registry.supportedMediaFormats())
            QVERIFY(format.isVideo() && registry.decoder(format));
        QVERIFY(registry.hasSupportedFileFormat(QFileInfo(u"/a/B.MP4"_s)));
        QVERIFY(!registry.hasSupportedFileFormat(QFileInfo(u"a.mp4.jpg"_s)));

        const RKMediaDescriptor picture(QDir(u"/missing"_s), u"a.jpg"_s, {});
        QVERIFY(!registry.decoder(MEDIA_FORMAT_JPG));
        QVERIFY(registry.decodeDrawable(picture, QSize()).isNull());
        QVERIFY(registry.metaData(picture).allData().isEmpty());
        QCOMPARE(registry.durationInMS(picture), 0);
        registry.freeResource(picture);
    }
};

QTEST_MAIN(RKVideoDecoderRegistryTest)

#include "RKVideoDecoderRegistryTest.moc"
