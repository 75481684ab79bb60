#include "RKImageLoader/video/RKFfmpegBridge.h"
#include "RKImageLoader/video/RKVideoDecoderFfmpeg.h"
#include "support/RKTestClips.h"

#include <QLoggingCategory>
#include <QTemporaryDir>
#include <QTest>

#include <atomic>
#include <thread>
#include <vector>

namespace {

constexpr int kThreads = 8;
constexpr int kFrames = 30;

// Not made here: a program that has started others can't be watched for races.
const QString kClip = QStringLiteral(RK_TEST_DATA "/mp4/numbered.mp4");

} // namespace

class RKVideoDecoderThreadsTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:

    void initTestCase()
    {
        QLoggingCategory::setFilterRules(QStringLiteral("default.debug=false"));
    }

    void oneBridgeServesSeveralThreads()
    {
        constexpr int kRequests = 4;
        RKFfmpegBridge bridge(kClip);
        std::atomic<int> good = 0;
        std::vector<std::thread> threads;
        for (int t = 0; t < kThreads; ++t) {
            threads.emplace_back([&bridge, &good, t] {
                for (int i = 0; i < kRequests; ++i) {
                    const int n = (t + i * 9) % kFrames;
                    good += RKTestClips::number(bridge.decodeFrame(n)) == n;
                    good += bridge.videoSize() == RKTestClips::kSize;
                    good += bridge.cameraModel().isEmpty() && bridge.rotation() == 0;
                    // All computed values are thrown away while others read them.
                    good += bridge.reopenFile();
                }
            });
        }
        for (std::thread& thread : threads)
            thread.join();
        QCOMPARE(good.load(), 4 * kThreads * kRequests);
    }

    void oneDecoderServesSeveralThreads()
    {
        constexpr int kRequests = 12;
        const RKMediaDescriptor shared{QFileInfo(kClip)};
        const QTemporaryDir folder;
        const RKVideoDecoderFfmpeg decoder;
        std::atomic<int> good = 0;
        std::vector<std::thread> threads;
        for (int t = 0; t < kThreads; ++t) {
            // Decoded by the bridge that only goes forwards.
            const QString link = folder.filePath(QStringLiteral("%1.mts").arg(t));
            QVERIFY(QFile::link(kClip, link));
            threads.emplace_back([&decoder, &good, shared, link, t] {
                for (int i = 0; i < kRequests; ++i) {
                    RKMediaDescriptor wanted = shared;
                    wanted.setFrame((t * 7 + i * 13) % kFrames);
                    good += RKTestClips::number(decoder.decode(wanted, QSize()))
                        == wanted.frameIndex().frame();
                    const RKMediaDescriptor own(QFileInfo(link), i);
                    good += RKTestClips::number(decoder.decode(own, QSize())) == i;
                    good += decoder.metaData(own).unrotatedSize() == RKTestClips::kSize;
                    if (i == t)
                        decoder.freeResource(shared);
                }
            });
        }
        for (std::thread& thread : threads)
            thread.join();
        QCOMPARE(good.load(), 3 * kThreads * kRequests);
    }
};

QTEST_GUILESS_MAIN(RKVideoDecoderThreadsTest)

#include "RKVideoDecoderThreadsTest.moc"
