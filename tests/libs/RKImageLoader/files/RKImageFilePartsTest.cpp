#include "RKImageLoader/files/RKByteReader_p.h"
#include "RKImageLoader/files/RKImageFileParts_p.h"
#include "RKImageLoader/files/RKIptcEditor_p.h"
#include "RKImageLoader/files/RKPhotoshopResources_p.h"
#include "RKImageLoader/files/RKPieceSource_p.h"
#include "support/RKMetadataFixtures.h"
#include "support/RKQuietTest.h"

#include <QGuiApplication>

using namespace RKMetadataFixtures;
using Content = RKImageFileParts::Content;

namespace {

struct Family
{
    Content content;
    QByteArray (*block)(const RKImageFileParts&);
    bool (*setBlock)(RKImageFileParts&, const QByteArray&);
    /// An odd number of bytes, and for a profile more than one JPEG segment takes.
    QByteArray sample;
};

template <QByteArray (RKImageFileParts::*function)() const>
QByteArray get(const RKImageFileParts& file)
{
    return (file.*function)();
}

template <bool (RKImageFileParts::*function)(const QByteArray&)>
bool set(RKImageFileParts& file, const QByteArray& block)
{
    return (file.*function)(block);
}

QByteArray firstIptcBlock(const RKImageFileParts& file)
{
    return file.iptcBlocks().value(0);
}

bool setFirstIptcBlock(RKImageFileParts& file, const QByteArray& block)
{
    return file.setIptcBlocks(QByteArrayList{block} + file.iptcBlocks().mid(1));
}

const Family kFamilies[] = {{Content::Exif,
                                get<&RKImageFileParts::exifBlock>,
                                set<&RKImageFileParts::setExifBlock>,
                                "MM" + QByteArray("\0*\0\0\0\x8", 6) + QByteArray(15, '\0')},
    {Content::Iptc, firstIptcBlock, setFirstIptcBlock, QByteArray("\x1c\2\x78\0\4abcd", 9)},
    {Content::Xmp,
        get<&RKImageFileParts::xmpPacket>,
        set<&RKImageFileParts::setXmpPacket>,
        "<x:xmpmeta xmlns:x='adobe:ns:meta/'/>"},
    {Content::Icc,
        get<&RKImageFileParts::iccProfile>,
        set<&RKImageFileParts::setIccProfile>,
        RKByteReader::bytesOf(70001) + QByteArray(69997, 'p')}};

void addFiles()
{
    QTest::addColumn<QByteArray>("file");
    for (const char* name : {"little.jpg",
             "bare.jpg",
             "chunks.png",
             "texts.png",
             "extended.webp",
             "boxes.jp2",
             "layers.psd"})
        QTest::newRow(name) << richFile(name);
    QTest::newRow("WebP with more than it states") << richFile("extended.webp") + "trailer";
    // Qt may be unable to write them.
    for (const int quality : {80, 100}) {
        if (const QByteArray plain
            = RKTestPictures::encoded(RKTestPictures::quadrants({300, 200}), "webp", quality);
            !plain.isEmpty())
            QTest::addRow("WebP without metadata, quality %d", quality) << plain;
    }
}

QByteArray jpegSegment(char marker, const QByteArray& data)
{
    return QByteArray("\xff") + marker + RKByteReader::bytesOf(quint16(data.size() + 2)) + data;
}

QByteArray photoshopSegment(const QByteArray& resources)
{
    return jpegSegment('\xed', QByteArray("Photoshop 3.0\0", 14) + resources);
}

/// A JPEG without pixels.
QByteArray jpegOf(const QByteArray& segments)
{
    return "\xff\xd8" + segments + "\xff\xd9";
}

/// A file whose pixels cannot be read.
struct SourceWithoutPixels final : RKByteSource
{
    QByteArray bytes;
    qint64 pixels = 0;
    qint64 end = 0;

    qint64 size() const override
    {
        return bytes.size();
    }

    bool read(qint64 offset, qint64 size, QByteArray* read) const override
    {
        // The window that headers are read through may reach into the pixels.
        constexpr qint64 kWindow = 4096;
        *read = bytes.mid(offset, size);
        return size <= kWindow || offset >= end || offset + size <= pixels;
    }
};

} // namespace

class RKImageFilePartsTest : public RKQuietTest
{
    Q_OBJECT

private Q_SLOTS:

    void aSkeletonHasTheMetadata_data()
    {
        addFiles();
    }

    void aSkeletonHasTheMetadata()
    {
        QFETCH(QByteArray, file);
        const RKImageFileParts parts(file);
        QVERIFY(parts.isValid());
        QCOMPARE(parts.file(), file);
        const QByteArray skeleton = parts.skeleton();
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
        for (const auto& [content, block, setBlock, sample] : kFamilies) {
            if (content == Content::Iptc && file.startsWith("RIFF"))
                continue;
            RKImageFileParts changed(source);
            QVERIFY(setBlock(changed, sample));
            const RKImageFileParts after(std::make_shared<RKPieceSource>(changed.pieces(), source));
            QVERIFY(after.isValid());
            QCOMPARE(RKImageFileParts::firstDifference(before, after, {content}), QString());
            QVERIFY(!RKImageFileParts::firstDifference(before, after, {}).isEmpty());
            for (const Family& family : kFamilies) {
                const bool isChanged = family.content == content;
                QCOMPARE(family.block(after), isChanged ? sample : family.block(before));
            }
            // And back again, also to nothing.
            QVERIFY(setBlock(changed, block(before)));
            QCOMPARE(block(changed), block(before));
            QCOMPARE(RKImageFileParts::firstDifference(before, changed, {content}), QString());
            // Readers must find the picture, and the profile before it.
            QCOMPARE(open(after.skeleton())->pixelWidth(), open(file)->pixelWidth());
            if (content == Content::Icc && file.startsWith("RIFF"))
                QVERIFY(after.file().indexOf("ICCP") < after.file().lastIndexOf("VP8"));
        }
    }

    void pixelsAreNotRead()
    {
        const auto number32 = [](quint32 number) { return RKByteReader::bytesOf(number); };
        const QByteArray pixels(5'000'000, 'p');
        const auto source = std::make_shared<SourceWithoutPixels>();
        source->bytes = QByteArray("\x89PNG\r\n\x1a\n") + number32(13) + "IHDR"
            + QByteArray(17, '\1') + number32(quint32(pixels.size())) + "IDAT" + pixels
            + number32(0) + number32(3) + "tEXt" + QByteArray("a\0b", 3) + number32(0) + number32(0)
            + "IEND" + number32(0);
        source->pixels = source->bytes.indexOf(pixels);
        source->end = source->pixels + pixels.size();
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
        const auto source = std::make_shared<SourceWithoutPixels>();
        source->bytes = QByteArray("\xff\xd8\xff\xe1\xff\xff") + QByteArray(70000, 'x');
        source->end = source->bytes.size();
        QVERIFY(RKImageFileParts(source).hasReadError());
        const QByteArray segment = "\xff\xe1\xff\xff" + QByteArray(65533, 'x');
        const QByteArray index = RKByteReader::bytesOf(quint32(8)) + "fidx";
        for (const QByteArray& other : {QByteArray(),
                 imageFile("BMP"),
                 richFile("boxes.jp2").insert(12, index),
                 QByteArray("\xff\xd8" + segment + segment.chopped(9))})
        {
            QVERIFY(!RKImageFileParts(other).hasReadError());
            QVERIFY(!RKImageFileParts(other).isValid());
        }
    }

    void differencesAreNamed()
    {
        // A place whose last byte changes.
        const std::tuple<const char*, QByteArray, const char*> rows[]
            = {{"little.jpg", QByteArray("MPF\0II", 6), "segment APP2 MPF"},
                {"little.jpg", "a path", "segment APP13 resource 0x07d0"},
                {"little.jpg", "trailer", "picture"},
                {"chunks.png", "private", "chunk prVt"},
                {"boxes.jp2", "<own/>", "box xml "},
                {"boxes.jp2", "\xff\xd9", "box jp2c"},
                {"layers.psd", "a path", "resource 0x07d0"},
                {"layers.psd", "that nobody reads", "layers and pixels"}};
        const QList<Content> all{Content::Exif, Content::Iptc, Content::Xmp, Content::Icc};
        for (const auto& [name, place, difference] : rows) {
            const RKImageFileParts file(richFile(name));
            QByteArray changed = file.file();
            const qsizetype at = changed.lastIndexOf(place) + place.size() - 1;
            changed[at] = char(changed[at] ^ 1);
            QCOMPARE(RKImageFileParts::firstDifference(file, file, all), QString());
            QCOMPARE(RKImageFileParts::firstDifference(file, RKImageFileParts(changed), all),
                QLatin1String(difference));
        }
    }

    void otherResourcesOfASegmentStay()
    {
        const QByteArray path = RKPhotoshopResources::resource(0x07d0, QByteArray(90, 'p'));
        const QByteArray all = path + RKPhotoshopResources::resource(0x0404, "captions") + path;
        // A resource reaches from the first segment into the second; the third is for itself.
        const QByteArray third = photoshopSegment(path);
        for (qsizetype place = 1; place < all.size(); place += 3) {
            const QByteArray file = jpegOf(photoshopSegment(all.left(place))
                + jpegSegment('\xfe', "text") + photoshopSegment(all.mid(place)) + third);
            for (const QByteArray& wanted :
                {QByteArray(70000, 'c'), QByteArray("capti"), QByteArray()}) {
                RKImageFileParts parts(file);
                QCOMPARE(parts.iptcBlocks(), QByteArrayList{"captions"});
                QVERIFY(parts.setIptcBlocks({wanted}));
                const RKImageFileParts after(parts.file());
                QCOMPARE(RKIptcEditor::joined(after.iptcBlocks()), wanted);
                QCOMPARE(RKImageFileParts::firstDifference(
                             RKImageFileParts(file), after, {Content::Iptc}),
                    QString());
                QCOMPARE(after.parts(Content::Iptc).last(), third);
                // What comes before the change keeps its segment.
                if (place < path.size())
                    QVERIFY(parts.file().startsWith(file.left(place + 20)));
            }
        }
    }

    void eachIptcBlockIsChangedInItsPlace()
    {
        const auto block = [](const QByteArray& data) {
            return RKPhotoshopResources::resource(RKPhotoshopResources::kIptc, data);
        };
        const QByteArray path = RKPhotoshopResources::resource(0x07d0, "path");
        const QByteArray text = jpegSegment('\xfe', "text");
        const auto file = [&](const QByteArray& first, const QByteArray& second) {
            return jpegOf(photoshopSegment(first) + text + photoshopSegment(second));
        };
        const QByteArray old = file(block("") + path + block("ab"), path + block("cdef"));
        const auto changed = [](const QByteArray& bytes, const QByteArrayList& blocks) {
            RKImageFileParts parts(bytes);
            return parts.setIptcBlocks(blocks) ? parts.file() : QByteArray();
        };
        QCOMPARE(RKImageFileParts(old).iptcBlocks(), (QByteArrayList{"", "ab", "cdef"}));
        QCOMPARE(changed(old, {"", "ab", "gh"}),
            file(block("") + path + block("ab"), path + block("gh")));
        QCOMPARE(changed(old, {"", "", "cdef"}), file(block("") + path, path + block("cdef")));
        // The first place, where there is no block.
        QCOMPARE(changed(file(path, path), {"ab"}), file(path + block("ab"), path));
        // A segment that is cut off takes none of the next.
        const QByteArray cut = QByteArray(path + block("abcdef")).chopped(3);
        const QByteArray damaged = file(cut, path + block("gh"));
        QCOMPARE(changed(damaged, {"ij"}), file(cut, path + block("ij")));
        // Nor what no longer looks like the beginning of a segment.
        const QByteArray foreign = QByteArray(path).replace("8BIM", "????");
        QCOMPARE(changed(file(cut, block("gh") + foreign), {""}), QByteArray());
    }

    void furtherPicturesAreFound()
    {
        // A segment between the list of pictures and the second one grows.
        const auto little
            = [](auto number) { return RKByteReader::bytesOf(number, QSysInfo::LittleEndian); };
        const QByteArray list = QByteArray("MPF\0II*\0\x8\0\0\0", 12)
            + RKTestTiff::directory(8,
                {{0xb000, RKTestTiff::kLong, {1, 1, 0x4444, 1}},
                    {0xb002,
                        RKTestTiff::kShort,
                        {0, 0, 999, 0, 0, 0, 0, 0, 0, 0, 9, 0, 5000, 0, 0, 0, 0, 0, 9, 0, 0x5678}}})
            + "cut";
        const QByteArray profile = QByteArray("ICC_PROFILE\0\1\1", 14) + "profile";
        const QByteArray file
            = jpegOf(jpegSegment('\xe2', list) + jpegSegment('\xe2', profile)) + "second";
        RKImageFileParts parts(file);
        QVERIFY(parts.setIccProfile("another profile"));
        const QByteArray changed = parts.file();
        QCOMPARE(changed.size(), file.size() + 8);
        QVERIFY(changed.contains(little(quint32(5008))) && changed.contains(little(quint32(1007)))
            && changed.contains("\x78\x56"
                                "cut"));
        QVERIFY(changed.contains(little(quint32(0x4444))));
        const RKImageFileParts after(changed);
        QCOMPARE(RKImageFileParts::firstDifference(RKImageFileParts(file), after, {Content::Icc}),
            QString());
        for (const quint32 moved : {5008U, 1007U}) {
            QByteArray wrong = changed;
            wrong.replace(little(moved), little(moved - 8));
            QCOMPARE(RKImageFileParts::firstDifference(
                         RKImageFileParts(file), RKImageFileParts(wrong), {Content::Icc}),
                QStringLiteral("segment APP2 MPF"));
        }
        // A new segment comes before the list, and after the first picture's beginning.
        QVERIFY(parts.setXmpPacket("packet"));
        const auto grown = quint32(999 + parts.file().size() - file.size());
        QVERIFY(
            parts.file().contains(little(quint32(5008))) && parts.file().contains(little(grown)));
    }

    void makerNotesFindTheirPreviews()
    {
        // Numbers that lead to a preview, to another with Sony's header, to pixels, and in a tag
        // that is for something else.
        const auto fileWith = [](const QList<quint32>& numbers) -> QByteArray {
            const QByteArray block = QByteArray("II*\0\x8\0\0\0", 8)
                + RKTestTiff::directory(8, {{0x8769, RKTestTiff::kLong, {26}}})
                + RKTestTiff::directory(26, {{0x927c, RKTestTiff::kUndefined, QList<quint32>(70)}})
                      .first(18)
                + RKTestTiff::directory(44,
                    {{0x0088, RKTestTiff::kLong, {numbers[0]}},
                        {0x00b6, RKTestTiff::kLong, numbers},
                        {0x2001, RKTestTiff::kLong, {numbers[1]}},
                        {0x2002, RKTestTiff::kLong, {68}}});
            return jpegOf(jpegSegment('\xe1', QByteArray("Exif\0\0", 6) + block)) + "pixels"
                + QByteArray("\0\xd8\xff\xdb", 4) + QByteArray(32, 's') + "\xff\xd8\xff\xe1";
        };
        const QList<quint32> numbers{122, 126, 116, 1};
        const RKImageFileParts before(fileWith(numbers));
        for (const QByteArray& text : {QByteArray(), QByteArray(300, 'x')}) {
            RKImageFileParts parts = before;
            QVERIFY(parts.setXmpPacket(text));
            parts.adjustPreviews(before);
            const auto by = quint32(parts.file().size() - before.file().size());
            QList<quint32> moved = numbers;
            moved[0] += by;
            moved[1] += by;
            const RKImageFileParts expected(fileWith(moved));
            QCOMPARE(parts.exifBlock().toHex(), expected.exifBlock().toHex());
        }
    }

    void profilesReplaceNamesOfColorSpaces()
    {
        for (const char* name : {"sRGB", "cICP"}) {
            QByteArray png = imageFile("PNG");
            png.insert(png.indexOf("IHDR") + 21,
                RKByteReader::bytesOf(quint32(4)) + name + QByteArray(8, '\x1'));
            RKImageFileParts parts(png);
            QVERIFY(parts.isValid() && parts.file() == png);
            QVERIFY(parts.setIccProfile("profile"));
            QVERIFY(!parts.file().contains(name));
        }
    }

    void exifInATextStaysThere()
    {
        const QByteArray png = imageFile("PNG");
        RKImageFileParts parts(png);
        const QByteArray text = "Raw profile type APP1" + QByteArray(1, '\0') + "\nexif\n      14\n"
            + QByteArray("Exif\0\0II*xyzab", 14).toHex() + '\n';
        parts.replace(Content::Exif,
            {RKByteReader::bytesOf(quint32(text.size())) + "tEXt" + text + QByteArray(4, '\0')});
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
        const auto isClose = [&](qsizetype size) { return size < 300 || size > file.size() - 20; };
        for (qsizetype size = 0; size <= file.size(); size += isClose(size) ? 1 : step) {
            for (const int value : {-1, 0x00, 0x7f, 0xff}) {
                QByteArray damaged = value < 0 ? file.left(size) : file;
                if (value >= 0 && size < file.size())
                    damaged[size] = char(value);
                RKImageFileParts parts(damaged);
                const QByteArray again = parts.file();
                // Wrong sizes, flags and padding are mended in WebP files.
                if (parts.isValid() && !damaged.startsWith("RIFF"))
                    QCOMPARE(again, damaged);
                for (const Family& family : kFamilies)
                    family.setBlock(parts, family.block(parts) + "x");
                parts.replace(Content::Xmp, {"part"});
                parts.file();
                parts.skeleton();
            }
        }
    }
};

QTEST_MAIN(RKImageFilePartsTest)
#include "RKImageFilePartsTest.moc"
