#include "RKImageLoader/video/RKFfmpegBridge.h"
#include "RKImageLoader/video/RKVideoDecoderFfmpeg.h"
#include "support/RKTestClips.h"
#include "support/RKTestThreads.h"

#include <QLoggingCategory>
#include <QTemporaryDir>
#include <QTest>

#include <atomic>

using namespace Qt::StringLiterals;

namespace {

constexpr int kThreads = 8;
constexpr int kFrames = 30;

/// How often the work answers with yes, done that often by each of several threads.
template <typename Work>
int countOnThreads(int requests, const Work& work)
{
    std::atomic<int> good = 0;
    RKTestThreads::run(kThreads, [&](int t) {
        for (int i = 0; i < requests; ++i)
            good += work(t, i);
    });
    return good;
}

// Not made here: a program that has started others can't be watched for races.
const QString kClip = QStringLiteral(RK_TEST_DATA "/mp4/numbered.mp4");

} // namespace

class RKVideoDecoderThreadsTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:

    void initTestCase()
    {
        QLoggingCategory::setFilterRules(u"*.debug=false"_s);
    }

    void oneBridgeServesSeveralThreads()
    {
        RKFfmpegBridge bridge(kClip);
        const int good = countOnThreads(4, [&bridge](int t, int i) {
            const int n = (t + i * 9) % kFrames;
            return RKTestClips::number(bridge.decodeFrame(n)) == n
                && bridge.videoSize() == RKTestClips::kSize && bridge.cameraModel().isEmpty()
                && bridge.rotation() == 0
                // All computed values are thrown away while others read them.
                && bridge.reopenFile();
        });
        QCOMPARE(good, 4 * kThreads);
    }

    void factsAndOtherFilesDoNotWaitForAFrame()
    {
        // Each frame of the forward bridge decodes all before it. While one thread asks for such
        // frames, the other must get through its requests; if it had to wait for each, it would
        // see a frame given between any two of them.
        const QTemporaryDir folder;
        const QString slow = folder.filePath(u"slow.mts"_s);
        QVERIFY(QFile::link(kClip, slow));
        const RKVideoDecoderFfmpeg decoder;
        const RKMediaDescriptor other{QFileInfo(kClip)};
        QCOMPARE(decoder.size(RKMediaDescriptor{QFileInfo(slow)}), RKTestClips::kSize);
        QCOMPARE(decoder.size(other), RKTestClips::kSize);
        constexpr int kRequests = 1000;
        std::atomic<int> frames = 0;
        std::atomic<bool> isOver = false;
        std::thread decoding([&] {
            for (int n = 0; !isOver; n = (n + 15) % kFrames, ++frames)
                decoder.decode({QFileInfo(slow), n}, QSize());
        });
        int good = 0;
        const int framesBefore = frames;
        for (int i = 0; i < kRequests; ++i) {
            const RKMediaDescriptor asked = i % 2 == 0 ? RKMediaDescriptor{QFileInfo(slow)} : other;
            good += decoder.size(asked) == RKTestClips::kSize && decoder.durationInMS(asked) > 0
                && !decoder.framesPerSecond(asked).isNull();
        }
        [[maybe_unused]] const int framesMeanwhile = frames - framesBefore;
        isOver = true;
        decoding.join();
        QCOMPARE(good, kRequests);
        // The thread sanitizer slows requests many times, and FFmpeg, which it doesn't know, not.
#ifndef __SANITIZE_THREAD__
        QVERIFY2(framesMeanwhile < kRequests / 4, qPrintable(QString::number(framesMeanwhile)));
#endif
    }

    void oneDecoderServesSeveralThreads()
    {
        const RKMediaDescriptor shared{QFileInfo(kClip)};
        const QTemporaryDir folder;
        // Decoded by the bridge that only goes forwards.
        QStringList links;
        for (int t = 0; t < kThreads; ++t) {
            links << folder.filePath(u"%1.mts"_s.arg(t));
            QVERIFY(QFile::link(kClip, links.last()));
        }
        const RKVideoDecoderFfmpeg decoder;
        const int good = countOnThreads(12, [&](int t, int i) {
            RKMediaDescriptor wanted = shared;
            wanted.setFrame((t * 7 + i * 13) % kFrames);
            const RKMediaDescriptor own(QFileInfo(links.at(t)), i);
            if (i == t)
                decoder.freeResource(shared);
            return RKTestClips::number(decoder.decode(wanted, QSize()))
                == wanted.frameIndex().frame()
                && RKTestClips::number(decoder.decode(own, QSize())) == i
                && decoder.metaData(own).unrotatedSize() == RKTestClips::kSize;
        });
        QCOMPARE(good, 12 * kThreads);
    }
};

QTEST_GUILESS_MAIN(RKVideoDecoderThreadsTest)

#include "RKVideoDecoderThreadsTest.moc"
