#include "RKImageLoader/video/RKFfmpegBridge.h"
#include "RKImageLoader/video/RKFfmpegBridgeLame.h"
#include "support/RKTimeLimit.h"

#include <QDirIterator>
#include <QElapsedTimer>
#include <QLoggingCategory>
#include <QTest>

namespace {

constexpr qint64 kSoon = RKTimeLimit::milliseconds(8000); // for all requests of a file

const QString kSamples = QStringLiteral(RK_SAMPLES);

} // namespace

class RKFfmpegBridgeSamplesTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:

    void initTestCase()
    {
        if (!QFileInfo::exists(kSamples))
            QSKIP("the sample files are missing");
        QLoggingCategory::setFilterRules(QStringLiteral("default.debug=false"));
    }

    void framesComeSoon() const
    {
        for (const char* folder : {"/video", "/broken"}) {
            QDirIterator files(kSamples + QLatin1String(folder), QDir::Files);
            while (files.hasNext()) {
                const QString path = files.next();
                QElapsedTimer time;
                time.start();
                if (path.endsWith(QLatin1String(".mts")))
                    checkFrames(RKFfmpegBridgeLame(path));
                else
                    checkFrames(RKFfmpegBridge(path));
                QVERIFY2(time.elapsed() < kSoon, qPrintable(path));
            }
        }
    }

private:
    static void checkFrames(RKFfmpegBridge&& bridge)
    {
        for (const long long n : {125LL, 0LL, 1LL, 10LL, 11LL, 5LL, 2147483647LL, 3LL, -1LL}) {
            const QImage image = bridge.decodeFrame(n);
            QVERIFY(image.isNull() || image.size() == bridge.videoSize());
        }
    }
};

QTEST_GUILESS_MAIN(RKFfmpegBridgeSamplesTest)

#include "RKFfmpegBridgeSamplesTest.moc"
