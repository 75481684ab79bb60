#include "RKImageLoader/loading/RKImageLoader.h"
#include "RKImageLoader/metadata/RKMetaData.h"

#include "RKCore/RKInitializer.h"

#include <QDirIterator>
#include <QLoggingCategory>
#include <QTemporaryDir>
#include <QTest>

using namespace Qt::StringLiterals;

/// Pictures of the plug-ins, loaded through the library as a host would.
class RKPluginLoadingTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:

    void initTestCase()
    {
        QLoggingCategory::setFilterRules(u"*=false"_s);
        RKInitializer::instance()->setup(RKInitializerOption::Test);
    }

    void picturesHaveTheirSizeAndAreTurnedOnce_data()
    {
        QTest::addColumn<QString>("path");
        for (const char* folder : {RK_TEST_DATA "/heif", RK_SAMPLES "/heic", RK_SAMPLES "/jp2"}) {
            QDirIterator files(QString::fromLatin1(folder), QDir::Files);
            while (files.hasNext()) {
                const QFileInfo file(files.next());
                // Large pictures have nothing that small ones don't have, and take seconds. The
                // library leaves pictures below 8 pixels out.
                constexpr qint64 kSmall = 200'000;
                if (RKImageLoader::instance()->hasSupportedMediaFormat(RKMediaDescriptor(file))
                    && file.size() < kSmall
                    && !file.baseName().startsWith(QLatin1String("indexed")))
                    QTest::newRow(qPrintable(file.fileName())) << file.filePath();
            }
        }
    }

    void picturesHaveTheirSizeAndAreTurnedOnce()
    {
        QFETCH(QString, path);

        const auto* const loader = RKImageLoader::instance();
        const RKMediaDescriptor descriptor{QFileInfo(path)};
        const QSize size = loader->size(descriptor);
        QCOMPARE(loader->bitmap(descriptor, {}).size(), size);
        const QSize wanted(80, 60);
        QCOMPARE(
            loader->bitmap(descriptor, wanted).size(), size.scaled(wanted, Qt::KeepAspectRatio));
        if (!path.contains(QLatin1String("/jp2/")))
            QCOMPARE(loader->imageOrientation(descriptor), ORIENTATION_TOP_LEFT);
    }

    void codingsWithoutDecoderAreNoDamage()
    {
        QFile file(QStringLiteral(RK_TEST_DATA "/heif/quadrants.heic"));
        QVERIFY(file.open(QIODevice::ReadOnly));
        const QTemporaryDir folder;
        QFile other(folder.filePath(u"a.heic"_s));
        QVERIFY(other.open(QIODevice::WriteOnly));
        other.write(file.readAll().replace("hvc1", "av01"));
        other.close();
        RKMediaError error;
        const RKMediaDescriptor descriptor{QFileInfo(other)};
        QVERIFY(
            RKImageLoader::instance()->drawable(descriptor, {}, RKImageOption(), &error).isNull());
        QCOMPARE(error.code(), RKMediaErrorCode::NoDecoder);
        QCOMPARE(error.text(), u"There is no decoder for HEIC that is coded as av01."_s);
    }
};

QTEST_MAIN(RKPluginLoadingTest)
#include "RKPluginLoadingTest.moc"
