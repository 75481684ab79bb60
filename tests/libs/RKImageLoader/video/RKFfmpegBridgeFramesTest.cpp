#include "RKImageLoader/video/RKFfmpegBridge.h"
#include "RKImageLoader/video/RKFfmpegBridgeLame.h"
#include "support/RKTestClips.h"

#include <QFile>
#include <QLoggingCategory>
#include <QTemporaryDir>
#include <QTest>
#include <QTransform>

#include <array>
#include <atomic>
#include <memory>

using namespace RKTestClips;
using namespace Qt::StringLiterals;

namespace {

constexpr auto kExact = "0 1 10 125 149 -1";

struct Row
{
    Clip clip;
    const char* delivered = kExact; ///< -1 is null.
    std::array<int, 6> requests{0, 1, 10, 125, 149, 150};
    int rotation = 0;
    bool isMirrored = false;
    bool isForwardOnly = false;
};

constexpr Row kRows[] = {
    {.clip = {.name = "plain.mp4", .options = "-bf 0"}},
    {.clip = {.name = "b.mp4", .options = "-bf 2"}},
    // In open groups, so that the last frames are some that the decoder takes for damaged.
    {.clip = {.name = "pyramid.mp4",
         .options = "-bf 3 -b_strategy 2 -refs 4 -x264-params open-gop=1"}},
    {.clip = {.name = "no_edit_list.mp4", .options = "-bf 2 -use_editlist 0"}},
    {.clip = {.name = "fragments.mp4", .options = "-movflags frag_keyframe+empty_moov"}},
    {.clip = {.name = "starts_at_2s.mp4", .options = "-output_ts_offset 2"}},
    {.clip = {.name = "ntsc.mp4", .options = "-bf 2", .rate = "30000/1001"}},
    {.clip = {.name = "rot90.mp4"}, .rotation = 90},
    {.clip = {.name = "rot180.mov"}, .rotation = 180},
    {.clip = {.name = "rot270.mp4"}, .rotation = 270},
    {.clip = {.name = "transposed.mp4"}, .rotation = 90, .isMirrored = true},
    {.clip = {.name = "mirrored.mov"}, .rotation = 180, .isMirrored = true},
    {.clip = {.name = "sar.mp4", .options = "-vf setsar=64/45"}},
    {.clip = {.name = "ntsc60.mov", .options = "-bf 2", .rate = "60000/1001"}},
    {.clip = {.name = "b.mkv", .options = "-bf 2"}},
    {.clip = {.name = "hevc.mkv",
         .codec = "libx265",
         .options = "-preset ultrafast -bf 3 -x265-params log-level=none"}},
    {.clip = {.name = "starts_at_2s.mkv", .options = "-output_ts_offset 2"}},
    {.clip = {.name = "ntsc60.mkv", .options = "-bf 2", .rate = "60000/1001"}},
    {.clip = {.name = "plain.avi", .codec = "mpeg4", .options = "-q:v 4"}},
    // At 29.97 frames per second timestamps are those of 30.
    {.clip = {.name = "long.mp4",
         .codec = "mpeg4",
         .options = "-q:v 9",
         .rate = "30000/1001",
         .frames = 1101},
        .delivered = "0 1 1000 1000 1001 -1",
        .requests = {0, 1, 1000, 1001, 1002, 1102}},
    // Time stamps beside the grid, as phones write them: up to 0.3 ms early, 0.3 ms late, decoding
    // times a tick before those of display.
    {.clip = {.name = "early.mp4",
         .options = "-bf 0 -video_track_timescale 90000 "
                    "-bsf:v setts=pts=PTS-mod(N*19\\,28):dts=DTS-mod(N*19\\,28)",
         .rate = "60000/1001"}},
    {.clip = {.name = "late.mov",
         .options = "-bf 2 -video_track_timescale 90000 -output_ts_offset 2 "
                    "-bsf:v setts=pts=PTS+27*mod(N\\,2):dts=DTS",
         .rate = "60"}},
    {.clip = {.name = "early_dts.mov",
         .options = "-bf 0 -video_track_timescale 600 -bsf:v setts=pts=PTS:dts=DTS-1",
         .rate = "30"}},
    {.clip = {.name = "early.mts",
         .options = "-bf 0 -bsf:v setts=pts=PTS-mod(N*19\\,28):dts=DTS-mod(N*19\\,28)",
         .rate = "60"},
        .isForwardOnly = true},
    // Every number without a frame of its own has the next one's.
    {.clip = {.name = "gaps.mkv", .options = "-bf 2 -vf select=lt(mod(n\\,7)\\,5) -vsync vfr"},
        .delivered = "0 1 10 126 149 -1"},
    // Two frames that the decoder holds back until the end.
    {.clip = {.name = "two.mp4", .frames = 2}, .delivered = "0 1 -1 -1 -1 -1"},
    // AVI has no display times, so that B frames shift the numbers by one. After the last key frame
    // there are fewer frames than the decoder holds back.
    {.clip = {.name = "b.avi",
         .codec = "mpeg4",
         .options = "-q:v 4 -bf 2 -force_key_frames expr:eq(n,149)"},
        .delivered = "0 0 9 124 148 149"},
    // The times of AVI count frames: those of 30 frames per second are cut to the frame before.
    {.clip = {.name = "ntsc.avi", .codec = "mpeg4", .options = "-q:v 4", .rate = "30000/1001"},
        .delivered = "0 0 9 124 148 149"},
    {.clip = {.name = "plain.wmv", .codec = "wmv2", .options = "-q:v 4"}},
    {.clip = {.name = "plain.3gp", .codec = "h263", .options = "-q:v 4"}},
    {.clip = {.name = "plain.ogg", .codec = "libtheora", .options = "-q:v 7"}},
    {.clip = {.name = "b.mpg", .codec = "mpeg2video", .options = "-q:v 2 -bf 2"}},
    {.clip = {.name = "b.vob", .codec = "mpeg2video", .options = "-q:v 2 -bf 2"}},
    {.clip = {.name = "transport.mpg", .options = "-bf 2 -f mpegts"}},
    {.clip = {.name = "forward.mts", .options = "-bf 2"}, .isForwardOnly = true},
};

std::unique_ptr<RKFfmpegBridge> open(const Row& row, const QString& path)
{
    if (row.isForwardOnly)
        return std::make_unique<RKFfmpegBridgeLame>(path);
    return std::make_unique<RKFfmpegBridge>(path);
}

/// Only the right rotation and mirroring make the number readable.
QString numberOf(const QImage& image, const Row& row)
{
    return QString::number(number(image.transformed(
        QTransform::fromScale(1, row.isMirrored ? -1 : 1).rotate(-row.rotation))));
}

std::atomic<int> seeks = 0;

void countSeeks(QtMsgType, const QMessageLogContext& context, const QString& message)
{
    seeks += qstrcmp(context.category, "rk.ffmpeg") == 0 && message.startsWith(u"seek to"_s);
}

/// By this process; always 0 where the system doesn't count them.
qint64 bytesRead()
{
    QFile counters(u"/proc/self/io"_s);
    // "rchar: 1234"
    return counters.open(QIODevice::ReadOnly) ? counters.readLine().mid(7).trimmed().toLongLong()
                                              : 0;
}

class SeekCounter
{
public:
    SeekCounter()
        : m_previousHandler(qInstallMessageHandler(countSeeks))
    {
        QLoggingCategory::setFilterRules(u"*.debug=false\nrk.ffmpeg.debug=true"_s);
    }

    ~SeekCounter()
    {
        qInstallMessageHandler(m_previousHandler);
        QLoggingCategory::setFilterRules(u"*.debug=false"_s);
    }

    Q_DISABLE_COPY_MOVE(SeekCounter)

private:
    QtMessageHandler m_previousHandler;
};

} // namespace

class RKFfmpegBridgeFramesTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:

    void initTestCase()
    {
        if (!canEncode())
            QSKIP("the ffmpeg tool is missing");
        QLoggingCategory::setFilterRules(u"*.debug=false"_s);
    }

    void theFrameAskedForIsGiven_data()
    {
        QTest::addColumn<int>("index");
        for (int i = 0; i < int(std::size(kRows)); ++i)
            QTest::newRow(kRows[i].clip.name) << i;
    }

    void theFrameAskedForIsGiven() const
    {
        QFETCH(int, index);
        const Row& row = kRows[index];
        const QString path = make(row.clip, m_folder.path());
        if (row.rotation != 0)
            setDisplayMatrix(path, displayMatrix(row.rotation, row.isMirrored));
        const auto used = open(row, path);
        QVERIFY(used->isOpenFile());
        QStringList fresh;
        QStringList again;
        for (const int request : row.requests) {
            fresh << numberOf(open(row, path)->decodeFrame(request), row);
            again << numberOf(used->decodeFrame(request), row);
        }
        QCOMPARE(fresh.join(u' '), QString::fromLatin1(row.delivered));
        QCOMPARE(again.join(u' '), QString::fromLatin1(row.delivered));
        // The place reached in vain is near this one; the picture kept was that of an early one.
        used->decodeFrame(row.requests[2]);
        used->decodeFrame(row.requests[5]);
        QCOMPARE(numberOf(used->decodeFrame(row.requests[4]), row), fresh[4]);
        if (!row.isForwardOnly)
            compareInOrderWithSought(*used, row.clip.frames);
    }

    void stepsForwardSeekOverKeyFrames() const
    {
        // The file, its options, the step and the number of seeks.
        constexpr std::tuple<const char*, const char*, int, int> kSteps[]
            = {{"1.mp4", "-g 1 -bf 0", 1, 0},
                // The decoder's threads have not reached the frame after next yet.
                {"1.mp4", "-g 1 -bf 0", 20, 7},
                {"12.mkv", "-g 12", 50, 2},
                {"250.mp4", "-g 250", 50, 0},
                {"250.mp4", "-g 250", 140, 0}};
        for (const auto& [name, options, step, expectedSeeks] : kSteps) {
            RKFfmpegBridge bridge(make({.name = name, .options = options}, m_folder.path()));
            const SeekCounter counter;
            bridge.decodeFrame(0);
            seeks = 0;
            for (int n = step; n < 150; n += step)
                QCOMPARE(number(bridge.decodeFrame(n)), n);
            QCOMPARE(seeks.load(), expectedSeeks);
        }
    }

    void missingFramesAreSearchedForOnce() const
    {
        struct Cut
        {
            Clip clip;
            int mostSeeks;
            int mostPercentRead;
        };

        constexpr Cut kCut[] = {
            {{.name = "cut.mp4", .options = "-g 25 -movflags faststart"}, 2, 10},
            {{.name = "long_groups.mpg", .options = "-g 250 -f mpegts"}, 9, 100},
            // The indices are at the end, or the writer could not go back to write one.
            {{.name = "cut.mkv", .options = "-qp 2"}, 2, 40},
            {{.name = "unknown_sizes.mkv", .options = "-qp 2 -live 1"}, 2, 75},
            {{.name = "cut.flv", .options = "-qp 2"}, 2, 45},
            {{.name = "cut.avi", .codec = "mpeg4", .options = "-q:v 1"}, 2, 75},
            {{.name = "h264.avi", .options = "-qp 2 -bf 0"}, 2, 75},
            // FFmpeg takes all of its frames for key frames.
            {{.name = "flv1.avi", .codec = "flv"}, 2, 300},
        };
        for (auto [clip, mostSeeks, mostPercentRead] : kCut) {
            clip.frames = 500;
            const QString path = make(clip, m_folder.path());
            const QByteArray bytes = RKTestPictures::read(path);
            RKTestPictures::write(path, bytes.first(bytes.size() / 2));
            RKFfmpegBridge bridge(path);
            const SeekCounter counter;
            seeks = 0;
            const qint64 read = bytesRead();
            QVERIFY2(bridge.decodeFrame(450).isNull(), clip.name);
            const qint64 percent = 200 * (bytesRead() - read) / bytes.size();
            QVERIFY2(seeks <= mostSeeks && percent <= mostPercentRead,
                qPrintable(u"%1: %2 seeks, %3 %"_s.arg(path).arg(seeks).arg(percent)));
            seeks = 0;
            QVERIFY2(bridge.decodeFrame(1000000).isNull() && bridge.decodeFrame(451).isNull(),
                clip.name);
            QCOMPARE(seeks.load(), 0);
            for (const int n : {215, 20, 201})
                QCOMPARE(number(bridge.decodeFrame(n)), n);
        }
    }

private:
    /// Decoding on must give exactly what a seek gives, in every frame, and without one.
    static void compareInOrderWithSought(RKFfmpegBridge& bridge, int frames)
    {
        const SeekCounter counter;
        bridge.decodeFrame(0);
        seeks = 0;
        QList<QImage> inOrder;
        for (int n = 0; n < frames; ++n)
            inOrder << bridge.decodeFrame(n);
        const int seeksInOrder = seeks;
        QStringList different;
        for (int n = frames - 8; n >= 0; n -= 7) {
            seeks = 0;
            const QImage sought = bridge.decodeFrame(n);
            if (seeks == 0 || sought != inOrder[n])
                different << QString::number(n);
        }
        QCOMPARE(different.join(u','), QString());
        // AVI's frame 0 is sought in vain for one before.
        QVERIFY2(seeksInOrder <= 3, qPrintable(QString::number(seeksInOrder)));
    }

    const QTemporaryDir m_folder;
};

QTEST_GUILESS_MAIN(RKFfmpegBridgeFramesTest)

#include "RKFfmpegBridgeFramesTest.moc"
