#include "RKImageLoader/loading/RKVideoLoader.h"

#include "RKImageLoader/loading/RKMediaLoader.h"
#include "RKImageLoader/metadata/RKMetaData.h"
#include "support/RKQuietTest.h"
#include "support/RKTestClips.h"

#include <QTemporaryDir>

using namespace Qt::StringLiterals;

using namespace RKTestClips;

class RKVideoLoaderTest : public RKQuietTest
{
    Q_OBJECT

private Q_SLOTS:

    void nothingIsSaved()
    {
        const QString file = m_folder.filePath(u"untouched.mp4"_s);
        RKTestPictures::write(file, "no video");
        const RKMediaDescriptor descriptor{QFileInfo(file)};
        const RKDrawable drawable(RKTestPictures::quadrants({40, 30}));
        const RKMediaLoaderAbstract& facade = *RKMediaLoader::instance();
        QVERIFY(!facade.save(descriptor, drawable));
        QVERIFY(!facade.save(descriptor, drawable, RKMetaData()));
        QVERIFY(!facade.save(descriptor, RKMetaData()));
        QCOMPARE(RKTestPictures::read(file), QByteArray("no video"));
        QVERIFY(facade.drawable(descriptor, QSize(), RKImageOption()).isNull());
        // No loader's.
        const RKMediaDescriptor text(QDir(m_folder.path()), u"a.txt"_s);
        for (int i = 0; i < 2; ++i)
            QTest::ignoreMessage(QtWarningMsg, "RKMediaFormat no RKMediaFormat for txt");
        QVERIFY(!facade.save(text, drawable) && facade.bitmap(text, QSize()).isNull());
    }

    void theFacadeSendsVideosHere()
    {
        if (!canEncode())
            QSKIP("the ffmpeg tool is missing");
        const QString clip = make({.name = "clip.mp4", .frames = 50}, m_folder.path());
        const RKMediaDescriptor video(QFileInfo(clip), 7);
        const RKMediaLoader& facade = *RKMediaLoader::instance();
        const RKDrawable drawable = facade.drawable(video, {88, 72}, RKImageOption());
        QCOMPARE(drawable.size(), QSize(88, 72));
        QCOMPARE(number(drawable.image()), 7);
        QCOMPARE(facade.size(video), kSize);
        QCOMPARE(facade.recordingDate(video), facade.fileCreationDate(video));
        QCOMPARE(RKVideoLoader::instance()->durationInMS(video), 2000);
        QVERIFY(!facade.convertableFormats(MEDIA_FORMAT_JPG).contains(MEDIA_FORMAT_MP4));
    }

private:
    QTemporaryDir m_folder;
};

QTEST_MAIN(RKVideoLoaderTest)

#include "RKVideoLoaderTest.moc"
