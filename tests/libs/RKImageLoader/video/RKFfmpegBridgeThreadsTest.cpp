#include "RKImageLoader/video/RKFfmpegBridge.h"
#include "support/RKTestClips.h"

#include <QLoggingCategory>
#include <QTest>

#include <atomic>
#include <thread>
#include <vector>

namespace {

constexpr int kFrames = 30;

} // namespace

class RKFfmpegBridgeThreadsTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:

    void oneBridgeServesSeveralThreads()
    {
        QLoggingCategory::setFilterRules(QStringLiteral("default.debug=false"));
        // Made before: a program that has started others can't be watched for races.
        RKFfmpegBridge bridge(QStringLiteral(RK_TEST_DATA "/mp4/numbered.mp4"));
        std::atomic<int> good{0};
        std::vector<std::thread> threads;
        for (int i = 0; i < 8; ++i) {
            threads.emplace_back([&bridge, &good, i] {
                for (int n = i; n < kFrames; n += 9) {
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
        int requests = 0;
        for (int i = 0; i < 8; ++i)
            requests += (kFrames - i + 8) / 9;
        QCOMPARE(good.load(), 4 * requests);
    }
};

QTEST_GUILESS_MAIN(RKFfmpegBridgeThreadsTest)

#include "RKFfmpegBridgeThreadsTest.moc"
