#include "RKImageLoader/loading/RKMediaLoader.h"

#include "RKImageLoader/files/RKFileTimes.h"
#include "RKImageLoader/loading/RKImageLoader.h"
#include "support/RKQuietTest.h"
#include "support/RKTestPictures.h"

#include <QTemporaryDir>

using namespace Qt::StringLiterals;

using namespace RKTestPictures;

class RKMediaLoaderTest : public RKQuietTest
{
    Q_OBJECT

private Q_SLOTS:

    void requestsGoToTheLoaderOfTheFormat()
    {
        const RKMediaDescriptor file(QDir(m_folder.path()), u"a.png"_s);
        const QImage picture = quadrants({40, 30});
        QVERIFY(loader().save(file, picture));
        QCOMPARE(loader().size(file), QSize(40, 30));
        QCOMPARE(loader().bitmap(file, QSize()).convertToFormat(picture.format()), picture);
        QCOMPARE(
            loader().imageOrientation(file), RKImageLoader::instance()->imageOrientation(file));
        QCOMPARE(loader().recordingDate(file), loader().fileCreationDate(file));
        setMtimeInternal(file.absoluteFilePath(), QDate(2011, 7, 4).startOfDay());
        QCOMPARE(loader().fileCreationDate(file), file.fileInfo().birthTime());
    }

    void formatsThatNoLoaderSupportsAreRefused()
    {
        const RKMediaDescriptor text(QDir(m_folder.path()), u"a.txt"_s);
        for (int i = 0; i < 3; ++i)
            QTest::ignoreMessage(QtWarningMsg, "RKMediaFormat no RKMediaFormat for txt");
        QVERIFY(loader().bitmap(text, QSize()).isNull());
        QCOMPARE(loader().size(text), QSize());
        QVERIFY(!loader().save(text, quadrants({40, 30})));
    }

private:
    const RKMediaLoader& loader() const
    {
        return *RKMediaLoader::instance();
    }

    QTemporaryDir m_folder;
};

QTEST_MAIN(RKMediaLoaderTest)

#include "RKMediaLoaderTest.moc"
