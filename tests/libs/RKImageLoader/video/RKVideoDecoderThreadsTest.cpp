#include "RKImageLoader/video/RKVideoDecoderFfmpeg.h"
#include "support/RKTestClips.h"
#include "support/RKTestThreads.h"

#include <QLoggingCategory>
#include <QSemaphore>
#include <QTemporaryDir>
#include <QTest>

#include <atomic>

using namespace Qt::StringLiterals;

namespace {

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

    void factsAndOtherFilesDoNotWaitForAFrame()
    {
        const QTemporaryDir folder;
        const QString slow = folder.filePath(u"slow.mts"_s);
        QVERIFY(QFile::link(kClip, slow));
        const RKVideoDecoderFfmpeg decoder;
        const RKMediaDescriptor busy(QFileInfo(slow), 15);
        const RKMediaDescriptor other{QFileInfo(kClip)};
        QCOMPARE(decoder.size(busy), RKTestClips::kSize);
        // The frame's first question whether it is still wanted is answered after the requests.
        QSemaphore isDecoding;
        QSemaphore isAnswered;
        std::atomic<bool> isFirst = true;
        std::atomic<bool> isInTime = true;
        RKLoadContext context(RKCancellation::create([&] {
            if (isFirst.exchange(false)) {
                isDecoding.release();
                isInTime = isAnswered.tryAcquire(1, 60000);
            }
            return false;
        }));
        QImage frame;
        std::thread decoding([&] { frame = decoder.decode(busy, QSize(), context); });
        QVERIFY(isDecoding.tryAcquire(1, 60000));
        for (const RKMediaDescriptor& asked : {busy, other}) {
            QCOMPARE(decoder.size(asked), RKTestClips::kSize);
            QVERIFY(decoder.durationInMS(asked) > 0);
            QVERIFY(!decoder.framesPerSecond(asked).isNull());
        }
        QCOMPARE(RKTestClips::number(decoder.decode({QFileInfo(kClip), 3}, QSize())), 3);
        isAnswered.release();
        decoding.join();
        QVERIFY(isInTime);
        QCOMPARE(RKTestClips::number(frame), 15);
    }

    void oneDecoderServesSeveralThreads()
    {
        constexpr int kThreads = 8;
        const RKMediaDescriptor shared{QFileInfo(kClip)};
        const QTemporaryDir folder;
        // Decoded by the bridge that only goes forwards.
        QStringList links;
        for (int t = 0; t < kThreads; ++t) {
            links << folder.filePath(u"%1.mts"_s.arg(t));
            QVERIFY(QFile::link(kClip, links.last()));
        }
        const RKVideoDecoderFfmpeg decoder;
        std::atomic<int> faults = 0;
        RKTestThreads::run(kThreads, [&](int t) {
            for (int i = 0; i < 12; ++i) {
                const int frame = (t * 7 + i * 13) % 30;
                const RKMediaDescriptor own(QFileInfo(links.at(t)), i);
                if (i == t)
                    decoder.freeResource(shared);
                faults
                    += RKTestClips::number(decoder.decode({shared.fileInfo(), frame}, {})) != frame;
                faults += RKTestClips::number(decoder.decode(own, {})) != i;
                faults += decoder.metaData(own).unrotatedSize() != RKTestClips::kSize;
            }
        });
        QCOMPARE(faults.load(), 0);
    }
};

QTEST_GUILESS_MAIN(RKVideoDecoderThreadsTest)

#include "RKVideoDecoderThreadsTest.moc"
