#include "RKImageLoader/media/RKSafeFileWriter.h"

#include "support/RKChildProcess.h"
#include "support/RKRestrictions.h"

#include <QTest>

#include <cstdlib>

#ifdef Q_OS_LINUX
#    include <sys/xattr.h>
#endif

using Result = RKSafeFileWriter::Result;
using namespace RKRestrictions;

namespace {

QByteArray contentOf(const QString& path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

void put(const QString& path, const QByteArray& content)
{
    QFile file(path);
    QVERIFY(file.open(QIODevice::WriteOnly | QIODevice::Truncate));
    QCOMPARE(file.write(content), content.size());
}

const QByteArray kOld(20000, 'o');
const QByteArray kNew(30000, 'n');

/// What the test program does as its own child, named "RESTRICTION PATH".
int writeAsChild(const QString& role)
{
    const QString restriction = role.section(QLatin1Char(' '), 0, 0);
    const bool isRestricted
        = restriction == QLatin1String("limit") ? limitFileSize(25000) : becomeOrdinaryUser();
    if (!isRestricted)
        return -1;
    return static_cast<int>(RKSafeFileWriter(role.section(QLatin1Char(' '), 1)).write(kNew));
}

int resultInChild(const char* restriction, const QString& path)
{
    return RKChildProcess::run(QLatin1String(restriction) + QLatin1Char(' ') + path).exitCode;
}

} // namespace

class RKSafeFileWriterTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();

    void createsFilesAndReplacesThem();
    void followsLinks();
    void hardLinksAndAttributesStay();
    void whatIsNoFileIsNotWritten();
    void processLimitLeavesTheOldFile_data();
    void processLimitLeavesTheOldFile();
    void fullDiskLeavesTheOldFile_data();
    void fullDiskLeavesTheOldFile();
    void modesAreObeyed();
};

void RKSafeFileWriterTest::init()
{
    QTest::failOnWarning(QRegularExpression(QStringLiteral(".*")));
}

void RKSafeFileWriterTest::createsFilesAndReplacesThem()
{
    const OpenDir dir;
    const QString path = dir.filePath(QStringLiteral("ä %1.jpg"));
    RKSafeFileWriter writer(path);
    for (const QByteArray& content : {kOld, kNew, QByteArray(), kOld}) {
        QCOMPARE(writer.write(content), Result::Done);
        QCOMPARE(contentOf(path), content);
    }
    QCOMPARE(dir.entries().size(), 1);
    QVERIFY(writer.errorString().isEmpty());
}

void RKSafeFileWriterTest::followsLinks()
{
    const OpenDir dir;
    const QString file = dir.filePath(QStringLiteral("file"));
    const QString link = dir.filePath(QStringLiteral("link"));
    QVERIFY(QFile::link(QStringLiteral("file"), link));
    for (const QByteArray& content : {kOld, kNew}) {
        QCOMPARE(RKSafeFileWriter(link).write(content), Result::Done);
        QVERIFY(QFileInfo(link).isSymLink());
        QCOMPARE(contentOf(file), content);
    }
}

void RKSafeFileWriterTest::hardLinksAndAttributesStay()
{
    const OpenDir dir;
    const QString path = dir.filePath(QStringLiteral("file"));
    const QString other = dir.filePath(QStringLiteral("other"));
    put(path, kOld);
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

    QCOMPARE(::link(QFile::encodeName(path).constData(), QFile::encodeName(other).constData()), 0);
    for (const QByteArray& content : {kOld, kNew}) {
        QCOMPARE(RKSafeFileWriter(path).write(content), Result::Done);
        QCOMPARE(contentOf(other), content);
    }
    QCOMPARE(status(path).st_nlink, nlink_t(2));
    QCOMPARE(dir.entries().size(), 2);
}

void RKSafeFileWriterTest::whatIsNoFileIsNotWritten()
{
    const OpenDir dir;
    RKSafeFileWriter writer(dir.path());
    QCOMPARE(writer.write(kNew), Result::NotWritable);
    QVERIFY(!writer.errorString().isEmpty());

    const QString pipe = dir.filePath(QStringLiteral("pipe"));
    QCOMPARE(::mkfifo(QFile::encodeName(pipe).constData(), 0600), 0);
    QCOMPARE(RKSafeFileWriter(pipe).write(kNew), Result::NotWritable);
    QCOMPARE(
        RKSafeFileWriter(dir.filePath(QStringLiteral("missing/file"))).write(kNew), Result::Failed);
}

void RKSafeFileWriterTest::processLimitLeavesTheOldFile_data()
{
    QTest::addColumn<bool>("hasHardLink");
    QTest::newRow("replaced") << false;
    QTest::newRow("overwritten") << true;
}

void RKSafeFileWriterTest::processLimitLeavesTheOldFile()
{
    QFETCH(bool, hasHardLink);
    const OpenDir dir;
    const QString path = dir.filePath(QStringLiteral("file"));
    put(path, kOld);
    if (hasHardLink) {
        const QString other = dir.filePath(QStringLiteral("other"));
        QCOMPARE(
            ::link(QFile::encodeName(path).constData(), QFile::encodeName(other).constData()), 0);
    }
    const QStringList before = dir.entries();

    QCOMPARE(resultInChild("limit", path), static_cast<int>(Result::Failed));
    QCOMPARE(contentOf(path), kOld);
    QCOMPARE(dir.entries(), before);
}

void RKSafeFileWriterTest::fullDiskLeavesTheOldFile_data()
{
    processLimitLeavesTheOldFile_data();
}

void RKSafeFileWriterTest::fullDiskLeavesTheOldFile()
{
    QFETCH(bool, hasHardLink);
    const SmallDisk disk(256);
    if (!disk.isMounted())
        QSKIP("No file system may be mounted here.");
    const QString path = disk.filePath(QStringLiteral("file"));
    put(path, kOld);
    if (hasHardLink) {
        const QString other = disk.filePath(QStringLiteral("other"));
        QCOMPARE(
            ::link(QFile::encodeName(path).constData(), QFile::encodeName(other).constData()), 0);
    }
    disk.fill();
    const QStringList before = disk.entries();

    RKSafeFileWriter writer(path);
    QCOMPARE(writer.write(kNew), Result::Failed);
    QVERIFY(!writer.errorString().isEmpty());
    QCOMPARE(contentOf(path), kOld);
    QCOMPARE(disk.entries(), before);
}

void RKSafeFileWriterTest::modesAreObeyed()
{
    const OpenDir dir;
    const QString readOnly = dir.filePath(QStringLiteral("read-only"));
    put(readOnly, kOld);
    QVERIFY(setMode(readOnly, 0444));
    QCOMPARE(resultInChild("user", readOnly), static_cast<int>(Result::NotWritable));
    QCOMPARE(contentOf(readOnly), kOld);

    const QString directory = dir.filePath(QStringLiteral("closed"));
    QVERIFY(QDir().mkdir(directory));
    const QString inside = directory + QStringLiteral("/file");
    put(inside, kOld);
    QVERIFY(setMode(inside, 0666));
    QVERIFY(setMode(directory, 0555));
    QCOMPARE(resultInChild("user", inside), static_cast<int>(Result::Done));
    QCOMPARE(contentOf(inside), kNew);
    QVERIFY(setMode(directory, 0755));
}

int main(int argc, char** argv)
{
    QCoreApplication application(argc, argv);
    if (const QByteArray role = RKChildProcess::role(); !role.isEmpty())
        // At once: a leak checker can't look at a process that has changed its user, and would
        // replace the exit code.
        std::_Exit(writeAsChild(QString::fromUtf8(role)));
    RKSafeFileWriterTest test;
    return QTest::qExec(&test, argc, argv);
}

#include "RKSafeFileWriterTest.moc"
