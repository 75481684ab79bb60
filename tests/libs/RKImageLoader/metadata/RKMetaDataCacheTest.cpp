#include "RKImageLoader/metadata/RKMetaDataCache.h"

#include "support/RKQuietTest.h"
#include "support/RKTestPictures.h"

#include <QDir>
#include <QTemporaryDir>

using namespace Qt::StringLiterals;

class RKMetaDataCacheTest : public RKQuietTest
{
    Q_OBJECT

private Q_SLOTS:

    void initTestCase()
    {
        m_file = QFileInfo(m_folder.filePath(u"picture.jpg"_s));
        const QImage picture = RKTestPictures::quadrants(QSize(40, 30));
        RKTestPictures::write(m_file.filePath(), RKTestPictures::encoded(picture, "JPEG"));
    }

    void oneObjectPerAbsolutePath()
    {
        RKMetaDataCache cache;
        QVERIFY(!cache.contains(m_file) && !cache.retrieve(m_file));
        RKMetaData* metaData = cache.metaData(m_file);
        QCOMPARE(metaData->unrotatedSize(), QSize(40, 30));
        QCOMPARE(cache.metaData(m_file, QByteArray("not looked at")), metaData);

        const QString before = QDir::currentPath();
        QVERIFY(QDir::setCurrent(m_folder.path()));
        const QFileInfo relative(u"picture.jpg"_s);
        QCOMPARE(cache.metaData(relative), metaData);
        QCOMPARE(cache.key(relative), m_file.absoluteFilePath());
        QDir::setCurrent(before);
    }

    void missingFileIsLoggedAndNotHeld()
    {
        RKMetaDataCache cache;
        const QFileInfo missing(u"/nowhere/100 %1.jpg"_s);
        QTest::ignoreMessage(QtWarningMsg, "QFileInfo(/nowhere/100 %1.jpg) does not exist");
        QTest::ignoreMessage(
            QtWarningMsg, QRegularExpression(u"caught exception with errorCode="_s));
        const std::unique_ptr<RKMetaData> own(cache.metaData(missing));
        QCOMPARE(own->unrotatedSize(), QSize(-1, -1));
        QVERIFY(!cache.contains(missing));
    }

    void unreadableFileIsNotHeld()
    {
        const QFileInfo text(m_folder.filePath(u"text.jpg"_s));
        RKTestPictures::write(text.filePath(), QByteArray(500, 'x'));
        RKMetaDataCache cache;
        const std::unique_ptr<RKMetaData> first(cache.metaData(text));
        const std::unique_ptr<RKMetaData> second(cache.metaData(text));
        QVERIFY(first && second && first != second);
        QVERIFY(!cache.contains(text));

        // Bytes are taken as they are.
        QVERIFY(cache.metaData(text, QByteArray(500, 'x')));
        QVERIFY(cache.contains(text));
        cache.invalidate(text);
        // Once it can be read, it is.
        RKTestPictures::write(text.filePath(), RKTestPictures::read(m_file.filePath()));
        QCOMPARE(cache.metaDataValue(text).unrotatedSize(), QSize(40, 30));
        QVERIFY(cache.contains(text));
    }

    void obsoleteBytesAreNotHeld()
    {
        RKMetaDataCache cache;
        const quint64 before = cache.changeCount();
        const QByteArray bytes = RKTestPictures::read(m_file.filePath());
        cache.invalidate(m_file);
        QCOMPARE(cache.metaDataValue(m_file, bytes, before).unrotatedSize(), QSize(40, 30));
        QVERIFY(!cache.contains(m_file));
        cache.metaDataValue(m_file, bytes, cache.changeCount());
        QVERIFY(cache.contains(m_file));
    }

    void invalidatedFileIsReadAgain()
    {
        RKMetaDataCache cache;
        RKMetaData* old = cache.metaData(m_file);
        RKMetaData changed = *old;
        changed.setAdobeRating(4);
        QVERIFY(changed.save(m_file));
        QCOMPARE(cache.metaDataValue(m_file).adobeRating(), 0);

        cache.invalidate(m_file);
        QVERIFY(!cache.contains(m_file));
        QCOMPARE(cache.metaDataValue(m_file).adobeRating(), 4);
        QVERIFY(cache.metaData(m_file) != old);
        QCOMPARE(old->adobeRating(), 0);

        // Never handed out: freed at once, which only a leak checker sees.
        RKMetaDataCache values;
        values.metaDataValue(m_file);
        values.invalidate(m_file);
        QCOMPARE(values.metaDataValue(m_file).adobeRating(), 4);
    }

    // A leak checker sees those that are never destroyed, and an address checker those that are
    // twice.
    void droppedObjectsLiveAsLongAsTheCache()
    {
        RKMetaDataCache cache;
        auto* first = new RKMetaData;
        first->setAdobeRating(3);
        cache.insert(m_file, first);
        cache.insert(m_file, first);
        cache.insert(m_file, nullptr);
        QCOMPARE(cache.retrieve(m_file), first);
        auto* second = new RKMetaData;
        cache.insert(m_file, second);
        QCOMPARE(cache.metaData(m_file), second);
        cache.invalidate(m_file);
        cache.invalidate(m_file);
        QCOMPARE(first->adobeRating(), 3);
    }

private:
    const QTemporaryDir m_folder;
    QFileInfo m_file;
};

QTEST_APPLESS_MAIN(RKMetaDataCacheTest)

#include "RKMetaDataCacheTest.moc"
