#include "RKImageLoader/files/RKCTime.h"

#include "RKImageLoader/files/RKFileTimes.h"
#include "support/RKTestPictures.h"

#include <QTemporaryDir>
#include <QTest>

class RKCTimeTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:

    void timesAreSetWherePossible()
    {
        QTest::failOnWarning(QRegularExpression(QStringLiteral(".*")));
        const QDateTime moment(QDate(2011, 7, 4), QTime(12, 30, 0, 250), Qt::UTC);
        const QTemporaryDir directory;
        const QString path = directory.filePath(QStringLiteral("b\u00e4r.jpg"));
        setMtimeInternal(path, moment);
        QVERIFY(!mtimeInternal(path).isValid() && !ctimeInternal(path).isValid());
        QVERIFY(!QFile::exists(path) && !RKCTime(path).readFrom(path).isValid());

        RKTestPictures::write(path, "x");
        const QDateTime created = ctimeInternal(path);
        setMtimeInternal(path, moment);
        QCOMPARE(timeInternal(path, 1), moment);
        QCOMPARE(timeInternal(path, 0), created);
        RKCTime(moment).writeTo(path);
#ifdef Q_OS_MACOS
        QCOMPARE(RKCTime().readFrom(path), moment);
#else
        QCOMPARE(ctimeInternal(path), created);
        QVERIFY(!RKCTime().readFrom(path).isValid());
#endif
    }
};

QTEST_APPLESS_MAIN(RKCTimeTest)

#include "RKCTimeTest.moc"
