#include "RKImageLoader/metadata/RKCTime.h"

#include "RKImageLoader/metadata/RKCTimeHandler.h"
#include "RKImageLoader/metadata/RKFileTimes.h"

#include <QFile>
#include <QTemporaryDir>
#include <QTest>

namespace {

const QDateTime kMoment(QDate(2011, 7, 4), QTime(12, 30, 0, 250), Qt::UTC);

} // namespace

class RKCTimeTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:

    void initTestCase()
    {
        QVERIFY(m_directory.isValid());
        m_path = m_directory.filePath(QStringLiteral("b\u00e4r.jpg"));
    }

    void init()
    {
        QTest::failOnWarning(QRegularExpression(QStringLiteral(".*")));
        QFile::remove(m_path);
        QFile file(m_path);
        QVERIFY(file.open(QIODevice::WriteOnly) && file.write("x") == 1);
    }

    void modificationTimeCanBeSet()
    {
        const QDateTime created = ctimeInternal(m_path);
        setMtimeInternal(m_path, kMoment);
        QCOMPARE(mtimeInternal(m_path), kMoment);
        QCOMPARE(timeInternal(m_path, 1), kMoment);
        QCOMPARE(timeInternal(m_path, 0), created);
        QCOMPARE(ctimeInternal(m_path), created);
    }

    void missingFileHasNoTimes()
    {
        const QString missing = m_directory.filePath(QStringLiteral("missing"));
        QVERIFY(!mtimeInternal(missing).isValid() && !ctimeInternal(missing).isValid());
        setMtimeInternal(missing, kMoment);
        QVERIFY(!QFile::exists(missing));
        QVERIFY(!RKCTime(missing).readFrom(missing).isValid());
    }

    void creationTimeIsGivenBackWherePossible()
    {
        QCOMPARE(RKCTimeHandler::instance(), RKCTimeHandler::instance());
        RKCTime(kMoment).writeTo(m_path);
#ifdef Q_OS_MACOS
        QCOMPARE(ctimeInternal(m_path), kMoment);
        QCOMPARE(RKCTime().readFrom(m_path), kMoment);
#else
        QVERIFY(ctimeInternal(m_path) != kMoment);
        QVERIFY(!RKCTime().readFrom(m_path).isValid());
#endif
    }

private:
    QTemporaryDir m_directory;
    QString m_path;
};

QTEST_APPLESS_MAIN(RKCTimeTest)

#include "RKCTimeTest.moc"
