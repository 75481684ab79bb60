#include "RKImageLoader/files/RKImageFileParts_p.h"
#include "support/RKMetadataFixtures.h"

#include <QGuiApplication>
#include <QTest>

using namespace RKMetadataFixtures;
using Content = RKImageFileParts::Content;

namespace {

QByteArray fileWithMetadata(const char* format)
{
    const QByteArray file = imageFile(format);
    return file.isEmpty() ? file : withMetadata(file, [](Exiv2::Image& image) {
        image.exifData()["Exif.Image.Make"] = std::string("a long name");
        image.iptcData()["Iptc.Application2.Caption"] = std::string("caption");
        image.xmpData()["Xmp.dc.format"] = std::string("image/x");
    });
}

} // namespace

class RKImageFilePartsTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:

    void init()
    {
        QTest::failOnWarning(QRegularExpression(QStringLiteral(".*")));
    }

    void partsMakeUpTheFile()
    {
        for (const char* format : {"JPG", "PNG", "WEBP"}) {
            const QByteArray file = fileWithMetadata(format);
            if (file.isEmpty())
                continue; // Qt cannot write the format here.
            const RKImageFileParts parts(file);
            QVERIFY2(parts.isValid(), format);
            QCOMPARE(parts.file(), file);
            QCOMPARE(parts.parts(Content::Exif).size(), 1);
            QCOMPARE(parts.parts(Content::Xmp).size(), 1);
        }
        QVERIFY(!RKImageFileParts(imageFile("BMP")).isValid());
        QVERIFY(!RKImageFileParts(QByteArray()).isValid());
    }

    void damagedFilesDoNoHarm_data()
    {
        QTest::addColumn<QByteArray>("file");
        for (const char* format : {"JPG", "PNG", "WEBP"})
            QTest::newRow(format) << fileWithMetadata(format);
        const auto sized = [](quint32 size) {
            QByteArray bytes(4, '\0');
            qToBigEndian(size, bytes.data());
            return bytes;
        };
        QTest::newRow("JPEG 2000")
            << QByteArray(QByteArray("\0\0\0\x0cjP  \r\n\x87\n", 12) + sized(12) + "jp2habcd"
                   + sized(28) + "uuidJpgTiffExif->JP2II*." + sized(0) + "jp2cpixels");
        const QByteArray resource
            = QByteArray("8BIM\x04\x22\0\0", 8) + sized(3) + QByteArray("II*\0", 4);
        QTest::newRow("Photoshop") << QByteArray(QByteArray("8BPS\0\1", 6) + QByteArray(20, '\0')
            + sized(2) + "tt" + sized(quint32(resource.size())) + resource + "layers");
    }

    void damagedFilesDoNoHarm()
    {
        QFETCH(QByteArray, file);
        if (file.isEmpty())
            QSKIP("Qt cannot write the format here.");
        QVERIFY(RKImageFileParts(file).isValid());
        const qsizetype step = qMax<qsizetype>(1, file.size() / 500);
        for (qsizetype size = 0; size <= file.size(); size += size < 300 ? 1 : step) {
            for (const int value : {-1, 0x00, 0x7f, 0xff}) {
                QByteArray damaged = value < 0 ? file.left(size) : file;
                if (value >= 0 && size < file.size())
                    damaged[size] = char(value);
                RKImageFileParts parts(damaged);
                const QByteArray again = parts.file();
                // A wrong count of all bytes and wrong flags are mended in WebP.
                if (parts.isValid() && !damaged.startsWith("RIFF"))
                    QCOMPARE(again, damaged);
                parts.setExifBlock(parts.exifBlock() + "x");
                parts.replace(Content::Xmp, {"part"});
                parts.file();
            }
        }
    }
};

QTEST_MAIN(RKImageFilePartsTest)
#include "RKImageFilePartsTest.moc"
