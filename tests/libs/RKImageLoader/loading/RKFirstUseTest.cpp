#include "RKImageLoader/loading/RKMediaLoader.h"
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

    void noVideoMeansNoFfmpeg()
    {
        if (!isLoaded("libRKImageLoader"))
            QSKIP("this system doesn't say what a process has loaded");
        const QTemporaryDir folder;
        const QString path = folder.filePath(u"a.jpg"_s);
        QVERIFY(RKTestPictures::quadrants({40, 30}).save(path));
        const RKMediaDescriptor picture{QFileInfo(path)};
        QCOMPARE(RKMediaLoader::instance()->size(picture), QSize(40, 30));
        QCOMPARE(RKMediaLoader::instance()->bitmap(picture, {20, 20}).size(), QSize(20, 15));
        QVERIFY(!isLoaded("libavcodec"));

        const RKFfmpegBridge noVideo(path);
        QVERIFY(isLoaded("libavcodec"));
    }
};

QTEST_GUILESS_MAIN(RKFirstUseTest)

#include "RKFirstUseTest.moc"
