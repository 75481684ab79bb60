#include "RKImageLoader/media/RKImageLoadingReporter.h"

#include "support/RKQuietTest.h"

class RKImageLoadingReporterTest : public RKQuietTest
{
    Q_OBJECT

private Q_SLOTS:

    void failuresAreSignalledOnceUntilTheReset()
    {
        RKImageLoadingReporter reporter;
        int signalled = 0;
        connect(&reporter, &RKImageLoadingReporter::heicErrorReported, &reporter, [&] {
            // A slot may reset, too.
            if (++signalled > 1)
                reporter.reset();
        });
        reporter.reportHeicError();
        reporter.reportHeicError();
        QCOMPARE(signalled, 1);
        reporter.reset();
        reporter.reportHeicError();
        reporter.reportHeicError();
        QCOMPARE(signalled, 3);
    }
};

QTEST_GUILESS_MAIN(RKImageLoadingReporterTest)

#include "RKImageLoadingReporterTest.moc"
