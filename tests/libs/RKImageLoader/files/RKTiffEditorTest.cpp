#include "RKImageLoader/files/RKTiffComparison_p.h"
#include "RKImageLoader/files/RKTiffEditor_p.h"
#include "RKImageLoader/files/RKTiffTags_p.h"
#include "support/RKMetadataFixtures.h"
#include "support/RKQuietTest.h"

#include <QRandomGenerator>

using namespace RKMetadataFixtures;
using namespace Qt::StringLiterals;
using Directory = RKTiffEditor::Directory;
using Tag = RKTiffEditor::Tag;

namespace {

using RKTiffType::kAscii;
using RKTiffType::kShort;

constexpr quint16 kMake = 0x010f;
constexpr quint16 kRating = 0x4746;
constexpr quint16 kFlash = 0x9209;
constexpr quint16 kLatitudeRef = 0x0001;
constexpr quint16 kIndex = 0x0001;

Tag shortTag(quint16 number, quint16 value, bool isLittleEndian = true)
{
    return {number,
        kShort,
        RKByteReader::bytesOf(
            value, isLittleEndian ? QSysInfo::LittleEndian : QSysInfo::BigEndian)};
}

Exiv2::ExifData exifOf(const QByteArray& tiff)
{
    return open(tiff)->exifData();
}

/// An Exif block with a maker and a rating.
QByteArray blockOf(Exiv2::ByteOrder order)
{
    Exiv2::ExifData data;
    data["Exif.Image.Make"] = std::string("a long name");
    data["Exif.Image.Rating"] = uint16_t(3);
    Exiv2::Blob blob;
    Exiv2::ExifParser::encode(blob, order, data);
    return QByteArray(reinterpret_cast<const char*>(blob.data()), qsizetype(blob.size()));
}

template <typename Number>
void overwrite(QByteArray& bytes, qsizetype place, Number number)
{
    bytes.replace(place, sizeof number, RKByteReader::bytesOf(number, QSysInfo::LittleEndian));
}

// Of a page of tiffOfPages().
constexpr qsizetype kFirstDirectory = 20;
constexpr qsizetype kDirectorySize = 2 + 9 * 12 + 4;
constexpr qsizetype kPageSize = 12 + kDirectorySize;

/// The second of three directories is a thumbnail.
QByteArray tiffWithThumbnailAndMore()
{
    QByteArray file = tiffOfPages(3);
    const qsizetype firstEntry = kFirstDirectory + kPageSize + 2;
    overwrite(file, firstEntry, RKTiffTag::kSubfileType);
    overwrite(file, firstEntry + 8, quint32(1));
    return file;
}

/// A directory with so many places of others, which overlap or are all the same array.
QByteArray hostileTiff(bool isArray)
{
    constexpr quint32 kNumber = 20000;
    constexpr quint32 kPlaces = 26;
    QList<quint32> places;
    for (quint32 i = 0; i < kNumber; ++i)
        places.append(kPlaces + 4 * kNumber + (isArray ? 18 * i : 2 * i));
    const QByteArray file = QByteArray("II*\0\x8\0\0\0", 8)
        + RKTestTiff::directory(8, {{RKTiffTag::kSubDirectories, RKTestTiff::kLong, places}});
    // Directories that have the same array each, or begin in one another.
    const QByteArray child = isArray ? file.mid(8, 18) : QByteArray("\1\1", 2);
    return file + child.repeated(kNumber) + QByteArray(5000, '\0');
}

/// The twelve bytes of pixels of a page, found through the file's own directories.
QByteArray pixelsOf(const QByteArray& tiff, const char* keyOfPlace)
{
    const Exiv2::ExifData exif = exifOf(tiff);
    const auto place = exif.findKey(Exiv2::ExifKey(keyOfPlace));
    return place == exif.end() ? QByteArray()
                               : tiff.mid(qsizetype(RKExiv2Compat::toInt64(*place)), 12);
}

} // namespace

class RKTiffEditorTest : public RKQuietTest
{
    Q_OBJECT

private Q_SLOTS:

    void pagesStayWhereTheyAre()
    {
        // exiv2 would drop the pages behind the fourth.
        const QByteArray file = tiffOfPages(7);
        RKTiffEditor editor(file);
        QVERIFY(editor.isValid());
        QCOMPARE(editor.numberOfDirectories(), 7);
        QVERIFY(editor.change(Directory::Image,
            {shortTag(kRating, 5), {kMake, kAscii, QByteArray("a long name\0", 12)}},
            {}));

        const QByteArray edited = editor.structure().array();
        QCOMPARE(RKTiffEditor(edited).numberOfDirectories(), 7);
        const Exiv2::ExifData exif = exifOf(edited);
        QCOMPARE(textOf(exif, "Exif.Image.Rating"), u"5"_s);
        QCOMPARE(textOf(exif, "Exif.Image.Make"), u"a long name"_s);
        QCOMPARE(pixelsOf(edited, "Exif.Image.StripOffsets"), QByteArray(12, 1));
        QCOMPARE(pixelsOf(edited, "Exif.Thumbnail.StripOffsets"), QByteArray(12, 2));
        QCOMPARE(pixelsOf(edited, "Exif.Image3.StripOffsets"), QByteArray(12, 4));
        // Besides the way to the first directory and its old place, nothing has changed.
        QCOMPARE(edited.mid(kFirstDirectory + kDirectorySize,
                     file.size() - kFirstDirectory - kDirectorySize),
            file.mid(kFirstDirectory + kDirectorySize));
        QVERIFY(edited.size() <= file.size() + kDirectorySize + 2 * 12 + 12 + 1);
    }

    void valuesOfTwoTagsAreNotOverwritten()
    {
        RKTiffEditor editor(tiffOfPages(1));
        const QByteArray value("shared value\0", 13);
        QVERIFY(editor.change(Directory::Image, {{kMake, kAscii, value}}, {}));
        // The model's text becomes the maker's.
        constexpr quint16 kModel = 0x0110;
        QVERIFY(editor.change(Directory::Image, {{kModel, kAscii, value}}, {}));
        QByteArray file = editor.structure().array();
        const qsizetype first = file.indexOf(value);
        const qsizetype second = file.lastIndexOf(value);
        QVERIFY(second > first);
        overwrite(file,
            file.indexOf(RKByteReader::bytesOf(quint32(second), QSysInfo::LittleEndian)),
            quint32(first));

        RKTiffEditor shared(file);
        QCOMPARE(shared.tag(kModel)->value, value);
        QVERIFY(shared.change(
            Directory::Image, {{kMake, kAscii, QByteArray("other value\0", 12)}}, {}));
        QCOMPARE(shared.tag(kModel)->value, value);
        QCOMPARE(shared.tag(kMake)->value, QByteArray("other value\0", 12));
    }

    void bigEndianStructuresStaySo()
    {
        const QByteArray block = blockOf(Exiv2::bigEndian);
        RKTiffEditor editor(block);
        QVERIFY(editor.isValid());
        QVERIFY(!editor.isLittleEndian());
        QVERIFY(editor.change(Directory::Image, {shortTag(kRating, 4, false)}, {}));
        QCOMPARE(editor.structure().array().size(), block.size());
        QVERIFY(editor.change(Directory::Photo, {shortTag(kFlash, 9, false)}, {}));
        const QByteArray edited = editor.structure().array();
        Exiv2::ExifData read;
        QCOMPARE(int(Exiv2::ExifParser::decode(read,
                     reinterpret_cast<const Exiv2::byte*>(edited.constData()),
                     quint32(edited.size()))),
            int(Exiv2::bigEndian));
        QCOMPARE(textOf(read, "Exif.Image.Rating"), u"4"_s);
        QCOMPARE(textOf(read, "Exif.Photo.Flash"), u"9"_s);
        QCOMPARE(textOf(read, "Exif.Image.Make"), u"a long name"_s);
    }

    void anOldDirectoryIsBlanked()
    {
        RKTiffEditor editor(tiffOfPages(2));
        QVERIFY(editor.change(Directory::Image, {shortTag(kRating, 5)}, {}));
        // The second page follows, so that the first directory has to move.
        QCOMPARE(editor.structure().array().mid(kFirstDirectory, kDirectorySize),
            QByteArray(kDirectorySize, '\0'));
        // A shorter one stays, without what was removed.
        const QByteArray before = editor.structure().array();
        QVERIFY(editor.change(Directory::Image, {}, {kRating}));
        QCOMPARE(editor.structure().array().size(), before.size());
        QCOMPARE(editor.structure().array().right(12), QByteArray(12, '\0'));
        // A block of metadata, too.
        QVERIFY(editor.change(
            Directory::Image, {{RKTiffTag::kXmp, RKTiffType::kByte, "secret place"}}, {}));
        QVERIFY(
            editor.change(Directory::Image, {{RKTiffTag::kXmp, RKTiffType::kByte, "other"}}, {}));
        QVERIFY(editor.structure().array().endsWith(QByteArray("other\0\0\0\0\0\0\0", 12)));
    }

    void aDirectoryInAnotherValueMoves()
    {
        // exiv2-olympus-c8080wz.jpg: a value reaches into a directory.
        QByteArray file = tiffOfPages(1);
        const qsizetype entry = kFirstDirectory + 2 + 2 * 12;
        overwrite(file, entry + 2, RKTiffType::kUndefined);
        overwrite(file, entry + 4, quint32(20));
        overwrite(file, entry + 8, quint32(kFirstDirectory + kDirectorySize - 10));
        file += QByteArray(10, 'v');
        RKTiffEditor editor(file);
        constexpr quint16 kBits = 258;
        const QByteArray value = editor.tag(kBits)->value;
        QVERIFY(editor.change(Directory::Image, {}, {279}));
        QCOMPARE(editor.tag(kBits)->value, value);
        QVERIFY(!editor.tag(279));
    }

    void furtherDirectoriesKeepTheirNumber()
    {
        const QByteArray file = tiffWithThumbnailAndMore();
        RKTiffEditor editor(file);
        QVERIFY(editor.removeThumbnail());
        const QByteArray removed = editor.structure().array();
        QCOMPARE(RKTiffComparison::differences(file, removed, {{"IFD1"}}), QStringList());
        QVERIFY(!textOf(exifOf(removed), "Exif.Image2.ImageWidth").isNull());
        for (const Exiv2::Exifdatum& datum : exifOf(removed))
            QVERIFY(datum.groupName() != "Thumbnail");
        QVERIFY(editor.setThumbnail({shortTag(0x0103, 6)}, "jpeg"));
        QCOMPARE(RKTiffComparison::differences(file, editor.structure().array(), {{"IFD1"}}),
            QStringList());
        QCOMPARE(textOf(exifOf(editor.structure().array()), "Exif.Thumbnail.Compression"), u"6"_s);
    }

    void aPageIsNoThumbnail()
    {
        // As large as the first, and not marked as reduced.
        RKTiffEditor editor(tiffOfPages(2));
        QVERIFY(!editor.removeThumbnail());
        QVERIFY(!editor.setThumbnail({}, "jpeg"));
        QCOMPARE(editor.structure().array(), tiffOfPages(2));
    }

    void thumbnailsOfABlockTakeTheSamePlace()
    {
        RKTiffEditor editor(blockOf(Exiv2::littleEndian));
        QVERIFY(editor.setThumbnail({shortTag(0x0103, 6)}, QByteArray(9000, 'j')));
        const qsizetype size = editor.structure().array().size();
        QVERIFY(editor.setThumbnail({shortTag(0x0103, 6)}, QByteArray(8000, 'k')));
        QCOMPARE(editor.structure().array().size(), size);
    }

    void costIsBounded()
    {
        // Took minutes and gigabytes.
        for (const bool isArray : {true, false}) {
            const QByteArray file = hostileTiff(isArray);
            RKTiffEditor editor(file);
            QVERIFY(editor.isValid());
            QVERIFY(!editor.change(Directory::Image, {shortTag(kRating, 5)}, {}));
            QCOMPARE(editor.structure().array(), file);
            QVERIFY(!RKTiffComparison::differences(file, file, {}).isEmpty());
        }
    }

    void differencesAreNamed()
    {
        constexpr qsizetype kPage = kFirstDirectory + kPageSize;
        // The places of a value, one of a further directory, a type, pixels, the strip's place and
        // private bytes.
        constexpr std::pair<qsizetype, const char*> kRows[]
            = {{kFirstDirectory + 2 + 8, "IFD0 tag 0x0100"},
                {kPage + 2 + 8, "IFD1 tag 0x0100"},
                {kPage + 2 + 12 + 2, "IFD1 tag 0x0101"},
                {9, "IFD0 pixels"},
                {kFirstDirectory + 2 + 5 * 12 + 8, "IFD0 pixels"},
                {2 * kPageSize + 10, "bytes at 0x104"}};
        const QByteArray file = tiffOfPages(2) + "private";
        QCOMPARE(RKTiffComparison::differences(file, file, {}), QStringList());
        for (const auto& [place, difference] : kRows) {
            QByteArray changed = file;
            changed[place] = char(changed[place] ^ 1);
            QCOMPARE(RKTiffComparison::differences(file, changed, {}).value(0),
                QLatin1String(difference));
            QVERIFY(!RKTiffComparison::differences(changed, file, {}).isEmpty());
            // Not of a tag that the edit has not to do with.
            QVERIFY(!RKTiffComparison::differences(file, changed, {{"IFD0", kMake}}).isEmpty());
        }
    }

    void makerNotesStayInTheirPlace()
    {
        const Tag note{RKTiffTag::kMakerNote, RKTiffType::kUndefined, QByteArray(40, 'm')};
        RKTiffEditor editor(tiffOfPages(1));
        QVERIFY(editor.change(Directory::Photo, {note}, {}));
        const QByteArray file = editor.structure().array();
        QByteArray moved = file + note.value;
        const qsizetype field
            = moved.lastIndexOf(RKByteReader::bytesOf(quint32(40), QSysInfo::LittleEndian)) + 4;
        overwrite(moved, field, quint32(file.size()));
        QCOMPARE(
            RKTiffComparison::differences(file, moved, {}), QStringList(u"IFD0/Exif tag 0x927c"_s));
    }

    void damagedStructuresDoNoHarm()
    {
        RKTiffEditor whole(tiffOfPages(3));
        QVERIFY(
            whole.change(Directory::Interoperability, {{kIndex, kAscii, QByteArray(30, 'x')}}, {}));
        QVERIFY(whole.change(Directory::GpsInfo, {{kLatitudeRef, kAscii, QByteArray(9, 'x')}}, {}));
        const QByteArray file = whole.structure().array();
        QRandomGenerator random(20);
        int edited = 0;
        for (int i = 0; i < 3000; ++i) {
            QByteArray damaged = i % 4 == 0 ? file.left(random.bounded(int(file.size()))) : file;
            for (int j = random.bounded(6); j >= 0 && !damaged.isEmpty(); --j)
                damaged[random.bounded(int(damaged.size()))] = char(random.bounded(256));
            RKTiffEditor editor(damaged);
            editor.tag(RKTiffTag::kXmp);
            if (i % 10 == 0) {
                RKTiffComparison::differences(file, damaged, {});
                RKTiffComparison::differences(damaged, file, {});
            }
            edited += editor.change(Directory::Image, {shortTag(kRating, 1)}, {kMake});
            edited += editor.change(Directory::Interoperability, {{kIndex, kAscii, "R03"}}, {});
            edited += editor.change(Directory::GpsInfo, {{kLatitudeRef, kAscii, "S"}}, {2});
            edited += editor.setThumbnail({shortTag(0x0103, 6)}, "jpeg");
            edited += editor.removeThumbnail();
            // Entries are counted in 16 bits, and all of them may be copied once for each change.
            QVERIFY(editor.structure().array().size() < damaged.size() + 8 * 65536 * 12);
        }
        QVERIFY(edited > 0);
    }
};

QTEST_APPLESS_MAIN(RKTiffEditorTest)
#include "RKTiffEditorTest.moc"
