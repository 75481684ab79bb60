#include "RKImageLoader/files/RKCTime.h"

#include "RKImageLoader/files/RKFileTimes.h"
#include "support/RKQuietTest.h"
#include "support/RKTestPictures.h"

#include <QTemporaryDir>

using namespace Qt::StringLiterals;

class RKCTimeTest : public RKQuietTest
{
    Q_OBJECT

private Q_SLOTS:

    void timesAreSetWherePossible()
    {
        const QDateTime moment(QDate(2011, 7, 4), QTime(12, 30, 0, 250), Qt::UTC);
        const QTemporaryDir directory;
        const QString path = directory.filePath(u"b\u00e4r.jpg"_s);
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
