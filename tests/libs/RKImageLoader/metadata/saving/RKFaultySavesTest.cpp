#include "RKImageLoader/files/RKSafeFileWriter_p.h"
#include "RKImageLoader/metadata/RKExiv2Wrapper.h"
#include "support/RKMetadataFixtures.h"
#include "support/RKQuietTest.h"
#include "support/RKRestrictions.h"
#include "support/faults/RKFaults.h"

#include <sys/wait.h>

#include <cerrno>
#include <csignal>
#include <cstdlib>

using namespace RKMetadataFixtures;
using namespace RKRestrictions;
using namespace Qt::StringLiterals;
using RKTestPictures::read;
using RKTestPictures::write;

namespace {

constexpr int kNewRating = 4;
constexpr int kMaxCalls = 300;

/// What has to be continued, and must not make a save fail.
bool isHarmless(int fault)
{
    return fault == EINTR || fault == RKFaults::Short;
}

/// Whether it is certain what a save that meets the fault has to report. The last flush is that of
/// the folder, when the new file is complete and in its place; exiv2 opens and reads files, too.
bool isKnown(RKFaults::Call call, int number, int fault)
{
    switch (call) {
    case RKFaults::Flush: return number == 1 || isHarmless(fault);
    case RKFaults::Write:
    case RKFaults::Rename:
    case RKFaults::Resize: return true;
    case RKFaults::Read:
    case RKFaults::Close: return isHarmless(fault);
    default: return false;
    }
}

QString* s_messages = nullptr;

void collect(QtMsgType, const QMessageLogContext&, const QString& text)
{
    s_messages->append(text + u'\n');
}

} // namespace

/// Saves with one call of the system failing, for every call: the file is the complete old or the
/// complete new one, the result says which, and nothing lies beside it.
class RKFaultySavesTest : public RKQuietTest
{
    Q_OBJECT

private Q_SLOTS:

    void initTestCase()
    {
        // Copies for overwriting are made here, too.
        qputenv("TMPDIR", m_dir.path().toLocal8Bit());
        RKExiv2Library::initialize();
    }

    void oneCallFails_data()
    {
        addFiles();
        QTest::newRow("with a hard link") << QByteArray("bare.jpg") << true;
    }

    void oneCallFails()
    {
        QFETCH(QByteArray, name);
        QFETCH(bool, isLinked);

        struct Case
        {
            RKFaults::Call call;
            QList<int> faults;
        };

        const Case cases[] = {{RKFaults::Open, {EIO, EACCES, EMFILE, EINTR}},
            {RKFaults::Read, {EIO, EINTR, RKFaults::Short}},
            {RKFaults::Write, {EIO, ENOSPC, EINTR, RKFaults::Short}},
            {RKFaults::Flush, {EIO, ENOSPC, EINTR}},
            {RKFaults::Rename, {EIO, ENOSPC}},
            {RKFaults::Link, {EIO, ENOSPC}},
            {RKFaults::Resize, {EIO, ENOSPC, EINTR}},
            {RKFaults::Close, {EIO, ENOSPC, EINTR}}};
        makeExpected(name, isLinked);
        if (QTest::currentTestFailed())
            return;
        int faults = 0;
        for (const auto& [call, list] : cases) {
            for (const int fault : list) {
                faults += countFaults(call, fault, RKFaults::Once);
                // A file that is overwritten can't get its old content back then.
                if (fault > 0 && fault != EINTR && !isLinked)
                    faults += countFaults(call, fault, RKFaults::Lasting);
                if (QTest::currentTestFailed())
                    return;
            }
        }
        QVERIFY2(faults > 50, qPrintable(QString::number(faults)));
    }

    void processIsKilled_data()
    {
        addFiles(); // but no hard link: a file that is overwritten is damaged, as documented.
    }

    void processIsKilled()
    {
        QFETCH(QByteArray, name);
        makeExpected(name, false);
        if (QTest::currentTestFailed())
            return;
        int status = -1;
        int number = 1;
        int remains = 0;
        for (; status != 0; ++number) {
            setOld();
            const pid_t child = ::fork();
            if (child == 0) {
                RKFaults::arm(RKFaults::AnyCall, number, RKFaults::Kill);
                const bool isSaved = save();
                std::_Exit(isSaved ? 0 : 1);
            }
            QCOMPARE(::waitpid(child, &status, 0), child);
            const QByteArray content = read(m_path);
            QVERIFY(content == m_old || content == m_new);
            QVERIFY(status != 0 || content == m_new);
            remains += int(m_dir.entries() != m_entries);
            setOld();
            QVERIFY(save());
            QVERIFY(read(m_path) == m_new);
            QCOMPARE(m_dir.entries(), m_entries);
        }
        QVERIFY(number > 20);
        QVERIFY(remains > 0);
    }

private:
    static void addFiles()
    {
        QTest::addColumn<QByteArray>("name");
        QTest::addColumn<bool>("isLinked");
        for (const char* name : {"bare.jpg",
                 "texts.png",
                 "old-jpeg.tif",
                 "extended.webp",
                 "layers.psd",
                 "boxes.jp2",
                 "three.arw",
                 "languages.xmp"})
            QTest::newRow(name) << QByteArray(name) << false;
    }

    /// Saves with every call meeting the fault, one after the other; the number of faults.
    int countFaults(RKFaults::Call call, int fault, RKFaults::Duration duration)
    {
        int number = 1;
        for (; number < kMaxCalls && save(call, number, fault, duration); ++number) {
            if (QTest::currentTestFailed())
                break;
        }
        return number - 1;
    }

    /// Saves with one call meeting the fault; whether there are as many calls.
    bool save(RKFaults::Call call, int number, int fault, RKFaults::Duration duration)
    {
        setOld();
        QString messages;
        s_messages = &messages;
        const QtMessageHandler before = qInstallMessageHandler(collect);
        RKFaults::arm(call, number, fault, duration);
        const bool isSaved = save();
        const bool hasHappened = RKFaults::disarm();
        qInstallMessageHandler(before);

        const bool isHonest = read(m_path) == (isSaved ? m_new : m_old)
            && (isSaved || messages.contains(m_path))
            && (!hasHappened || !isKnown(call, number, fault) || isSaved == isHarmless(fault));
        if (!isHonest || m_dir.entries() != m_entries) {
            const QString text = u"call %1, number %2, fault %3%4: saved %5, beside it %6, %7"_s;
            QTest::qFail(qPrintable(text.arg(call)
                                        .arg(number)
                                        .arg(fault)
                                        .arg(duration == RKFaults::Lasting ? u" from then on" : u"")
                                        .arg(isSaved)
                                        .arg(m_dir.entries().join(u' '), messages)),
                __FILE__,
                __LINE__);
        }
        return hasHappened;
    }

    void makeExpected(const QByteArray& name, bool isLinked)
    {
        for (const QString& entry : m_dir.entries())
            QFile::remove(m_dir.filePath(entry));
        m_old = richFile(name);
        m_path = m_dir.filePath(QString::fromLatin1(name));
        write(m_path, m_old);
        if (isLinked) {
            const QByteArray other = QFile::encodeName(m_dir.filePath(u"other"_s));
            QCOMPARE(::link(QFile::encodeName(m_path).constData(), other.constData()), 0);
        }
        m_entries = m_dir.entries();
        QVERIFY(save());
        QCOMPARE(RKExiv2Wrapper(m_path).adobeRating(), kNewRating);
        m_new = read(m_path);
        QVERIFY(m_new != m_old);
    }

    void setOld() const
    {
        write(m_path, m_old);
    }

    bool save() const
    {
        RKExiv2Wrapper wrapper{QFileInfo(m_path)};
        wrapper.setAdobeRating(kNewRating);
        // A wrong turn if the orientation could not be read.
        wrapper.rotate(true);
        return wrapper.save(QFileInfo(m_path));
    }

    // In memory, where one may be mounted: some thousand saves wait for no disk.
    const SmallDisk m_dir{8192};
    QString m_path;
    QByteArray m_old;
    QByteArray m_new;
    QStringList m_entries;
};

int main(int argc, char** argv)
{
    QGuiApplication application(argc, argv);
    RKFaultySavesTest test;
    return QTest::qExec(&test, argc, argv);
}

#include "RKFaultySavesTest.moc"
