#include "RKImageLoader/video/RKFfmpegBridge.h"

#include "RKImageLoader/video/RKFfmpegBridgeLame.h"
#include "support/RKTestClips.h"

#include "RKCore/RKMonolithFile.h"

#include <QDir>
#include <QTemporaryDir>
#include <QTest>

extern "C" {
#include <libavutil/rational.h>
}

#include <sys/stat.h>

using namespace RKTestClips;
using RKTestPictures::read;
using RKTestPictures::write;
using namespace Qt::StringLiterals;

namespace {

constexpr auto kPlain = displayMatrix(0);
constexpr auto kTilted = std::array<qint32, 9>{46341, 46341, 0, -46341, 46341, 0, 0, 0, 0x40000000};

struct Properties
{
    const char* size;
    const char* options;
    const char* expected; ///< Source, effective and shown size, rotation.
    std::array<qint32, 9> matrix = kPlain;
};

const Properties kProperties[] = {
    {"96x54", "-vf setsar=1", "96x54 96x54 96x54 0"},
    {"33x17", "-vf scale=33:17,setsar=1 -pix_fmt yuv444p", "33x17 33x17 33x17 0"},
    {"720x576", "-vf setsar=64/45", "720x576 900x576 576x900 90", displayMatrix(90)},
    {"720x480", "-vf setsar=8/9", "720x480 1080x480 1080x480 0"},
    // Terms of 1 leave the size alone.
    {"64x48", "-vf setsar=2/1", "64x48 64x48 64x48 0"},
    {"64x48", "", "64x48 64x48 64x48 45", kTilted},
    // Not invertible, thus no rotation.
    {"64x48", "", "64x48 64x48 64x48 0", {}},
    // 1.6 kB, but 778 MB as shown.
    {"16000x16", "-vf setsar=2/3", "16000x16 16000000x16 16000000x16 0"},
};

QString text(const QSize& size)
{
    return u"%1x%2 "_s.arg(size.width()).arg(size.height());
}

QString text(const RKFfmpegBridge& bridge)
{
    return text(bridge.sourceVideoSize()) + text(bridge.effectiveVideoSize())
        + text(bridge.videoSize()) + QString::number(bridge.rotation());
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

    void sizesFollowPixelsAndRotation() const
    {
        for (const Properties& row : kProperties) {
            const QString path = makeColor("gray", "size.mp4", row.options, row.size);
            if (row.matrix != kPlain)
                setDisplayMatrix(path, row.matrix);
            RKFfmpegBridge bridge(path);
            QCOMPARE(text(bridge), QString::fromLatin1(row.expected));
            QCOMPARE(bridge.shouldApplyRotation(), bridge.rotation() == 90);
            if (bridge.rotation() == 90) {
                QCOMPARE(bridge.sourceAspect(), QSize(64, 45));
                QCOMPARE(bridge.displayAspect(), QSize(16, 9));
            }
            const bool isShown = bridge.videoSize().width() <= 32767;
            QCOMPARE(bridge.decodeFrame(0).size(), isShown ? bridge.videoSize() : QSize(0, 0));
        }
    }

    void propertiesAreThoseOfTheFile() const
    {
        const RKFfmpegBridge android(makeColor("gray",
            "android.mp4",
            "-r 30000/1001 -movflags use_metadata_tags -metadata com.android.version=12"));
        QCOMPARE(qRound(android.framesPerSecond().fps() * 1000), 29970);
        QCOMPARE(android.videoLengthMs(), 1001);
        QCOMPARE(android.usedCodec(), u"h264"_s);
        QCOMPARE(android.cameraModel(), u"Android 12"_s);
        QVERIFY(!android.videoTaken().isValid());
        QCOMPARE(android.timeScale(), 30000 / 30.0);
    }

    void colorsAreThoseOfTheTags() const
    {
        const QByteArray untagged = "-vf format=gbrp,scale=out_color_matrix=bt601";
        const QByteArray tagged = "-colorspace bt709 -vf format=gbrp,scale=out_color_matrix=bt709";
        const QByteArray full = ":out_range=pc -color_range pc -c:v libvpx-vp9";
        const QList<QByteArray> rows{untagged, tagged, untagged + full, tagged + full};
        for (const QByteArray& options : rows) {
            const QString path = makeColor("0x00C80A", "green.mkv", options);
            const QColor color = RKFfmpegBridge(path).decodeFrame(3).pixelColor(20, 20);
            const int off = std::max(
                {color.red(), std::abs(color.green() - 200), std::abs(color.blue() - 10)});
            QVERIFY2(off <= 3, options.constData());
        }
    }

    void aStreamMayChangeItsSize() const
    {
        // The second half wrote past the end of the picture when its size was not looked at.
        const QByteArray small = read(makeColor("gray", "1.mpg", "-f mpegts"));
        const QByteArray large
            = read(makeColor("red", "2.mpg", "-f mpegts -output_ts_offset 1", "640x480"));
        write(path("both.mpg"), small + large);
        RKFfmpegBridge bridge(path("both.mpg"));
        for (const int n : {0, 15, 35, 45, 10}) {
            const QImage image = bridge.decodeFrame(n);
            QCOMPARE(image.size(), QSize(64, 48));
            QCOMPARE(qBlue(image.pixel(9, 9)) < 50, n > 25);
        }
    }

    void damageCostsOnlyWhatItHits() const
    {
        const QString damaged
            = make({.name = "damaged.avi", .codec = "mpeg4", .options = "-q:v 4", .frames = 100},
                m_folder.path());
        const QByteArray bytes = withDamagedPackets(damaged, 30, 30);
        write(damaged, bytes.first(bytes.size() * 3 / 4));
        RKFfmpegBridge bridge(damaged);
        QCOMPARE(number(bridge.decodeFrame(29)), 29);
        QVERIFY(!bridge.decodeFrame(30).isNull());
        // Past the end, after which the right one has to come again.
        for (const long long n : {99LL, -1LL, std::numeric_limits<long long>::max()}) {
            QVERIFY(bridge.decodeFrame(n).isNull());
            QCOMPARE(number(bridge.decodeFrame(55)), 55);
        }
        // The decoder's threads still hold the damaged ones when the file ends.
        const QString nearEnd
            = make({.name = "end.avi", .codec = "mpeg4", .options = "-q:v 4 -g 1", .frames = 100},
                m_folder.path());
        write(nearEnd, withDamagedPackets(nearEnd, 96, 98));
        QCOMPARE(number(RKFfmpegBridge(nearEnd).decodeFrame(99)), 99);
    }

    void aTrimmedClipStartsAtItsFirstFrame() const
    {
        const QString whole = make({.name = "whole.mp4", .options = "-bf 2"}, m_folder.path());
        ffmpeg(words(u"-ss 0.52 -i %1 -c copy %2"_s.arg(whole, path("trimmed.mp4"))));
        RKFfmpegBridge bridge(path("trimmed.mp4"));
        QCOMPARE(number(bridge.decodeFrame(0)), 13);
        QCOMPARE(number(bridge.decodeFrame(20)), 33);
    }

    void theForwardBridgeKeepsFramesAround() const
    {
        RKFfmpegBridgeLame bridge(make({.name = "a.mts", .options = "-bf 2"}, m_folder.path()));
        QCOMPARE(number(bridge.decodeFrame(0)), 0);
        QCOMPARE(number(bridge.decodeFrame(5)), 5);
        bridge.close();
        QCOMPARE(number(bridge.decodeFrame(3)), 3);
        QVERIFY(bridge.decodeFrame(30).isNull());
        bridge.openFile();
        for (const int n : {60, 61, 70, 82, 90, 3})
            QCOMPARE(number(bridge.decodeFrame(n)), n);
        QVERIFY(bridge.seekFrame(120));
        QCOMPARE(number(bridge.decodeFrame(30)), 30);
    }

    void framesOfTheForwardBridgeMayHaveSeveralNumbers() const
    {
        // Like interlaced video, in which the fields are counted.
        RKFfmpegBridgeLame bridge(make({.name = "half.mts",
                                           .options = "-vf select=lt(n\\,4)+not(mod(n\\,2)) "
                                                      "-vsync vfr -bf 0",
                                           .rate = "50",
                                           .frames = 60},
            m_folder.path()));
        QString numbers;
        for (const int n : {0, 1, 2, 3, 4, 5, 6, 7, 8, 15, 16, 40, 41, 42})
            numbers += QString::number(number(bridge.decodeFrame(n))) + u' ';
        QCOMPARE(numbers, u"0 1 2 3 4 6 6 8 8 16 16 40 42 42 "_s);
    }

    void stepsCanBeTakenSingly() const
    {
        RKFfmpegBridge bridge(QStringLiteral(RK_TEST_DATA "/mp4/numbered.mp4"));
        QVERIFY(bridge.videoStream());
        bridge.setLastFrameOkay(true);
        QCOMPARE(number(bridge.decodeFrame(0)), 0);
        QVERIFY(bridge.seekFrame(12) && bridge.decodeSeekFrame(RKFfmpegBridge::kAnyTimestamp));
        QCOMPARE(number(bridge.getFrame()), 13);
        bridge.setLastFrameOkay(false);
        QVERIFY(bridge.getFrame().isNull());
        bridge.close();
        QVERIFY(!bridge.videoStream() && !bridge.decodeSeekFrame(0));
    }

    void timeBasesOfNtscAreRepaired() const
    {
        const auto repaired = [](int num, int den) {
            const AVRational base = RKFfmpegBridge::repairedTimeBase({num, den});
            return std::pair(base.num, base.den);
        };
        QCOMPARE(repaired(1001, 1), std::pair(1001, 1000));
        QCOMPARE(repaired(1001, 2), std::pair(1001, 2));
        QCOMPARE(repaired(1000, 1), std::pair(1000, 1));
    }

    void onlyRegularVideoFilesAreOpened() const
    {
        const QString clip = makeColor("gray", "clip.mp4");
        QCOMPARE(mkfifo(path("fifo.mp4").toUtf8().constData(), 0600), 0);
        write(path("list.mp4"), "#EXTM3U\n#EXTINF:1,\nclip.mp4\n#EXT-X-ENDLIST\n");
        write(path("concat.mp4"), "ffconcat version 1.0\nfile clip.mp4\n");
        ffmpeg(words(u"-f lavfi -i sine=d=1 -c:a aac "_s) << path("sound.mp4"));
        for (const char* name : {"fifo.mp4", "list.mp4", "concat.mp4", "sound.mp4", ""}) {
            RKFfmpegBridge bridge(path(name));
            QVERIFY2(!bridge.isOpenFile() && !bridge.reopenFile(), name);
            QVERIFY(bridge.decodeFrame(0).isNull());
            QCOMPARE(bridge.videoSize(), QSize(-1, -1));
        }

        // Neither a protocol nor a place that only the host knows.
        QVERIFY(QFile::copy(clip, path("concat:x.mp4")));
        QDir::setCurrent(m_folder.path());
        QVERIFY(RKFfmpegBridge(u"concat:x.mp4"_s).isOpenFile());
        RKMonolithFile::setResolver([clip](const QUrl&) { return QUrl::fromLocalFile(clip); });
        QVERIFY(RKFfmpegBridge(u"/container/y.mp4"_s).isOpenFile());
        RKMonolithFile::setResolver({});
    }

    void datesAreReadAsLocalTime()
    {
        const QDate day(2021, 7, 4);
        const std::pair<const char*, QDateTime> rows[]
            = {{"2021-07-04T13:45:10.000000Z", {day, QTime(13, 45, 10)}},
                {"2021-07-04 13:45", {day, QTime(13, 45)}},
                {"2021-07-04", {day, QTime(0, 0)}},
                {"2021-07-04 25:00:00", {day, QTime(0, 0)}},
                {"2021-13-04 13:45:10", {}},
                {"13:45:10", {}}};
        for (const auto& [text, expected] : rows)
            QCOMPARE(RKFfmpegBridge::parseDateTime(QString::fromLatin1(text)), expected);
    }

private:
    /// An AVI file with nothing at the start of some of its pictures.
    static QByteArray withDamagedPackets(const QString& path, int first, int last)
    {
        QByteArray bytes = read(path);
        qsizetype packet = bytes.indexOf("movi");
        for (int n = 0; n <= last; ++n) {
            packet = bytes.indexOf("00dc", packet) + 4;
            if (n >= first)
                bytes.replace(packet + 4, 16, QByteArray(16, '\0'));
        }
        return bytes;
    }

    QString path(const char* name) const
    {
        return m_folder.filePath(QString::fromLatin1(name));
    }

    /// One second of a colour.
    QString makeColor(const char* color,
        const char* name,
        const QByteArray& options = {},
        const char* size = "64x48") const
    {
        ffmpeg(words(u"-f lavfi -i color=c=%1:s=%2:r=25:d=1 -pix_fmt yuv420p %3"_s.arg(
                   QLatin1String(color), QLatin1String(size), QLatin1String(options)))
            << path(name));
        return path(name);
    }

    const QTemporaryDir m_folder;
};

QTEST_GUILESS_MAIN(RKFfmpegBridgeTest)

#include "RKFfmpegBridgeTest.moc"
