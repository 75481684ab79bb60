#include "RKImageLoader/faces/RKFacePositions.h"
#include "RKImageLoader/metadata/RKMetaData.h"
#include "support/RKTestPictures.h"

#include <QBuffer>
#include <QColorSpace>
#include <QDir>
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

    void convertKeepsMetadata_data()
    {
        QTest::addColumn<QStringList>("options");
        QTest::addColumn<QSize>("size");
        QTest::addColumn<int>("orientation");
        QTest::addColumn<bool>("isAdobeRgb");
        QTest::addColumn<QSize>("thumbnail");
        QTest::addColumn<QRectF>("face");
        const QString keep = QStringLiteral("--keep-metadata");
        const QRectF storedFace(0.125, 0.25, 0.25, 0.125);
        const QRectF uprightFace(0.625, 0.125, 0.125, 0.25);
        QTest::newRow("dropped") << QStringList() << QSize(200, 400) << 0 << false << QSize(0, 0)
                                 << QRectF();
        QTest::newRow("kept") << QStringList{keep} << QSize(200, 400) << 1 << false
                              << QSize(60, 120) << uprightFace;
        QTest::newRow("scaled") << QStringList{keep,
            QStringLiteral("--size"),
            QStringLiteral("200x200")}
                                << QSize(100, 200) << 1 << false << QSize(60, 120) << uprightFace;
        QTest::newRow("as stored") << QStringList{keep, QStringLiteral("--no-rotate")}
                                   << QSize(400, 200) << 6 << false << QSize(160, 80) << storedFace;
        QTest::newRow("own colours")
            << QStringList{keep, QStringLiteral("--no-color")} << QSize(200, 400) << 1 << true
            << QSize(60, 120) << uprightFace;
    }

    void convertKeepsMetadata()
    {
        QFETCH(const QStringList, options);
        QFETCH(const QSize, size);
        QFETCH(const int, orientation);
        QFETCH(const bool, isAdobeRgb);
        QFETCH(const QSize, thumbnail);
        QFETCH(const QRectF, face);
        write(path("photo.jpg"), photograph());
        const QString target = path("kept.jpg");
        QFile::remove(target);
        QCOMPARE(
            runTool(QStringList{QStringLiteral("convert"), path("photo.jpg"), target} + options)
                .exitCode,
            0);

        const QImage picture(target);
        QCOMPARE(picture.size(), size);
        const bool isUpright = size.height() > size.width();
        QCOMPARE(isBlue(picture.pixelColor(5, 5)), isUpright);
        const RKMetaData metaData{QFileInfo(target)};
        QCOMPARE(int(metaData.imageOrientation()), orientation);
        QCOMPARE(metaData.isAdobeRGB(), isAdobeRgb);
        QCOMPARE(metaData.thumbnail().size(), thumbnail);
        if (orientation == 0)
            return;
        QCOMPARE(isBlue(metaData.thumbnail().pixelColor(5, 5)), isUpright);
        const QHash<QString, QString> all = metaData.allData();
        QCOMPARE(all[QStringLiteral("Exif.Photo.PixelXDimension")], QString::number(size.width()));
        QCOMPARE(all[QStringLiteral("Exif.Photo.PixelYDimension")], QString::number(size.height()));
        QVERIFY(!all.contains(QStringLiteral("Exif.Image.StripOffsets")));
        QCOMPARE(metaData.regionImageSize(), size);
        QCOMPARE(metaData.facePositions().facePositions().value(0).rect(), face);
    }

    void convertLeavesTheColours()
    {
        QImage picture = quadrants({40, 20});
        picture.setColorSpace(QColorSpace(QColorSpace::AdobeRgb));
        write(path("wide.png"), encoded(picture, "png"));
        QCOMPARE(runTool({QStringLiteral("convert"),
                             path("wide.png"),
                             path("still wide.png"),
                             QStringLiteral("--no-color")})
                     .exitCode,
            0);
        const QImage same(path("still wide.png"));
        QCOMPARE(same.convertToFormat(picture.format()), picture);
        QVERIFY(!same.colorSpace().iccProfile().isEmpty());
    }

    void clipRendersAPart()
    {
        const QStringList arguments{QStringLiteral("clip"),
            path("bild ä.jpg"),
            path("clip.png"),
            QStringLiteral("--rect"),
            QStringLiteral("200,150,200,150"),
            QStringLiteral("--production"),
            QStringLiteral("1500x1125"),
            QStringLiteral("--dpi"),
            QStringLiteral("100")};
        QCOMPARE(runTool(arguments).exitCode, 0);
        QCOMPARE(QImage(path("clip.png")).size(), QSize(200, 150));
        QCOMPARE(runTool(arguments + QStringList{QStringLiteral("--allow-upscaling")}).exitCode, 0);
        const QImage enlarged(path("clip.png"));
        QCOMPARE(enlarged.size(), QSize(591, 443));
        QCOMPARE(enlarged.pixelColor(300, 200), QColor(Qt::white));
    }

    void thumbnailsNeverReplaceAFile()
    {
        QDir folder(m_folder.filePath(QStringLiteral("thumbs")));
        QVERIFY(folder.mkpath(QStringLiteral("other")));
        write(folder.filePath(QStringLiteral("BILD Ä.txt")), "old");
        write(folder.filePath(QStringLiteral("other/bild ä.png")),
            encoded(QImage(90, 30, QImage::Format_ARGB32), "png"));
        const Run run = runTool({QStringLiteral("thumb"),
            path("bild ä.jpg"),
            path("broken.png"),
            folder.filePath(QStringLiteral("other/bild ä.png")),
            path("bild ä.jpg"),
            path("v.svg"),
            QStringLiteral("--size"),
            QStringLiteral("60"),
            QStringLiteral("--jobs"),
            QStringLiteral("3"),
            QStringLiteral("--out"),
            folder.path()});
        QCOMPARE(run.exitCode, 1);
        QCOMPARE(run.output, QByteArray("4 thumbnails, 1 failed\n"));
        QCOMPARE(run.errors.size(), 1);
        QVERIFY(run.errors[0].contains(path("broken.png")));
        QCOMPARE(folder.entryList(QDir::Files, QDir::Name | QDir::IgnoreCase).join(u'|'),
            QStringLiteral("bild ä-2.jpg|bild ä-3.png|bild ä-4.jpg|BILD Ä.txt|v.jpg"));
        QCOMPARE(QImage(folder.filePath(QStringLiteral("bild ä-4.jpg"))).size(), QSize(60, 45));
        QCOMPARE(QImage(folder.filePath(QStringLiteral("bild ä-3.png"))).size(), QSize(60, 20));
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
        const QStringList clip{
            QStringLiteral("clip"), QStringLiteral("a.jpg"), QStringLiteral("b.png")};
        const auto print = [](const char* rect, const char* size, const char* dpi) {
            return QStringList{QStringLiteral("--rect"),
                QString::fromLatin1(rect),
                QStringLiteral("--production"),
                QString::fromLatin1(size),
                QStringLiteral("--dpi"),
                QString::fromLatin1(dpi)};
        };
        QTest::newRow("no rectangle") << clip;
        QTest::newRow("three numbers") << clip + print("1,2,3", "9x9", "300");
        QTest::newRow("empty rectangle") << clip + print("1,2,0,4", "9x9", "300");
        QTest::newRow("infinite print") << clip + print("1,2,3,4", "9xinf", "300");
        QTest::newRow("no resolution") << clip + print("1,2,3,4", "9x9", "0");
        QTest::newRow("no folder") << QStringList{QStringLiteral("thumb"),
            QStringLiteral("a.jpg"),
            QStringLiteral("--size"),
            QStringLiteral("60")};
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
    static bool isBlue(const QColor& color)
    {
        return color.blue() > 200 && color.red() < 60;
    }

    // Stored lying on its side, in Adobe RGB, with its size, a face, an old thumbnail and a tag
    // that a TIFF file has left there (Exif 2.32, 4.6).
    static QByteArray photograph()
    {
        const QByteArray tiff = QByteArray::fromHex("49492a0008000000"
                                                    "0300"
                                                    "110104000100000008000000"
                                                    "120103000100000006000000"
                                                    "698704000100000032000000"
                                                    "00000000"
                                                    "0300"
                                                    "02a0040001000000"
                                                    "90010000"
                                                    "03a0040001000000"
                                                    "c8000000"
                                                    "05a00400010000005c000000"
                                                    "00000000"
                                                    "0100"
                                                    "010002000400000052303300"
                                                    "00000000");
        const QByteArray segment = QByteArrayLiteral("Exif\0\0") + tiff;
        QByteArray jpeg = encoded(quadrants({400, 200}), "jpg", 95);
        const char length[] = {char(0xff), char(0xe1), 0, char(segment.size() + 2)};
        jpeg.insert(2, QByteArray(length, sizeof length) + segment);

        RKMetaData metaData(QFileInfo(), jpeg);
        QImage old(160, 80, QImage::Format_RGB32);
        old.fill(Qt::yellow);
        metaData.setThumbnail(old);
        metaData.updateFaces({400, 200},
            RKFacePositions({400, 200}, QRect(50, 50, 100, 25), faceDetectionEngineUnknown));
        QBuffer buffer(&jpeg);
        if (!metaData.save(&buffer))
            qFatal("can't save the metadata");
        return jpeg;
    }

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
