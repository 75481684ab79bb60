#include "RKImageLoader/video/RKFfmpegBridge.h"

#include "RKImageLoader/video/RKFfmpegBridgeLame.h"
#include "support/RKTestClips.h"

#include "RKCore/RKMonolithFile.h"

#include <QLoggingCategory>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <QTest>

#include <sys/stat.h>

using namespace RKTestClips;
using RKTestPictures::read;
using RKTestPictures::write;

namespace {

QString text(const QSize& size)
{
    return QStringLiteral("%1x%2").arg(size.width()).arg(size.height());
}

QString text(const RKFfmpegBridge& bridge)
{
    return QStringList{text(bridge.sourceVideoSize()),
        text(bridge.effectiveVideoSize()),
        text(bridge.videoSize()),
        QString::number(bridge.rotation()),
        QString::number(bridge.framesPerSecond().fps()),
        QString::number(bridge.videoLengthMs()),
        bridge.usedCodec(),
        bridge.videoTaken().toString(Qt::ISODate),
        bridge.cameraModel()}
        .join(u' ');
}

struct Properties
{
    const char* file;
    const char* size;
    const char* options;
    const char* expected;
    std::array<qint32, 9> matrix = displayMatrix(0);
};

const Properties kProperties[] = {
    {"taken.mov",
        "64x48",
        "-metadata creation_time=2021-07-04T13:45:10.000000Z -movflags use_metadata_tags "
        "-metadata com.apple.quicktime.model=Phone",
        "64x48 64x48 64x48 0 25 1000 h264 2021-07-04T13:45:10 Phone"},
    {"android.mp4",
        "64x48",
        "-movflags use_metadata_tags -metadata com.android.version=12",
        "64x48 64x48 48x64 90 25 1000 h264  Android 12",
        displayMatrix(90)},
    {"upside.mp4", "64x48", "", "64x48 64x48 64x48 180 25 1000 h264  ", displayMatrix(180)},
    {"left.mp4", "64x48", "", "64x48 64x48 48x64 270 25 1000 h264  ", displayMatrix(270)},
    {"tilted.mp4",
        "64x48",
        "",
        "64x48 64x48 64x48 45 25 1000 h264  ",
        {46341, 46341, 0, -46341, 46341, 0, 0, 0, 0x40000000}},
    {"singular.mp4", "64x48", "", "64x48 64x48 64x48 0 25 1000 h264  ", {}},
    {"square.mp4", "96x54", "-vf setsar=1", "96x54 96x54 96x54 0 25 1000 h264  "},
    {"pal.mp4", "720x576", "-vf setsar=64/45", "720x576 900x576 900x576 0 25 1000 h264  "},
    {"ntsc.mp4", "720x480", "-vf setsar=8/9", "720x480 1080x480 1080x480 0 25 1000 h264  "},
    // Terms of 1 leave the size alone.
    {"wide.mp4", "64x48", "-vf setsar=2/1", "64x48 64x48 64x48 0 25 1000 h264  "},
    {"odd.ogg",
        "33x17",
        "-vf scale=33:17,setsar=1 -c:v libtheora",
        "33x17 33x17 33x17 0 25 1000 theora  "},
};

QStringList logged;

void keepMessage(QtMsgType, const QMessageLogContext&, const QString& message)
{
    logged << message;
}

/// What is logged while a file is opened.
QStringList messagesOfOpening(const QString& path)
{
    logged.clear();
    const auto previousHandler = qInstallMessageHandler(keepMessage);
    const RKFfmpegBridge bridge(path);
    qInstallMessageHandler(previousHandler);
    return logged;
}

} // namespace

class RKFfmpegBridgeTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:

    void initTestCase()
    {
        if (!canEncode())
            QSKIP("the ffmpeg tool is missing");
    }

    void init()
    {
        QTest::failOnWarning(QRegularExpression(QStringLiteral(".*")));
    }

    void propertiesAreThoseOfTheFile_data()
    {
        QTest::addColumn<int>("index");
        for (int i = 0; i < int(std::size(kProperties)); ++i)
            QTest::newRow(kProperties[i].file) << i;
    }

    void propertiesAreThoseOfTheFile() const
    {
        QFETCH(int, index);
        const Properties& row = kProperties[index];
        const QString path = makeColor("gray", row.file, row.size, row.options);
        if (row.matrix != displayMatrix(0))
            setDisplayMatrix(path, row.matrix);
        RKFfmpegBridge bridge(path);
        QCOMPARE(text(bridge), QString::fromLatin1(row.expected));
        QCOMPARE(bridge.decodeFrame(0).size(), bridge.videoSize());
        QCOMPARE(bridge.shouldApplyRotation(),
            row.matrix == displayMatrix(bridge.rotation()) && bridge.rotation() != 0);
    }

    void colorsAreThoseOfTheTags_data()
    {
        QTest::addColumn<QString>("options");
        const QString tagged
            = QStringLiteral("-colorspace %1 -color_range %2 "
                             "-vf format=gbrp,scale=out_color_matrix=%1:out_range=%2");
        QTest::newRow("none") << QStringLiteral("-vf format=gbrp,scale=out_color_matrix=bt601");
        QTest::newRow("BT.709") << tagged.arg(QStringLiteral("bt709"), QStringLiteral("tv"));
        QTest::newRow("full range") << tagged.arg(QStringLiteral("bt709"), QStringLiteral("pc"))
                + QStringLiteral(" -c:v libvpx-vp9");
    }

    void colorsAreThoseOfTheTags() const
    {
        QFETCH(QString, options);
        const QString path = makeColor("0x00C80A", "green.mkv", "64x48", options.toLatin1());
        const QColor color = RKFfmpegBridge(path).decodeFrame(3).pixelColor(20, 20);
        QVERIFY2(std::abs(color.red()) <= 3 && std::abs(color.green() - 200) <= 3
                && std::abs(color.blue() - 10) <= 3,
            qPrintable(color.name()));
    }

    void aHugeDisplayIsRefused() const
    {
        // 1.6 kB, but 778 MB as shown.
        RKFfmpegBridge bridge(makeColor("gray", "huge.mp4", "16000x16", "-vf setsar=2/3"));
        QCOMPARE(bridge.effectiveVideoSize(), QSize(16000000, 16));
        QVERIFY(bridge.decodeFrame(0).isNull());
    }

    void aStreamMayChangeItsSize() const
    {
        // The second half wrote past the end of the picture when its size was not looked at.
        const QByteArray small = read(makeColor("gray", "1.mpg", "64x48", "-f mpegts"));
        const QByteArray large
            = read(makeColor("red", "2.mpg", "640x480", "-f mpegts -output_ts_offset 1"));
        const QString path = m_folder.filePath(QStringLiteral("both.mpg"));
        write(path, small + large);
        RKFfmpegBridge bridge(path);
        for (const int n : {0, 15, 35, 45, 10}) {
            const QImage image = bridge.decodeFrame(n);
            QCOMPARE(image.size(), QSize(64, 48));
            QCOMPARE(image.pixelColor(9, 9).red() > image.pixelColor(9, 9).blue() + 99, n > 25);
        }
    }

    void damageCostsOnlyWhatItHits() const
    {
        const QString path
            = make({.name = "damaged.avi", .codec = "mpeg4", .options = "-q:v 4", .frames = 100},
                m_folder.path());
        QByteArray bytes = read(path);
        qsizetype packet = bytes.indexOf("movi");
        for (int n = 0; n <= 30; ++n)
            packet = bytes.indexOf("00dc", packet) + 4;
        bytes.replace(packet + 4, 16, QByteArray(16, '\0'));
        bytes.truncate(bytes.size() * 3 / 4);
        write(path, bytes);
        RKFfmpegBridge bridge(path);
        QCOMPARE(number(bridge.decodeFrame(29)), 29);
        QVERIFY(!bridge.decodeFrame(30).isNull());
        QCOMPARE(number(bridge.decodeFrame(55)), 55);
        QVERIFY(bridge.decodeFrame(99).isNull());
        QCOMPARE(number(bridge.decodeFrame(5)), 5);
        QVERIFY(bridge.decodeFrame(-1).isNull());
        QVERIFY(bridge.decodeFrame(std::numeric_limits<long long>::max()).isNull());
    }

    void aTrimmedClipStartsAtItsFirstFrame() const
    {
        const QString whole = make({.name = "whole.mp4", .options = "-bf 2"}, m_folder.path());
        const QString path = m_folder.filePath(QStringLiteral("trimmed.mp4"));
        ffmpeg(words(QStringLiteral("-ss 0.52 -i %1 -c copy %2").arg(whole, path)));
        RKFfmpegBridge bridge(path);
        QCOMPARE(number(bridge.decodeFrame(0)), 13);
        QCOMPARE(number(bridge.decodeFrame(20)), 33);
    }

    void theForwardBridgeKeepsFramesAround() const
    {
        RKFfmpegBridgeLame bridge(make({.name = "cache.mts", .options = "-bf 2"}, m_folder.path()));
        QCOMPARE(number(bridge.decodeFrame(0)), 0);
        QCOMPARE(number(bridge.decodeFrame(5)), 5);
        bridge.close();
        QCOMPARE(number(bridge.decodeFrame(3)), 3);
        QVERIFY(bridge.decodeFrame(30).isNull());
        bridge.openFile();
        QCOMPARE(number(bridge.decodeFrame(60)), 60);
        for (int n = 61; n < 90; ++n)
            QCOMPARE(number(bridge.decodeFrame(n)), n);
        QCOMPARE(number(bridge.decodeFrame(3)), 3);
    }

    void onlyRegularVideoFilesAreOpened() const
    {
        const QString clip = makeColor("gray", "clip.mp4", "64x48", "");
        const auto path
            = [this](const char* name) { return m_folder.filePath(QString::fromLatin1(name)); };
        QCOMPARE(mkfifo(path("fifo.mp4").toUtf8().constData(), 0600), 0);
        write(path("list.mp4"), "#EXTM3U\n#EXTINF:1,\nclip.mp4\n#EXT-X-ENDLIST\n");
        write(path("concat.mp4"), "ffconcat version 1.0\nfile clip.mp4\n");
        write(path("empty.mp4"), {});
        ffmpeg(words(QStringLiteral("-f lavfi -i sine=d=1 -c:a aac ")) << path("sound.mp4"));
        for (const char* name :
            {"fifo.mp4", "list.mp4", "concat.mp4", "empty.mp4", "sound.mp4", "none.mp4", ""})
        {
            RKFfmpegBridge bridge(path(name));
            QVERIFY2(!bridge.isOpenFile() && !bridge.reopenFile(), name);
            QVERIFY(bridge.decodeFrame(0).isNull());
            QCOMPARE(text(bridge), QStringLiteral("-1x-1 -1x-1 -1x-1 0 0 -1   "));
            QCOMPARE(bridge.timeScale(), 0.0);
        }
        QCOMPARE(messagesOfOpening(path("sound.mp4")).constFirst(),
            QStringLiteral("FFmpegBridge: file \"%1\" : \"unable to find stream\"")
                .arg(path("sound.mp4")));
        QVERIFY(messagesOfOpening(path("list.mp4"))
                    .constFirst()
                    .endsWith(QStringLiteral(": \"ctor\"")));

        // Neither a protocol nor a place that only the host knows.
        QVERIFY(QFile::copy(clip, path("concat:x.mp4")));
        QDir::setCurrent(m_folder.path());
        QVERIFY(RKFfmpegBridge(QStringLiteral("concat:x.mp4")).isOpenFile());
        RKMonolithFile::setResolver([clip](const QUrl&) { return QUrl::fromLocalFile(clip); });
        QVERIFY(RKFfmpegBridge(QStringLiteral("/container/y.mp4")).isOpenFile());
        RKMonolithFile::setResolver({});
    }

    void openingDescribesTheFile() const
    {
        const QString path
            = make({.name = "log.mp4", .rate = "30000/1001", .frames = 2}, m_folder.path());
        const QStringList messages = messagesOfOpening(path);
        const QString adjusted = QStringLiteral("adjusted r_frame_rate.den from 1001 to 1000");
        QVERIFY(messages[0].endsWith(QStringLiteral("\"ctor\"")));
        QCOMPARE(messages[1], QStringLiteral("RKFfmpegBridge::dump"));
        QCOMPARE(messages.filter(adjusted).size(), 1);
        QCOMPARE(messages.filter(QStringLiteral("  video size: QSize(176, 144)")).size(), 1);
        QCOMPARE(messages.filter(QStringLiteral("  source aspect ratio: 0 / 1")).size(), 1);
        QCOMPARE(messages.size(), 19);
    }

    void datesAreReadAsLocalTime_data()
    {
        QTest::addColumn<QDateTime>("expected");
        const QDate day(2021, 7, 4);
        QTest::newRow("2021-07-04T13:45:10.000000Z") << QDateTime(day, QTime(13, 45, 10));
        QTest::newRow("2021-07-04 13:45") << QDateTime(day, QTime(13, 45));
        QTest::newRow("2021-07-04") << QDateTime(day, QTime(0, 0));
        QTest::newRow("2021-07-04 25:00:00") << QDateTime(day, QTime(0, 0));
        QTest::newRow("2021-13-04 13:45:10") << QDateTime();
        QTest::newRow("13:45:10") << QDateTime();
    }

    void datesAreReadAsLocalTime()
    {
        QFETCH(QDateTime, expected);
        QCOMPARE(
            RKFfmpegBridge::parseDateTime(QString::fromLatin1(QTest::currentDataTag())), expected);
    }

private:
    /// One second of a colour.
    QString makeColor(
        const char* color, const char* name, const char* size, const QByteArray& options) const
    {
        QString path = m_folder.filePath(QString::fromLatin1(name));
        ffmpeg(words(QStringLiteral("-f lavfi -i color=c=%1:s=%2:r=25:d=1 -pix_fmt yuv420p %3")
                         .arg(QString::fromLatin1(color),
                             QString::fromLatin1(size),
                             QString::fromLatin1(options)))
            << path);
        return path;
    }

    const QTemporaryDir m_folder;
};

QTEST_GUILESS_MAIN(RKFfmpegBridgeTest)

#include "RKFfmpegBridgeTest.moc"
