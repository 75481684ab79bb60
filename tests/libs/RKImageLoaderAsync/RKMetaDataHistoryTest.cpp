#include "RKImageLoaderAsync/RKMetaDataHistory.h"

#include "RKImageLoader/loading/RKMediaLoader.h"
#include "RKImageLoader/media/RKImageLoaderConfig.h"
#include "RKImageLoader/metadata/RKMetaDataField.h"
#include "support/RKQuietTest.h"
#include "support/RKRestrictions.h"
#include "support/RKTestPictures.h"

#include <QSignalSpy>

#include <algorithm>
#include <array>

using namespace Qt::StringLiterals;
using RKRestrictions::OpenDir;
using RKTestPictures::read;
using Field = RKMetaDataFieldEnum;

namespace {

QString makePicture(const OpenDir& dir, const QString& name, int orientation = 0)
{
    const QString path = dir.filePath(name);
    RKTestPictures::write(
        path, RKTestPictures::encoded(RKTestPictures::quadrants({48, 32}), "JPEG"));
    RKMetaData metaData{QFileInfo(path)};
    if (orientation > 0)
        metaData.setImageOrientation(RKImageOrientation(orientation));
    return metaData.save(QFileInfo(path)) ? path : QString();
}

RKMetaData metaDataOf(const QString& path)
{
    return RKMetaData(QFileInfo(path));
}

/// All data but the places of directories, which may be empty.
QHash<QString, QString> dataOf(const QString& path)
{
    auto data = metaDataOf(path).allData();
    data.remove(u"Exif.Image.ExifTag"_s);
    data.remove(u"Exif.Image.GPSTag"_s);
    return data;
}

QByteArray colorsOf(const QString& path)
{
    const RKMediaDescriptor descriptor{QFileInfo(path)};
    return RKTestPictures::quadrantColors(
        RKMediaLoader::instance()->bitmap(descriptor, QSize(-1, -1)));
}

bool waitFor(const RKMetaDataHistory& history)
{
    return QTest::qWaitFor([&history] { return !history.isWriting(); }, 20000);
}

} // namespace

class RKMetaDataHistoryTest : public RKQuietTest
{
    Q_OBJECT

private Q_SLOTS:

    void initTestCase()
    {
        RKImageLoaderConfig::useDefaults();
    }

    void editsAreWrittenAndUndoneInTheirOrder()
    {
        const OpenDir dir;
        const QString path = makePicture(dir, u"-a b\n.jpg"_s);
        const auto old = dataOf(path);
        RKMetaDataHistory history;
        QVERIFY(history.undoText().isEmpty());
        const QDateTime taken({2021, 7, 4}, {12, 30}, Qt::OffsetFromUTC, -9000);
        history.setRating(path, 3);
        history.setRating(path, 4);
        history.setRating(path, 4); // no change, no step
        history.edit(path, u"Title of %1"_s, [](RKMetaData& metaData) {
            metaData.write(Field::originalFilename, u"Zoë"_s);
            return true;
        });
        history.edit(path, u"All of %1"_s, [taken](RKMetaData& metaData) {
            metaData.setKeywords({u"a"_s, u"b, c"_s});
            metaData.setPictureTaken(taken);
            metaData.setGeoPosition(RKGeoPosition(-33.5, 0));
            return true;
        });
        QVERIFY(waitFor(history));
        const RKMetaData edited = metaDataOf(path);
        QCOMPARE(edited.adobeRating(), 4);
        QCOMPARE(edited.read(Field::originalFilename), u"Zoë"_s);
        QCOMPARE(edited.keywords(), QStringList({u"a"_s, u"b, c"_s}));
        QCOMPARE(edited.pictureTaken(), taken);
        QCOMPARE(edited.geoPosition(), RKGeoPosition(-33.5, 0));

        history.edit(path, u"Place of %1"_s, [](RKMetaData& metaData) {
            metaData.removeGeoPosition();
            return true;
        });
        QVERIFY(waitFor(history));
        QCOMPARE(history.undoText(), u"Place of -a b\n.jpg"_s);
        const auto data = dataOf(path);
        for (int i = 0; i < 4; ++i)
            history.undo();
        QVERIFY(waitFor(history));
        QCOMPARE(metaDataOf(path).adobeRating(), 3);
        history.undo();
        history.undo(); // one too many
        QVERIFY(waitFor(history));
        QVERIFY(history.undoText().isEmpty());
        QCOMPARE(dataOf(path), old);
        for (int i = 0; i < 5; ++i)
            history.redo();
        QVERIFY(waitFor(history));
        QCOMPARE(dataOf(path), data);
        QVERIFY(history.redoText().isEmpty());
        history.undo();
        history.setRating(path, 1); // what was undone can't be made again
        QVERIFY(waitFor(history));
        QVERIFY(history.redoText().isEmpty());
        QCOMPARE(metaDataOf(path).geoPosition(), RKGeoPosition(-33.5, 0));
    }

    void rotationTurnsWhatIsShown()
    {
        const OpenDir dir;
        for (int orientation = 0; orientation <= 8; ++orientation) {
            const QString path = makePicture(dir, u"%1.jpg"_s.arg(orientation), orientation);
            const QByteArray before = colorsOf(path); // from the top left, row by row
            RKMetaDataHistory history;
            history.rotate(path, 1);
            QVERIFY(waitFor(history));
            QByteArray turned = before;
            for (int i = 0; i < turned.size(); ++i)
                turned[i] = before[std::array{2, 0, 3, 1}.at(size_t(i))];
            QCOMPARE(colorsOf(path), turned);
            history.rotate(path, -2);
            QVERIFY(waitFor(history));
            std::reverse(turned.begin(), turned.end());
            QCOMPARE(colorsOf(path), turned);
            history.undo();
            history.undo();
            QVERIFY(waitFor(history));
            QCOMPARE(colorsOf(path), before);
        }
    }

    void whatOthersHaveWrittenIsNotOverwritten()
    {
        const OpenDir dir;
        const QString path = makePicture(dir, u"a.jpg"_s);
        RKMetaDataHistory history;
        QSignalSpy failed(&history, &RKMetaDataHistory::failed);
        history.setRating(path, 3);
        QVERIFY(waitFor(history));
        RKMetaData others = metaDataOf(path);
        others.setAdobeRating(5);
        others.write(Field::author, u"Anna"_s);
        QVERIFY(others.save(QFileInfo(path)));
        const QByteArray bytes = read(path);

        history.undo();
        history.edit(path, u"%1"_s, [](RKMetaData& metaData) {
            metaData.write(Field::author, u"Cleo"_s);
            return false;
        });
        QVERIFY(waitFor(history));
        QCOMPARE(failed.size(), 2);
        QCOMPARE(read(path), bytes);
        // The undo is still there to be made.
        others.setAdobeRating(3);
        QVERIFY(others.save(QFileInfo(path)));
        history.undo();
        QVERIFY(waitFor(history));
        QCOMPARE(metaDataOf(path).adobeRating(), 0);
        QCOMPARE(metaDataOf(path).read(Field::author), u"Anna"_s);

        others = metaDataOf(path);
        others.setRejected();
        QVERIFY(others.save(QFileInfo(path)));
        history.setRating(path, 0);
        QVERIFY(waitFor(history));
        QVERIFY(!metaDataOf(path).isRejected());
    }

    void failedSaveLosesNothing()
    {
        const RKRestrictions::OrdinaryUser user;
        const OpenDir dir;
        const QString path = makePicture(dir, u"a.jpg"_s);
        RKMetaDataHistory history;
        QSignalSpy failed(&history, &RKMetaDataHistory::failed);
        history.setRating(path, 2);
        QVERIFY(waitFor(history));
        const QByteArray bytes = read(path);
        QVERIFY(RKRestrictions::setMode(path, 0444));
        QVERIFY(RKRestrictions::setMode(dir.path(), 0555));
        for (const int attempt : {1, 2}) {
            QTest::ignoreMessage(QtWarningMsg, QRegularExpression(u"^caught exception"_s));
            attempt == 1 ? history.setRating(path, 4) : history.undo();
            QVERIFY(waitFor(history));
            QCOMPARE(failed.size(), attempt);
            QVERIFY(!failed.last().at(1).toString().isEmpty());
            QCOMPARE(read(path), bytes);
        }
        QVERIFY(RKRestrictions::setMode(dir.path(), 0777));
        QVERIFY(RKRestrictions::setMode(path, 0666));
        history.undo();
        QVERIFY(waitFor(history));
        QCOMPARE(metaDataOf(path).adobeRating(), 0);
        QVERIFY(history.undoText().isEmpty());
        QTest::ignoreMessage(QtWarningMsg, QRegularExpression(u"No such file"_s));
        history.setRating(dir.filePath(u"missing.jpg"_s), 1);
        QVERIFY(waitFor(history));
        QCOMPARE(failed.size(), 3);
    }

    void closingWaitsForWhatIsStillToBeWritten()
    {
        const OpenDir dir;
        const QString path = makePicture(dir, u"a.jpg"_s);
        {
            RKMetaDataHistory history;
            history.setRating(path, 2);
            history.setRating(path, 3);
        }
        QCOMPARE(metaDataOf(path).adobeRating(), 3);
    }
};

QTEST_MAIN(RKMetaDataHistoryTest)

#include "RKMetaDataHistoryTest.moc"
