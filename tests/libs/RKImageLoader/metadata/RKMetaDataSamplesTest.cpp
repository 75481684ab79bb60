#include "RKImageLoader/faces/RKFacePositions.h"
#include "RKImageLoader/metadata/RKExiv2Wrapper.h"
#include "RKImageLoader/metadata/RKMetaDataField.h"
#include "support/RKTimeLimit.h"

#include <QBuffer>
#include <QDirIterator>
#include <QElapsedTimer>
#include <QTest>

namespace {

constexpr qint64 kLongest = RKTimeLimit::milliseconds(2000);
constexpr qint64 kMostKilobytes = 256 * 1024;

/// What the process has needed at most since the last call, in kilobytes; 0 where the system does
/// not tell, and under a sanitizer, which needs its own.
qint64 peakOfMemory()
{
    QFile status(QStringLiteral("/proc/self/status"));
    qint64 peak = 0;
    if (RKTimeLimit::kSanitizerFactor == 1 && status.open(QIODevice::ReadOnly)) {
        const QByteArray text = status.readAll();
        const qsizetype at = text.indexOf("VmHWM:");
        peak
            = at < 0 ? 0 : text.mid(at + 6, text.indexOf("kB", at) - at - 6).trimmed().toLongLong();
    }
    QFile reset(QStringLiteral("/proc/self/clear_refs"));
    if (reset.open(QIODevice::WriteOnly))
        reset.write("5");
    return peak;
}

void askAboutAllFamilies(const RKExiv2Wrapper& wrapper)
{
    wrapper.pictureTaken();
    wrapper.thumbnail();
    wrapper.facePositions();
    wrapper.allData();
    for (qint64 field = 1; field <= qint64(RKMetaDataFieldEnum::exifModel); field *= 2)
        wrapper.read(RKMetaDataField(RKMetaDataFieldEnum(field)));
}

} // namespace

class RKMetaDataSamplesTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:

    void everyFileIsReadAndSavedWithinLimits()
    {
        QDirIterator files(QStringLiteral(RK_SAMPLES),
            QDir::Files | QDir::NoSymLinks,
            QDirIterator::Subdirectories);
        if (!files.hasNext())
            QSKIP("The samples are missing.");
        QStringList faults;
        while (files.hasNext()) {
            QFile file(files.next());
            QVERIFY(file.open(QIODevice::ReadOnly));
            const QByteArray bytes = file.readAll();
            peakOfMemory();
            QElapsedTimer timer;
            timer.start();
            askAboutAllFamilies(RKExiv2Wrapper(file.fileName()));
            RKExiv2Wrapper wrapper(bytes);
            askAboutAllFamilies(wrapper);
            wrapper.setAdobeRating(4);
            QBuffer buffer;
            buffer.setData(bytes);
            // What is there afterwards has to be readable.
            if (wrapper.save(&buffer) && !wrapper.allData().isEmpty()
                && wrapper.unrotatedSize() != RKExiv2Wrapper(buffer.data()).unrotatedSize())
                faults.append(file.fileName() + QStringLiteral(": changed its size"));
            if (timer.elapsed() > kLongest)
                faults.append(file.fileName() + QStringLiteral(": %1 ms").arg(timer.elapsed()));
            if (const qint64 peak = peakOfMemory(); peak > kMostKilobytes)
                faults.append(file.fileName() + QStringLiteral(": %1 kB").arg(peak));
        }
        QVERIFY2(faults.isEmpty(), qPrintable(faults.join(u'\n')));
    }
};

QTEST_GUILESS_MAIN(RKMetaDataSamplesTest)

#include "RKMetaDataSamplesTest.moc"
