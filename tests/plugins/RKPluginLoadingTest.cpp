#include "RKImageLoader/loading/RKImageLoader.h"
#include "RKImageLoader/metadata/RKMetaData.h"
#include "RKPluginReading.h"

#include "RKCore/RKInitializer.h"

#include <QDir>
#include <QDirIterator>
#include <QLoggingCategory>

/// Pictures of the plug-ins, loaded through the library as a host would.
class RKPluginLoadingTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void picturesHaveTheirSizeAndAreTurnedOnce_data();
    void picturesHaveTheirSizeAndAreTurnedOnce();
    void brokenFilesGiveNothing_data();
    void brokenFilesGiveNothing();
};

namespace {

// Large pictures have nothing that small ones don't have, and take seconds.
constexpr qint64 kSmall = 200'000;

RKMediaDescriptor descriptor(const QString& path)
{
    return RKMediaDescriptor(QFileInfo(path));
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

void RKPluginLoadingTest::brokenFilesGiveNothing_data()
{
    QTest::addColumn<QString>("path");
    const QDir folder(QStringLiteral(RK_SAMPLES "/broken"));
    if (!folder.exists())
        QSKIP("The samples are missing.");
    const QStringList files = folder.entryList(QStringLiteral("*.hei? *.jp2 *.j2k").split(u' '));
    for (const QString& file : files) {
        // JPEG pictures by a wrong name, and one whose 25 bits break another reader.
        if (!file.contains(QLatin1String("jpeg_named"))
            && !file.contains(QLatin1String("pillow_crash_4fb0")))
            QTest::newRow(qPrintable(file)) << folder.filePath(file);
    }
}

void RKPluginLoadingTest::brokenFilesGiveNothing()
{
    QFETCH(QString, path);

    QElapsedTimer timer;
    timer.start();
    for (const QSize& wanted : {QSize(), QSize(80, 60)})
        QVERIFY(RKImageLoader::instance()->drawable(descriptor(path), wanted, {}).isNull());
    QVERIFY(timer.elapsed() < RKTimeLimit::milliseconds(RKPluginReading::kSoon));
}

QTEST_MAIN(RKPluginLoadingTest)
#include "RKPluginLoadingTest.moc"
