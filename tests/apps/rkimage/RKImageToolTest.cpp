#include "RKImageLoader/faces/RKFacePositions.h"
#include "RKImageLoader/metadata/RKMetaData.h"
#include "RKImageLoader/metadata/RKMetaDataField.h"
#include "support/RKQuietTest.h"
#include "support/RKTestClips.h"
#include "support/RKTestPictures.h"

#include <QBuffer>
#include <QColorSpace>
#include <QCryptographicHash>
#include <QDir>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QTemporaryDir>

#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <filesystem>

using namespace RKTestPictures;
using namespace Qt::StringLiterals;

namespace {

struct Run
{
    int exitCode = -1;
    QByteArray output;
    QStringList errors;
};

// The arguments are separated by blanks.
Run runTool(const QString& arguments)
{
    QProcess tool;
    tool.start(QLatin1String(RK_TOOL), arguments.split(u' ', Qt::SkipEmptyParts));
    if (!tool.waitForFinished(60000) || tool.exitStatus() != QProcess::NormalExit)
        return {};
    // The libraries behind Qt write lines of their own.
    const QStringList lines = QString::fromUtf8(tool.readAllStandardError()).split(u'\n');
    return {tool.exitCode(),
        tool.readAllStandardOutput(),
        lines.filter(QRegularExpression(u"^rkimage: "_s))};
}

int exitCodeOf(const QByteArray& arguments)
{
    return runTool(QString::fromUtf8(arguments)).exitCode;
}

QJsonValue informationOn(const QString& file)
{
    return QJsonDocument::fromJson(runTool(u"info --json "_s + file).output).array().at(0);
}

bool isBlue(const QColor& color)
{
    return color.blue() > 200 && color.red() < 60;
}

// Stored lying on its side, in Adobe RGB, with its size, a face, an old thumbnail and a tag that a
// TIFF file has left there (Exif 2.32, 4.6).
QByteArray photograph()
{
    const QByteArray tiff = QByteArray::fromHex(
        "49492a0008000000 0300 000104000100000008000000 120103000100000006000000"
        "698704000100000032000000 00000000 0300 02a004000100000090010000"
        "03a0040001000000c8000000 05a00400010000005c000000 00000000"
        "0100 010002000400000052303300 00000000");
    const QByteArray segment = QByteArray("Exif\0\0", 6) + tiff;
    QByteArray jpeg = encoded(quadrants({400, 200}), "jpg", 95);
    jpeg.insert(2, "\xff\xe1" + QByteArray(1, '\0') + char(segment.size() + 2) + segment);

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

} // namespace

/// The tool, run in a folder of its own.
class RKImageToolTest : public RKQuietTest
{
    Q_OBJECT

private Q_SLOTS:

    void initTestCase()
    {
        QVERIFY(QDir::setCurrent(m_folder.path()));
        write(u"ä.jpg"_s, encoded(quadrants({400, 300}), "jpg"));
        write(u"v.svg"_s,
            "<svg xmlns='http://www.w3.org/2000/svg' width='40' height='20'>"
            "<rect width='40' height='20' fill='red'/><text>t</text></svg>");
        write(u"broken.png"_s, "no picture");
    }

    void infoReadsWhatNothingDecodes()
    {
        const QByteArray whole = photograph();
        write(u"stub.jpg"_s, whole.left(whole.lastIndexOf("\xff\xc0")) + "\xff\xd9");
        const QJsonValue stub = informationOn(u"stub.jpg"_s);
        QCOMPARE(stub[u"orientation"].toInt(), 6);
        QVERIFY(stub[u"error"].isUndefined());
    }

    void convertKeepsMetadata()
    {
        const QRectF storedFace(0.125, 0.25, 0.25, 0.125);
        const QRectF uprightFace(0.625, 0.125, 0.125, 0.25);

        using Case = std::tuple<const char*, QSize, int, bool, QSize, QRectF>;
        const Case cases[]{{"--strip", {200, 400}, 0, false, {0, 0}, {}},
            {"", {200, 400}, 1, false, {60, 120}, uprightFace},
            {"--keep-metadata", {200, 400}, 1, false, {60, 120}, uprightFace},
            {"--keep-metadata --size 200x200", {100, 200}, 1, false, {60, 120}, uprightFace},
            {"--keep-metadata --no-rotate", {400, 200}, 6, false, {160, 80}, storedFace},
            {"--keep-metadata --no-color", {200, 400}, 1, true, {60, 120}, uprightFace}};

        write(u"photo.jpg"_s, photograph());
        for (const auto& [options, size, orientation, isAdobeRgb, thumbnail, face] : cases) {
            QCOMPARE(
                exitCodeOf(QByteArray("convert --overwrite photo.jpg kept.jpg ") + options), 0);
            const QImage picture(u"kept.jpg"_s);
            QCOMPARE(picture.size(), size);
            const bool isUpright = orientation != 6;
            QCOMPARE(isBlue(picture.pixelColor(5, 5)), isUpright);
            const RKMetaData metaData{QFileInfo(u"kept.jpg"_s)};
            QCOMPARE(int(metaData.imageOrientation()), orientation);
            QCOMPARE(metaData.isAdobeRGB(), isAdobeRgb);
            QCOMPARE(metaData.thumbnail().size(), thumbnail);
            QCOMPARE(metaData.facePositions().facePositions().value(0).rect(), face);
            if (orientation == 0)
                continue;
            QCOMPARE(isBlue(metaData.thumbnail().pixelColor(5, 5)), isUpright);
            QCOMPARE(metaData.regionImageSize(), size);
            const QHash<QString, QString> all = metaData.allData();
            QCOMPARE(all[u"Exif.Photo.PixelXDimension"_s].toInt(), size.width());
            QCOMPARE(all[u"Exif.Photo.PixelYDimension"_s].toInt(), size.height());
            QVERIFY(!all.contains(u"Exif.Image.ImageWidth"_s));
        }
    }

    void convertMakesManyPictures()
    {
        QVERIFY(QDir().mkpath(u"many"_s));
        QImage glass(40, 20, QImage::Format_ARGB32);
        glass.fill(qRgba(255, 0, 0, 128));
        write(u"many/{stem}.png"_s, encoded(glass, "png"));
        write(u"many/photo.jpg"_s, photograph());
        const auto convert = [](const char* options) {
            return exitCodeOf(
                QByteArray("convert -r many --out made/{stem}_{width}.{ext} ") + options);
        };
        QCOMPARE(convert("--format jpg --size 100x50 --fill --background lime"), 0);
        const QImage opaque(u"made/{stem}_100.jpg"_s);
        QCOMPARE(opaque.size(), QSize(100, 50));
        QVERIFY(qAbs(opaque.pixelColor(50, 25).green() - 127) < 4);
        // The photograph stands upright: what fills is cut from its middle.
        const QImage filled(u"made/photo_100.jpg"_s);
        QCOMPARE(filled.size(), QSize(100, 50));
        QVERIFY(isBlue(filled.pixelColor(5, 5)));
        // Nothing is replaced unless it is wanted.
        const QDateTime before = QFileInfo(u"made/photo_100.jpg"_s).lastModified();
        QCOMPARE(convert("--format jpg --size 100x50 --exact"), 1);
        QCOMPARE(convert("--format jpg --size 100x50 --exact --skip-existing"), 0);
        QCOMPARE(convert("--format jpg --size 100x50 --exact --update"), 0);
        QCOMPARE(QFileInfo(u"made/photo_100.jpg"_s).lastModified(), before);
        QCOMPARE(convert("--format jpg --size 100x50 --exact --overwrite"), 0);
        QVERIFY(QFileInfo(u"made/photo_100.jpg"_s).lastModified() > before);
        // Two files whose results have one name: the first one made stays.
        QVERIFY(QDir().mkpath(u"many/more"_s));
        QVERIFY(QFile::copy(u"many/photo.jpg"_s, u"many/more/photo.jpg"_s));
        const Run twins = runTool(u"convert -r many gone --out twins --format png --overwrite"_s);
        QVERIFY(twins.exitCode == 1 && twins.errors.size() == 2);
        const QString said = twins.errors.join(u'|');
        QVERIFY(said.contains(u"another picture has the name twins/photo.png"));
        // A file by itself, whatever is wanted and by whatever name.
        QCOMPARE(::link("many/photo.jpg", "linked.jpg"), 0);
        const QByteArray photo = read(u"linked.jpg"_s);
        for (const char* command : {"convert --overwrite linked.jpg many/../many/photo.jpg",
                 "convert --jobs 1 --overwrite v.svg linked.jpg --out linked.{ext} --format jpg",
                 "convert --overwrite linked.jpg linked.jpg",
                 "clip --center --production 9x9 --dpi 9 linked.jpg linked.jpg",
                 "faces draw many/photo.jpg linked.jpg",
                 "compare many/photo.jpg many/more/photo.jpg --diff linked.jpg",
                 "sheet -r many --out linked.jpg"})
        {
            QCOMPARE(exitCodeOf(command), 1);
            QVERIFY2(read(u"linked.jpg"_s) == photo, command);
        }
    }

    void thumbnailsNeverReplaceAFile()
    {
        const QDir folder(u"thumbs"_s);
        QVERIFY(folder.mkpath(u"other"_s));
        write(u"thumbs/Ä.txt"_s, "old");
        write(u"thumbs/other/ä.png"_s, encoded(QImage(90, 30, QImage::Format_ARGB32), "png"));
        const Run run = runTool(u"thumb --size 60 --jobs 3 --out thumbs ä.jpg broken.png "
                                "thumbs/other/ä.png ä.jpg v.svg"_s);
        QCOMPARE(run.exitCode, 1);
        QCOMPARE(run.output, QByteArray("4 thumbnails, 1 failed\n"));
        QVERIFY(run.errors.size() == 1 && run.errors[0].contains(u"broken.png"));
        QCOMPARE(folder.entryList(QDir::Files, QDir::Name | QDir::IgnoreCase).join(u'|'),
            u"v.jpg|ä-2.jpg|ä-3.png|ä-4.jpg|Ä.txt"_s);
    }

    void thumbnailsThatAreCurrentStay()
    {
        QVERIFY(QDir().mkpath(u"home"_s));
        write(u"home/%41 ü.jpg"_s, encoded(quadrants({400, 300}), "jpg"));
        const auto make = [](const char* arguments) {
            return runTool(u"thumb -r home --ext jpg --size 128 "_s + QLatin1String(arguments))
                .output;
        };
        const char* const mapped = "--out small --map small.jsonl";
        QCOMPARE(make(mapped), QByteArray("1 thumbnails, 0 failed\n"));
        QCOMPARE(make(mapped), QByteArray("0 thumbnails, 0 failed, 1 up to date\n"));
        QFile file(u"home/%41 ü.jpg"_s);
        QVERIFY(file.open(QIODevice::ReadWrite));
        const QDateTime later = QDateTime::currentDateTime().addSecs(100);
        QVERIFY(file.setFileTime(later, QFileDevice::FileModificationTime));
        file.close();
        QCOMPARE(make(mapped), QByteArray("1 thumbnails, 0 failed\n"));
        QCOMPARE(QDir(u"small"_s).entryList(QDir::Files).size(), 1);
        // Those of another size or folder aren't, and what is no map stays as it is.
        QCOMPARE(exitCodeOf("thumb -r home --ext jpg --size 64 --out small --map small.jsonl"), 0);
        QCOMPARE(QImage(u"small/%41 ü.jpg"_s).width(), 64);
        QCOMPARE(make("--out other --map small.jsonl"), QByteArray("1 thumbnails, 0 failed\n"));
        write(u"small.jsonl"_s, "no map");
        QCOMPARE(make(mapped), QByteArray());
        QCOMPARE(read(u"small.jsonl"_s), QByteArray("no map"));

        qputenv("XDG_CACHE_HOME", m_folder.filePath(u"cache"_s).toUtf8());
        QCOMPARE(make("--freedesktop"), QByteArray("1 thumbnails, 0 failed\n"));
        QCOMPARE(make("--freedesktop"), QByteArray("0 thumbnails, 0 failed, 1 up to date\n"));
        const QByteArray uri
            = "file://" + QDir::currentPath().toUtf8() + "/home/%2541%20%C3%BC.jpg";
        const QByteArray name = QCryptographicHash::hash(uri, QCryptographicHash::Md5).toHex();
        const QImage shared(u"cache/thumbnails/normal/"_s + QLatin1String(name) + u".png");
        QCOMPARE(shared.size(), QSize(128, 96));
        QCOMPARE(shared.text(u"Thumb::URI"_s).toUtf8(), uri);
        QCOMPARE(exitCodeOf("thumb home --size 100 --freedesktop"), 2);
    }

    void failuresLeaveTheTargetAlone()
    {
        write(u"old.png"_s, "old bytes");
        QCOMPARE(exitCodeOf("convert ä.jpg old.png"), 1);
        QCOMPARE(read(u"old.png"_s), QByteArray("old bytes"));
        const Run broken = runTool(u"convert --overwrite broken.png old.png"_s);
        QCOMPARE(broken.exitCode, 1);
        QVERIFY(broken.errors.size() == 1 && broken.errors[0].contains(u"broken.png"));
        QCOMPARE(read(u"old.png"_s), QByteArray("old bytes"));

        QCOMPARE(exitCodeOf("convert ä.jpg a.gif"), 1);
        QVERIFY(!QFile::exists(u"a.gif"_s));
    }

    // EditedFiles looks at what each change writes.
    void setChangesMetadataAndNoPixels()
    {
        QVERIFY(QFile::copy(u"ä.jpg"_s, u"set.jpg"_s));
        const QImage before(u"set.jpg"_s);
        const QByteArray bytes = read(u"set.jpg"_s);
        QCOMPARE(exitCodeOf("set set.jpg --rating 4 --dry-run"), 0);
        QCOMPARE(read(u"set.jpg"_s), bytes);
        QCOMPARE(exitCodeOf("set set.jpg --orientation 1 --rotate cw --taken 2021-07-04T12:30:00 "
                            "--gps 48.5,-2.25 --keywords x,b --thumbnail auto"),
            0);
        QCOMPARE(QImage(u"set.jpg"_s), before);
        // Another program has changed a keyword in IPTC only.
        write(u"set.jpg"_s,
            read(u"set.jpg"_s)
                .replace(QByteArray("\x1c\2\x19\0\1b", 6), QByteArray("\x1c\2\x19\0\1c", 6)));
        QCOMPARE(exitCodeOf("set no.jpg set.jpg --rating 1 --remove-keyword x --add-keyword ü"), 1);

        const QJsonValue entry = informationOn(u"set.jpg"_s);
        QCOMPARE(entry[u"orientation"].toInt(), 6);
        QCOMPARE(entry[u"size"].toArray(), QJsonArray({300, 400}));
        QCOMPARE(entry[u"pictureTaken"].toString(), u"2021-07-04T12:30:00"_s);
        QCOMPARE(entry[u"geoPosition"][u"longitude"].toDouble(), -2.25);
        QCOMPARE(entry[u"thumbnail"].toArray(), QJsonArray({160, 120}));
        QCOMPARE(entry[u"keywords"].toArray(), QJsonArray({u"c"_s, u"b"_s, u"ü"_s}));
        QCOMPARE(entry[u"adobeRating"].toInt(), 1);
        QCOMPARE(exitCodeOf("set set.jpg --title x --author y"), 0);
        QCOMPARE(exitCodeOf("set set.jpg --title= --rating -1 --no-gps"), 0);
        QCOMPARE(informationOn(u"set.jpg"_s)[u"fields"].toObject().keys().join(u' '),
            u"author keywords"_s);
        QVERIFY(RKMetaData(QFileInfo(u"set.jpg"_s)).isRejected());
        QVERIFY(!RKMetaData(QFileInfo(u"set.jpg"_s)).geoPosition().isValid());
    }

    void setCopiesWhatDoesNotDescribePixels()
    {
        write(u"camera.jpg"_s, photograph());
        QCOMPARE(exitCodeOf("set camera.jpg --author Zoë --taken 2021-07-04T12:30:00"), 0);
        QCOMPARE(exitCodeOf("convert --strip camera.jpg developed.jpg"), 0);
        const QByteArray before = read(u"developed.jpg"_s);
        QCOMPARE(exitCodeOf("set developed.jpg --copy-from camera.jpg --dry-run"), 0);
        QCOMPARE(read(u"developed.jpg"_s), before);
        QCOMPARE(exitCodeOf("set developed.jpg --copy-from camera.jpg --fields author"), 0);
        const QJsonValue some = informationOn(u"developed.jpg"_s);
        QVERIFY(some[u"fields"][u"author"] == u"Zoë"_s && some[u"pictureTaken"].isUndefined());
        QCOMPARE(exitCodeOf("set developed.jpg --copy-from camera.jpg"), 0);
        const RKMetaData all{QFileInfo(u"developed.jpg"_s)};
        QCOMPARE(all.pictureTaken(), QDateTime(QDate(2021, 7, 4), QTime(12, 30)));
        // Turned by the conversion, and in sRGB.
        QVERIFY(all.imageOrientation() == 1 && !all.isAdobeRGB() && all.thumbnail().isNull());
        QCOMPARE(all.regionFacePositions().facePositions().value(0).rect(),
            QRectF(0.625, 0.125, 0.125, 0.25));

        // The profile of a TIFF is among its tags.
        write(u"adobe.icc"_s, QColorSpace(QColorSpace::AdobeRgb).iccProfile());
        QCOMPARE(exitCodeOf("convert --strip camera.jpg wide.tif"), 0);
        QCOMPARE(exitCodeOf("set wide.tif --icc adobe.icc"), 0);
        QCOMPARE(exitCodeOf("set developed.jpg --copy-from wide.tif"), 0);
        QVERIFY(!RKMetaData(QFileInfo(u"developed.jpg"_s)).hasIccData());

        // A make says how to read the maker note, which stays.
        RKMetaData other{QFileInfo(u"camera.jpg"_s)};
        other.write(RKMetaDataFieldEnum::exifMake, u"other"_s);
        QVERIFY(other.save(QFileInfo(u"camera.jpg"_s)));
        const QByteArray exif = "\xff\xe1"
            + QByteArray("\0\x40"
                         "Exif\0\0",
                8)
            + QByteArray::fromHex("49492a0008000000 0200 0f01020004000000 61626300"
                                  "6987040001000000 26000000 00000000"
                                  "0100 7c92070004000000 01020304 00000000");
        QCOMPARE(exitCodeOf("convert --strip camera.jpg noted.jpg"), 0);
        write(u"noted.jpg"_s, read(u"noted.jpg"_s).insert(2, exif));
        const QByteArray thumbnail = encoded(quadrants({160, 80}), "jpg", 10);
        RKMetaData noted{QFileInfo(u"noted.jpg"_s)};
        noted.writeThumbnail(thumbnail);
        QVERIFY(noted.save(QFileInfo(u"noted.jpg"_s)));
        QCOMPARE(exitCodeOf("set noted.jpg --copy-from camera.jpg"), 0);
        QVERIFY(read(u"noted.jpg"_s).contains(thumbnail));
        const QJsonValue fields = informationOn(u"noted.jpg"_s)[u"fields"];
        QVERIFY(fields[u"author"] == u"Zoë"_s && fields[u"exifMake"] == u"abc"_s);
    }

    void setShiftsDatesAndKeepsWhatWasThere()
    {
        QVERIFY(QDir().mkpath(u"trip"_s) && QFile::copy(u"ä.jpg"_s, u"trip/one.jpg"_s));
        const QString file = u"trip/one.jpg"_s;
        QCOMPARE(exitCodeOf("set trip/one.jpg"), 2);
        // Nothing to shift.
        QCOMPARE(exitCodeOf("set -r trip --shift-taken +1:00 --backup"), 1);
        QVERIFY(!QFile::exists(file + u'~'));

        QCOMPARE(exitCodeOf("set -r trip --taken 2021-12-31T23:30:00+05:30"), 0);
        const QByteArray before = read(file);
        // In the forties, with billionths of a second.
        namespace fs = std::filesystem;
        const auto time = fs::last_write_time("trip/one.jpg") - std::chrono::hours(24 * 365 * 80);
        fs::last_write_time("trip/one.jpg", time);
        const Run dry = runTool(u"set -r trip --shift-taken +1:00 --dry-run"_s);
        QVERIFY(dry.output.contains("2021-12-31T23:30:00+05:30\" → \"2022-01-01T00:30:00+05:30"));
        QVERIFY(dry.output.count('\n') < 6);
        QCOMPARE(read(file), before);
        // A file is shifted once.
        QVERIFY(QFile::link(u"trip/one.jpg"_s, u"again.jpg"_s));
        QCOMPARE(
            exitCodeOf("set -r trip again.jpg --shift-taken +1:00 --backup --preserve-mtime"), 0);
        QCOMPARE(read(file + u'~'), before);
        QVERIFY(fs::last_write_time("trip/one.jpg") == time);
        const Run table = runTool(u"info -r trip --ext png,.JPG --fields file,pictureTaken,size"_s);
        QCOMPARE(table.output,
            QByteArray("file,pictureTaken,size\ntrip/one.jpg,2022-01-01T00:30:00+05:30,400 300\n"));
        QCOMPARE(runTool(u"check -r trip --ext jgp"_s).errors.size(), 1);
        const Run misspelt = runTool(u"info trip/one.jpg --fields camera.len"_s);
        QVERIFY(misspelt.exitCode == 0 && misspelt.errors.value(0).contains(u"\"camera.lens\""));
        // The first backup stays, and a change that changes nothing has none.
        QCOMPARE(exitCodeOf("set -r trip --rating 3 --backup"), 0);
        QCOMPARE(read(file + u'~'), before);
        QVERIFY(QFile::remove(file + u'~'));
        QCOMPARE(exitCodeOf("set -r trip --rating 3 --backup"), 0);
        QVERIFY(!QFile::exists(file + u'~'));
        // A name that is no UTF-8.
        QCOMPARE(::rename("trip/one.jpg", "trip/\xff.jpg"), 0);
        QCOMPARE(exitCodeOf("set -r trip --rating 2 --backup"), 0);
        QVERIFY(runTool(u"info -r trip --csv"_s).output.contains("trip/\xff.jpg,"));
        QCOMPARE(::rename("trip/\xff.jpg~", "trip/one.jpg~"), 0);
        QCOMPARE(::rename("trip/\xff.jpg", "trip/one.jpg"), 0);
        QCOMPARE(informationOn(file)[u"adobeRating"].toInt(), 2);
        QVERIFY(!read(file + u'~').isEmpty() && read(file + u'~') != read(file));
    }

    void facesAreMergedListedDrawnAndRemoved()
    {
        write(
            u"faces.json"_s, R"([{"rect": [0.25, 0.5, 0.1, 0.2], "name": "Zoë", "clusterId": 7}])");
        // Pictures are turned before their faces are drawn, TIFF too.
        write(u"faces.tiff"_s, encoded(quadrants({400, 300}), "tiff"));
        QCOMPARE(exitCodeOf("set --orientation 6 faces.tiff"), 0);
        QVERIFY(QFile::copy(u"ä.jpg"_s, u"faces.jpg"_s));
        for (const auto& [name, size, corner] :
            {std::tuple("faces.jpg", QSize(400, 300), QPoint(100, 150)),
                std::tuple("faces.tiff", QSize(300, 400), QPoint(90, 100))})
        {
            QCOMPARE(exitCodeOf(QByteArray("faces set ") + name + " faces.json"), 0);
            const Run list = runTool(u"faces list "_s + QLatin1String(name));
            const QJsonArray faces = QJsonDocument::fromJson(list.output).array();
            QVERIFY(faces.size() == 1 && faces[0][u"name"] == u"Zoë"_s);
            QCOMPARE(exitCodeOf(QByteArray("faces draw ") + name + " drawn.png"), 0);
            QCOMPARE(QImage(u"drawn.png"_s).size(), size);
            QCOMPARE(QImage(u"drawn.png"_s).pixelColor(corner), QColor(Qt::darkBlue));
        }
        // What is converted is turned for good.
        QCOMPARE(exitCodeOf("convert --keep-metadata faces.tiff upright.tiff"), 0);
        QCOMPARE(quadrantColors(QImage(u"upright.tiff"_s)), QByteArray("brwg"));
        QCOMPARE(informationOn(u"upright.tiff"_s)[u"orientation"].toInt(), 1);
        // Neither has an end.
        QCOMPARE(exitCodeOf("faces set faces.jpg /dev/zero"), 1);
        QCOMPARE(exitCodeOf("set faces.jpg --icc /dev/zero"), 1);
        // Pixels, a face beside the picture, and a text.
        for (const char* rect : {"[9, 5, 80, 70]", "[0.9, 0, 0.3, 0.1]", "[\"0.1\", 0, 0.5, 0.5]"})
        {
            write(u"faces.json"_s, R"([{"rect": )" + QByteArray(rect) + "}]");
            QCOMPARE(exitCodeOf("faces set faces.jpg faces.json"), 1);
        }
        QCOMPARE(exitCodeOf("faces remove faces.jpg"), 0);
        QCOMPARE(informationOn(u"faces.jpg"_s)[u"faces"].toArray().size(), 0);
    }

    void clipsOfLargePicturesShowTheRightPart()
    {
        // Of more pixels than are held whole for a small print.
        const QImage colors = quadrants({8, 8}).convertToFormat(QImage::Format_Grayscale8);
        colors.scaled(8000, 6400).save(u"large.jpg"_s);
        QCOMPARE(exitCodeOf("clip --rect 3200,2400,4000,3200 --production 1250x1000 --dpi 100 "
                            "large.jpg clip.png"),
            0);
        const QImage clip(u"clip.png"_s);
        QCOMPARE(clip.size(), QSize(492, 394));
        QCOMPARE(clip.dotsPerMeterX(), 3937);
        // The quadrants meet at (98.4, 98.5).
        for (const QPoint& place :
            {QPoint(94, 94), QPoint(103, 94), QPoint(94, 103), QPoint(103, 103)}) {
            const int expected
                = qGray(colors.pixel(place.x() < 98 ? 0 : 7, place.y() < 98 ? 0 : 7));
            QVERIFY(std::abs(qGray(clip.pixel(place)) - expected) < 4);
        }
    }

    void clipsAreTakenFromTheMiddleOrInPerCent()
    {
        // Four quadrants of 200 x 150 pixels.
        const Run half = runTool(u"clip ä.jpg part.png --rect 50%,50%,50%,50% --production "
                                 "254x190.5 --dpi 100"_s);
        QCOMPARE(half.exitCode, 0);
        QVERIFY(
            half.output.contains("200 dpi of the picture, 100 wanted") && half.errors.isEmpty());
        QCOMPARE(QImage(u"part.png"_s).size(), QSize(100, 75));
        const Run middle = runTool(u"clip ä.jpg part.png --center --ratio 1:1 --production 254x254 "
                                   "--dpi 400 --allow-upscaling"_s);
        QVERIFY(middle.exitCode == 0 && middle.errors.value(0).contains(u"300 dpi are less"));
        QCOMPARE(quadrantColors(QImage(u"part.png"_s)), quadrantColors(QImage(u"ä.jpg"_s)));
        // Of more than a number holds.
        QVERIFY(runTool(u"clip ä.jpg part.png --center --production 1e-9x1e-9 --dpi 1"_s)
                    .output.contains("2147483647 dpi"));
        QCOMPARE(
            exitCodeOf("clip ä.jpg no.png --rect 300,0,200,100 --production 9x9 --dpi 300"), 1);
        QVERIFY(!QFile::exists(u"no.png"_s));
    }

    void videosAreTakenApart()
    {
        if (!RKTestClips::canEncode())
            QSKIP("the ffmpeg tool is missing");
        RKTestClips::make({.name = "clip.mp4", .frames = 50}, u"."_s);
        const auto frameIn
            = [](const char* name) { return RKTestClips::number(QImage(QLatin1String(name))); };
        QCOMPARE(exitCodeOf("frame clip.mp4 d.png --size 88x88"), 0);
        QCOMPARE(frameIn("d.png"), 25);
        for (const auto& [place, number] : {std::pair("0:00.4", 10), {"100%", 49}, {"7", 7}}) {
            QCOMPARE(exitCodeOf(QByteArray("frame clip.mp4 p.png --at ") + place), 0);
            QCOMPARE(frameIn("p.png"), number);
        }
        QCOMPARE(exitCodeOf("frame clip.mp4 b.png --frame 50"), 1);
        QVERIFY(!QFile::exists(u"b.png"_s));

        // The last one would begin where the video ends.
        QCOMPARE(exitCodeOf("frames clip.mp4 --every 495 --out e"), 0);
        QCOMPARE(QDir(u"e"_s).entryList(QDir::Files).join(u' '),
            u"clip-0.jpg clip-12.jpg clip-25.jpg clip-37.jpg clip-49.jpg"_s);
        QCOMPARE(frameIn("e/clip-37.jpg"), 37);
        QCOMPARE(exitCodeOf("frames clip.mp4 --at 100%,0:00.4,7,7 --out a"), 0);
        QCOMPARE(QDir(u"a"_s).entryList(QDir::Files).join(u' '),
            u"clip-10.jpg clip-49.jpg clip-7.jpg"_s);
        // A name that looks like a picture's may lead to the video.
        const QByteArray video = read(u"clip.mp4"_s);
        QCOMPARE(::symlink("../clip.mp4", "a/clip-8.jpg"), 0);
        for (const char* command : {"frame clip.mp4 a/clip-8.jpg",
                 "frames clip.mp4 --count 1 --sheet a/clip-8.jpg",
                 "frames clip.mp4 --at 8 --out a"})
            QCOMPARE(exitCodeOf(command), 1);
        QVERIFY(read(u"clip.mp4"_s) == video);
        // Sound that outlasts the pictures.
        RKTestClips::ffmpeg(
            RKTestClips::words(u"-f lavfi -i sine=d=10 -i clip.mp4 -c:v copy -c:a aac long.mp4"_s));
        QCOMPARE(exitCodeOf("frames long.mp4 --count 2 --out l --sheet s.png"), 0);
        QCOMPARE(QDir(u"l"_s).entryList(QDir::Files).join(u' '), u"long-13.jpg long-38.jpg"_s);
        QVERIFY(QImage(u"s.png"_s).width() > 2 * 176);
        RKTestClips::ffmpeg(RKTestClips::words(
            u"-f lavfi -i testsrc=s=64x64:r=1/900 -t 90000 -c:v mpeg4 days.mkv"_s));
        QCOMPARE(exitCodeOf("sheet days.mkv --out days.html"), 0);
        QVERIFY(read(u"days.html"_s).contains(" 25:00:00<"));
    }

    void picturesAreCompared()
    {
        QImage picture = quadrants({40, 30});
        write(u"a.png"_s, encoded(picture, "png"));
        picture.setPixel(7, 3, picture.pixel(7, 3) ^ 0x00000c);
        write(u"b.png"_s, encoded(picture, "png"));
        const auto compared = [](const char* arguments) {
            return QJsonDocument::fromJson(
                runTool(u"compare --json "_s + QLatin1String(arguments)).output)[0];
        };
        QCOMPARE(compared("a.png a.png")[u"greatest"].toInt(-1), 0);
        const QJsonValue result = compared("a.png b.png --diff d.png");
        QCOMPARE(result[u"greatest"].toInt(), 12);
        QCOMPARE(result[u"greatestAt"].toArray(), QJsonArray({7, 3}));
        QCOMPARE(result[u"mean"].toDouble(), 12.0 / 3 / 1200);
        QCOMPARE(QImage(u"d.png"_s).pixelColor(7, 3), QColor(Qt::blue));
        QCOMPARE(exitCodeOf("compare a.png b.png --limit 0.004"), 0);
        QCOMPARE(exitCodeOf("compare a.png b.png --limit 0.003"), 1);
        // Turned, it can't be compared.
        write(u"tall.png"_s, encoded(quadrants({30, 40}), "png"));
        QCOMPARE(exitCodeOf("compare a.png tall.png"), 1);
    }

    void sheetsShowEveryFileOfAFolder()
    {
        QVERIFY(QDir().mkpath(u"album/sub"_s) && QDir().mkpath(u"album/.hidden"_s));
        const QByteArray jpeg = encoded(quadrants({40, 30}), "jpg");
        write(u"album/.hidden/h.jpg"_s, jpeg);
        write(u"album/notes.txt"_s, "no picture");
        write(u"album/broken.png"_s, "no picture");
        write(u"album/sub/<b>%1.jpg"_s, jpeg);
        write(u"album/photo.jpg"_s, photograph());
        QVERIFY(QFile::link(u"../../album"_s, u"album/sub/loop"_s));
        // A name that is no UTF-8.
        QFile::remove(u"plain.jpg"_s);
        write(u"plain.jpg"_s, jpeg);
        QCOMPARE(::rename("plain.jpg", "album/\xff.jpg"), 0);

        const Run run = runTool(u"sheet -r album --out sheet.html"_s);
        QCOMPARE(run.exitCode, 1);
        QVERIFY(run.errors.size() == 1 && run.errors[0].contains(u"broken.png"));
        const QByteArray html = read(u"sheet.html"_s);
        QCOMPARE(html.count("<figure "), 4);
        QCOMPARE(html.count("data:image/jpeg"), 3);
        QVERIFY(html.contains("&lt;b&gt;%1.jpg") && !html.contains("<b>%1"));
        // Faces lie on the upright picture.
        QVERIFY(html.contains("left:62.50%;top:12.50%;width:12.50%;height:25.00%"));

        QCOMPARE(exitCodeOf("sheet --recursive album --ext jpg --out sheet.pdf"), 0);
        QVERIFY(read(u"sheet.pdf"_s).startsWith("%PDF"));
        QCOMPARE(exitCodeOf("sheet album/photo.jpg --out sheet.png --size 500"), 0);
        QVERIFY(QImage(u"sheet.png"_s).height() > 400);
        QCOMPARE(exitCodeOf("sheet album --out none.html"), 1);
        // Stacks larger than the memory: no other thread can be started.
        const QString tool = u"ulimit -s 300000000; exec "_s + QLatin1String(RK_TOOL);
        QCOMPARE(QProcess::execute(u"sh"_s, {u"-c"_s, tool + u" check -r album --jobs 8"_s}), 1);
        // A new name that is none.
        const QString compare = QLatin1String(RK_TOOL) + u" compare plain.png plain.png --diff "_s;
        QCOMPARE(QProcess::execute(u"sh"_s, {u"-c"_s, compare + u"$(printf '\\377.png')"_s}), 2);
        // The folder of the test can't.
        QCOMPARE(::remove("album/\xff.jpg"), 0);
    }

    // Nothing that a name has in it breaks the line of its failure.
    void failuresAreOneLineEach()
    {
        QProcess tool;
        tool.start(QLatin1String(RK_TOOL),
            {u"--color=always"_s, u"info"_s, u"two\nlines\x1b.jpg"_s, u"--quiet"_s});
        QVERIFY(tool.waitForFinished(60000));
        QCOMPARE(tool.readAllStandardError(),
            QByteArray("\x1b[1;31mrkimage:\x1b[0m two\\nlines\\x1b.jpg: There is no such file.\n"));
    }

    void streamsArePicturesToo()
    {
        const auto run = [](const QString& input, const QString& arguments) {
            QProcess tool;
            tool.setStandardInputFile(input);
            tool.start(QLatin1String(RK_TOOL), arguments.split(u' '));
            const bool isDone = tool.waitForFinished(60000);
            return std::pair(isDone ? tool.exitCode() : -1, tool.readAllStandardOutput());
        };
        const auto [exitCode, picture] = run(u"ä.jpg"_s, u"convert - - --format png"_s);
        QCOMPARE(exitCode, 0);
        QCOMPARE(QImage::fromData(picture, "png").size(), QSize(400, 300));
        QCOMPARE(QImage::fromData(run(u"ä.jpg"_s, u"thumb - --out - --size 40"_s).second).size(),
            QSize(40, 30));
        QCOMPARE(run(u"ä.jpg"_s, u"info - --fields file,size"_s).second,
            QByteArray("file,size\n-,400 300\n"));
        QVERIFY(run({}, u"sheet ä.jpg --out - --format pdf"_s).second.startsWith("%PDF"));
        QCOMPARE(run(u"broken.png"_s, u"info -"_s).first, 1);
        QCOMPARE(run(u"/dev/zero"_s, u"info -"_s).first, 1);
        QCOMPARE(
            QJsonDocument::fromJson(run(u"/dev/null"_s, u"info - --json"_s).second)[0][u"reason"],
            u"truncated"_s);
        QCOMPARE(run(u"ä.jpg"_s, u"thumb - --size 40 --out "_s).first, 2);
        write(u"rated.jpg"_s, run(u"ä.jpg"_s, u"set - --rating 1"_s).second);
        QCOMPARE(RKMetaData(QFileInfo(u"rated.jpg"_s)).adobeRating(), 1);
        QCOMPARE(run(u"ä.jpg"_s, u"set - v.svg --rating 1"_s).first, 2);
    }

    void outputThatIsLostIsAFailure()
    {
        for (const char* arguments : {"formats", "--help", "convert v.svg - --format png"}) {
            QProcess tool;
            tool.setStandardOutputFile(u"/dev/full"_s);
            tool.start(QLatin1String(RK_TOOL), QString::fromLatin1(arguments).split(u' '));
            QVERIFY(tool.waitForFinished(60000));
            QCOMPARE(tool.exitCode(), 1);
        }
        // Closed streams don't become the next file that is opened.
        QProcess tool;
        tool.start(u"sh"_s, {u"-c"_s, u"exec "_s + QLatin1String(RK_TOOL) + u" info - >&- 2>&-"_s});
        const QString streams = u"/proc/%1/fd/"_s.arg(tool.processId());
        QTRY_COMPARE(QFile::symLinkTarget(streams + u'1'), u"/dev/null"_s);
        QTRY_COMPARE(QFile::symLinkTarget(streams + u'2'), u"/dev/null"_s);
        tool.closeWriteChannel();
        QVERIFY(tool.waitForFinished(60000));
        QCOMPARE(tool.exitCode(), 1);
    }

    void wrongUsageIsToldApart()
    {
        write(u"bad.xml"_s, "<a><jpg compression='high'/></a>");
        for (const char* wrong : {"",
                 "formats --config bad.xml",
                 "formats --quiet --verbose",
                 "paint",
                 "convert a.jpg b.png --size 0x9",
                 "convert a.jpg b.png c.png",
                 "clip a.jpg b.png --dpi 300 --production 9xinf --rect 1,2,3,4",
                 "clip a.jpg b.png --dpi 0 --production 9x9 --rect 1,2,3,4",
                 "clip a.jpg b.png --dpi 9 --production 9x9",
                 "convert a.jpg --out {stm}.png",
                 "set a.jpg --keyword a --keywords b",
                 "frame a.mp4 b.png --frame 1 --ms 1",
                 "frame a.mp4 b.png --frame -1",
                 "frame a.mp4 b.png --at 1:75",
                 "frames a.mp4 --count 1",
                 "compare a.png a.png --limit nan"})
            QCOMPARE(exitCodeOf(wrong), 2);
    }

private:
    QTemporaryDir m_folder;
};

QTEST_GUILESS_MAIN(RKImageToolTest)

#include "RKImageToolTest.moc"
