#include "RKImageLoader/files/RKTiffEditor_p.h"
#include "support/RKMetadataFixtures.h"

#include <QRandomGenerator>
#include <QTest>

using namespace RKMetadataFixtures;
using Directory = RKTiffEditor::Directory;
using Tag = RKTiffEditor::Tag;

namespace {

constexpr quint16 kByte = 1;
constexpr quint16 kAscii = 2;
constexpr quint16 kShort = 3;
constexpr quint16 kMake = 0x010f;
constexpr quint16 kXmp = 0x02bc;
constexpr quint16 kRating = 0x4746;
constexpr quint16 kFlash = 0x9209;
constexpr quint16 kLatitudeRef = 0x0001;
constexpr quint16 kIndex = 0x0001;

Tag shortTag(quint16 number, quint16 value, bool isLittleEndian = true)
{
    QByteArray bytes(2, '\0');
    isLittleEndian ? qToLittleEndian(value, bytes.data()) : qToBigEndian(value, bytes.data());
    return {number, kShort, bytes};
}

Exiv2::ExifData exifOf(const QByteArray& tiff)
{
    return open(tiff)->exifData();
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

class RKTiffEditorTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:

    void init()
    {
        QTest::failOnWarning(QRegularExpression(QStringLiteral(".*")));
    }

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

        const QByteArray edited = editor.structure();
        QCOMPARE(RKTiffEditor(edited).numberOfDirectories(), 7);
        const Exiv2::ExifData exif = exifOf(edited);
        QCOMPARE(textOf(exif, "Exif.Image.Rating"), QStringLiteral("5"));
        QCOMPARE(textOf(exif, "Exif.Image.Make"), QStringLiteral("a long name"));
        QCOMPARE(pixelsOf(edited, "Exif.Image.StripOffsets"), QByteArray(12, 1));
        QCOMPARE(pixelsOf(edited, "Exif.Thumbnail.StripOffsets"), QByteArray(12, 2));
        QCOMPARE(pixelsOf(edited, "Exif.Image3.StripOffsets"), QByteArray(12, 4));
        // Besides the way to the first directory and its old place, nothing has changed.
        constexpr qsizetype kFirstDirectory = 20;
        constexpr qsizetype kDirectorySize = 2 + 9 * 12 + 4;
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
        QByteArray file = editor.structure();
        const qsizetype first = file.indexOf(value);
        const qsizetype second = file.lastIndexOf(value);
        QVERIFY(second > first);
        QByteArray place(4, '\0');
        qToLittleEndian(static_cast<quint32>(second), place.data());
        const qsizetype field = file.indexOf(place);
        qToLittleEndian(static_cast<quint32>(first), file.data() + field);

        RKTiffEditor shared(file);
        QCOMPARE(shared.tag(kModel)->value, value);
        QVERIFY(shared.change(
            Directory::Image, {{kMake, kAscii, QByteArray("other value\0", 12)}}, {}));
        QCOMPARE(shared.tag(kModel)->value, value);
        QCOMPARE(shared.tag(kMake)->value, QByteArray("other value\0", 12));
    }

    void bigEndianStructuresStaySo()
    {
        Exiv2::ExifData data;
        data["Exif.Image.Make"] = std::string("a long name");
        data["Exif.Image.Rating"] = uint16_t(3);
        Exiv2::Blob blob;
        Exiv2::ExifParser::encode(blob, Exiv2::bigEndian, data);
        const QByteArray block(reinterpret_cast<const char*>(blob.data()), qsizetype(blob.size()));

        RKTiffEditor editor(block);
        QVERIFY(editor.isValid());
        QVERIFY(!editor.isLittleEndian());
        QVERIFY(editor.change(Directory::Image, {shortTag(kRating, 4, false)}, {}));
        QCOMPARE(editor.structure().size(), block.size());
        QVERIFY(editor.change(Directory::Photo, {shortTag(kFlash, 9, false)}, {}));
        const QByteArray edited = editor.structure();
        Exiv2::ExifData read;
        QCOMPARE(int(Exiv2::ExifParser::decode(read,
                     reinterpret_cast<const Exiv2::byte*>(edited.constData()),
                     quint32(edited.size()))),
            int(Exiv2::bigEndian));
        QCOMPARE(textOf(read, "Exif.Image.Rating"), QStringLiteral("4"));
        QCOMPARE(textOf(read, "Exif.Photo.Flash"), QStringLiteral("9"));
        QCOMPARE(textOf(read, "Exif.Image.Make"), QStringLiteral("a long name"));
    }

    void damagedStructuresDoNoHarm()
    {
        RKTiffEditor whole(tiffOfPages(3));
        QVERIFY(
            whole.change(Directory::Interoperability, {{kIndex, kAscii, QByteArray(30, 'x')}}, {}));
        QVERIFY(whole.change(Directory::GpsInfo, {{kLatitudeRef, kAscii, QByteArray(9, 'x')}}, {}));
        const QByteArray file = whole.structure();
        QRandomGenerator random(20);
        int edited = 0;
        for (int i = 0; i < 3000; ++i) {
            QByteArray damaged = i % 4 == 0 ? file.left(random.bounded(int(file.size()))) : file;
            for (int j = random.bounded(6); j >= 0 && !damaged.isEmpty(); --j)
                damaged[random.bounded(int(damaged.size()))] = char(random.bounded(256));
            RKTiffEditor editor(damaged);
            editor.tag(kXmp);
            edited += editor.change(Directory::Image, {shortTag(kRating, 1)}, {kMake});
            edited += editor.change(Directory::Interoperability, {{kIndex, kAscii, "R03"}}, {});
            edited += editor.change(Directory::GpsInfo, {{kLatitudeRef, kAscii, "S"}}, {2});
            edited += editor.setThumbnail({shortTag(0x0103, 6)}, "jpeg");
            edited += editor.removeThumbnail();
            // Entries are counted in 16 bits, and all of them may be copied once for each change.
            QVERIFY(editor.structure().size() < damaged.size() + 8 * 65536 * 12);
        }
        QVERIFY(edited > 0);
    }
};

QTEST_APPLESS_MAIN(RKTiffEditorTest)
#include "RKTiffEditorTest.moc"
