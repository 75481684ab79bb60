#include "RKImageLoader/metadata/RKExiv2Wrapper.h"
#include "RKImageLoader/metadata/RKMetaDataCache.h"
#include "RKImageLoader/metadata/RKMetaDataField.h"
#include "support/RKMetadataFixtures.h"
#include "support/RKQuietTest.h"
#include "support/RKTestPictures.h"
#include "support/RKTestThreads.h"

#include <QRandomGenerator>
#include <QTemporaryDir>

#include <array>

using namespace RKMetadataFixtures;
using namespace Qt::StringLiterals;

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

} // namespace

class RKMetaDataThreadsTest : public RKQuietTest
{
    Q_OBJECT

private Q_SLOTS:

    void initTestCase()
    {
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
        RKTestThreads::run(kThreads, [&](int thread) {
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
            QCOMPARE(metaData.read(RKMetaDataFieldEnum::author), u"artist"_s);
            QCOMPARE(QImage(path(i)), pixels.at(i));
        }
    }

    /// exiv2's registry of namespaces is the process's: files that give one namespace different
    /// prefixes must not be decoded at the same time. A TIFF lost all its XMP by that.
    void filesAreReadBesideOnesWithAnotherPrefix()
    {
        const auto addArrays = [](Exiv2::Image& image) {
            // Each asks the registry while it is decoded.
            for (int number = 0; number < 50; ++number) {
                Exiv2::XmpArrayValue array;
                array.read("element");
                const std::string key = "Xmp.xmp.List" + std::to_string(number);
                image.xmpData().add(Exiv2::XmpKey(key), &array);
            }
        };
        const QByteArray jpeg = withMetadata(fileOf(0), addArrays);
        // A JPEG, a PNG and a TIFF.
        for (int i = 0; i < 3; ++i) {
            QByteArray other = withMetadata(fileOf(i), addArrays);
            other.replace("xmlns:xmp=", "xmlns:xap=").replace("xmp:", "xap:");
            const auto keys = RKExiv2Wrapper(other).allData().size();
            QVERIFY(keys > 50);
            std::atomic<int> faults = 0;
            std::atomic<bool> isDone = false;
            RKTestThreads::run(kThreads, [&](int thread) {
                if (thread > 0) {
                    while (!isDone)
                        faults += RKExiv2Wrapper(jpeg).adobeRating() != 1;
                    return;
                }
                for (int round = 0; round < 100; ++round)
                    faults += RKExiv2Wrapper(other).allData().size() != keys;
                isDone = true;
            });
            QCOMPARE(faults.load(), 0);
        }
    }

    void oneObjectServesAllThreads()
    {
        RKMetaData shared{QFileInfo(path(0))};
        shared.setAdobeRating(3);
        std::atomic<int> faults = 0;
        RKTestThreads::run(kThreads, [&](int thread) {
            for (int i = 0; i < 100; ++i) {
                if (thread % 4 == 0)
                    shared.setTamoStaticScore(thread + i);
                else if (thread % 4 == 1)
                    shared.rotate(true);
                else if (thread % 4 == 2)
                    shared = RKMetaData(shared);
                const RKMetaData copy = shared;
                faults += copy.unrotatedSize() != sizeOfFile(0) || copy.adobeRating() != 3
                    || shared.imageOrientation() > ORIENTATION_LEFT_BOTTOM
                    || !shared.allData().contains(u"Xmp.xmp.Rating"_s);
            }
        });
        QCOMPARE(faults, 0);
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
