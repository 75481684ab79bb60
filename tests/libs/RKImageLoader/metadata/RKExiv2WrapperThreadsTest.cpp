#include "RKImageLoader/faces/RKFacePositions.h"
#include "RKImageLoader/metadata/RKExiv2Wrapper.h"
#include "RKImageLoader/metadata/RKMetaDataField.h"
#include "RKMetadataFixtures.h"

#include <QRandomGenerator>
#include <QTemporaryDir>
#include <QTest>

#include <atomic>
#include <functional>
#include <thread>
#include <vector>

using namespace RKMetadataFixtures;

namespace {

constexpr int kThreads = 8;
constexpr int kFiles = 20;
constexpr int kRounds = 60;
const QSize kSize(48, 32);

/// Runs the function on all threads at once, with the number of the thread.
void inParallel(const std::function<void(int)>& function)
{
    std::vector<std::thread> threads;
    for (int i = 0; i < kThreads; ++i)
        threads.emplace_back(function, i);
    for (std::thread& thread : threads)
        thread.join();
}

QByteArray file(int number)
{
    constexpr const char* kFormats[] = {"JPG", "PNG", "TIFF"};
    const char* const format = kFormats[number % 3];
    return withMetadata(imageFile(format, kSize), [number](Exiv2::Image& image) {
        image.exifData()["Exif.Image.Artist"] = std::string("artist");
        image.xmpData()["Xmp.xmp.Rating"] = std::string("1");
        image.xmpData()["Xmp.TAMO.Rating"] = std::to_string(number % 6);
    });
}

/// A file that binds prefixes that exiv2 knows to other namespaces.
QByteArray foreignFile()
{
    QByteArray bytes = file(0);
    return bytes.replace("\"namespaceTAMO/\"", "\"anotherNamespa\"");
}

} // namespace

class RKExiv2WrapperThreadsTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();

    void sharedObjectsAreReadAndCopiedAtOnce();
    void filesAreReadAndSavedAtOnce();
};

void RKExiv2WrapperThreadsTest::init()
{
    QTest::failOnWarning(QRegularExpression(QStringLiteral(".*")));
}

void RKExiv2WrapperThreadsTest::sharedObjectsAreReadAndCopiedAtOnce()
{
    RKExiv2Wrapper shared(file(0));
    shared.setAdobeRating(3);
    shared.updateFaces(kSize, RKFacePositions(kSize, QRect(0, 0, 9, 9), faceDetectionEngineHP));
    QList<QByteArray> targets;
    for (int i = 0; i < kThreads; ++i)
        targets.append(file(i));
    std::atomic<int> faults = 0;
    inParallel([&shared, &targets, &faults](int thread) {
        for (int round = 0; round < kRounds; ++round) {
            faults += shared.adobeRating() != 3;
            faults += shared.facePositions().count() != 1;
            faults += shared.allData().isEmpty();
            RKExiv2Wrapper own = shared;
            own.setAdobeRating(thread % 6);
            own.write(RKMetaDataField(RKMetaDataFieldEnum::originalFilename), QStringLiteral("t"));
            faults += own.adobeRating() != thread % 6;
            if (round % 10 == 0) {
                QBuffer buffer;
                buffer.setData(targets.at(thread));
                faults += !shared.save(&buffer);
                faults += RKExiv2Wrapper(buffer.data()).adobeRating() != 3;
            }
        }
    });
    QCOMPARE(faults.load(), 0);
    QCOMPARE(shared.adobeRating(), 3);
}

void RKExiv2WrapperThreadsTest::filesAreReadAndSavedAtOnce()
{
    const QTemporaryDir dir;
    QStringList paths;
    QList<QImage> pixels;
    for (int i = 0; i < kFiles; ++i) {
        paths.append(dir.filePath(QString::number(i)));
        QFile target(paths.last());
        QVERIFY(target.open(QIODevice::WriteOnly));
        target.write(file(i));
        target.close();
        pixels.append(QImage(paths.last()));
    }
    const QByteArray foreign = foreignFile();
    std::atomic<int> faults = 0;
    inParallel([&](int thread) {
        QRandomGenerator random(thread);
        for (int round = 0; round < kRounds; ++round) {
            const int number = random.bounded(kFiles);
            const QFileInfo path(paths.at(number));
            RKExiv2Wrapper wrapper(path);
            // Whoever saves leaves a whole file behind.
            faults += wrapper.unrotatedSize() != kSize;
            faults += wrapper.tamoRating() != number % 6;
            switch (random.bounded(4)) {
            case 0:
                wrapper.setAdobeRating(random.bounded(1, 6));
                faults += !wrapper.save(path);
                break;
            case 1:
                wrapper.rotate(true);
                wrapper.setFlashUsed(true);
                faults += !wrapper.save(path);
                break;
            case 2: faults += RKExiv2Wrapper(foreign).unrotatedSize() != kSize; break;
            default: faults += wrapper.debugOutput().isEmpty(); break;
            }
        }
    });
    QCOMPARE(faults.load(), 0);
    for (int i = 0; i < kFiles; ++i) {
        const RKExiv2Wrapper wrapper{QFileInfo(paths.at(i))};
        QVERIFY(wrapper.adobeRating() >= 1 && wrapper.adobeRating() <= 5);
        QCOMPARE(wrapper.tamoRating(), i % 6);
        QCOMPARE(
            wrapper.read(RKMetaDataField(RKMetaDataFieldEnum::author)), QStringLiteral("artist"));
        QImage image(paths.at(i));
        QCOMPARE(image, pixels.at(i));
    }
}

QTEST_GUILESS_MAIN(RKExiv2WrapperThreadsTest)
#include "RKExiv2WrapperThreadsTest.moc"
