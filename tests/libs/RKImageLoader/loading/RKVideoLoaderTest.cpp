#include "RKImageLoader/loading/RKVideoLoader.h"

#include "RKImageLoader/loading/RKMediaLoader.h"
#include "RKImageLoader/metadata/RKMetaData.h"
#include "support/RKTestClips.h"

#include <QTemporaryDir>
#include <QTest>

using namespace RKTestClips;

class RKVideoLoaderTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:

    void init()
    {
        QTest::failOnWarning(QRegularExpression(QStringLiteral(".*")));
    }

    void nothingIsSaved()
    {
        const QString file = m_folder.filePath(QStringLiteral("untouched.mp4"));
        RKTestPictures::write(file, "no video");
        const RKMediaDescriptor descriptor{QFileInfo(file)};
        const RKDrawable drawable(RKTestPictures::quadrants({40, 30}));
        QBuffer buffer;
        QVERIFY(loader().supportsMediaFormat(MEDIA_FORMAT_MTS));
        QVERIFY(!loader().supportsMediaFormat(MEDIA_FORMAT_HEIC));
        QVERIFY(RKMediaLoader::instance()->isSupportedWritableFormat(MEDIA_FORMAT_MP4));
        for (const RKMediaLoaderAbstract* target :
            {static_cast<const RKMediaLoaderAbstract*>(&loader()),
                static_cast<const RKMediaLoaderAbstract*>(RKMediaLoader::instance())})
        {
            QVERIFY(!target->save(&buffer, MEDIA_FORMAT_MP4, drawable));
            QVERIFY(!target->save(&buffer, MEDIA_FORMAT_MP4, drawable, RKMetaData()));
            QVERIFY(!target->save(descriptor, drawable));
            QVERIFY(!target->save(descriptor, drawable, RKMetaData()));
            QVERIFY(!target->save(descriptor, RKMetaData()));
        }
        QVERIFY(buffer.data().isEmpty());
        QCOMPARE(RKTestPictures::read(file), QByteArray("no video"));
        QVERIFY(loader().drawable(descriptor, QSize(), RKImageOption()).isNull());
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
        QCOMPARE(facade.unrotatedSize(video), kSize);
        QCOMPARE(facade.recordingDate(video), facade.fileCreationDate(video));
        QCOMPARE(loader().framesPerSecond(video).fps(), 25.0);
        QCOMPARE(loader().durationInMS(video), 2000);
        QCOMPARE(loader().defaultFrameIndex(video).frame(), 25);
        QCOMPARE(facade.convertableFormats(MEDIA_FORMAT_MP4), {MEDIA_FORMAT_MP4});
        QVERIFY(!facade.convertableFormats(MEDIA_FORMAT_JPG).contains(MEDIA_FORMAT_MP4));
    }

private:
    const RKVideoLoader& loader() const
    {
        return *RKVideoLoader::instance();
    }

    QTemporaryDir m_folder;
};

QTEST_MAIN(RKVideoLoaderTest)

#include "RKVideoLoaderTest.moc"
