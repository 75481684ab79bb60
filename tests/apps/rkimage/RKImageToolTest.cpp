#include "support/RKTestClips.h"
#include "support/RKTestPictures.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QTemporaryDir>
#include <QTest>

using namespace RKTestPictures;

namespace {

struct Run
{
    int exitCode = -1;
    QByteArray output;
    QStringList errors;
};

Run runTool(const QStringList& arguments)
{
    QProcess tool;
    tool.start(QStringLiteral(RK_TOOL), arguments);
    if (!tool.waitForFinished(60000) || tool.exitStatus() != QProcess::NormalExit)
        return {};
    // The libraries behind Qt write lines of their own.
    const QStringList lines = QString::fromUtf8(tool.readAllStandardError()).split(u'\n');
    return {tool.exitCode(),
        tool.readAllStandardOutput(),
        lines.filter(QRegularExpression(QStringLiteral("^rkimage: ")))};
}

} // namespace

class RKImageToolTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:

    void initTestCase()
    {
        write(path("bild ä.jpg"), encoded(quadrants({400, 300}), "jpg"));
        write(path("v.svg"),
            "<svg xmlns='http://www.w3.org/2000/svg' width='40' height='20'>"
            "<rect width='40' height='20' fill='red'/></svg>");
        write(path("broken.png"), "no picture");
    }

    void formatsAreListed()
    {
        const Run run = runTool({QStringLiteral("formats"), QStringLiteral("--json")});
        QCOMPARE(run.exitCode, 0);
        const QJsonObject all = QJsonDocument::fromJson(run.output).object();
        const auto entry = [&all](const char* list, const char* format) {
            for (const QJsonValue& value : all[QString::fromLatin1(list)].toArray()) {
                if (value[u"format"].toString() == QLatin1String(format))
                    return value.toObject();
            }
            return QJsonObject();
        };
        QCOMPARE(
            entry("readable", "svg")[u"decoders"].toArray(), QJsonArray{QStringLiteral("SVG")});
        QCOMPARE(entry("readable", "jpg")[u"extensions"].toArray(),
            QJsonArray({QStringLiteral("jpg"), QStringLiteral("jpeg")}));
        QVERIFY(!entry("writable", "jpg").isEmpty());
        QVERIFY(entry("writable", "gif").isEmpty());

        const Run text = runTool({QStringLiteral("formats")});
        QVERIFY(text.output.contains("rw jpg"));
        QVERIFY(text.output.contains("r  svg"));
    }

    void infoTellsOfEveryFile()
    {
        const Run run = runTool({QStringLiteral("info"),
            QStringLiteral("--json"),
            path("bild ä.jpg"),
            path("missing.jpg"),
            path("v.svg"),
            path("broken.png")});
        QCOMPARE(run.exitCode, 1);
        const QJsonArray entries = QJsonDocument::fromJson(run.output).array();
        QCOMPARE(entries.size(), 4);
        QCOMPARE(entries[0][u"file"].toString(), path("bild ä.jpg"));
        QCOMPARE(entries[0][u"format"].toString(), QStringLiteral("jpg"));
        QCOMPARE(entries[0][u"kind"].toString(), QStringLiteral("bitmap"));
        QCOMPARE(entries[0][u"size"].toArray(), QJsonArray({400, 300}));
        QCOMPARE(entries[2][u"kind"].toString(), QStringLiteral("vector"));
        QVERIFY(!entries[0].toObject().contains(u"error"));
        QCOMPARE(run.errors.size(), 2);
        QVERIFY(run.errors[0].contains(path("missing.jpg")));
        QVERIFY(run.errors[1].contains(path("broken.png")));
        QVERIFY(
            entries[1].toObject().contains(u"error") && entries[3].toObject().contains(u"error"));
    }

    void convertScalesAndChangesTheFormat()
    {
        const QString target = path("klein ö.png");
        QCOMPARE(runTool({QStringLiteral("convert"),
                             path("bild ä.jpg"),
                             target,
                             QStringLiteral("--size"),
                             QStringLiteral("100x100")})
                     .exitCode,
            0);
        QCOMPARE(QImage(target).size(), QSize(100, 75));

        QCOMPARE(runTool({QStringLiteral("convert"),
                             path("v.svg"),
                             path("v.bmp"),
                             QStringLiteral("--size"),
                             QStringLiteral("400x400")})
                     .exitCode,
            0);
        const QImage rendered(path("v.bmp"));
        QCOMPARE(rendered.size(), QSize(400, 200));
        QCOMPARE(rendered.pixelColor(399, 199), QColor(Qt::red));
    }

    void failuresLeaveTheTargetAlone()
    {
        const QString target = path("old.png");
        write(target, "old bytes");
        const Run broken = runTool({QStringLiteral("convert"), path("broken.png"), target});
        QCOMPARE(broken.exitCode, 1);
        QCOMPARE(broken.errors.size(), 1);
        QVERIFY(broken.errors[0].contains(path("broken.png")));
        QCOMPARE(read(target), QByteArray("old bytes"));

        const Run unwritable
            = runTool({QStringLiteral("convert"), path("bild ä.jpg"), path("a.gif")});
        QCOMPARE(unwritable.exitCode, 1);
        QVERIFY(unwritable.errors[0].contains(path("a.gif")));
        QVERIFY(!QFile::exists(path("a.gif")));
    }

    void setChangesMetadataAndNoPixels()
    {
        const QString file = path("set.jpg");
        QVERIFY(QFile::copy(path("bild ä.jpg"), file));
        const QImage before(file);
        const auto bytes = read(file);
        const QStringList changes{QStringLiteral("set"),
            file,
            QStringLiteral("--rating"),
            QStringLiteral("4"),
            QStringLiteral("--orientation"),
            QStringLiteral("1"),
            QStringLiteral("--rotate"),
            QStringLiteral("cw"),
            QStringLiteral("--taken"),
            QStringLiteral("2021-07-04T12:30:00"),
            QStringLiteral("--gps"),
            QStringLiteral("48.5,-2.25"),
            QStringLiteral("--title"),
            QStringLiteral("Grüße"),
            QStringLiteral("--thumbnail"),
            QStringLiteral("auto")};
        QCOMPARE(runTool(changes + QStringList{QStringLiteral("--dry-run")}).exitCode, 0);
        QCOMPARE(read(file), bytes);
        QCOMPARE(runTool(changes).exitCode, 0);
        QCOMPARE(QImage(file), before);

        const QJsonValue entry = informationOn(file);
        QCOMPARE(entry[u"adobeRating"].toInt(), 4);
        QCOMPARE(entry[u"orientation"].toInt(), 6);
        QCOMPARE(entry[u"size"].toArray(), QJsonArray({300, 400}));
        QCOMPARE(entry[u"pictureTaken"].toString(), QStringLiteral("2021-07-04T12:30:00"));
        QCOMPARE(entry[u"recordingDate"], entry[u"pictureTaken"]);
        QCOMPARE(entry[u"geoPosition"][u"latitude"].toDouble(), 48.5);
        QCOMPARE(entry[u"geoPosition"][u"longitude"].toDouble(), -2.25);
        QCOMPARE(entry[u"fields"][u"originalFilename"].toString(), QStringLiteral("Grüße"));
        QCOMPARE(entry[u"thumbnail"].toArray(), QJsonArray({160, 120}));

        const Run missing = runTool({QStringLiteral("set"),
            path("missing.jpg"),
            file,
            QStringLiteral("--rating"),
            QStringLiteral("1")});
        QCOMPARE(missing.exitCode, 1);
        QCOMPARE(missing.errors.size(), 1);
        QCOMPARE(informationOn(file)[u"adobeRating"].toInt(), 1);
    }

    void facesAreMergedListedDrawnAndRemoved()
    {
        const QString file = path("faces.jpg");
        QVERIFY(QFile::copy(path("bild ä.jpg"), file));
        write(path("faces.json"),
            R"([{"rect": [0.25, 0.5, 0.1, 0.2], "name": "Zoë", "clusterId": 7}])");
        QCOMPARE(runTool({QStringLiteral("faces"), QStringLiteral("set"), file, path("faces.json")})
                     .exitCode,
            0);
        const Run list = runTool({QStringLiteral("faces"), QStringLiteral("list"), file});
        const QJsonArray faces = QJsonDocument::fromJson(list.output).array();
        QCOMPARE(faces.size(), 1);
        QCOMPARE(faces[0][u"name"].toString(), QStringLiteral("Zoë"));
        QCOMPARE(faces[0][u"clusterId"].toInt(), 7);
        QCOMPARE(faces[0][u"rect"][0].toDouble(), 0.25);

        QCOMPARE(runTool({QStringLiteral("faces"), QStringLiteral("draw"), file, path("drawn.png")})
                     .exitCode,
            0);
        QCOMPARE(QImage(path("drawn.png")).size(), QSize(400, 300));
        QCOMPARE(runTool({QStringLiteral("faces"), QStringLiteral("remove"), file}).exitCode, 0);
        QCOMPARE(informationOn(file)[u"faces"].toArray().size(), 0);

        write(path("bad.json"), R"([{"rect": [0.25, 0.5, 0.1]}])");
        QCOMPARE(runTool({QStringLiteral("faces"), QStringLiteral("set"), file, path("bad.json")})
                     .exitCode,
            1);
    }

    void videosAreDescribedAndTakenApart()
    {
        if (!RKTestClips::canEncode())
            QSKIP("the ffmpeg tool is missing");
        const QString clip = RKTestClips::make({.name = "clip.mp4", .frames = 50}, m_folder.path());
        const QJsonValue entry = informationOn(clip);
        QCOMPARE(entry[u"kind"].toString(), QStringLiteral("video"));
        QCOMPARE(entry[u"size"].toArray(), QJsonArray({176, 144}));
        QCOMPARE(entry[u"framesPerSecond"].toDouble(), 25.0);
        QCOMPARE(entry[u"durationMs"].toInt(), 2000);
        QCOMPARE(entry[u"defaultFrame"].toInt(), 25);
        QCOMPARE(entry[u"codec"].toString(), QStringLiteral("h264"));
        QCOMPARE(entry[u"rotation"].toInt(-1), 0);

        const auto run = [this](const QString& arguments) {
            return runTool(RKTestClips::words(
                QString(arguments).replace(QStringLiteral("DIR"), m_folder.path())));
        };
        const auto frameIn
            = [this](const char* name) { return RKTestClips::number(QImage(path(name))); };
        QCOMPARE(run(QStringLiteral("frame DIR/clip.mp4 DIR/d.png --size 88x88")).exitCode, 0);
        QCOMPARE(QImage(path("d.png")).size(), QSize(88, 72));
        QCOMPARE(frameIn("d.png"), 25);
        QCOMPARE(run(QStringLiteral("frame DIR/clip.mp4 DIR/n.jpg --frame 7")).exitCode, 0);
        QCOMPARE(frameIn("n.jpg"), 7);
        QCOMPARE(run(QStringLiteral("frame DIR/clip.mp4 DIR/t.png --ms 400")).exitCode, 0);
        QCOMPARE(frameIn("t.png"), 10);
        const Run beyond = run(QStringLiteral("frame DIR/clip.mp4 DIR/b.png --frame 50"));
        QCOMPARE(beyond.exitCode, 1);
        QVERIFY(beyond.errors.value(0).contains(QStringLiteral("frame 50")));
        QCOMPARE(run(QStringLiteral("frame DIR/v.svg DIR/b.png")).exitCode, 1);
        QVERIFY(!QFile::exists(path("b.png")));

        // The last one would begin where the video ends.
        QCOMPARE(run(QStringLiteral("frames DIR/clip.mp4 --every 495 --out DIR/e")).exitCode, 0);
        QCOMPARE(QDir(path("e")).entryList(QDir::Files),
            QStringList({QStringLiteral("clip-0.jpg"),
                QStringLiteral("clip-12.jpg"),
                QStringLiteral("clip-25.jpg"),
                QStringLiteral("clip-37.jpg"),
                QStringLiteral("clip-49.jpg")}));
        QCOMPARE(frameIn("e/clip-37.jpg"), 37);
        QCOMPARE(
            run(QStringLiteral("frames DIR/clip.mp4 --count 5 --sheet DIR/s.png")).exitCode, 0);
        const QImage sheet(path("s.png"));
        QVERIFY(sheet.width() > 3 * 176 && sheet.height() > 2 * 144);
        QCOMPARE(
            run(QStringLiteral("frames DIR/clip.mp4 --count 1 --sheet DIR/s.mp4")).exitCode, 1);
    }

    void wrongUsageIsToldApart_data()
    {
        QTest::addColumn<QStringList>("arguments");
        QTest::newRow("nothing") << QStringList();
        QTest::newRow("unknown command") << QStringList{QStringLiteral("paint")};
        QTest::newRow("no files") << QStringList{QStringLiteral("info")};
        QTest::newRow("size") << QStringList{QStringLiteral("convert"),
            QStringLiteral("a.jpg"),
            QStringLiteral("b.png"),
            QStringLiteral("--size"),
            QStringLiteral("0x9")};
        QTest::newRow("frame and time")
            << RKTestClips::words(QStringLiteral("frame a.mp4 b.png --frame 1 --ms 1"));
        QTest::newRow("no frames") << RKTestClips::words(QStringLiteral("frames a.mp4 --out b"));
        QTest::newRow("no target") << RKTestClips::words(QStringLiteral("frames a.mp4 --count 1"));
    }

    void wrongUsageIsToldApart()
    {
        QFETCH(QStringList, arguments);
        QCOMPARE(runTool(arguments).exitCode, 2);
    }

    void helpIsNoFailure()
    {
        QCOMPARE(runTool({QStringLiteral("--help")}).exitCode, 0);
    }

private:
    static QJsonValue informationOn(const QString& file)
    {
        const Run run = runTool({QStringLiteral("info"), QStringLiteral("--json"), file});
        return QJsonDocument::fromJson(run.output).array().at(0);
    }

    QString path(const char* name) const
    {
        return m_folder.filePath(QString::fromUtf8(name));
    }

    QTemporaryDir m_folder;
};

QTEST_GUILESS_MAIN(RKImageToolTest)

#include "RKImageToolTest.moc"
