#include "RKImageLoader/files/RKFileSnapshot_p.h"
#include "RKImageLoader/files/RKSafeFileWriter_p.h"
#include "support/RKChildProcess.h"
#include "support/RKQuietTest.h"
#include "support/RKRestrictions.h"
#include "support/RKTestPictures.h"

#include <fcntl.h>

#ifdef Q_OS_LINUX
#    include <sys/xattr.h>
#endif

using Use = RKFileSnapshot::Use;
using Result = RKSafeFileWriter::Result;
using namespace RKRestrictions;
using namespace Qt::StringLiterals;

namespace {

const QByteArray kOld(20000, 'o');
const QByteArray kNew(30000, 'n');

/// What the test program does as its own child, named "RESTRICTION PATH".
int writeAsChild(const QString& role)
{
    const QString restriction = role.section(u' ', 0, 0);
    const bool isRestricted
        = restriction == "limit"_L1 ? limitFileSize(25000) : becomeOrdinaryUser();
    if (!isRestricted)
        return -1;
    return static_cast<int>(RKSafeFileWriter(role.section(u' ', 1)).write(kNew));
}

Result resultInChild(const char* restriction, const QString& path)
{
    return Result(RKChildProcess::run(QLatin1String(restriction) + u' ' + path).exitCode);
}

bool addLink(const QString& path, const QString& other)
{
    return ::link(QFile::encodeName(path).constData(), QFile::encodeName(other).constData()) == 0;
}

} // namespace

class RKSafeFileWriterTest : public RKQuietTest
{
    Q_OBJECT

private Q_SLOTS:

    void createsFilesAndReplacesThem()
    {
        const OpenDir dir;
        const QString path = dir.filePath(u"ä %1.jpg"_s);
        const QString link = dir.filePath(u"link"_s);
        RKSafeFileWriter writer(path);
        for (const QByteArray& content : {kOld, kNew, QByteArray(), kOld}) {
            QCOMPARE(writer.write(content), Result::Done);
            QCOMPARE(RKTestPictures::read(path), content);
        }
        QVERIFY(writer.errorString().isEmpty());

        QVERIFY(QFile::link(path, link));
        QCOMPARE(RKSafeFileWriter(link).write(kNew), Result::Done);
        QVERIFY(QFileInfo(link).isSymLink());
        QCOMPARE(RKTestPictures::read(path), kNew);
        QCOMPARE(dir.entries().size(), 2);
#ifdef Q_OS_LINUX
        // A name that Qt can't express.
        const QByteArray name = QFile::encodeName(dir.path()) + "/\xff.jpg";
        QCOMPARE(::rename(QFile::encodeName(path).constData(), name.constData()), 0);
        QVERIFY(QFile::remove(link));
        QCOMPARE(::symlink(name.constData(), QFile::encodeName(link).constData()), 0);
        QCOMPARE(RKSafeFileWriter(link).write(kOld), Result::Done);
        QVERIFY(QFileInfo(link).isSymLink());
        QCOMPARE(RKTestPictures::read(link), kOld);
        // The link only: no file has a name that looks like that one.
        QCOMPARE(dir.entries().size(), 1);
        QCOMPARE(::unlink(name.constData()), 0);
#endif
    }

    void hardLinksAndAttributesStay()
    {
        const OpenDir dir;
        const QString path = dir.filePath(u"file"_s);
        const QString other = dir.filePath(u"other"_s);
        RKTestPictures::write(path, kOld);
        QVERIFY(setMode(path, 02640));
#ifdef Q_OS_LINUX
        const QByteArray native = QFile::encodeName(path);
        const bool hasAttributes = ::setxattr(native.constData(), "user.note", "kept", 4, 0) == 0;
#endif
        QCOMPARE(RKSafeFileWriter(path).write(kNew), Result::Done);
        QCOMPARE(status(path).st_mode & 07777, mode_t(02640));
#ifdef Q_OS_LINUX
        QByteArray note(4, ' ');
        QVERIFY(!hasAttributes || ::getxattr(native.constData(), "user.note", note.data(), 4) == 4);
        QVERIFY(!hasAttributes || note == "kept");
#endif
        QVERIFY(addLink(path, other));
        for (const QByteArray& content : {kOld, kNew}) {
            QCOMPARE(RKSafeFileWriter(path).write(content), Result::Done);
            QCOMPARE(RKTestPictures::read(other), content);
        }
        QCOMPARE(status(path).st_nlink, nlink_t(2));
        QCOMPARE(dir.entries().size(), 2);
    }

    void piecesReplaceTheFileTheyComeFrom()
    {
        const OpenDir dir;
        const QString path = dir.filePath(u"file"_s);
        QByteArray old;
        for (int i = 0; i < 200000; ++i)
            old += QByteArray::number(i);
        const QList<RKFilePiece> pieces{
            {"head", 0, 0}, {{}, 5, 7}, {"", 0, 0}, {"middle", 0, 0}, {{}, 1, old.size() - 1}};
        const QByteArray expected = "head" + old.mid(5, 7) + "middle" + old.mid(1);
        for (const bool isLinked : {false, true}) {
            RKTestPictures::write(path, old);
            QVERIFY(!isLinked || addLink(path, dir.filePath(u"other"_s)));
            const RKFileSnapshot source(path, Use::Replace);
            RKSafeFileWriter writer(path);
            QCOMPARE(writer.replace(source, {{{}, 1, old.size()}}), Result::Failed);
            QCOMPARE(writer.replace(source, {{{}, -1, 2}}), Result::Failed);
            QCOMPARE(RKTestPictures::read(path), old);
            QCOMPARE(writer.replace(source, pieces), Result::Done);
            QVERIFY(RKTestPictures::read(path) == expected);
            QCOMPARE(writer.replace(source, pieces), Result::Changed);
            QVERIFY(RKTestPictures::read(path) == expected);
        }
        QCOMPARE(RKSafeFileWriter(path).replace(RKFileSnapshot(path), pieces), Result::NotWritable);
        QCOMPARE(dir.entries().size(), 2);
    }

    void changedFilesAreNotReplaced()
    {
        const OpenDir dir;
        const QString path = dir.filePath(u"file"_s);
        for (const bool isLinked : {false, true}) {
            RKTestPictures::write(path, kOld);
            QVERIFY(!isLinked || addLink(path, dir.filePath(u"other"_s)));
            const RKFileSnapshot source(path, Use::Replace);
            RKTestPictures::write(path, "changed");
            RKSafeFileWriter writer(path);
            QCOMPARE(writer.replace(source, {{kNew, 0, 0}}), Result::Changed);
            QCOMPARE(writer.replace(source, {{{}, 0, kOld.size()}}), Result::Changed);
            QVERIFY(!writer.errorString().isEmpty());
            QCOMPARE(RKTestPictures::read(path), QByteArray("changed"));
        }
        QCOMPARE(dir.entries().size(), 2);
    }

    void remainsOfKilledWritersGo()
    {
        const OpenDir dir;
        const QStringList names{u"file"_s, QString(120, u'ä'), u".rk"_s};
        for (const QString& name : names) {
            const QString path = dir.filePath(name);
            const QString begin = dir.filePath(u'.' + name.left(50) + u".rksave"_s);
            RKTestPictures::write(begin + u"0~"_s, kOld);
            RKTestPictures::write(begin + u"7~"_s, kOld);
            RKFileDescriptor writing;
            QVERIFY(!writing.open(QFile::encodeName(begin + u"1~"_s), O_RDWR | O_CREAT, 0600));
            QCOMPARE(writing.lock(), RKFileDescriptor::Lock::Taken);
            for (const QByteArray& content : {kOld, kNew})
                QCOMPARE(RKSafeFileWriter(path).write(content), Result::Done);
            QCOMPARE(dir.entries().size(), 2);
            QVERIFY(QFile::remove(begin + u"1~"_s) && QFile::remove(path));
        }
    }

    void whatIsNoFileIsNotWritten()
    {
        const OpenDir dir;
        RKSafeFileWriter writer(dir.path());
        QCOMPARE(writer.write(kNew), Result::NotWritable);
        QVERIFY(!writer.errorString().isEmpty());
        const QString pipe = dir.filePath(u"pipe"_s);
        QCOMPARE(::mkfifo(QFile::encodeName(pipe).constData(), 0600), 0);
        QCOMPARE(RKSafeFileWriter(pipe).write(kNew), Result::NotWritable);
        const QString missing = dir.filePath(u"missing/file"_s);
        QCOMPARE(RKSafeFileWriter(missing).write(kNew), Result::Failed);
    }

    void failuresLeaveTheOldFile_data()
    {
        QTest::addColumn<bool>("isDiskFull");
        QTest::addColumn<bool>("hasHardLink");
        QTest::newRow("process limit, replaced") << false << false;
        QTest::newRow("process limit, overwritten") << false << true;
        QTest::newRow("full disk, replaced") << true << false;
        QTest::newRow("full disk, overwritten") << true << true;
    }

    void failuresLeaveTheOldFile()
    {
        QFETCH(bool, isDiskFull);
        QFETCH(bool, hasHardLink);
        const SmallDisk disk(256);
        if (isDiskFull && !disk.isMounted())
            QSKIP("No file system may be mounted here.");
        // Not a disk in memory for both: that one refuses to grow a file before it is touched.
        const OpenDir large;
        const OpenDir& dir = isDiskFull ? disk : large;
        const QString path = dir.filePath(u"file"_s);
        RKTestPictures::write(path, kOld);
        QVERIFY(!hasHardLink || addLink(path, dir.filePath(u"other"_s)));
        if (isDiskFull)
            disk.fill();
        const QStringList before = dir.entries();

        RKSafeFileWriter writer(path);
        QCOMPARE(isDiskFull ? writer.write(kNew) : resultInChild("limit", path), Result::Failed);
        QCOMPARE(writer.errorString().isEmpty(), !isDiskFull);
        QCOMPARE(RKTestPictures::read(path), kOld);
        QCOMPARE(dir.entries(), before);
    }

    void modesAreObeyed()
    {
        const OpenDir dir;
        const QString readOnly = dir.filePath(u"read-only"_s);
        RKTestPictures::write(readOnly, kOld);
        QVERIFY(setMode(readOnly, 0444));
        QCOMPARE(resultInChild("user", readOnly), Result::NotWritable);
        QCOMPARE(RKTestPictures::read(readOnly), kOld);

        const QString directory = dir.filePath(u"closed"_s);
        QVERIFY(QDir().mkdir(directory));
        const QString inside = directory + u"/file"_s;
        RKTestPictures::write(inside, kOld);
        QVERIFY(setMode(inside, 0666) && setMode(directory, 0555));
        QCOMPARE(resultInChild("user", inside), Result::Done);
        QCOMPARE(RKTestPictures::read(inside), kNew);
        QVERIFY(setMode(directory, 0755));
    }
};

int main(int argc, char** argv)
{
    return RKChildProcess::main<QCoreApplication, RKSafeFileWriterTest>(argc, argv, writeAsChild);
}

#include "RKSafeFileWriterTest.moc"
