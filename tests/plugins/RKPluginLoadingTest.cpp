#include "RKImageLoader/loading/RKImageLoader.h"
#include "RKImageLoader/metadata/RKMetaData.h"
#include "RKPluginReading.h"

#include "RKCore/RKInitializer.h"

#include <QDirIterator>
#include <QJsonDocument>
#include <QJsonObject>
#include <QLoggingCategory>

/// Pictures of the plug-ins, loaded through the library as a host would.
class RKPluginLoadingTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void picturesHaveTheirSizeAndAreTurnedOnce_data();
    void picturesHaveTheirSizeAndAreTurnedOnce();
    void samplesHaveTheirColors_data();
    void samplesHaveTheirColors();
};

namespace {

// Large pictures have nothing that small ones don't have, and take seconds.
constexpr qint64 kSmall = 200'000;

RKMediaDescriptor descriptor(const QString& path)
{
    return RKMediaDescriptor(QFileInfo(path));
}

// The mean colour of a part of the picture.
QColor mean(const QImage& image)
{
    QImage opaque(image.size(), QImage::Format_RGB32);
    for (int y = 0; y < image.height(); ++y) {
        for (int x = 0; x < image.width(); ++x) {
            const QRgb pixel = image.pixel(x, y);
            const int white = 255 - qAlpha(pixel);
            const auto on = [&](int value) { return value * qAlpha(pixel) / 255 + white; };
            opaque.setPixel(x, y, qRgb(on(qRed(pixel)), on(qGreen(pixel)), on(qBlue(pixel))));
        }
    }
    return opaque.scaled(1, 1, Qt::IgnoreAspectRatio, Qt::SmoothTransformation).pixelColor(0, 0);
}

} // namespace

void RKPluginLoadingTest::initTestCase()
{
    QLoggingCategory::setFilterRules(QStringLiteral("*=false"));
    RKInitializer::instance()->setup(RKInitializerOption::Test);
}

void RKPluginLoadingTest::picturesHaveTheirSizeAndAreTurnedOnce_data()
{
    QTest::addColumn<QString>("path");
    const QString samples = QStringLiteral(RK_SAMPLES);
    const QStringList folders{QStringLiteral(RK_TEST_DATA "/heif"),
        samples + QLatin1String("/heic"),
        samples + QLatin1String("/jp2")};
    for (const QString& folder : folders) {
        QDirIterator files(folder, QDir::Files);
        while (files.hasNext()) {
            const QFileInfo file(files.next());
            const bool isFormat
                = RKImageLoader::instance()->hasSupportedMediaFormat(RKMediaDescriptor(file));
            // The library leaves pictures below 8 pixels out.
            if (isFormat && file.size() < kSmall
                && !file.baseName().startsWith(QLatin1String("indexed")))
                QTest::newRow(qPrintable(file.fileName())) << file.filePath();
        }
    }
}

void RKPluginLoadingTest::picturesHaveTheirSizeAndAreTurnedOnce()
{
    QFETCH(QString, path);

    const auto* const loader = RKImageLoader::instance();
    const QSize size = loader->size(descriptor(path));
    QCOMPARE(loader->drawable(descriptor(path), {}, RKImageOption()).size(), size);
    const QSize wanted(80, 60);
    QCOMPARE(loader->drawable(descriptor(path), wanted, RKImageOption()).size(),
        size.scaled(wanted, Qt::KeepAspectRatio));
    if (!path.contains(QLatin1String("/jp2/")))
        QCOMPARE(loader->imageOrientation(descriptor(path)), ORIENTATION_TOP_LEFT);
}

void RKPluginLoadingTest::samplesHaveTheirColors_data()
{
    picturesHaveTheirSizeAndAreTurnedOnce_data();
}

void RKPluginLoadingTest::samplesHaveTheirColors()
{
    QFETCH(QString, path);

    const QDir samples(QStringLiteral(RK_SAMPLES));
    const QString name = samples.relativeFilePath(path);
    static const QJsonObject all = samples.exists()
        ? QJsonDocument::fromJson(
            RKTestPictures::read(samples.filePath(QStringLiteral("expected.json"))))
              .object()
        : QJsonObject();
    const QJsonObject expected = all.value(name).toObject();
    // The other tool takes ink for light and loses columns; and one profile has no red and no blue.
    static const QStringList wrong{QStringLiteral("jp2/testcard_cmyk.jp2"),
        QStringLiteral("jp2/00r1_graya_la.jp2"),
        QStringLiteral("jp2/relax.jp2")};
    const QStringList colors
        = expected.value(QLatin1String("quad")).toString().split(u' ', Qt::SkipEmptyParts);
    if (colors.size() != 4 || expected.contains(QLatin1String("icc")) || wrong.contains(name))
        return;

    const QImage image
        = RKImageLoader::instance()->drawable(descriptor(path), {}, RKImageOption()).image();
    const QSize half = image.size() / 2;
    for (int i = 0; i < 4; ++i) {
        const QColor color = mean(image.copy(QRect(QPoint(i % 2 ? image.width() - half.width() : 0,
                                                       i / 2 ? image.height() - half.height() : 0),
            half)));
        const QColor other(QLatin1Char('#') + colors[i]);
        constexpr int kTolerance = 6; // rounding, and another scaling of colour differences
        QVERIFY2(std::abs(color.red() - other.red()) <= kTolerance
                && std::abs(color.green() - other.green()) <= kTolerance
                && std::abs(color.blue() - other.blue()) <= kTolerance,
            qPrintable(color.name() + u' ' + other.name()));
    }
}

QTEST_MAIN(RKPluginLoadingTest)
#include "RKPluginLoadingTest.moc"
