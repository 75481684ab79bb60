#include "RKImageLoader/faces/RKFacePositions.h"
#include "RKImageLoader/metadata/RKExiv2Wrapper.h"
#include "RKImageLoader/metadata/RKMetaDataField.h"
#include "support/RKProcessCost.h"

#include <QBuffer>
#include <QDirIterator>
#include <QElapsedTimer>
#include <QTest>

using namespace Qt::StringLiterals;

namespace {

constexpr qint64 kLongest = RKTimeLimit::milliseconds(2000);
constexpr qint64 kMaxMebibytes = 256;

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
                faults.append(file.fileName() + u": changed its size"_s);
            if (timer.elapsed() > kLongest)
                faults.append(file.fileName() + u": %1 ms"_s.arg(timer.elapsed()));
            // Sanitizers need their own.
            const qint64 peak = RKProcessCost::peakMebibytes();
            if (RKTimeLimit::kSanitizerFactor == 1 && peak > kMaxMebibytes)
                faults.append(file.fileName() + u": %1 MiB"_s.arg(peak));
        }
        QVERIFY2(faults.isEmpty(), qPrintable(faults.join(u'\n')));
    }
};

QTEST_GUILESS_MAIN(RKMetaDataSamplesTest)

#include "RKMetaDataSamplesTest.moc"
