#include "RKImageLoader/video/RKVideoDecoderFfmpeg.h"

#include "RKImageLoader/metadata/RKMetaDataField.h"
#include "support/RKTestClips.h"

#include <QDir>
#include <QLoggingCategory>
#include <QTemporaryDir>
#include <QTest>

using namespace RKTestClips;
using namespace Qt::StringLiterals;

namespace {

qsizetype openFiles()
{
    return QDir(u"/dev/fd"_s).entryList(QDir::Files | QDir::System).size();
}

} // namespace

class RKVideoDecoderFfmpegTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:

    void initTestCase()
    {
        if (!canEncode())
            QSKIP("the ffmpeg tool is missing");
        // Every file opened is described there.
        QLoggingCategory::setFilterRules(u"*.debug=false"_s);
        m_clip = make({.name = "clip.mp4",
                          .options = "-metadata creation_time=2021-07-04T13:45:10 -movflags "
                                     "+use_metadata_tags -metadata "
                                     "com.apple.quicktime.model=iPhone -metadata "
                                     "location=+40,6800-074,5000/",
                          .frames = 50},
            m_folder.path());
        m_single = make({.name = "single.mkv", .frames = 1}, m_folder.path());
    }

    void theDefaultFrameIsTheMiddleOrTheFirst()
    {
        const RKVideoDecoderFfmpeg decoder;
        QCOMPARE(number(decoder.decode(at(m_clip), QSize())), 25);
        QCOMPARE(number(decoder.decode(at(m_clip, 7), QSize())), 7);
        QCOMPARE(number(decoder.decode(at(m_clip, 50), QSize())), -1);

        QCOMPARE(number(decoder.decode(at(m_single), QSize())), 0);
        QCOMPARE(number(decoder.decode(at(m_single, 1), QSize())), -1);
    }

    void metaDataTellOfTheFileAndTheFrame()
    {
        const RKVideoDecoderFfmpeg decoder;
        const RKMetaData metaData = decoder.metaData(at(m_clip, 12));
        QCOMPARE(metaData.unrotatedSize(), kSize);
        QCOMPARE(metaData.pictureTaken(), QDateTime(QDate(2021, 7, 4), QTime(13, 45, 10)));
        QCOMPARE(metaData.read(RKMetaDataFieldEnum::exifModel), u"iPhone"_s);
        // As it comes from FFmpeg where the decimal point is a comma.
        QCOMPARE(metaData.geoPosition(), RKGeoPosition(40.68, -74.5));
        QCOMPARE(metaData.read(RKMetaDataFieldEnum::exifImageDescription), u"12"_s);
        QCOMPARE(metaData.read(RKMetaDataFieldEnum::originalFilename), m_clip);
        QVERIFY(
            !decoder.metaData(at(m_single)).allData().contains(u"Exif.Photo.DateTimeOriginal"_s));
    }

    void filesThatCannotBeOpenedAreTriedAgain()
    {
        const RKVideoDecoderFfmpeg decoder;
        const QString late = m_folder.filePath(u"late.mp4"_s);
        QVERIFY(decoder.decode(at(late), QSize()).isNull());
        QCOMPARE(decoder.durationInMS(at(late)), -1);
        QVERIFY(QFile::copy(m_clip, late));
        QCOMPARE(number(decoder.decode(at(late, 4), QSize())), 4);
    }

    void aFreedFileIsReadAnew()
    {
        const RKVideoDecoderFfmpeg decoder;
        const QString file = m_folder.filePath(u"replaced.mkv"_s);
        QVERIFY(QFile::copy(m_clip, file));
        QCOMPARE(decoder.durationInMS(at(file)), 2000);
        QVERIFY(QFile::remove(file) && QFile::copy(m_single, file));
        QCOMPARE(number(decoder.decode(at(file, 9), QSize())), 9);
        decoder.freeResource(at(m_clip));
        QCOMPARE(decoder.durationInMS(at(file)), 2000);
        decoder.freeResource(at(file));
        QCOMPARE(decoder.durationInMS(at(file)), 40);
    }

    void atMostFiftyFilesStayOpen()
    {
        const QTemporaryDir links;
        const RKVideoDecoderFfmpeg decoder;
        const qsizetype before = openFiles();
        for (int i = 1; i <= 70; ++i) {
            const QString link = links.filePath(u"%1.mkv"_s.arg(i));
            QVERIFY(QFile::link(m_single, link));
            QCOMPARE(decoder.size(at(link)), kSize);
            QCOMPARE(openFiles() - before, std::min(i, 50));
        }
        decoder.freeResources();
        QCOMPARE(openFiles(), before);
    }

    void theLeastRecentlyUsedFilesAreClosedForMemory()
    {
        // Between 350 and 450 MB by the estimate, so that two are too much.
        const QString large = m_folder.filePath(u"large.mp4"_s);
        ffmpeg(words(u"-f lavfi -i color=c=gray:s=6144x3456:d=0.04 -c:v mjpeg"_s) << large);
        const RKVideoDecoderFfmpeg decoder;
        const qsizetype before = openFiles();
        decoder.size(at(m_clip));
        decoder.size(at(large));
        decoder.size(at(m_clip));
        QCOMPARE(openFiles() - before, 2);
        const QString second = m_folder.filePath(u"second.mp4"_s);
        QVERIFY(QFile::link(large, second));
        decoder.size(at(second));
        QCOMPARE(openFiles() - before, 2);
        // The small one was used after the first large one.
        QVERIFY(QFile::remove(m_folder.filePath(u"large.mp4"_s)));
        QCOMPARE(decoder.size(at(large)), QSize());
    }

private:
    static RKMediaDescriptor at(const QString& file, const RKVideoFrameIndex& frame = {})
    {
        return {QFileInfo(file), frame};
    }

    QTemporaryDir m_folder;
    QString m_clip;
    QString m_single;
};

QTEST_GUILESS_MAIN(RKVideoDecoderFfmpegTest)

#include "RKVideoDecoderFfmpegTest.moc"
