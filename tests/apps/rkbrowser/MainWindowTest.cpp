#include "MainWindow.h"

#include "PauseMeter.h"
#include "RKImageLoader/faces/RKFacePositions.h"
#include "RKImageLoader/media/RKImageLoaderConfig.h"
#include "RKImageLoader/metadata/RKMetaData.h"
#include "support/RKTestPictures.h"
#include "support/RKTimeLimit.h"

#include "RKCore/RKInitializer.h"

#include <QAction>
#include <QMessageBox>
#include <QScrollBar>
#include <QSettings>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QTest>

using namespace Qt::StringLiterals;
using RKTestPictures::encoded;
using RKTestPictures::quadrants;

namespace {

constexpr int kPatience = 20000;

struct File
{
    QString name;
    int rating;
    QDate date;
    QString person;
};

bool write(const QDir& folder, const File& file)
{
    const QString path = folder.filePath(file.name);
    RKTestPictures::write(path, encoded(quadrants({96, 64}), "JPEG"));
    RKMetaData metaData{QFileInfo(path)};
    metaData.setAdobeRating(file.rating);
    metaData.setPictureTaken(file.date.startOfDay());
    if (!file.person.isEmpty()) {
        RKFacePositions faces;
        faces.append(RKFacePosition::named({0.5, 0, 0.5, 0.5}, file.person));
        metaData.updateFaces({96, 64}, faces);
    }
    return metaData.save(QFileInfo(path));
}

QStringList names(const FolderModel& model)
{
    QStringList result;
    for (int row = 0; row < model.rowCount(); ++row)
        result << model.entry(row).name;
    return result;
}

int ratingOf(const QString& path)
{
    return RKMetaData(QFileInfo(path)).adobeRating();
}

} // namespace

// Not a quiet test: broken files are logged, and so are hints that the platform of tests ignores.
class MainWindowTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:

    void initTestCase()
    {
        QStandardPaths::setTestModeEnabled(true);
        QSettings().clear();
        RKImageLoaderConfig::useDefaults();
        RKInitializer::instance()->setup(RKInitializerOption::Application);
        QVERIFY(m_folder.isValid());
        const QDir folder(m_folder.path());
        QVERIFY(write(folder, {u"img 10.jpg"_s, 3, QDate(2020, 1, 1), u"Ada"_s}));
        QVERIFY(write(folder, {u"img 9.jpg"_s, 5, QDate(2021, 1, 1), {}}));
        QVERIFY(write(folder, {u"Alps.jpg"_s, 0, QDate(2019, 1, 1), u"Bob"_s}));
        RKTestPictures::write(folder.filePath(u"broken.png"_s), "no picture");
        RKTestPictures::write(folder.filePath(u"notes.txt"_s), "no medium");
    }

    void filesAreSortedAndFiltered()
    {
        FolderModel model;
        model.open(m_folder.path());
        QTRY_COMPARE_WITH_TIMEOUT(names(model),
            (QStringList{u"Alps.jpg"_s, u"broken.png"_s, u"img 9.jpg"_s, u"img 10.jpg"_s}),
            kPatience);
        QTRY_COMPARE_WITH_TIMEOUT(model.people(), (QStringList{u"Ada"_s, u"Bob"_s}), kPatience);

        FolderOrder order;
        order.key = FolderOrder::Key::Rating;
        order.direction = Qt::DescendingOrder;
        order.minRating = 3;
        model.setOrder(order);
        QTRY_COMPARE(names(model), (QStringList{u"img 9.jpg"_s, u"img 10.jpg"_s}));
        order = {.key = FolderOrder::Key::Date, .text = u"JPG"_s};
        model.setOrder(order);
        QTRY_COMPARE(names(model), (QStringList{u"Alps.jpg"_s, u"img 10.jpg"_s, u"img 9.jpg"_s}));
        model.setOrder({.people = {u"Ada"_s, u"Bob"_s}});
        QTRY_COMPARE(names(model), (QStringList{u"Alps.jpg"_s, u"img 10.jpg"_s}));
        model.setOrder({.kind = FolderOrder::Kind::Videos});
        QTRY_COMPARE(model.rowCount(), 0);
        QCOMPARE(model.fileCount(), 4);
    }

    void copiesReplaceNothing()
    {
        const QTemporaryDir target;
        RKTestPictures::write(target.filePath(u"Alps.jpg"_s), "somebody else's");
        FolderModel model;
        model.open(target.path());
        QTRY_COMPARE(model.rowCount(), 1);
        const QUrl source = QUrl::fromLocalFile(m_folder.filePath(u"Alps.jpg"_s));
        model.copyHere({source, QUrl::fromLocalFile(target.filePath(u"Alps.jpg"_s))});
        // The folder is watched, too.
        QTRY_COMPARE_WITH_TIMEOUT(
            names(model), (QStringList{u"Alps (2).jpg"_s, u"Alps.jpg"_s}), kPatience);
        QCOMPARE(RKTestPictures::read(target.filePath(u"Alps.jpg"_s)), "somebody else's");
        QCOMPARE(RKTestPictures::read(target.filePath(u"Alps (2).jpg"_s)),
            RKTestPictures::read(source.toLocalFile()));
    }

    void keysRateTurnAndUndo()
    {
        const QTemporaryDir folder;
        QVERIFY(write(QDir(folder.path()), {u"a.jpg"_s, 1, QDate(2020, 1, 1), u"Ada"_s}));
        QVERIFY(write(QDir(folder.path()), {u"b.jpg"_s, 1, QDate(2020, 1, 1), {}}));
        const QString first = folder.filePath(u"a.jpg"_s);
        MainWindow window;
        window.open(first);
        window.show();
        auto* folderView = window.findChild<FolderView*>();
        QTRY_COMPARE_WITH_TIMEOUT(folderView->currentFile().path, first, kPatience);
        QCOMPARE(folderView->selectedFiles(), QStringList{first});
        trigger(&window, Qt::Key_Return);
        const auto* pages = window.findChild<QStackedWidget*>();
        const auto* view = qobject_cast<PictureView*>(pages->currentWidget());
        const auto size = [view] { return view->picture().size; };
        QTRY_COMPARE_WITH_TIMEOUT(size(), QSize(96, 64), kPatience);

        trigger(&window, Qt::Key_4);
        QTRY_COMPARE_WITH_TIMEOUT(ratingOf(first), 4, kPatience);
        trigger(&window, Qt::Key_R);
        QTRY_COMPARE_WITH_TIMEOUT(size(), QSize(64, 96), kPatience);
        trigger(&window, QKeySequence::Undo);
        QTRY_COMPARE_WITH_TIMEOUT(size(), QSize(96, 64), kPatience);
        trigger(&window, QKeySequence::Undo);
        QTRY_COMPARE_WITH_TIMEOUT(ratingOf(first), 1, kPatience);

        trigger(&window, Qt::Key_PageDown);
        const QString second = folder.filePath(u"b.jpg"_s);
        QCOMPARE(folderView->currentFile().path, second);
        // It is the last one.
        trigger(&window, Qt::Key_PageDown);
        QCOMPARE(folderView->currentFile().path, second);

        // By another program.
        QTRY_COMPARE_WITH_TIMEOUT(size(), QSize(96, 64), kPatience);
        RKMetaData metaData{QFileInfo(second)};
        metaData.setImageOrientation(ORIENTATION_RIGHT_TOP);
        QVERIFY(metaData.save(QFileInfo(second)));
        QTRY_COMPARE_WITH_TIMEOUT(size(), QSize(64, 96), kPatience);
        trigger(&window, Qt::Key_PageUp);
        QCOMPARE(folderView->currentFile().path, first);

        const QTemporaryDir other;
        QVERIFY(QFile::copy(first, other.filePath(u"a.jpg"_s)));
        window.open(other.path());
        QTRY_COMPARE_WITH_TIMEOUT(folderView->model()->rowCount(), 1, kPatience);
        QVERIFY(folderView->selectedFiles().isEmpty());
    }

    void fiveThousandFilesGiveNoPause()
    {
        constexpr int kFiles = 5000;
        constexpr int kOriginals = 50;
        const QTemporaryDir folder;
        for (int i = 0; i < kOriginals; ++i)
            RKTestPictures::write(
                folder.filePath(u"%1.jpg"_s.arg(i)), encoded(quadrants({640 + i, 480}), "JPEG"));
        for (int i = kOriginals; i < kFiles; ++i)
            QVERIFY(QFile::link(folder.filePath(u"%1.jpg"_s.arg(i % kOriginals)),
                folder.filePath(u"%1.jpg"_s.arg(i))));
        MainWindow window;
        window.resize(1200, 800);
        window.show();
        QCoreApplication::processEvents();
        const PauseMeter pauses;
        window.open(folder.path());
        const auto* view = window.findChild<FolderView*>();
        QTRY_COMPARE_WITH_TIMEOUT(view->model()->rowCount(), kFiles, kPatience);
        QScrollBar* bar = view->verticalScrollBar();
        for (int step = 0; step <= 100; ++step) {
            bar->setValue(bar->maximum() * step / 100);
            QTest::qWait(10);
        }
        qInfo("longest work: %lld ms", pauses.longest());
        // The aim is 50, on a machine that is not slower than most.
        QVERIFY(pauses.longest() < RKTimeLimit::milliseconds(200));
    }

private:
    /// Presses keys, as the page of keys says them.
    static void trigger(MainWindow* window, const QKeySequence& keys)
    {
        const QList<QAction*> actions = window->actions();
        for (QAction* action : actions) {
            if (action->isEnabled() && action->shortcuts().contains(keys))
                return action->trigger();
        }
        QFAIL(qPrintable(u"nothing has the keys "_s + keys.toString()));
    }

    QTemporaryDir m_folder;
};

QTEST_MAIN(MainWindowTest)

#include "MainWindowTest.moc"
