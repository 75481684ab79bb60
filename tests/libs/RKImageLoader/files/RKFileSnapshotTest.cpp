#include "RKImageLoader/files/RKFileSnapshot_p.h"
#include "support/RKQuietTest.h"
#include "support/RKRestrictions.h"
#include "support/RKTestPictures.h"

#include <fcntl.h>
#include <sys/mman.h>

#include <thread>

using RKTestPictures::write;
using Use = RKFileSnapshot::Use;
using namespace RKRestrictions;
using namespace std::chrono_literals;
using namespace Qt::StringLiterals;

namespace {

const QByteArray kOld(20000, 'o');

} // namespace

class RKFileSnapshotTest : public RKQuietTest
{
    Q_OBJECT

private Q_SLOTS:

    void rangesAreReadAndWhatIsOutsideIsNot()
    {
        const OpenDir dir;
        const QString path = dir.filePath(u"ä"_s);
        QByteArray content;
        for (int i = 0; i < 10000; ++i)
            content += QByteArray::number(i);
        write(path, content);
        for (const Use use : {Use::Read, Use::Replace}) {
            const RKFileSnapshot file(path, use);
            QVERIFY(file.isOpen());
            QCOMPARE(file.size(), content.size());
            QByteArray bytes;
            QVERIFY(file.readAll(&bytes) && bytes == content);
            for (const qint64 offset : {0, 1, 4095, 4096, 8191, 38889}) {
                QVERIFY(file.read(offset, 1, &bytes) && bytes == content.mid(offset, 1));
                QVERIFY(file.read(offset, content.size() - offset, &bytes));
                QCOMPARE(bytes, content.mid(offset));
                QVERIFY(!file.read(offset, content.size() - offset + 1, &bytes));
                QVERIFY(bytes.isEmpty());
            }
            QVERIFY(!file.read(-1, 1, &bytes));
            QVERIFY(!file.hasReadError());
            QVERIFY(file.isUnchangedAt(QFile::encodeName(path)));
        }
    }

    void whatIsNoFileIsNotOpened()
    {
        const OpenDir dir;
        const QString pipe = dir.filePath(u"pipe"_s);
        QCOMPARE(::mkfifo(QFile::encodeName(pipe).constData(), 0600), 0);
        for (const QString& path : {dir.path(), pipe, dir.filePath(u"missing"_s)}) {
            for (const Use use : {Use::Read, Use::Replace}) {
                const RKFileSnapshot file(path, use);
                QVERIFY(!file.isOpen() && !file.isWritable());
                QVERIFY(!file.errorString().isEmpty());
                QCOMPARE(file.isMissing(), path.endsWith(u"missing"_s));
            }
        }
    }

    void cutOffFileIsAnError()
    {
        const OpenDir dir;
        const QString path = dir.filePath(u"file"_s);
        write(path, kOld);
        const RKFileSnapshot file(path);
        QVERIFY(QFile::resize(path, 10));
        QByteArray bytes;
        QVERIFY(!file.readAll(&bytes) && bytes.isEmpty());
        QVERIFY(file.hasReadError() && !file.errorString().isEmpty());
    }

    void changesAreSeen()
    {
        for (const char* change : {"rewritten", "replaced", "removed", "touched", "linked"}) {
            const OpenDir dir;
            const QString path = dir.filePath(u"file"_s);
            write(path, kOld);
            const RKFileSnapshot file(path, Use::Replace);
            QTest::qSleep(20);
            if (qstrcmp(change, "rewritten") == 0) {
                const timespec times[] = {status(path).st_atim, status(path).st_mtim};
                write(path, QByteArray(kOld.size(), 'n'));
                QCOMPARE(::utimensat(AT_FDCWD, QFile::encodeName(path).constData(), times, 0), 0);
            } else if (qstrcmp(change, "touched") == 0) {
                QVERIFY(setMode(path, 0600));
            } else {
                QVERIFY(QFile::rename(path, dir.filePath(u"old"_s)));
                if (qstrcmp(change, "replaced") == 0)
                    write(path, kOld);
                else if (qstrcmp(change, "linked") == 0)
                    QVERIFY(QFile::link(u"/etc/passwd"_s, path));
            }
            QVERIFY2(!file.isUnchangedAt(QFile::encodeName(path)), change);
        }
    }

    // A page that is mapped and changed already changes again without a new time, as two writes
    // within one tick of the clock do.
    void changesWithoutANewTimeAreSeenWhereItWasRead()
    {
        const OpenDir dir;
        const QString path = dir.filePath(u"file"_s);
        write(path, kOld);
        RKFileDescriptor other;
        QVERIFY(!other.open(QFile::encodeName(path), O_RDWR));
        const auto size = static_cast<size_t>(kOld.size());
        auto* const bytes = static_cast<char*>(
            ::mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_SHARED, other.get(), 0));
        QVERIFY(bytes != MAP_FAILED);
        bytes[100] = bytes[10000] = 'a';

        const RKFileSnapshot file(path, Use::Replace);
        QByteArray read;
        QVERIFY(file.read(50, 100, &read));
        bytes[10000] = 'b';
        QVERIFY(file.isUnchangedAt(QFile::encodeName(path)));
        bytes[100] = 'b';
        QVERIFY(!file.isUnchangedAt(QFile::encodeName(path)));
        bytes[100] = 'a';
        QVERIFY(file.isUnchangedAt(QFile::encodeName(path)));
        // A block that differs between two reads never belongs to one state of the file.
        bytes[100] = 'b';
        QVERIFY(file.read(50, 100, &read));
        bytes[100] = 'a';
        QVERIFY(!file.isUnchangedAt(QFile::encodeName(path)));
        ::munmap(bytes, size);
    }

    void snapshotsForReplacementWait()
    {
        const OpenDir dir;
        const QString path = dir.filePath(u"file"_s);
        write(path, kOld);
        qint64 size = 0;
        std::thread waiting;
        {
            const RKFileSnapshot first(path, Use::Replace);
            QVERIFY(first.isWritable());
            const RKFileSnapshot second(path, Use::Replace, 20ms);
            QVERIFY(!second.isOpen() && !second.isWritable());
            QVERIFY(second.errorString().contains(u"ocked"_s));
            QVERIFY(RKFileSnapshot(path).isOpen());

            waiting
                = std::thread([&path, &size] { size = RKFileSnapshot(path, Use::Replace).size(); });
            // The file that the third one waits for goes.
            QTest::qSleep(20);
            write(dir.filePath(u"new"_s), "new");
            QVERIFY(::rename(QFile::encodeName(dir.filePath(u"new"_s)).constData(),
                        QFile::encodeName(path).constData())
                == 0);
        }
        waiting.join();
        QCOMPARE(size, 3);
    }
};

QTEST_GUILESS_MAIN(RKFileSnapshotTest)
#include "RKFileSnapshotTest.moc"
