#include "RKImageLoader/faces/RKFacePositions.h"
#include "RKImageLoader/metadata/RKMetaData.h"
#include "support/RKTestClips.h"
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
using namespace Qt::StringLiterals;

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
        lines.filter(QRegularExpression(u"^rkimage: "_s))};
}

QStringList words(const char* text)
{
    return QString::fromUtf8(text).split(u' ', Qt::SkipEmptyParts);
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

    void infoTellsOfEveryFile()
    {
        const Run run = runTool(words("info --json")
            + QStringList{
                path("bild ä.jpg"), path("missing.jpg"), path("v.svg"), path("broken.png")});
        QCOMPARE(run.exitCode, 1);
        const QJsonArray entries = QJsonDocument::fromJson(run.output).array();
        QCOMPARE(entries.size(), 4);
        QCOMPARE(entries[0][u"file"].toString(), path("bild ä.jpg"));
        QCOMPARE(entries[0][u"kind"].toString(), u"bitmap"_s);
        QCOMPARE(entries[0][u"size"].toArray(), QJsonArray({400, 300}));
        QCOMPARE(entries[2][u"kind"].toString(), u"vector"_s);
        QCOMPARE(run.errors.size(), 2);
        QVERIFY(run.errors[0].contains(path("missing.jpg")));
        QVERIFY(run.errors[1].contains(path("broken.png")));
        QVERIFY(
            entries[1].toObject().contains(u"error") && entries[3].toObject().contains(u"error"));
    }

    void convertKeepsMetadata()
    {
        const QRectF storedFace(0.125, 0.25, 0.25, 0.125);
        const QRectF uprightFace(0.625, 0.125, 0.125, 0.25);

        struct
        {
            const char* options;
            QSize size;
            int orientation;
            bool isAdobeRgb;
            QSize thumbnail;
            QRectF face;
        } const cases[]{{"", {200, 400}, 0, false, {0, 0}, {}},
            {"--keep-metadata", {200, 400}, 1, false, {60, 120}, uprightFace},
            {"--keep-metadata --size 200x200", {100, 200}, 1, false, {60, 120}, uprightFace},
            {"--keep-metadata --no-rotate", {400, 200}, 6, false, {160, 80}, storedFace},
            {"--keep-metadata --no-color", {200, 400}, 1, true, {60, 120}, uprightFace}};

        write(path("photo.jpg"), photograph());
        for (const auto& item : cases) {
            const QString target = path("kept.jpg");
            QCOMPARE(runTool(words("convert") + QStringList{path("photo.jpg"), target}
                         + words(item.options))
                         .exitCode,
                0);
            const QImage picture(target);
            QCOMPARE(picture.size(), item.size);
            const bool isUpright = item.orientation != 6;
            QCOMPARE(isBlue(picture.pixelColor(5, 5)), isUpright);
            const RKMetaData metaData{QFileInfo(target)};
            QCOMPARE(int(metaData.imageOrientation()), item.orientation);
            QCOMPARE(metaData.isAdobeRGB(), item.isAdobeRgb);
            QCOMPARE(metaData.thumbnail().size(), item.thumbnail);
            QCOMPARE(metaData.facePositions().facePositions().value(0).rect(), item.face);
            if (item.orientation == 0)
                continue;
            QCOMPARE(isBlue(metaData.thumbnail().pixelColor(5, 5)), isUpright);
            QCOMPARE(metaData.regionImageSize(), item.size);
            const QHash<QString, QString> all = metaData.allData();
            QCOMPARE(all[u"Exif.Photo.PixelXDimension"_s].toInt(), item.size.width());
            QCOMPARE(all[u"Exif.Photo.PixelYDimension"_s].toInt(), item.size.height());
            QVERIFY(!all.contains(u"Exif.Image.ImageWidth"_s));
        }
    }

    void convertLeavesTheColours()
    {
        QImage picture(40, 20, QImage::Format_RGB32);
        picture.fill(qRgb(200, 100, 50));
        picture.setColorSpace(QColorSpace(QColorSpace::AdobeRgb));
        write(path("wide.png"), encoded(picture, "png"));
        const QStringList files{path("wide.png"), path("same.png")};
        QCOMPARE(runTool(words("convert --no-color --keep-metadata") + files).exitCode, 0);
        const QImage same(path("same.png"));
        QCOMPARE(same.convertToFormat(picture.format()), picture);
        QVERIFY(!same.colorSpace().iccProfile().isEmpty());
        // Shown without a conversion.
        const QImage thumbnail = RKMetaData(QFileInfo(files[1])).thumbnail();
        QVERIFY(qAbs(qRed(thumbnail.pixel(9, 9)) - 227) <= 5);
    }

    void thumbnailsNeverReplaceAFile()
    {
        const QDir folder(path("thumbs"));
        const QString png = folder.filePath(u"other/bild ä.png"_s);
        QVERIFY(folder.mkpath(u"other"_s));
        write(folder.filePath(u"BILD Ä.txt"_s), "old");
        write(png, encoded(QImage(90, 30, QImage::Format_ARGB32), "png"));
        const QString jpg = path("bild ä.jpg");
        const Run run = runTool(words("thumb --size 60 --jobs 3 --out") + QStringList{folder.path()}
            + QStringList{jpg, path("broken.png"), png, jpg, path("v.svg")});
        QCOMPARE(run.exitCode, 1);
        QCOMPARE(run.output, QByteArray("4 thumbnails, 1 failed\n"));
        QCOMPARE(run.errors.size(), 1);
        QVERIFY(run.errors[0].contains(path("broken.png")));
        QCOMPARE(folder.entryList(QDir::Files, QDir::Name | QDir::IgnoreCase).join(u'|'),
            u"bild ä-2.jpg|bild ä-3.png|bild ä-4.jpg|BILD Ä.txt|v.jpg"_s);
    }

    void failuresLeaveTheTargetAlone()
    {
        const QString target = path("old.png");
        write(target, "old bytes");
        const Run broken = runTool({u"convert"_s, path("broken.png"), target});
        QCOMPARE(broken.exitCode, 1);
        QCOMPARE(broken.errors.size(), 1);
        QVERIFY(broken.errors[0].contains(path("broken.png")));
        QCOMPARE(read(target), QByteArray("old bytes"));

        const Run unwritable = runTool({u"convert"_s, path("bild ä.jpg"), path("a.gif")});
        QCOMPARE(unwritable.exitCode, 1);
        QVERIFY(unwritable.errors[0].contains(path("a.gif")));
        QVERIFY(!QFile::exists(path("a.gif")));
    }

    void keywordsAreSetAddedAndRemoved()
    {
        const QString file = path("keywords.jpg");
        QVERIFY(QFile::copy(path("bild ä.jpg"), file));
        const auto keywordsAfter = [&](const char* change) {
            return runTool(words("set") + QStringList{file} + words(change)).exitCode == 0
                ? informationOn(file)[u"keywords"].toArray()
                : QJsonArray();
        };
        QCOMPARE(keywordsAfter("--keyword Süden --keyword b --keyword c"),
            QJsonArray({u"Süden"_s, u"b"_s, u"c"_s}));
        QCOMPARE(keywordsAfter("--remove-keyword b --add-keyword d --rating 1"),
            QJsonArray({u"Süden"_s, u"c"_s, u"d"_s}));
        QCOMPARE(keywordsAfter("--keywords x,y"), QJsonArray({u"x"_s, u"y"_s}));
        QCOMPARE(runTool(words("set --keyword a --keywords b") + QStringList{file}).exitCode, 2);
    }

    void setChangesMetadataAndNoPixels()
    {
        const QString file = path("set.jpg");
        QVERIFY(QFile::copy(path("bild ä.jpg"), file));
        const QImage before(file);
        const auto bytes = read(file);
        const QStringList changes
            = words("set --rating 4 --orientation 1 --rotate cw --taken 2021-07-04T12:30:00 "
                    "--gps 48.5,-2.25 --title Grüße --thumbnail auto")
            + QStringList{file};
        QCOMPARE(runTool(changes + words("--dry-run")).exitCode, 0);
        QCOMPARE(read(file), bytes);
        QCOMPARE(runTool(changes).exitCode, 0);
        QCOMPARE(QImage(file), before);

        const QJsonValue entry = informationOn(file);
        QCOMPARE(entry[u"orientation"].toInt(), 6);
        QCOMPARE(entry[u"size"].toArray(), QJsonArray({300, 400}));
        QCOMPARE(entry[u"pictureTaken"].toString(), u"2021-07-04T12:30:00"_s);
        QCOMPARE(entry[u"geoPosition"][u"longitude"].toDouble(), -2.25);
        QCOMPARE(entry[u"thumbnail"].toArray(), QJsonArray({160, 120}));

        QCOMPARE(runTool(words("set --rating 1") + QStringList{path("no.jpg"), file}).exitCode, 1);
        QCOMPARE(informationOn(file)[u"adobeRating"].toInt(), 1);
    }

    void facesAreMergedListedDrawnAndRemoved()
    {
        const QString file = path("faces.jpg");
        QVERIFY(QFile::copy(path("bild ä.jpg"), file));
        write(path("faces.json"),
            R"([{"rect": [0.25, 0.5, 0.1, 0.2], "name": "Zoë", "clusterId": 7}])");
        QCOMPARE(runTool(words("faces set") + QStringList{file, path("faces.json")}).exitCode, 0);
        const Run list = runTool(words("faces list") + QStringList{file});
        const QJsonArray faces = QJsonDocument::fromJson(list.output).array();
        QCOMPARE(faces.size(), 1);
        QCOMPARE(faces[0][u"name"].toString(), u"Zoë"_s);

        // Pictures are turned before their faces are drawn, TIFF too.
        const QString tiff = path("faces.tiff");
        write(tiff, encoded(quadrants({400, 300}), "tiff"));
        QCOMPARE(runTool(words("set --orientation 6") + QStringList{tiff}).exitCode, 0);
        QCOMPARE(runTool(words("faces set") + QStringList{tiff, path("faces.json")}).exitCode, 0);
        for (const auto& [name, size, corner] :
            {std::tuple(file, QSize(400, 300), QPoint(100, 150)),
                std::tuple(tiff, QSize(300, 400), QPoint(90, 100))})
        {
            const QStringList files{name, path("drawn.png")};
            QCOMPARE(runTool(words("faces draw") + files).exitCode, 0);
            QCOMPARE(QImage(files[1]).size(), size);
            QCOMPARE(QImage(files[1]).pixelColor(corner), QColor(Qt::darkBlue));
        }
        // What is converted is turned for good.
        const QStringList upright{tiff, path("upright.tiff")};
        QCOMPARE(runTool(words("convert --keep-metadata") + upright).exitCode, 0);
        QCOMPARE(quadrantColors(QImage(upright[1])), QByteArray("brwg"));
        QCOMPARE(informationOn(upright[1])[u"orientation"].toInt(), 1);
        QCOMPARE(runTool(words("faces remove") + QStringList{file}).exitCode, 0);
        QCOMPARE(informationOn(file)[u"faces"].toArray().size(), 0);
    }

    void videosAreDescribedAndTakenApart()
    {
        if (!RKTestClips::canEncode())
            QSKIP("the ffmpeg tool is missing");
        const QString clip = RKTestClips::make({.name = "clip.mp4", .frames = 50}, m_folder.path());
        const QJsonValue entry = informationOn(clip);
        QCOMPARE(entry[u"kind"].toString(), u"video"_s);

        const auto exitCode = [this](const QString& arguments) {
            const QString files = QString(arguments).replace(u"DIR"_s, m_folder.path());
            return runTool(RKTestClips::words(files)).exitCode;
        };
        const auto frameIn
            = [this](const char* name) { return RKTestClips::number(QImage(path(name))); };
        QCOMPARE(exitCode(u"frame DIR/clip.mp4 DIR/d.png --size 88x88"_s), 0);
        QCOMPARE(frameIn("d.png"), 25);
        QCOMPARE(exitCode(u"frame DIR/clip.mp4 DIR/t.png --ms 400"_s), 0);
        QCOMPARE(frameIn("t.png"), 10);
        QCOMPARE(exitCode(u"frame DIR/clip.mp4 DIR/b.png --frame 50"_s), 1);
        QVERIFY(!QFile::exists(path("b.png")));

        // The last one would begin where the video ends.
        QCOMPARE(exitCode(u"frames DIR/clip.mp4 --every 495 --out DIR/e"_s), 0);
        QCOMPARE(QDir(path("e")).entryList(QDir::Files).join(u' '),
            u"clip-0.jpg clip-12.jpg clip-25.jpg clip-37.jpg clip-49.jpg"_s);
        QCOMPARE(frameIn("e/clip-37.jpg"), 37);
        // Sound that outlasts the pictures.
        RKTestClips::ffmpeg(RKTestClips::words(
            u"-f lavfi -i sine=d=10 -i %1 -c:v copy -c:a aac %2"_s.arg(clip, path("long.mp4"))));
        QCOMPARE(exitCode(u"frames DIR/long.mp4 --count 2 --out DIR/l"_s), 0);
        QCOMPARE(QDir(path("l")).entryList(QDir::Files).join(u' '), u"long-13.jpg long-38.jpg"_s);
        QCOMPARE(exitCode(u"frames DIR/clip.mp4 --count 5 --sheet DIR/s.png"_s), 0);
        const QImage sheet(path("s.png"));
        QVERIFY(sheet.width() > 3 * 176 && sheet.height() > 2 * 144);
    }

    void wrongUsageIsToldApart()
    {
        for (const char* wrong : {"",
                 "paint",
                 "convert a.jpg b.png --size 0x9",
                 "clip a.jpg b.png --dpi 300 --production 9xinf --rect 1,2,3,4",
                 "clip a.jpg b.png --dpi 0 --production 9x9 --rect 1,2,3,4",
                 "frame a.mp4 b.png --frame 1 --ms 1",
                 "frames a.mp4 --count 1"})
            QCOMPARE(runTool(words(wrong)).exitCode, 2);
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
        const QByteArray tiff = QByteArray::fromHex(
            "49492a0008000000 0300 000104000100000008000000 120103000100000006000000"
            "698704000100000032000000 00000000 0300 02a004000100000090010000"
            "03a0040001000000c8000000 05a00400010000005c000000 00000000"
            "0100 010002000400000052303300 00000000");
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
        const Run run = runTool({u"info"_s, u"--json"_s, file});
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
