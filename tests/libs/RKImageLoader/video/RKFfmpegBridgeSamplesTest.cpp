#include "RKImageLoader/video/RKFfmpegBridge.h"
#include "RKImageLoader/video/RKFfmpegBridgeLame.h"
#include "RKImageLoader/video/RKVideoDecoderFfmpeg.h"
#include "support/RKTimeLimit.h"

#include <QDirIterator>
#include <QElapsedTimer>
#include <QLoggingCategory>
#include <QTest>

#include <memory>

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

    void framesComeSoon_data()
    {
        QTest::addColumn<QString>("path");
        for (const char* folder : {"video", "broken"}) {
            QDirIterator files(kSamples + u'/' + QLatin1String(folder), QDir::Files);
            while (files.hasNext()) {
                const QString path = files.next();
                QTest::newRow(qPrintable(path.mid(kSamples.size() + 1))) << path;
            }
        }
    }

    void framesComeSoon() const
    {
        QFETCH(QString, path);
        const QString name = QString::fromUtf8(QTest::currentDataTag());
        QElapsedTimer time;
        time.start();
        std::unique_ptr<RKFfmpegBridge> bridge;
        if (path.endsWith(QLatin1String(".mts")))
            bridge = std::make_unique<RKFfmpegBridgeLame>(path);
        else
            bridge = std::make_unique<RKFfmpegBridge>(path);
        for (const long long n : {125LL, 0LL, 1LL, 10LL, 11LL, 5LL, 2147483647LL, 3LL, -1LL}) {
            const QImage image = bridge->decodeFrame(n);
            QVERIFY(image.isNull() || image.size() == bridge->videoSize());
        }
        QVERIFY2(time.elapsed() < kSoon, qPrintable(QString::number(time.elapsed())));
        if (name.startsWith(QLatin1String("broken")))
            return;
        const bool hasPicture = name != QLatin1String("video/synth_audio_only.mp4");
        QCOMPARE(bridge->decodeFrame(0).isNull(), !hasPicture);
        const RKMediaDescriptor withoutFrame{QFileInfo(path)};
        QCOMPARE(RKVideoDecoderFfmpeg().decode(withoutFrame, QSize()).size(),
            hasPicture ? bridge->videoSize() : QSize(0, 0));
    }
};

QTEST_GUILESS_MAIN(RKFfmpegBridgeSamplesTest)

#include "RKFfmpegBridgeSamplesTest.moc"
