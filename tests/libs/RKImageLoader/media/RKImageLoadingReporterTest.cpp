#include "RKImageLoader/media/RKImageLoadingReporter.h"

#include "support/RKQuietTest.h"

#include <QSignalSpy>

class RKImageLoadingReporterTest : public RKQuietTest
{
    Q_OBJECT

private Q_SLOTS:

    void failuresAreSignalledOnce()
    {
        RKImageLoadingReporter reporter;
        const QSignalSpy spy(&reporter, &RKImageLoadingReporter::heicErrorReported);
        reporter.reportHeicError();
        reporter.reportHeicError();
        QCOMPARE(spy.count(), 1);
        reporter.reset();
        reporter.reportHeicError();
        QCOMPARE(spy.count(), 2);
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
