#include "RKImageLoader/metadata/RKImageFileParts_p.h"
#include "RKMetadataFixtures.h"

#include <QColorSpace>
#include <QDirIterator>
#include <QGuiApplication>
#include <QTest>

using namespace RKMetadataFixtures;
using Content = RKImageFileParts::Content;

namespace {

constexpr Content kMetadata[] = {Content::Exif, Content::Iptc, Content::Xmp};

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
    void init();

    void partsMakeUpTheFile_data();
    void partsMakeUpTheFile();
    void metadataAreExchanged_data();
    void metadataAreExchanged();
    void profileIsEmbedded_data();
    void profileIsEmbedded();
    void blockThatIsTooLargeIsRefused();
    void firstOfTwoExifSegmentsCounts();
    void damagedFilesDoNoHarm_data();
    void damagedFilesDoNoHarm();
    void samplesKeepEveryByte();
};

void RKImageFilePartsTest::init()
{
    QTest::failOnWarning(QRegularExpression(QStringLiteral(".*")));
}

void RKImageFilePartsTest::partsMakeUpTheFile_data()
{
    QTest::addColumn<QByteArray>("format");
    for (const char* format : {"JPG", "PNG", "WEBP"})
        QTest::newRow(format) << QByteArray(format);
}

void RKImageFilePartsTest::partsMakeUpTheFile()
{
    QFETCH(QByteArray, format);
    const QByteArray file = fileWithMetadata(format.constData());
    if (file.isEmpty())
        QSKIP("Qt cannot write the format here.");
    const RKImageFileParts parts(file);
    QVERIFY(parts.isValid());
    QCOMPARE(parts.file(), file);
    QCOMPARE(parts.parts(Content::Exif).size(), 1);
    QCOMPARE(parts.parts(Content::Xmp).size(), 1);
    QVERIFY(!RKImageFileParts(imageFile("BMP")).isValid());
    QVERIFY(!RKImageFileParts(QByteArray()).isValid());
}

void RKImageFilePartsTest::metadataAreExchanged_data()
{
    partsMakeUpTheFile_data();
}

void RKImageFilePartsTest::metadataAreExchanged()
{
    QFETCH(QByteArray, format);
    const QByteArray file = fileWithMetadata(format.constData());
    if (file.isEmpty())
        QSKIP("Qt cannot write the format here.");
    const QImage pixels = QImage::fromData(file);
    const RKImageFileParts source(file);

    RKImageFileParts parts(file);
    for (const Content content : kMetadata)
        parts.replace(content, {});
    QVERIFY(open(parts.file())->exifData().empty());
    QVERIFY(open(parts.file())->xmpData().empty());
    QCOMPARE(QImage::fromData(parts.file()), pixels);

    for (const Content content : kMetadata)
        parts.replace(content, source.parts(content));
    const QByteArray restored = parts.file();
    QCOMPARE(QImage::fromData(restored), pixels);
    const RKExiv2ImagePtr image = open(restored);
    QCOMPARE(image->exifData().count(), 1);
    QCOMPARE(image->xmpData().count(), 1);
    QCOMPARE(image->iptcData().count(), open(file)->iptcData().count());
}

void RKImageFilePartsTest::profileIsEmbedded_data()
{
    partsMakeUpTheFile_data();
}

void RKImageFilePartsTest::profileIsEmbedded()
{
    QFETCH(QByteArray, format);
    const QByteArray file = imageFile(format.constData());
    if (file.isEmpty())
        QSKIP("Qt cannot write the format here.");
    const QByteArray profile = QColorSpace(QColorSpace::DisplayP3).iccProfile();
    RKImageFileParts parts(file);
    if (!parts.setIccProfile(profile)) {
        QCOMPARE(format, QByteArray("JPG"));
        return;
    }
    QCOMPARE(RKExiv2Compat::iccProfile(*open(parts.file())), profile);
    const QImage image = QImage::fromData(parts.file());
    QCOMPARE(image.size(), QSize(48, 32));
    QCOMPARE(image.colorSpace(), QColorSpace(QColorSpace::DisplayP3));
}

void RKImageFilePartsTest::blockThatIsTooLargeIsRefused()
{
    const QByteArray file = fileWithMetadata("JPG");
    RKImageFileParts parts(file);
    const QByteArray block = parts.exifBlock();
    QVERIFY(block.startsWith("II*"));
    QVERIFY(parts.setExifBlock(block + QByteArray(65527 - block.size(), '\0')));
    QCOMPARE(open(parts.file())->exifData().count(), 1);
    QVERIFY(!parts.setExifBlock(QByteArray(65528, '\0')));
    QCOMPARE(parts.exifBlock().size(), 65527);
    QVERIFY(!RKImageFileParts(imageFile("JPG")).setExifBlock(block));
}

void RKImageFilePartsTest::firstOfTwoExifSegmentsCounts()
{
    const QByteArray file = fileWithMetadata("JPG");
    RKImageFileParts parts(file);
    const QByteArray first = parts.parts(Content::Exif).first();
    QByteArray second = first;
    second.replace("a long name", "other names");
    parts.replace(Content::Exif, {first, second});
    QVERIFY(parts.exifBlock().contains("a long name"));
    QByteArray changed = parts.exifBlock();
    changed.replace("a long name", "a better one");
    QVERIFY(parts.setExifBlock(changed));
    QCOMPARE(parts.parts(Content::Exif).size(), 2);
    QVERIFY(parts.parts(Content::Exif).at(0).contains("a better one"));
    QCOMPARE(parts.parts(Content::Exif).at(1), second);
}

void RKImageFilePartsTest::damagedFilesDoNoHarm_data()
{
    QTest::addColumn<QByteArray>("file");
    for (const char* format : {"JPG", "PNG", "WEBP"})
        QTest::newRow(format) << fileWithMetadata(format);
    const auto sized = [](quint32 size) {
        QByteArray bytes(4, '\0');
        qToBigEndian(size, bytes.data());
        return bytes;
    };
    QTest::newRow("JPEG 2000") << QByteArray(QByteArray("\0\0\0\x0cjP  \r\n\x87\n", 12) + sized(12)
        + "jp2habcd" + sized(28) + "uuidJpgTiffExif->JP2II*." + sized(0) + "jp2cpixels");
    const QByteArray resource
        = QByteArray("8BIM\x04\x22\0\0", 8) + sized(3) + QByteArray("II*\0", 4);
    QTest::newRow("Photoshop") << QByteArray(QByteArray("8BPS\0\1", 6) + QByteArray(20, '\0')
        + sized(2) + "tt" + sized(quint32(resource.size())) + resource + "layers");
}

void RKImageFilePartsTest::damagedFilesDoNoHarm()
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

void RKImageFilePartsTest::samplesKeepEveryByte()
{
    QDirIterator samples(QStringLiteral(RK_SAMPLES), QDir::Files, QDirIterator::Subdirectories);
    if (!samples.hasNext())
        QSKIP("The samples are missing.");
    int valid = 0;
    while (samples.hasNext()) {
        QFile file(samples.next());
        QVERIFY(file.open(QIODevice::ReadOnly));
        const QByteArray bytes = file.readAll();
        const RKImageFileParts parts(bytes);
        if (!parts.isValid() || file.fileName().contains(QLatin1String("broken")))
            continue;
        QVERIFY2(parts.file() == bytes, qPrintable(file.fileName()));
        ++valid;
    }
    QVERIFY(valid > 100);
}

QTEST_MAIN(RKImageFilePartsTest)
#include "RKImageFilePartsTest.moc"
