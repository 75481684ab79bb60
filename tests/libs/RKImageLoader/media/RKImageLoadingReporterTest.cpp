#include "RKImageLoader/media/RKImageLoadingReporter.h"

#include "RKCore/RKLogger.h"

#include <QSignalSpy>
#include <QTest>

class RKImageLoadingReporterTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:

    void everyFailureIsLoggedButSignalledOnce()
    {
        int logged = 0;
        RKLogger::setSink([&logged](const QString& text, bool important) {
            if (text == QLatin1String("STATISTICS ACTION:reportHeicError") && !important)
                ++logged;
        });
        RKImageLoadingReporter reporter;
        const QSignalSpy spy(&reporter, &RKImageLoadingReporter::heicErrorReported);
        reporter.reportHeicError();
        reporter.reportHeicError();
        QCOMPARE(spy.count(), 1);
        reporter.reset();
        reporter.reportHeicError();
        QCOMPARE(spy.count(), 2);
        QCOMPARE(logged, 3);
        RKLogger::setSink({});
    }

    void aSlotMayReset()
    {
        RKImageLoadingReporter reporter;
        int signalled = 0;
        connect(&reporter, &RKImageLoadingReporter::heicErrorReported, &reporter, [&] {
            ++signalled;
            reporter.reset();
        });
        reporter.reportHeicError();
        reporter.reportHeicError();
        QCOMPARE(signalled, 2);
    }
};

QTEST_GUILESS_MAIN(RKImageLoadingReporterTest)

#include "RKImageLoadingReporterTest.moc"
