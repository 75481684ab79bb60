#include "RKImageLoader/files/RKByteReader_p.h"
#include "RKImageLoader/files/RKImageFileParts_p.h"
#include "RKImageLoader/files/RKPhotoshopResources_p.h"
#include "RKImageLoader/files/RKPieceSource_p.h"
#include "support/RKMetadataFixtures.h"
#include "support/RKQuietTest.h"
#include "support/RKTestPsd.h"

#include <QGuiApplication>

using namespace RKMetadataFixtures;
using Content = RKImageFileParts::Content;

namespace {

constexpr Content kContents[] = {Content::Exif, Content::Iptc, Content::Xmp, Content::Icc};

QByteArray number32(quint32 number)
{
    return RKByteReader::bytesOf(number);
}

QByteArray fileWithMetadata(const char* format)
{
    const QByteArray file = imageFile(format);
    return file.isEmpty() ? file : withMetadata(file, [](Exiv2::Image& image) {
        image.exifData()["Exif.Image.Make"] = std::string("a long name");
        image.iptcData()["Iptc.Application2.Caption"] = std::string("caption");
        image.xmpData()["Xmp.dc.format"] = std::string("image/x");
    });
}

QByteArray box(const QByteArray& type, const QByteArray& data)
{
    return number32(quint32(8 + data.size())) + type + data;
}

QByteArray jpeg2000()
{
    const QByteArray header
        = box("ihdr", number32(32) + number32(48) + QByteArray("\0\3\7\7\0\0", 6))
        + box("colr", QByteArray("\1\0\0", 3) + number32(16));
    return box("jP  ", "\r\n\x87\n") + box("ftyp", "jp2 " + number32(0) + "jp2 ")
        + box("jp2h", header) + box("xml ", "<a/>") + number32(0) + "jp2c" + QByteArray(200, 'p');
}

QByteArray photoshop()
{
    return RKTestPsd{.size = {2, 1},
        .resources = {{0x03ed, "odd"}, {0x0422, QByteArray("II*\0\x8\0\0\0\0\0\0\0\0\0", 14)}},
        .channels = {"ab", "cd", "ef"}}
        .bytes();
}

/// Qt may be unable to write some; these are empty.
QList<std::pair<const char*, QByteArray>> files()
{
    return {{"JPEG", fileWithMetadata("JPG")},
        {"PNG", fileWithMetadata("PNG")},
        {"WebP", fileWithMetadata("WEBP")},
        {"WebP without metadata", imageFile("WEBP")},
        {"JPEG 2000", jpeg2000()},
        {"Photoshop", photoshop()}};
}

void addFiles()
{
    QTest::addColumn<QByteArray>("file");
    const auto all = files();
    for (const auto& [name, file] : all) {
        if (!file.isEmpty())
            QTest::newRow(name) << file;
    }
}

QByteArray jpegSegment(char marker, const QByteArray& data)
{
    return QByteArray("\xff") + marker + RKByteReader::bytesOf(quint16(data.size() + 2)) + data;
}

/// A JPEG without pixels.
QByteArray jpegOf(const QByteArray& segments)
{
    return "\xff\xd8" + segments + "\xff\xd9";
}

QByteArray block(const RKImageFileParts& file, Content content)
{
    switch (content) {
    case Content::Exif: return file.exifBlock();
    case Content::Iptc: return file.iptcBlock();
    case Content::Xmp: return file.xmpPacket();
    default: return file.iccProfile();
    }
}

bool setBlock(RKImageFileParts& file, Content content, const QByteArray& block)
{
    switch (content) {
    case Content::Exif: return file.setExifBlock(block);
    case Content::Iptc: return file.setIptcBlock(block);
    case Content::Xmp: return file.setXmpPacket(block);
    default: return file.setIccProfile(block);
    }
}

/// An odd number of bytes, and for a profile more than one JPEG segment takes.
QByteArray sampleOf(Content content)
{
    switch (content) {
    case Content::Exif: return QByteArray("II*\0\x8\0\0\0\0\0\0\0\0\0", 14) + QByteArray(9, 'e');
    case Content::Xmp: return "<x:xmpmeta xmlns:x='adobe:ns:meta/'/>";
    case Content::Iptc: return QByteArray("\x1c\2\x78\0\4abcd", 9);
    default: return number32(70001) + QByteArray(69997, 'p');
    }
}

/// A file whose pixels cannot be read.
class SourceWithoutPixels final : public RKByteSource
{
public:
    SourceWithoutPixels(const QByteArray& bytes, qint64 pixels, qint64 end)
        : m_bytes(bytes)
        , m_pixels(pixels)
        , m_end(end)
    {
    }

    qint64 size() const override
    {
        return m_bytes.size();
    }

    bool read(qint64 offset, qint64 size, QByteArray* bytes) const override
    {
        // The window that headers are read through may reach into the pixels.
        constexpr qint64 kWindow = 4096;
        *bytes = m_bytes.mid(offset, size);
        return size <= kWindow || offset >= m_end || offset + size <= m_pixels;
    }

private:
    QByteArray m_bytes;
    qint64 m_pixels;
    qint64 m_end;
};

} // namespace

class RKImageFilePartsTest : public RKQuietTest
{
    Q_OBJECT

private Q_SLOTS:

    void partsMakeUpTheFile_data()
    {
        addFiles();
    }

    void partsMakeUpTheFile()
    {
        QFETCH(QByteArray, file);
        const RKImageFileParts parts(file);
        QVERIFY(parts.isValid());
        QCOMPARE(parts.file(), file);
        QVERIFY(!RKImageFileParts(imageFile("BMP")).isValid());
        QVERIFY(!RKImageFileParts(QByteArray()).isValid());
    }

    void aSkeletonHasTheMetadata_data()
    {
        addFiles();
    }

    void aSkeletonHasTheMetadata()
    {
        QFETCH(QByteArray, file);
        const QByteArray skeleton = RKImageFileParts(file).skeleton();
        const RKExiv2ImagePtr whole = open(file);
        const RKExiv2ImagePtr small = open(skeleton);
        QCOMPARE(small->mimeType(), whole->mimeType());
        QCOMPARE(small->pixelWidth(), whole->pixelWidth());
        QCOMPARE(small->exifData().count(), whole->exifData().count());
        QCOMPARE(small->iptcData().count(), whole->iptcData().count());
        QCOMPARE(small->xmpPacket(), whole->xmpPacket());
    }

    void metadataAreReplacedAlone_data()
    {
        addFiles();
    }

    void metadataAreReplacedAlone()
    {
        QFETCH(QByteArray, file);
        const auto source = std::make_shared<RKMemorySource>(file);
        const RKImageFileParts before(source);
        for (const Content content : kContents) {
            if (content == Content::Iptc && file.startsWith("RIFF"))
                continue;
            const QByteArray wanted = sampleOf(content);
            RKImageFileParts changed(source);
            QVERIFY(setBlock(changed, content, wanted));
            const RKImageFileParts after(std::make_shared<RKPieceSource>(changed.pieces(), source));
            QVERIFY(after.isValid());
            QCOMPARE(block(after, content), wanted);
            QCOMPARE(RKImageFileParts::firstDifference(before, after, {content}), QString());
            QVERIFY(!RKImageFileParts::firstDifference(before, after, {}).isEmpty());
            for (const Content other : kContents) {
                if (other != content)
                    QCOMPARE(block(after, other), block(before, other));
            }
            // And back again, also to nothing.
            QVERIFY(setBlock(changed, content, block(before, content)));
            QCOMPARE(block(changed, content), block(before, content));
            QCOMPARE(RKImageFileParts::firstDifference(before, changed, {content}), QString());
            // Readers must find the picture.
            QCOMPARE(open(after.skeleton())->pixelWidth(), open(file)->pixelWidth());
        }
    }

    void pixelsAreNotRead()
    {
        const QByteArray pixels(5'000'000, 'p');
        const QByteArray png = QByteArray("\x89PNG\r\n\x1a\n") + number32(13) + "IHDR"
            + QByteArray(17, '\1') + number32(quint32(pixels.size())) + "IDAT" + pixels
            + number32(0) + number32(3) + "tEXt" + QByteArray("a\0b", 3) + number32(0) + number32(0)
            + "IEND" + number32(0);
        const qint64 start = png.indexOf(pixels);
        const auto source
            = std::make_shared<SourceWithoutPixels>(png, start, start + pixels.size());
        RKImageFileParts file(source);
        const RKImageFileParts before = file;
        QVERIFY(file.isValid());
        QVERIFY(file.setXmpPacket("packet"));
        QVERIFY(file.skeleton().size() < 200);
        const RKImageFileParts after(std::make_shared<RKPieceSource>(file.pieces(), source));
        QCOMPARE(RKImageFileParts::firstDifference(before, after, {Content::Xmp}), QString());
        QVERIFY(file.file().isEmpty());
    }

    void unreadableIsNotUnknown()
    {
        const auto source = std::make_shared<SourceWithoutPixels>(
            QByteArray("\xff\xd8\xff\xe1\xff\xff") + QByteArray(70000, 'x'), 0, 70000);
        QVERIFY(RKImageFileParts(source).hasReadError());
        QVERIFY(!RKImageFileParts(QByteArray("text")).hasReadError());
    }

    void differencesAreNamed_data()
    {
        QTest::addColumn<QByteArray>("file");
        QTest::addColumn<QByteArray>("place");
        QTest::addColumn<QString>("name");
        const QByteArray resources
            = QByteArray("Photoshop 3.0\0", 14) + RKPhotoshopResources::resource(0x03f2, "path");
        QTest::newRow("segment") << jpegOf(jpegSegment('\xe2', QByteArray("MPF\0II", 6)))
                                 << QByteArray("II") << QStringLiteral("segment APP2 MPF");
        QTest::newRow("resource") << jpegOf(jpegSegment('\xed', resources)) << QByteArray("path")
                                  << QStringLiteral("segment APP13 resource 0x03f2");
        QTest::newRow("trailer") << QByteArray(jpegOf(jpegSegment('\xfe', "text")) + "trailer")
                                 << QByteArray("trailer") << QStringLiteral("picture");
        QTest::newRow("chunk") << imageFile("PNG") << QByteArray("IDAT")
                               << QStringLiteral("chunk IDAT");
        QTest::newRow("box") << jpeg2000() << QByteArray("<a/>") << QStringLiteral("box xml ");
        QTest::newRow("code stream")
            << jpeg2000() << QByteArray("pppp") << QStringLiteral("box jp2c");
        QTest::newRow("Photoshop's resource")
            << photoshop() << QByteArray("odd") << QStringLiteral("resource 0x03ed");
        QTest::newRow("Photoshop's pixels")
            << photoshop() << QByteArray("cd") << QStringLiteral("layers and pixels");
    }

    void differencesAreNamed()
    {
        QFETCH(QByteArray, file);
        QFETCH(QByteArray, place);
        QFETCH(QString, name);
        const QList<Content> all(std::begin(kContents), std::end(kContents));
        QByteArray changed = file;
        const qsizetype at = changed.lastIndexOf(place) + place.size() - 1;
        changed[at] = char(changed[at] ^ 1);
        const auto differenceTo = [&](const QByteArray& other) {
            return RKImageFileParts::firstDifference(
                RKImageFileParts(file), RKImageFileParts(other), all);
        };
        QCOMPARE(differenceTo(file), QString());
        if (name == QLatin1String("chunk IDAT"))
            QVERIFY(!differenceTo(changed).isEmpty());
        else
            QCOMPARE(differenceTo(changed), name);
    }

    void otherResourcesOfASegmentStay()
    {
        const QByteArray name("Photoshop 3.0\0", 14);
        const QByteArray path = RKPhotoshopResources::resource(0x07d0, QByteArray(90, 'p'));
        const QByteArray captions = RKPhotoshopResources::resource(0x0404, "captions");
        const QByteArray all = path + captions + path;
        // One resource reaches from the first segment into the second; the third is for itself.
        const QByteArray file = jpegOf(jpegSegment('\xed', name + all.left(50))
            + jpegSegment('\xed', name + all.mid(50)) + jpegSegment('\xed', name + path));
        RKImageFileParts parts(file);
        QCOMPARE(parts.iptcBlock(), QByteArray("captions"));
        QVERIFY(parts.setIptcBlock(QByteArray(70000, 'c')));
        const RKImageFileParts after(parts.file());
        QCOMPARE(after.iptcBlock(), QByteArray(70000, 'c'));
        QCOMPARE(RKImageFileParts::firstDifference(RKImageFileParts(file), after, {Content::Iptc}),
            QString());
        QCOMPARE(after.parts(Content::Iptc).last(), jpegSegment('\xed', name + path));
        QVERIFY(parts.setIptcBlock({}));
        QCOMPARE(parts.parts(Content::Iptc).first(), jpegSegment('\xed', name + path + path));
    }

    void furtherPicturesAreFound()
    {
        // A segment between the list of pictures and the second one grows.
        const auto little
            = [](auto number) { return RKByteReader::bytesOf(number, QSysInfo::LittleEndian); };
        const QByteArray entry = little(quint32(0)) + little(quint32(9));
        const QByteArray list = QByteArray("MPF\0II*\0\x8\0\0\0", 12) + little(quint16(1))
            + little(quint16(0xb002)) + little(quint16(7)) + little(quint32(32))
            + little(quint32(26)) + little(quint32(0)) + entry + little(quint64(0)) + entry
            + little(quint32(0x1234)) + little(quint32(0));
        const QByteArray profile = QByteArray("ICC_PROFILE\0\1\1", 14) + "profile";
        const QByteArray file
            = jpegOf(jpegSegment('\xe2', list) + jpegSegment('\xe2', profile)) + "second";
        RKImageFileParts parts(file);
        QVERIFY(parts.setIccProfile("another profile"));
        const QByteArray changed = parts.file();
        QCOMPARE(changed.size(), file.size() + 8);
        QVERIFY(changed.contains(little(quint32(0x123c))));
        const RKImageFileParts after(changed);
        QCOMPARE(RKImageFileParts::firstDifference(RKImageFileParts(file), after, {Content::Icc}),
            QString());
        QByteArray wrong = changed;
        wrong.replace(little(quint32(0x123c)), little(quint32(0x1234)));
        QCOMPARE(RKImageFileParts::firstDifference(
                     RKImageFileParts(file), RKImageFileParts(wrong), {Content::Icc}),
            QStringLiteral("segment APP2 MPF"));
        // A new segment comes before the list.
        QVERIFY(parts.setXmpPacket("packet"));
        QVERIFY(parts.file().contains(little(quint32(0x123c))));
    }

    void exifInATextStaysThere()
    {
        const QByteArray png = imageFile("PNG");
        RKImageFileParts parts(png);
        const QByteArray text = "Raw profile type APP1" + QByteArray(1, '\0') + "\nexif\n      14\n"
            + QByteArray("Exif\0\0II*xyzab", 14).toHex() + '\n';
        parts.replace(
            Content::Exif, {number32(quint32(text.size())) + "tEXt" + text + number32(0)});
        QCOMPARE(parts.exifBlock(), QByteArray("II*xyzab"));
        QVERIFY(parts.setExifBlock("II*other"));
        const RKImageFileParts after(parts.file());
        QVERIFY(after.parts(Content::Exif).value(0).contains("APP1"));
        QCOMPARE(after.exifBlock(), QByteArray("II*other"));
    }

    void damagedFilesDoNoHarm_data()
    {
        addFiles();
    }

    void damagedFilesDoNoHarm()
    {
        QFETCH(QByteArray, file);
        const qsizetype step = qMax<qsizetype>(1, file.size() / 500);
        for (qsizetype size = 0; size <= file.size(); size += size < 300 ? 1 : step) {
            for (const int value : {-1, 0x00, 0x7f, 0xff}) {
                QByteArray damaged = value < 0 ? file.left(size) : file;
                if (value >= 0 && size < file.size())
                    damaged[size] = char(value);
                RKImageFileParts parts(damaged);
                const QByteArray again = parts.file();
                // Wrong sizes, flags and padding are mended in these.
                const bool isMended = damaged.startsWith("RIFF") || damaged.startsWith("8BPS");
                if (parts.isValid() && !isMended)
                    QCOMPARE(again, damaged);
                for (const Content content : kContents)
                    setBlock(parts, content, block(parts, content) + "x");
                parts.replace(Content::Xmp, {"part"});
                parts.file();
                parts.skeleton();
            }
        }
    }
};

QTEST_MAIN(RKImageFilePartsTest)
#include "RKImageFilePartsTest.moc"
