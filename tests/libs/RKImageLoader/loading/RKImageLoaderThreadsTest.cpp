#include "RKImageLoader/loading/RKImageLoader.h"
#include "RKImageLoader/media/RKImageLoaderConfig.h"
#include "RKImageLoader/metadata/RKMetaData.h"
#include "support/RKTestPictures.h"
#include "support/RKTestThreads.h"

#include <QTemporaryDir>
#include <QTest>

#include <atomic>

using namespace RKTestPictures;

// A program of its own: one that has started child processes can't be watched for races.
class RKImageLoaderThreadsTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:

    void severalThreadsLoadAndSaveAtOnce()
    {
        const QTemporaryDir folder;
        write(folder.filePath(QStringLiteral("config.xml")), "<c/>");
        RKImageLoaderConfig::setConfigFile(
            QFileInfo(folder.filePath(QStringLiteral("config.xml"))));
        write(folder.filePath(QStringLiteral("t.jpg")), encoded(quadrants({200, 100}), "jpg"));
        write(folder.filePath(QStringLiteral("t.png")), encoded(quadrants({200, 100}), "png"));
        write(folder.filePath(QStringLiteral("t.svg")),
            "<svg xmlns='http://www.w3.org/2000/svg' width='200' height='100'>"
            "<rect width='200' height='100' fill='red'/></svg>");

        const RKImageLoader& loader = *RKImageLoader::instance();
        std::atomic<int> good{0};
        RKTestThreads::run(8, [&](int i) {
            for (const char* name : {"t.jpg", "t.png", "t.svg"}) {
                const RKMediaDescriptor file(QDir(folder.path()), QString::fromLatin1(name));
                good += loader.size(file) == QSize(200, 100);
                good += loader.bitmap(file, {50, 50}).size() == QSize(50, 25);
            }
            // One file is changed while others load it.
            const RKMediaDescriptor file(QDir(folder.path()), QStringLiteral("t.jpg"));
            RKMetaData metaData = loader.copyMetaData(file);
            metaData.setAdobeRating(1 + i % 5);
            good += loader.save(file, metaData);
        });
        QCOMPARE(good.load(), 8 * (3 * 2 + 1));
        const RKMediaDescriptor file(QDir(folder.path()), QStringLiteral("t.jpg"));
        QVERIFY(loader.copyMetaData(file).adobeRating() >= 1);
    }
};

QTEST_MAIN(RKImageLoaderThreadsTest)

#include "RKImageLoaderThreadsTest.moc"
