#include "RKImageLoader/video/RKFfmpegBridge.h"
#include "RKImageLoader/video/RKFfmpegBridgeLame.h"
#include "RKImageLoader/video/RKVideoDecoderFfmpeg.h"
#include "support/RKTestPictures.h"
#include "support/RKTimeLimit.h"

#include <QDirIterator>
#include <QElapsedTimer>
#include <QJsonDocument>
#include <QJsonObject>
#include <QLoggingCategory>
#include <QTest>

#include <algorithm>
#include <memory>

namespace {

constexpr qint64 kSoon = RKTimeLimit::milliseconds(8000); // for all requests of a file
constexpr int kTolerance = 8; // of mean colours; the other tool scales its frames

const QString kSamples = QStringLiteral(RK_SAMPLES);

/// Of the two halves of two halves, as the list of expectations has them.
int difference(const QImage& frame, const QStringList& colors)
{
    const QImage image = frame.convertToFormat(QImage::Format_RGB32);
    int largest = 0;
    for (int i = 0; i < colors.size(); ++i) {
        const QRect part((i % 2) * image.width() / 2,
            (i / 2) * image.height() / 2,
            image.width() / 2,
            image.height() / 2);
        // Qt's smooth scaling to one pixel is the mean.
        const QColor mean = image.copy(part)
                                .scaled(1, 1, Qt::IgnoreAspectRatio, Qt::SmoothTransformation)
                                .pixelColor(0, 0);
        const QColor expected(u'#' + colors[i]);
        largest = std::max({largest,
            std::abs(mean.red() - expected.red()),
            std::abs(mean.green() - expected.green()),
            std::abs(mean.blue() - expected.blue())});
    }
    return largest;
}

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

    void framesComeSoonAndInTheirColors_data()
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

    void framesComeSoonAndInTheirColors() const
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
        const QImage first = bridge->decodeFrame(0);
        QVERIFY2(time.elapsed() < kSoon, qPrintable(QString::number(time.elapsed())));
        if (name.startsWith(QLatin1String("broken")))
            return;
        const bool hasPicture = name != QLatin1String("video/synth_audio_only.mp4");
        QCOMPARE(first.isNull(), !hasPicture);
        const RKMediaDescriptor withoutFrame{QFileInfo(path)};
        QCOMPARE(RKVideoDecoderFfmpeg().decode(withoutFrame, QSize()).size(),
            hasPicture ? bridge->videoSize() : QSize(0, 0));
        // Mirrored, which is not undone.
        if (name == QLatin1String("video/sample_rotate_and_reflect.mp4"))
            return;
        static const QJsonObject expected = QJsonDocument::fromJson(
            RKTestPictures::read(kSamples + QStringLiteral("/expected.json")))
                                                .object();
        const int off
            = difference(first, expected[name][QLatin1String("quad")].toString().split(u' '));
        QVERIFY2(off <= kTolerance, qPrintable(QString::number(off)));
    }
};

QTEST_GUILESS_MAIN(RKFfmpegBridgeSamplesTest)

#include "RKFfmpegBridgeSamplesTest.moc"
