#include "RKImageLoader/media/RKImageLoaderConfig.h"

#include "RKImageLoader/media/RKMediaFormat.h"
#include "support/RKChildProcess.h"
#include "support/RKQuietTest.h"
#include "support/RKTestPictures.h"

#include <QTemporaryDir>

using namespace Qt::StringLiterals;

class RKImageLoaderConfigTest : public RKQuietTest
{
    Q_OBJECT

private Q_SLOTS:

    void valuesComeFromTheFirstElementOfEachName()
    {
        constexpr std::tuple<const char*, int, double> kCases[] = {
            {"<c/>", 90, 0},
            {"<c><jpg compression='-75'/></c>", -75, 0},
            {"<c><jpg compression='150'/></c>", 100, 0},
            {"<c><jpg compression='-500'/></c>", -99, 0},
            {"<c><jpg compression='abc'/></c>", 0, 0},
            {"<c><x/><jpg compression='1'/><jpg compression='2'/></c>", 1, 0},
            {"<c><scaling productionMaxScalePercent='25'/></c>", 90, 0.25},
            {"<c><scaling productionMaxScalePercent='12.5'/></c>", 90, 0},
        };
        for (const auto& [xml, quality, factor] : kCases) {
            RKImageLoaderConfig::setConfigFile(write(xml));
            const RKImageLoaderConfig config;
            QCOMPARE(config.jpgQualityExtended(), quality);
            QCOMPARE(config.jpgQuality(), std::abs(quality));
            QCOMPARE(config.scalingMinFactor(), factor);
        }
    }

    void theExampleHasAllValues()
    {
        RKImageLoaderConfig::setConfigFile(QFileInfo(QStringLiteral(RK_DOCS "/configuration.xml")));
        const RKImageLoaderConfig config;
        QCOMPARE(config.jpgQuality(), 85);
        QCOMPARE(config.scalingMinFactor(), 0.5);
    }

    void malformedXmlIsReportedWithItsPlace()
    {
        const QFileInfo file = write("<c>\n<jpg compression='5'></c>");
        QTest::ignoreMessage(QtWarningMsg,
            QRegularExpression(u"^-- error parsing %1, line 2, column \\d+: .+"_s.arg(
                QRegularExpression::escape(file.absoluteFilePath()))));
        RKImageLoaderConfig::setConfigFile(file);
        QCOMPARE(RKImageLoaderConfig().jpgQuality(), 90);
    }

    void aMissingFileLeavesTheDefaults()
    {
        const QFileInfo file(m_folder.filePath(u"missing %1.xml"_s));
        QTest::ignoreMessage(
            QtWarningMsg, qPrintable(u"-- file does not exist: "_s + file.absoluteFilePath()));
        RKImageLoaderConfig::setConfigFile(file);
        QCOMPARE(RKImageLoaderConfig().jpgQuality(), 90);
    }

    void defaultsNeedNoFile()
    {
        RKImageLoaderConfig::setConfigFile(QFileInfo());
        RKImageLoaderConfig::useDefaults();
        QCOMPARE(RKImageLoaderConfig().jpgQualityExtended(), 90);
        QCOMPARE(RKImageLoaderConfig().scalingMinFactor(), 0);
        RKImageLoaderConfig::setConfigFile(write("<c><jpg compression='5'/></c>"));
        QCOMPARE(RKImageLoaderConfig().jpgQuality(), 5);
    }

    void laterNamesLeaveTheProcessWideObjectAlone()
    {
        RKImageLoaderConfig::setConfigFile(write("<c><jpg compression='-77'/></c>"));
        QCOMPARE(RKMediaFormat(MEDIA_FORMAT_JPG).preferredEncoderQuality(), 77);
        RKImageLoaderConfig::setConfigFile(write("<c><jpg compression='5'/></c>"));
        QCOMPARE(RKMediaFormat(MEDIA_FORMAT_JPG).preferredEncoderQuality(), 77);
        // The object that the library made above, not another one of this program's own.
        QCOMPARE(RKImageLoaderConfig::instance()->jpgQuality(), 77);
    }

    void noNamedFileEndsTheProcess()
    {
        const auto child = RKChildProcess::run(u"no file"_s);
        QVERIFY(child.crashed);
        QVERIFY(child.messages.contains(QLatin1String("-- file does not exist: ")));
        QVERIFY(child.messages.contains(
            QLatin1String("Das Konfigurationfile muss vor dem ersten Aufruf der ImageLoaderConfig "
                          "auf eine existierende Datei gesetzt werden!")));
    }

private:
    QFileInfo write(const QByteArray& xml)
    {
        const QString path = m_folder.filePath(u"config%1.xml"_s.arg(++m_count));
        RKTestPictures::write(path, xml);
        return QFileInfo(path);
    }

    QTemporaryDir m_folder;
    int m_count = 0;
};

int main(int argc, char** argv)
{
    const QCoreApplication application(argc, argv);
    if (!RKChildProcess::role().isEmpty())
        return RKImageLoaderConfig().jpgQuality();
    RKImageLoaderConfigTest test;
    return QTest::qExec(&test, argc, argv);
}

#include "RKImageLoaderConfigTest.moc"
