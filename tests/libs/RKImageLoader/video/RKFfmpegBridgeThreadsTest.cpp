#include "RKImageLoader/video/RKFfmpegBridge.h"
#include "support/RKTestClips.h"

#include <QLoggingCategory>
#include <QTemporaryDir>
#include <QTest>

#include <atomic>
#include <thread>
#include <vector>

class RKFfmpegBridgeThreadsTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:

    void oneBridgeServesSeveralThreads()
    {
        if (!RKTestClips::canEncode())
            QSKIP("the ffmpeg tool is missing");
        QLoggingCategory::setFilterRules(QStringLiteral("default.debug=false"));
        const QTemporaryDir folder;
        RKFfmpegBridge bridge(RKTestClips::make({.name = "a.mp4", .frames = 50}, folder.path()));
        std::atomic<int> good{0};
        std::vector<std::thread> threads;
        for (int i = 0; i < 8; ++i) {
            threads.emplace_back([&bridge, &good, i] {
                for (int n = i; n < 50; n += 9) {
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
            requests += (50 - i + 8) / 9;
        QCOMPARE(good.load(), 4 * requests);
    }
};

QTEST_GUILESS_MAIN(RKFfmpegBridgeThreadsTest)

#include "RKFfmpegBridgeThreadsTest.moc"
