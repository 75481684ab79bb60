#include "RKImageLoader/media/RKImageLoaderConfig.h"

#include "RKImageLoader/media/RKMediaFormat.h"
#include "support/RKChildProcess.h"

#include <QTemporaryDir>
#include <QTest>

class RKImageLoaderConfigTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:

    void init()
    {
        QTest::failOnWarning(QRegularExpression(QStringLiteral(".*")));
    }

    void valuesComeFromTheFirstElementOfEachName_data()
    {
        QTest::addColumn<QString>("xml");
        QTest::addColumn<int>("extended");
        QTest::addColumn<int>("quality");
        QTest::addColumn<double>("factor");
        const auto row = [](const char* name, const char* xml, int extended, double factor) {
            QTest::newRow(name) << QString::fromLatin1(xml) << extended << std::abs(extended)
                                << factor;
        };
        row("defaults", "<c/>", 90, 0.0);
        row("empty elements", "<c><jpg/><scaling/></c>", 90, 0.0);
        row("negative", "<c><jpg compression='-75'/></c>", -75, 0.0);
        row("too large", "<c><jpg compression='150'/></c>", 100, 0.0);
        row("too small", "<c><jpg compression='-500'/></c>", -99, 0.0);
        row("text", "<c><jpg compression='abc'/></c>", 0, 0.0);
        row("beyond 32 bits", "<c><jpg compression='99999999999'/></c>", 0, 0.0);
        row("first only", "<c><x/><jpg compression='1'/><jpg compression='2'/></c>", 1, 0.0);
        row("percent", "<c><scaling productionMaxScalePercent='25'/></c>", 90, 0.25);
        row("no integer", "<c><scaling productionMaxScalePercent='12.5'/></c>", 90, 0.0);
        row("nested too deep", "<c><d><jpg compression='1'/></d></c>", 90, 0.0);
    }

    void valuesComeFromTheFirstElementOfEachName()
    {
        QFETCH(QString, xml);
        RKImageLoaderConfig::setConfigFile(write(xml.toUtf8()));
        const RKImageLoaderConfig config;
        QTEST(config.jpgQualityExtended(), "extended");
        QTEST(config.jpgQuality(), "quality");
        QTEST(config.scalingMinFactor(), "factor");
        QVERIFY(config.scalingOption() == SCALING_SMOOTH);
    }

    void malformedXmlIsReportedWithItsPlace()
    {
        const QFileInfo file = write("<c>\n<jpg compression='5'></c>");
        QTest::ignoreMessage(QtWarningMsg,
            QRegularExpression(QStringLiteral("^-- error parsing %1, line 2, column \\d+: .+")
                                   .arg(QRegularExpression::escape(file.absoluteFilePath()))));
        RKImageLoaderConfig::setConfigFile(file);
        QCOMPARE(RKImageLoaderConfig().jpgQuality(), 90);
    }

    void aMissingFileLeavesTheDefaults()
    {
        const QFileInfo file(m_folder.filePath(QStringLiteral("missing %1.xml")));
        QTest::ignoreMessage(QtWarningMsg,
            qPrintable(QStringLiteral("-- file does not exist: ") + file.absoluteFilePath()));
        RKImageLoaderConfig::setConfigFile(file);
        QCOMPARE(RKImageLoaderConfig().jpgQuality(), 90);
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
        const auto child = RKChildProcess::run(QStringLiteral("no file"));
        QVERIFY(child.crashed);
        QVERIFY(child.messages.contains(QLatin1String("-- file does not exist: ")));
        QVERIFY(child.messages.contains(
            QLatin1String("Das Konfigurationfile muss vor dem ersten Aufruf der ImageLoaderConfig "
                          "auf eine existierende Datei gesetzt werden!")));
    }

private:
    QFileInfo write(const QByteArray& xml)
    {
        QFile file(m_folder.filePath(QStringLiteral("config%1.xml").arg(++m_count)));
        if (!file.open(QIODevice::WriteOnly) || file.write(xml) != xml.size())
            qFatal("can't write the configuration");
        return QFileInfo(file);
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
