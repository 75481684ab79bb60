#include "RKImageLoader/metadata/RKMetaDataCache.h"
#include "support/RKTestPictures.h"

#include <QTemporaryDir>
#include <QTest>

#include <array>
#include <filesystem>
#include <thread>

namespace {

constexpr int kThreads = 8;
constexpr int kFiles = 4;

QSize sizeOfFile(int number)
{
    return QSize(16 + number, 12);
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
    void initTestCase();
    void cacheServesAllThreads();
    void oneObjectServesAllThreads();
    void lastVersionOfAFileWins();

private:
    QString path(int number) const;

    QTemporaryDir m_folder;
};

QString RKMetaDataThreadsTest::path(int number) const
{
    return m_folder.filePath(QString::number(number) + QLatin1String(".jpg"));
}

void RKMetaDataThreadsTest::initTestCase()
{
    QTest::failOnWarning(QRegularExpression(QStringLiteral(".*")));
    for (int i = 0; i < kFiles; ++i) {
        const QImage picture = RKTestPictures::quadrants(sizeOfFile(i));
        RKTestPictures::write(path(i), RKTestPictures::encoded(picture, "JPEG"));
    }
}

void RKMetaDataThreadsTest::cacheServesAllThreads()
{
    RKMetaDataCache cache;
    std::atomic<int> faults = 0;
    runOnThreads([&](int thread) {
        for (int i = 0; i < 60; ++i) {
            const int number = (thread + i) % kFiles;
            const QFileInfo file(path(number));
            RKMetaData value = i % 5 == 0
                ? cache.metaDataValue(file, RKTestPictures::read(file.filePath()))
                : cache.metaDataValue(file);
            faults += value.unrotatedSize() != sizeOfFile(number);
            value.setAdobeRating(1 + i % 5);
            value.setImageOrientation(ORIENTATION_BOTTOM_RIGHT);
            faults += value.adobeRating() != 1 + i % 5;
            faults += cache.metaDataValue(file).adobeRating() != 0;
            if (i % 7 == thread % 7)
                cache.invalidate(file);
            if (i % 23 == thread)
                cache.clear();
        }
    });
    QCOMPARE(faults, 0);
}

void RKMetaDataThreadsTest::oneObjectServesAllThreads()
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
void RKMetaDataThreadsTest::lastVersionOfAFileWins()
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

QTEST_APPLESS_MAIN(RKMetaDataThreadsTest)

#include "RKMetaDataThreadsTest.moc"
