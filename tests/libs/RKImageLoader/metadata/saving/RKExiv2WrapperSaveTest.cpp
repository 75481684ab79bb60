#include "RKImageLoader/faces/RKFacePositions.h"
#include "RKImageLoader/files/RKByteReader_p.h"
#include "RKImageLoader/metadata/RKExiv2Wrapper.h"
#include "RKImageLoader/metadata/RKMetaDataField.h"
#include "RKImageLoader/metadata/exiv2/RKExiv2Library_p.h"
#include "support/RKChildProcess.h"
#include "support/RKMetadataFixtures.h"
#include "support/RKRestrictions.h"
#include "support/RKTestPictures.h"

#include <QColorSpace>
#include <QTest>

#include <array>
#include <cstdlib>
#include <functional>

using namespace RKMetadataFixtures;
using namespace RKRestrictions;
using RKTestPictures::read;
using RKTestPictures::write;
using Field = RKMetaDataFieldEnum;

namespace {

constexpr int kOldRating = 1;
constexpr int kNewRating = 5;

/// A file that holds all families, with the old rating.
QByteArray ratedFile(const char* format)
{
    return withMetadata(imageFile(format, QSize(200, 150)), [](Exiv2::Image& image) {
        image.exifData()["Exif.Image.Artist"] = std::string("artist");
        image.exifData()["Exif.Image.Rating"] = static_cast<uint16_t>(kOldRating);
        image.xmpData()["Xmp.xmp.Rating"] = std::to_string(kOldRating);
        image.xmpData()["Xmp.dc.title"] = std::string("lang=de Titel");
        image.iptcData()["Iptc.Application2.Caption"] = std::string("caption");
        image.iptcData().add(
            Exiv2::IptcKey("Iptc.Application2.Keywords"), Exiv2::StringValue("a").clone().get());
        image.iptcData().add(
            Exiv2::IptcKey("Iptc.Application2.Keywords"), Exiv2::StringValue("b").clone().get());
    });
}

/// A TIFF with two pages of one grey pixel.
QByteArray twoPages()
{
    const auto numbers = [](std::initializer_list<quint16> values) {
        QByteArray bytes;
        for (const quint16 value : values)
            bytes.append(RKByteReader::bytesOf(value, QSysInfo::LittleEndian));
        return bytes;
    };
    QByteArray file = QByteArray("II*\0\x08\0\0\0", 8);
    for (const quint16 next : std::initializer_list<quint16>{92, 0}) {
        file += numbers({6, 256, 3, 1, 0, 1, 0, 257, 3, 1, 0, 1, 0, 258, 3, 1, 0, 8, 0});
        file += numbers({262, 3, 1, 0, 1, 0, 273, 4, 1, 0, 86, 0, 279, 3, 1, 0, 1, 0, next, 0});
        file += QByteArray(6, 'x');
    }
    return file;
}

bool rate(const QString& path, int rating)
{
    RKExiv2Wrapper wrapper{QFileInfo(path)};
    wrapper.setAdobeRating(rating);
    return wrapper.save(QFileInfo(path));
}

// One for each of the processes that save into one file.
constexpr Field kSharedFields[] = {Field::originalFilename,
    Field::exifImageDescription,
    Field::copyright,
    Field::author,
    Field::exifUserComment};
constexpr int kSharedSaves = 60;

/// Gives the field one value after the other; how many were lost that had been saved, or were not
/// saved.
int saveShared(const QString& path, Field field)
{
    int lost = 0;
    QString saved = RKExiv2Wrapper(QFileInfo(path)).read(RKMetaDataField(field));
    for (int i = 1; i <= kSharedSaves; ++i) {
        RKExiv2Wrapper wrapper{QFileInfo(path)};
        lost += int(wrapper.read(RKMetaDataField(field)) != saved);
        saved = QString::number(i);
        wrapper.write(RKMetaDataField(field), saved);
        lost += int(!wrapper.save(QFileInfo(path)));
    }
    return lost;
}

/// What the test program does as its own child, named "TASK PATH".
int runAsChild(const QString& role)
{
    const QString task = role.section(QLatin1Char(' '), 0, 0);
    const QString path = role.section(QLatin1Char(' '), 1);
    if (task == QLatin1String("limited"))
        return limitFileSize(read(path).size() / 2) && rate(path, kNewRating);
    if (task == QLatin1String("ordinary"))
        return becomeOrdinaryUser() && rate(path, kNewRating);
    return saveShared(path, kSharedFields[task.back().digitValue()]);
}

} // namespace

class RKExiv2WrapperSaveTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:

    void init()
    {
        QTest::failOnWarning(QRegularExpression(QStringLiteral(".*")));
    }

    void everyFormatKeepsPixelsAndOtherData()
    {
        const OpenDir dir;
        const QString path = dir.filePath(QStringLiteral("ä %1"));
        for (const char* format : {"JPG", "PNG", "TIFF", "WEBP"}) {
            if (imageFile(format).isEmpty())
                continue; // Qt cannot write the format here.
            write(path, ratedFile(format));
            const QHash<QString, QString> before = RKExiv2Wrapper(path).allData();
            const QImage pixels(path);

            QVERIFY2(RKExiv2Wrapper(path).save(QFileInfo(path)), format);
            QCOMPARE(RKExiv2Wrapper(path).allData(), before);
            QVERIFY(rate(path, kNewRating));
            RKExiv2Wrapper after(path);
            QCOMPARE(after.adobeRating(), kNewRating);
            QCOMPARE(QImage(path), pixels);
            for (auto datum = before.begin(); datum != before.end(); ++datum) {
                if (!datum.key().contains(QLatin1String("Rating"))
                    && datum.key() != QLatin1String("Exif.Image.XMLPacket"))
                    QCOMPARE(after.allData().value(datum.key()), datum.value());
            }
            const QByteArray profile = QColorSpace(QColorSpace::DisplayP3).iccProfile();
            after.setIccData(profile);
            QVERIFY(after.save(QFileInfo(path)));
            after.setIccData(QByteArray()); // leaves the file's own
            QVERIFY(after.save(QFileInfo(path)));
            QCOMPARE(RKExiv2Wrapper(path).iccData(), profile);
            QCOMPARE(dir.entries().size(), 1);
        }
    }

    void formatsWithoutMetadataAreLeftAlone()
    {
        const QByteArray boxes("\0\0\0\x18"
                               "ftypheic\0\0\0\0mif1heic",
            24);
        const OpenDir dir;
        const QString path = dir.filePath(QStringLiteral("file"));
        RKExiv2Wrapper wrapper;
        wrapper.setAdobeRating(kNewRating);
        for (const QByteArray& file : {imageFile("BMP"), QByteArray(boxes + QByteArray(200, '\0'))})
        {
            write(path, file);
            QVERIFY(!wrapper.save(QFileInfo(path)));
            QCOMPARE(read(path), file);
            QBuffer buffer;
            buffer.setData(file);
            QVERIFY(!wrapper.save(&buffer));
            QCOMPARE(buffer.data(), file);
        }
        QTest::ignoreMessage(
            QtWarningMsg, QRegularExpression(QStringLiteral("^caught exception with errorCode=")));
        QBuffer buffer;
        buffer.setData(QByteArray(500, 'x'));
        QVERIFY(wrapper.save(&buffer));
        QCOMPARE(buffer.data(), QByteArray(500, 'x'));
    }

    void bufferIsClosedAndHoldsTheNewImage()
    {
        const QByteArray file = ratedFile("JPG");
        RKExiv2Wrapper wrapper(file);
        wrapper.setAdobeRating(kNewRating);
        QVERIFY(!wrapper.save(static_cast<QBuffer*>(nullptr)));

        QByteArray shared = file;
        QBuffer buffer(&shared);
        QVERIFY(buffer.open(QIODevice::ReadWrite));
        QVERIFY(wrapper.save(&buffer));
        QVERIFY(!buffer.isOpen());
        QCOMPARE(RKExiv2Wrapper(buffer.data()).adobeRating(), kNewRating);
        QCOMPARE(RKExiv2Wrapper(file).adobeRating(), kOldRating);

        // exiv2 changes TIFF files in place: the copy must not change with them.
        const QByteArray tiff = ratedFile("TIFF");
        QBuffer other;
        other.setData(tiff);
        QVERIFY(wrapper.save(&other));
        QCOMPARE(RKExiv2Wrapper(tiff).adobeRating(), kOldRating);
    }

    void changesOfOthersStay()
    {
        const OpenDir dir;
        const QString path = dir.filePath(QStringLiteral("file.jpg"));
        write(path, ratedFile("JPG"));
        const QFileInfo file(path);
        RKExiv2Wrapper fromFile(file);
        RKExiv2Wrapper fromBytes(file, read(path));
        QVERIFY(rate(path, kNewRating));
        fromFile.write(RKMetaDataField(Field::author), QStringLiteral("me"));
        fromBytes.write(RKMetaDataField(Field::keywords), QStringLiteral("c"));
        QVERIFY(fromFile.save(file));
        QVERIFY(fromBytes.save(file));
        const RKExiv2Wrapper after(file);
        QCOMPARE(after.adobeRating(), kNewRating);
        QCOMPARE(after.read(RKMetaDataField(Field::author)), QStringLiteral("me"));
        QCOMPARE(after.read(RKMetaDataField(Field::keywords)), QStringLiteral("c"));

        // A picture that was encoded anew in the meantime gets everything.
        write(path, imageFile("JPG"));
        QVERIFY(fromFile.save(file));
        QCOMPARE(RKExiv2Wrapper(file).adobeRating(), kOldRating);
        QCOMPARE(RKExiv2Wrapper(file).read(RKMetaDataField(Field::originalFilename)),
            QStringLiteral("caption"));
    }

    void removedDataLeaveTheFile()
    {
        const QSize size(200, 150);
        RKExiv2Wrapper full(ratedFile("JPG"));
        full.writeThumbnail(imageFile("JPG", QSize(20, 15)));
        full.updateFaces(size, RKFacePositions(size, QRect(10, 10, 40, 40), faceDetectionEngineHP));
        QBuffer buffer;
        buffer.setData(ratedFile("JPG"));
        QVERIFY(full.save(&buffer));

        RKExiv2Wrapper wrapper(buffer.data());
        QCOMPARE(wrapper.thumbnail().size(), QSize(20, 15));
        QCOMPARE(wrapper.numberOfRegions(), 1);
        wrapper.eraseThumbnail();
        QVERIFY(wrapper.removeFaceRegions());
        QVERIFY(wrapper.save(&buffer));
        const RKExiv2Wrapper after(buffer.data());
        QVERIFY(after.thumbnail().isNull());
        QCOMPARE(after.numberOfRegions(), 0);
        QCOMPARE(after.adobeRating(), kOldRating);
    }

    void whatHasNoPlaceIsRefused()
    {
        const QByteArray sidecar
            = "<x:xmpmeta xmlns:x='adobe:ns:meta/'><rdf:RDF xmlns:rdf='http://www.w3.org/1999/02/"
              "22-rdf-syntax-ns#'><rdf:Description rdf:about='' xmlns:xmp='http://ns.adobe.com/xap/"
              "1.0/' xmp:Rating='1'/></rdf:RDF></x:xmpmeta>";
        const auto setThumbnail = [](RKExiv2Wrapper& wrapper) {
            wrapper.writeThumbnail(imageFile("JPG", QSize(20, 15)));
        };
        const auto setProfile = [](RKExiv2Wrapper& wrapper) {
            wrapper.setIccData(QColorSpace(QColorSpace::DisplayP3).iccProfile());
        };
        const auto setNothing = [](RKExiv2Wrapper&) {};
        const std::tuple<QByteArray, std::function<void(RKExiv2Wrapper&)>, bool> rows[] = {
            {sidecar, setThumbnail, false},
            {sidecar, setProfile, false},
            // The second page is not a thumbnail.
            {twoPages(), setThumbnail, false},
            // What is not changed is not written, whatever exiv2 would make of it.
            {sidecar, setNothing, true},
            {QByteArray(sidecar).replace("xmp:Rating", "q:Rating").replace("xmlns:xmp", "xmlns:q"),
                setNothing,
                true},
            {ratedFile("JPG") + "trailer", setNothing, true}};
        for (const auto& [file, change, isSaved] : rows) {
            RKExiv2Wrapper wrapper(file);
            change(wrapper);
            if (!isSaved) {
                QTest::ignoreMessage(QtWarningMsg,
                    "the metadata of QBuffer are not saved: the format has no place for the change");
            }
            QBuffer buffer;
            buffer.setData(file);
            QVERIFY(buffer.open(QIODevice::ReadOnly));
            QCOMPARE(wrapper.save(&buffer), isSaved);
            QVERIFY(!buffer.isOpen());
            QCOMPARE(buffer.data(), file);
        }
    }

    void aSidecarTakesThePositionBesideItsReference()
    {
        const QByteArray sidecar
            = "<x:xmpmeta xmlns:x='adobe:ns:meta/'><rdf:RDF xmlns:rdf='http://www.w3.org/1999/02/"
              "22-rdf-syntax-ns#'><rdf:Description rdf:about='' xmlns:exif='http://ns.adobe.com/"
              "exif/1.0/' exif:GPSLatitudeRef='N' exif:GPSLongitudeRef='W'/></rdf:RDF></x:xmpmeta>";
        QBuffer buffer;
        buffer.setData(sidecar);
        RKExiv2Wrapper wrapper(sidecar);
        wrapper.setGeoPosition(RKGeoPosition(48.5, -2.25));
        QVERIFY(wrapper.save(&buffer));
        QCOMPARE(RKExiv2Wrapper(buffer.data()).geoPosition().latitude().degrees(), 48.5);
        QCOMPARE(RKExiv2Wrapper(buffer.data()).geoPosition().longitude().degrees(), -2.25);
    }

    void xmpThatCannotBeReadStays()
    {
        QByteArray file = withMetadata(imageFile("JPG"), [](Exiv2::Image& image) {
            image.xmpData()["Xmp.dc.format"] = std::string("image/jpeg");
        });
        // A prefix that nobody has declared.
        file.replace("dc:format=", "xx:format=");
        const QByteArray packet = file.mid(file.indexOf("<?xpacket begin"),
            file.indexOf("<?xpacket end") - file.indexOf("<?xpacket begin"));
        QVERIFY(packet.contains("xx:format"));
        QBuffer buffer;
        buffer.setData(file);
        RKExiv2Wrapper wrapper;
        wrapper.setFlashUsed(true);
        QVERIFY(wrapper.save(&buffer));
        QVERIFY(buffer.data().contains(packet));
        QVERIFY(RKExiv2Wrapper(buffer.data()).flashUsed());
    }

    void unknownPartsOfXmpStay()
    {
        // What exiv2 loses when it encodes them anew, in a packet that calls its namespaces
        // otherwise.
        const QByteArrayList parts{" rdf:about=\"uuid:1\"",
            "<a:RegionList><rdf:Bag><rdf:li><rdf:Bag><rdf:li>nested</rdf:li></rdf:Bag></rdf:li>",
            "<a:Empty></a:Empty>",
            "<!-- remark -->",
            "<a:Told rdf:ID=\"id\">text</a:Told>",
            "xap:CreatorTool='tool'"};
        const std::string packet
            = "<x:xmpmeta xmlns:x='adobe:ns:meta/'><rdf:RDF"
              " xmlns:rdf='http://www.w3.org/1999/02/22-rdf-syntax-ns#'><rdf:Description"
              " rdf:about=\"uuid:1\" xmlns:xap='http://ns.adobe.com/xap/1.0/' xmlns:a='http://a/'"
              " xap:CreatorTool='tool' xap:Rating='1'><!-- remark --><a:Empty></a:Empty>"
              "<a:Told rdf:ID=\"id\">text</a:Told><a:RegionList><rdf:Bag><rdf:li><rdf:Bag><rdf:li>nested"
              "</rdf:li></rdf:Bag></rdf:li></rdf:Bag></a:RegionList></rdf:Description></rdf:RDF>"
              "</x:xmpmeta>"
            + std::string(900, ' ') + "<?xpacket end='w'?>";
        QBuffer buffer;
        buffer.setData(withMetadata(imageFile("JPG"), [&](Exiv2::Image& image) {
            image.writeXmpFromPacket(true);
            image.xmpPacket() = packet;
        }));
        QByteArrayList files;
        for (const int rating : {4, 1, 4, 1}) {
            RKExiv2Wrapper wrapper(buffer.data());
            wrapper.setAdobeRating(rating);
            wrapper.write(RKMetaDataField(Field::exifImageDescription), QStringLiteral("text"));
            QVERIFY(wrapper.save(&buffer));
            QCOMPARE(RKExiv2Wrapper(buffer.data()).adobeRating(), rating);
            for (const QByteArray& part : parts)
                QVERIFY2(buffer.data().contains(part), part.constData());
            QVERIFY(
                buffer.data().contains(QByteArray(" xap:Rating=\"" + QByteArray::number(rating))));
            QCOMPARE(buffer.data().count("Rating"), 2);
            files.append(buffer.data());
        }
        // The padding has taken what was added, and nothing piles up.
        QCOMPARE(files.at(3), files.at(1));
    }

    void foreignPrefixesDoNotReachOtherFiles()
    {
        QByteArray poison = withMetadata(imageFile("JPG"), [](Exiv2::Image& image) {
            image.xmpData()["Xmp.dc.format"] = std::string("image/jpeg");
            image.xmpData()["Xmp.TAMO.Rating"] = std::string("4");
            image.xmpData()["Xmp.mwg-rs.Any"] = std::string("2");
        });
        poison.replace("http://purl.org/dc/elements/1.1/", "http://purl.org/xx/elements/1.1/");
        poison.replace("\"namespaceTAMO/\"", "\"anotherNamespa\"");
        poison.replace("mwg-rs:", "mwg_rs:").replace("xmlns:mwg-rs", "xmlns:mwg_rs");
        QVERIFY(poison.contains("xmlns:mwg_rs"));
        const QByteArray plain = imageFile("JPG");
        const QSize size(48, 32);
        for (const bool readBefore : {true, false}) {
            RKExiv2Wrapper wrapper(plain);
            if (readBefore)
                QVERIFY(!RKExiv2Wrapper(poison).allData().isEmpty());
            wrapper.setTamoRating(3);
            wrapper.write(RKMetaDataField(Field::exifImageDescription), QStringLiteral("text"));
            wrapper.updateFaces(
                size, RKFacePositions(size, QRect(0, 0, 9, 9), faceDetectionEngineHP));
            if (!readBefore)
                QVERIFY(!RKExiv2Wrapper(poison).allData().isEmpty());
            QBuffer buffer;
            buffer.setData(plain);
            QVERIFY(wrapper.save(&buffer));

            const QByteArray& file = buffer.data();
            QVERIFY(file.contains("xmlns:dc=\"http://purl.org/dc/elements/1.1/\""));
            QVERIFY(file.contains("xmlns:TAMO=\"namespaceTAMO/\""));
            QVERIFY(file.contains("mwg-rs:Regions"));
            QVERIFY(!file.contains("xx/elements"));
            QVERIFY(!file.contains("anotherNamespa"));
            QVERIFY(!file.contains("mwg_rs"));
            const RKExiv2Wrapper read(file);
            QCOMPARE(read.tamoRating(), 3);
            QCOMPARE(read.numberOfRegions(), 1);
            QCOMPARE(
                read.read(RKMetaDataField(Field::exifImageDescription)), QStringLiteral("text"));
        }
    }

    void failuresLeaveTheOldFile()
    {
        const OpenDir dir;
        const QString path = dir.filePath(QStringLiteral("file.jpg"));
        const QByteArray file = ratedFile("JPG");
        write(path, file);
        const std::tuple<const char*, mode_t, Exiv2::ErrorCode> rows[]
            = {{"limited ", 0644, Exiv2::ErrorCode::kerTransferFailed},
                {"ordinary ", 0444, Exiv2::ErrorCode::kerFileOpenFailed}};
        for (const auto& [task, mode, code] : rows) {
            QVERIFY(setMode(path, mode));
            const RKChildProcess::Result result = RKChildProcess::run(QLatin1String(task) + path);
            QCOMPARE(result.exitCode, 0);
            const QString told = QStringLiteral("errorCode=%1 ").arg(static_cast<int>(code));
            QVERIFY2(result.messages.contains(told), qPrintable(result.messages));
            QCOMPARE(read(path), file);
            QCOMPARE(dir.entries().size(), 1);
        }
    }

    void linksAndModeStay()
    {
        const OpenDir dir;
        const QString path = dir.filePath(QStringLiteral("file.jpg"));
        const QString symbolic = dir.filePath(QStringLiteral("symbolic.jpg"));
        const QString hard = dir.filePath(QStringLiteral("hard.jpg"));
        write(path, ratedFile("JPG"));
        QVERIFY(setMode(path, 0640));
        QVERIFY(QFile::link(path, symbolic));
        QVERIFY(rate(symbolic, 2));
        QVERIFY(QFileInfo(symbolic).isSymLink());
        QCOMPARE(RKExiv2Wrapper(path).adobeRating(), 2);
        QCOMPARE(status(path).st_mode & 07777, mode_t(0640));

        QCOMPARE(
            ::link(QFile::encodeName(path).constData(), QFile::encodeName(hard).constData()), 0);
        QVERIFY(rate(path, 3));
        QCOMPARE(RKExiv2Wrapper(hard).adobeRating(), 3);
        QCOMPARE(status(hard).st_ino, status(path).st_ino);
    }

    void pipeIsNotWaitedFor()
    {
        const OpenDir dir;
        const QString path = dir.filePath(QStringLiteral("pipe.jpg"));
        QCOMPARE(::mkfifo(QFile::encodeName(path).constData(), 0666), 0);
        RKExiv2Wrapper wrapper(ratedFile("JPG"));
        const QString message
            = QStringLiteral("^caught exception with errorCode=%1 msg=.*pipe\\.jpg$");
        QTest::ignoreMessage(QtWarningMsg,
            QRegularExpression(
                message.arg(static_cast<int>(Exiv2::ErrorCode::kerDataSourceOpenFailed))));
        QVERIFY(!wrapper.save(QFileInfo(path)));
    }

    void processesKeepEachOthersValues()
    {
        const OpenDir dir;
        const QString path = dir.filePath(QStringLiteral("file.jpg"));
        write(path, ratedFile("JPG"));
        std::array<QProcess, std::size(kSharedFields)> children;
        for (size_t i = 0; i < children.size(); ++i)
            RKChildProcess::start(children[i], QStringLiteral("share%1 ").arg(i) + path);
        for (QProcess& child : children) {
            QVERIFY(child.waitForFinished(100000));
            QVERIFY2(child.exitCode() == 0, child.readAllStandardError().constData());
        }
        const RKExiv2Wrapper last{QFileInfo(path)};
        for (const Field field : kSharedFields)
            QCOMPARE(last.read(RKMetaDataField(field)), QString::number(kSharedSaves));
        QCOMPARE(dir.entries().size(), 1);
    }
};

int main(int argc, char** argv)
{
    QGuiApplication application(argc, argv);
    if (const QByteArray role = RKChildProcess::role(); !role.isEmpty())
        // At once: a leak checker can't look at a process that has changed its user, and would
        // replace the exit code.
        std::_Exit(runAsChild(QString::fromUtf8(role)));
    RKExiv2WrapperSaveTest test;
    return QTest::qExec(&test, argc, argv);
}

#include "RKExiv2WrapperSaveTest.moc"
