#include "RKImageLoader/files/RKPieceSource_p.h"
#include "RKImageLoader/files/RKTiffComparison_p.h"
#include "RKImageLoader/files/RKTiffEditor_p.h"
#include "RKImageLoader/files/RKTiffSkeleton_p.h"
#include "RKImageLoader/files/RKTiffTags_p.h"
#include "support/RKProcessCost.h"
#include "support/RKQuietTest.h"
#include "support/RKXmpFixtures.h"

#include <QRandomGenerator>
#include <QTemporaryDir>

using namespace Qt::StringLiterals;
using Directory = RKTiffEditor::Directory;
using Places = RKTiffEditor::Places;

namespace {

constexpr quint16 kModel = 0x0110;
constexpr quint32 kStrip = 40'000;
// Of the first page of tiff().
constexpr qsizetype kPixels = 8 + 2 * 4;
constexpr quint32 kThumbnail = 35'000;
constexpr quint32 kThumbnailSize = 9'000;

QByteArray number(quint32 value)
{
    return RKByteReader::bytesOf(value, QSysInfo::LittleEndian);
}

QByteArray entry(quint16 tag, quint16 type, quint32 count, quint32 value)
{
    return RKByteReader::bytesOf(tag, QSysInfo::LittleEndian)
        + RKByteReader::bytesOf(type, QSysInfo::LittleEndian) + number(count) + number(value);
}

/// Pages of two strips each with padding between, before their directory.
QByteArray tiff(int pages, const QByteArray& extraEntry = {}, quint32 strip = kStrip)
{
    QByteArray file("II*\0\0\0\0\0", 8);
    QRandomGenerator random(7);
    qsizetype placeOfNext = 4;
    for (int page = 0; page < pages; ++page) {
        const auto offsets = quint32(file.size());
        file += number(offsets + 8) + number(offsets + 8 + strip + 1);
        for (quint32 i = 0; i < 2 * strip + 2; ++i)
            file += char(random.bounded(1, 256));
        const auto sizes = quint32(file.size());
        file += number(strip) + number(strip);
        file.replace(placeOfNext, 4, number(quint32(file.size())));
        file += QByteArray(1, char(extraEntry.isEmpty() ? 5 : 6)) + '\0' + entry(256, 4, 1, 200)
            + entry(257, 4, 1, 400) + entry(RKTiffTag::kStripOffsets, 4, 2, offsets)
            + entry(RKTiffTag::kStripSizes, 4, 2, sizes) + entry(RKTiffTag::kPhotoshop, 1, 2, 0)
            + extraEntry;
        placeOfNext = file.size();
        file += number(0);
    }
    return file;
}

/// The second directory and its JPEG stream lie inside the pixels of the first.
QByteArray withThumbnail()
{
    QByteArray file = tiff(1);
    const QByteArray second = QByteArray("\2\0", 2)
        + entry(RKTiffTag::kJpegOffset, 4, 1, kThumbnail)
        + entry(RKTiffTag::kJpegSize, 4, 1, kThumbnailSize) + number(0);
    file.replace(kThumbnail - 5000, second.size(), second);
    file.replace(file.size() - 4, 4, number(kThumbnail - 5000));
    return file;
}

/// A source of which so many reads succeed.
class Source : public RKByteSource
{
public:
    explicit Source(const QByteArray& bytes, int reads = std::numeric_limits<int>::max())
        : m_bytes(bytes)
        , m_left(reads)
    {
    }

    qint64 size() const override
    {
        return m_bytes.size();
    }

    bool read(qint64 offset, qint64 size, QByteArray* bytes) const override
    {
        m_read += size;
        *bytes = m_left > 0 ? m_bytes.mid(offset, size) : QByteArray();
        return m_left-- > 0;
    }

    qint64 read() const
    {
        return m_read;
    }

private:
    const QByteArray m_bytes;
    mutable int m_left;
    mutable qint64 m_read = 0;
};

QByteArray completed(const RKSparseBytes& bytes, const QByteArray& source)
{
    return RKPieceSource(bytes.pieces(), std::make_shared<RKMemorySource>(source)).all();
}

/// Edits of all kinds, as many as are possible.
RKSparseBytes edited(const RKSparseBytes& bytes, Places places)
{
    RKTiffEditor editor(bytes, places);
    editor.change(Directory::Image, {{kModel, RKTiffType::kAscii, QByteArray(900, 'm')}}, {});
    editor.change(Directory::GpsInfo, {{1, RKTiffType::kAscii, QByteArray(9, 'g')}}, {});
    editor.change(Directory::Image, {{kModel, RKTiffType::kAscii, "short"}}, {257});
    editor.setThumbnail({}, QByteArray(5000, 'j'));
    editor.removeThumbnail();
    return editor.structure();
}

} // namespace

/// Edits of a file whose pixels are not read against those of the whole file.
class RKTiffSkeletonTest : public RKQuietTest
{
    Q_OBJECT

private Q_SLOTS:

    void editsLeaveTheSameFile_data()
    {
        QTest::addColumn<QByteArray>("file");
        QTest::addColumn<bool>("hasHoles");
        const QByteArray plain = tiff(1);
        const auto value = [&](quint32 count, quint32 place) {
            return tiff(1, entry(RKTiffTag::kIccProfile, 7, count, place));
        };
        QTest::newRow("pages") << tiff(3) << true;
        QTest::newRow("small strips") << tiff(1, {}, 3000) << false;
        QTest::newRow("value in a strip") << value(30'000, 30'000) << true;
        QTest::newRow("value over all") << value(80'000, 9) << false;
        QTest::newRow("value beyond the end") << value(300'000, 20'000) << false;
        QByteArray beyond = plain;
        beyond.replace(12, 4, number(60'000));
        QTest::newRow("strip beyond the end") << beyond << true;
        // The strips begin before their own directory and end after it.
        QByteArray covered = plain;
        covered.insert(plain.size(), QByteArray(50'000, 'p'));
        covered.replace(12, 4, number(60'000));
        QTest::newRow("directory in a strip") << covered << true;
        QTest::newRow("thumbnail in a strip") << withThumbnail() << true;
        QByteArray chain = plain;
        for (int i = 0; i < 9000; ++i) {
            chain.replace(chain.size() - 4, 4, number(quint32(chain.size())));
            chain += QByteArray("\0\0\0\0\0\0", 6);
        }
        QTest::newRow("many directories") << chain << true;
    }

    void editsLeaveTheSameFile()
    {
        QFETCH(const QByteArray, file);
        QFETCH(const bool, hasHoles);
        const Source source(file);
        const auto skeleton = RKTiffSkeleton::read(source);
        QVERIFY(skeleton);
        QCOMPARE(!skeleton->holes().empty(), hasHoles);
        QCOMPARE(completed(*skeleton, file), file);
        if (hasHoles)
            QVERIFY(source.read() < file.size());
        for (const Places places : {Places::Reuse, Places::Keep}) {
            const RKSparseBytes whole = edited(file, places);
            const RKSparseBytes sparse = edited(*skeleton, places);
            QVERIFY(whole.array() != file);
            QCOMPARE(completed(sparse, file), whole.array());
            QCOMPARE(sparse.holes().empty(), !hasHoles);
            QCOMPARE(RKTiffComparison::differences(*skeleton, sparse, {}),
                RKTiffComparison::differences(file, whole, {}));
        }
    }

    void damagedFilesStayTheSame()
    {
        QRandomGenerator random(20);
        int sparse = 0;
        for (int i = 0; i < 400; ++i) {
            QByteArray file = tiff(2, {}, 18'000);
            for (int j = random.bounded(1, 6); j > 0; --j) {
                // In directories and lists of strips, or anywhere.
                const int place = random.bounded(3) == 0 ? random.bounded(int(file.size()))
                                                         : int(file.size()) - random.bounded(200);
                file[std::min<qsizetype>(place, file.size() - 1)] = char(random.bounded(256));
            }
            const auto skeleton = RKTiffSkeleton::read(RKMemorySource(file));
            QVERIFY(skeleton);
            sparse += skeleton->holes().empty() ? 0 : 1;
            const RKSparseBytes whole = edited(file, Places::Reuse);
            const RKSparseBytes result = edited(*skeleton, Places::Reuse);
            QCOMPARE(completed(result, file), whole.array());
            QCOMPARE(RKTiffComparison::differences(*skeleton, result, {}),
                RKTiffComparison::differences(file, whole, {}));
        }
        QVERIFY(sparse > 100);
    }

    void pixelsThatAreNotHeldStayInTheirPlace()
    {
        const QByteArray file = tiff(1);
        const auto skeleton = RKTiffSkeleton::read(RKMemorySource(file));
        QCOMPARE(skeleton->holes().size(), size_t(1));
        const RKByteRange hole = skeleton->holes().front();
        const QStringList pixels{u"IFD0 pixels"_s};
        QCOMPARE(RKTiffComparison::differences(*skeleton, *skeleton, {}), QStringList());

        // The second strip lies elsewhere, in the same hole.
        RKSparseBytes moved = *skeleton;
        moved.overwrite(12, number(quint32(kPixels) + 64));
        QCOMPARE(RKTiffComparison::differences(*skeleton, moved, {}), pixels);
        RKSparseBytes written = *skeleton;
        written.overwrite(qint64(hole.start) + 5000, QByteArray(3, '\0'));
        QCOMPARE(written.holes().size(), size_t(2));
        QCOMPARE(RKTiffComparison::differences(*skeleton, written, {}), pixels);
        QCOMPARE(RKTiffComparison::differences(written, *skeleton, {}), pixels);
        // Bytes that are held on one side only are not known to be the same.
        QVERIFY(!RKTiffComparison::differences(file, *skeleton, {}).isEmpty());
        // A value beyond the end is the same where its place is.
        const QByteArray beyond = tiff(1, entry(0x8000, 4, 3, 0x7fffffff));
        QCOMPARE(RKTiffComparison::differences(beyond, beyond, {}), QStringList());
        // A directory that nobody has read.
        RKSparseBytes lost = *skeleton;
        lost.overwrite(lost.size() - 4, number(quint32(hole.start) + 10));
        QCOMPARE(RKTiffComparison::differences(*skeleton, lost, {}), {u"TIFF structure"_s});
        // The copies have not changed with one another.
        QCOMPARE(completed(*skeleton, file), file);
    }

    void aThumbnailIsRead()
    {
        const auto skeleton = RKTiffSkeleton::read(RKMemorySource(withThumbnail()));
        QVERIFY(!skeleton->hasHole({kThumbnail, kThumbnail + kThumbnailSize}));
    }

    void errorsWhileReadingAreReported()
    {
        const QByteArray file = tiff(3);
        int reads = 0;
        while (!RKTiffSkeleton::read(Source(file, reads)))
            QVERIFY(++reads < 100);
        QVERIFY(reads > 3);
    }

    void savesReadNoPixels()
    {
        // A strip of 100 MB between the directory and the end.
        constexpr quint32 kLarge = 100'000'000;
        const QByteArray start = QByteArray("II*\0", 4) + number(8) + QByteArray("\4\0", 2)
            + entry(256, 4, 1, 10'000) + entry(257, 4, 1, 10'000)
            + entry(RKTiffTag::kStripOffsets, 4, 1, 62)
            + entry(RKTiffTag::kStripSizes, 4, 1, kLarge - 62) + number(0);
        const auto small = saved(tiff(1));
        const auto large = saved(start, kLarge);
        QCOMPARE(small.exitCode, 0);
        QVERIFY2(large.exitCode == 0, qPrintable(large.messages));
        QVERIFY2(large.mebibytes <= small.mebibytes + 1, QByteArray::number(large.mebibytes));
    }

    void excessiveXmpIsRefused()
    {
        std::string namespaces;
        std::string properties;
        for (int i = 0; i < 5000; ++i) {
            const std::string name = 'n' + std::to_string(i);
            namespaces += " xmlns:" + name + "='http://" + name + "/'";
            properties += '<' + name + ":a>1</" + name + ":a>";
        }
        const QByteArray packet
            = QByteArray::fromStdString(RKXmpFixtures::packetOf(namespaces, properties));
        RKTiffEditor editor(tiff(1));
        editor.change(Directory::Image, {{RKTiffTag::kXmp, RKTiffType::kByte, packet}}, {});
        const auto result = saved(editor.structure().array());
        QCOMPARE(result.exitCode, 1);
        QVERIFY2(result.messages.contains(u"too many namespaces"_s), qPrintable(result.messages));
        QVERIFY(result.workedMilliseconds < RKTimeLimit::milliseconds(2000));
    }

private:
    /// What the tool takes to save a rating into a file; zeros follow its bytes up to the size.
    static RKProcessCost::Result saved(const QByteArray& bytes, qint64 size = 0)
    {
        const QTemporaryDir folder;
        const QString path = folder.filePath(u"x.tif"_s);
        QFile file(path);
        if (!file.open(QIODevice::WriteOnly) || file.write(bytes) != bytes.size()
            || !file.resize(std::max<qint64>(size, bytes.size())))
            return {};
        file.close();
        return RKProcessCost::run(QStringLiteral(RK_TOOL),
            {u"set"_s, u"--rating"_s, u"3"_s, path},
            folder.filePath(u"messages"_s));
    }
};

QTEST_APPLESS_MAIN(RKTiffSkeletonTest)
#include "RKTiffSkeletonTest.moc"
