#include "RKImageLoader/loading/RKImageLoader.h"
#include "RKImageLoader/loading/RKMediaLoader.h"
#include "RKImageLoader/metadata/RKMetaData.h"
#include "RKImageLoader/video/RKFfmpegBridge.h"
#include "support/RKQuietTest.h"
#include "support/RKTestPictures.h"

#include <QTemporaryDir>

using namespace Qt::StringLiterals;

namespace {

bool isLoaded(const QByteArray& library)
{
    return RKTestPictures::read(u"/proc/self/maps"_s).contains(library);
}

} // namespace

/// What the first uses in a process load.
class RKFirstUseTest : public RKQuietTest
{
    Q_OBJECT

private Q_SLOTS:

    void nothingIsLoadedThatIsNotNeeded()
    {
        if (!isLoaded("libRKImageLoader"))
            QSKIP("this system doesn't say what a process has loaded");
        const QTemporaryDir folder;
        // By hand, for Qt's writers ask all plug-ins: 16x16 pixels with 24 bits.
        const QString path = folder.filePath(u"a.bmp"_s);
        RKTestPictures::write(path,
            QByteArray::fromHex(
                "424d3603000000000000360000002800000010000000100000000100180000000000"
                "00030000")
                + QByteArray(16, '\0') + QByteArray(16 * 16 * 3, '@'));
        const RKMediaDescriptor picture{QFileInfo(path)};
        QCOMPARE(RKMediaLoader::instance()->size(picture), QSize(16, 16));
        QCOMPARE(RKMediaLoader::instance()->bitmap(picture, QSize()).size(), QSize(16, 16));
        QVERIFY(RKImageLoader::instance()->copyMetaData(picture).thumbnail().isNull());
        QVERIFY(!isLoaded("imageformats/") && !isLoaded("libavcodec"));

        const RKFfmpegBridge noVideo(path);
        QVERIFY(isLoaded("libavcodec"));
    }
};

QTEST_GUILESS_MAIN(RKFirstUseTest)

#include "RKFirstUseTest.moc"
