#include "RKImageLoader/metadata/RKExiv2Wrapper.h"
#include "RKImageLoader/metadata/RKMetaDataCache.h"
#include "RKImageLoader/metadata/RKMetaDataField.h"
#include "RKMetadataFixtures.h"
#include "support/RKTestPictures.h"

#include <QRandomGenerator>
#include <QTemporaryDir>
#include <QTest>

#include <array>
#include <filesystem>
#include <thread>

using namespace RKMetadataFixtures;

namespace {

constexpr int kThreads = 8;
constexpr int kFiles = 20;
constexpr int kRounds = 60;

QSize sizeOfFile(int number)
{
    return QSize(16 + number, 12);
}

QByteArray fileOf(int number)
{
    constexpr const char* kFormats[] = {"JPG", "PNG", "TIFF"};
    return withMetadata(
        imageFile(kFormats[number % 3], sizeOfFile(number)), [number](Exiv2::Image& image) {
            image.exifData()["Exif.Image.Artist"] = std::string("artist");
            image.xmpData()["Xmp.xmp.Rating"] = std::string("1");
            image.xmpData()["Xmp.TAMO.Rating"] = std::to_string(number % 6);
        });
}

template <typename Work>
void runOnThreads(const Work& work)
{
    std::array<std::thread, kThreads> threads;
    for (int i = 0; i < kThreads; ++i)
        threads[std::size_t(i)] = std::thread([&work, i] { work(i); });
    for (std::thread& thread : threads)
        thread.join();
}

} // namespace

class RKMetaDataThreadsTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:

    void initTestCase()
    {
        QTest::failOnWarning(QRegularExpression(QStringLiteral(".*")));
        for (int i = 0; i < kFiles; ++i)
            RKTestPictures::write(path(i), fileOf(i));
    }

    void filesAreReadHeldAndSavedAtOnce()
    {
        QList<QImage> pixels;
        for (int i = 0; i < kFiles; ++i)
            pixels.append(QImage(path(i)));
        // Both bind a prefix of ours, and each to a namespace of its own.
        const std::array<QByteArray, 2> foreign{
            fileOf(0).replace("\"namespaceTAMO/\"", "\"anotherNamespa\""),
            fileOf(0).replace("\"namespaceTAMO/\"", "\"furtherNamespa\"")};
        RKMetaDataCache cache;
        std::atomic<int> faults = 0;
        runOnThreads([&](int thread) {
            QRandomGenerator random(thread);
            for (int round = 0; round < kRounds; ++round) {
                const int number = random.bounded(kFiles);
                const QFileInfo file(path(number));
                RKMetaData metaData = cache.metaDataValue(file);
                // Whoever saves leaves a whole file behind.
                faults += metaData.unrotatedSize() != sizeOfFile(number);
                faults += metaData.tamoRating() != number % 6;
                switch (random.bounded(4)) {
                case 0:
                    metaData.setAdobeRating(random.bounded(1, 6));
                    cache.invalidate(file);
                    faults += !metaData.save(file);
                    cache.invalidate(file);
                    break;
                case 1:
                    metaData.rotate(true);
                    metaData.setFlashUsed(true);
                    faults += !metaData.save(file);
                    cache.clear();
                    break;
                case 2:
                    for (const QByteArray& bytes : foreign)
                        faults += RKExiv2Wrapper(bytes).adobeRating() != 1;
                    break;
                default: faults += metaData.allData().isEmpty(); break;
                }
            }
        });
        QCOMPARE(faults.load(), 0);
        for (int i = 0; i < kFiles; ++i) {
            const RKMetaData metaData{QFileInfo(path(i))};
            QVERIFY(metaData.adobeRating() >= 1 && metaData.adobeRating() <= 5);
            QCOMPARE(metaData.tamoRating(), i % 6);
            QCOMPARE(metaData.read(RKMetaDataFieldEnum::author), QStringLiteral("artist"));
            QCOMPARE(QImage(path(i)), pixels.at(i));
        }
    }

    void oneObjectServesAllThreads()
    {
        RKMetaData shared{QFileInfo(path(0))};
        shared.setAdobeRating(3);
        std::atomic<int> faults = 0;
        runOnThreads([&](int thread) {
            for (int i = 0; i < 100; ++i) {
                switch (thread % 4) {
                case 0: shared.setTamoStaticScore(thread + i); break;
                case 1: shared.rotate(true); break;
                case 2: shared = RKMetaData(shared); break;
                default: break;
                }
                const RKMetaData copy = shared;
                faults += copy.unrotatedSize() != sizeOfFile(0);
                faults += shared.imageOrientation() > ORIENTATION_LEFT_BOTTOM;
                faults += copy.adobeRating() != 3
                    || !shared.allData().contains(QStringLiteral("Xmp.xmp.Rating"));
            }
        });
        QCOMPARE(faults, 0);
    }

    // A reader that has parsed the former version must not put it into the cache after the file was
    // reported as changed.
    void lastVersionOfAFileWins()
    {
        const QString target = m_folder.filePath(QStringLiteral("changing.jpg"));
        const QString next = m_folder.filePath(QStringLiteral("next.jpg"));
        const auto exchange = [&](int version) {
            RKTestPictures::write(next, RKTestPictures::read(path(version)));
            std::filesystem::rename(next.toStdString(), target.toStdString());
        };
        exchange(0);
        RKMetaDataCache cache;
        for (int round = 1; round <= 40; ++round) {
            const int version = round % kFiles;
            runOnThreads([&](int thread) {
                const QFileInfo file(target);
                if (thread != 0) {
                    cache.metaDataValue(file);
                    return;
                }
                cache.invalidate(file);
                exchange(version);
                cache.invalidate(file);
            });
            QCOMPARE(cache.metaDataValue(QFileInfo(target)).unrotatedSize(), sizeOfFile(version));
        }
    }

private:
    QString path(int number) const
    {
        return m_folder.filePath(QString::number(number));
    }

    QTemporaryDir m_folder;
};

QTEST_APPLESS_MAIN(RKMetaDataThreadsTest)

#include "RKMetaDataThreadsTest.moc"
