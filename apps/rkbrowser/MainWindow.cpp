#include "MainWindow.h"

#include "KeyPage.h"

#include <QApplication>
#include <QClipboard>
#include <QComboBox>
#include <QCompleter>
#include <QDir>
#include <QDockWidget>
#include <QFileDialog>
#include <QMenuBar>
#include <QMimeData>
#include <QStandardPaths>
#include <QStatusBar>
#include <QToolBar>
#include <QToolButton>

#include <cmath>

using namespace Qt::StringLiterals;

namespace {

constexpr int kMaxRating = 5;
constexpr double kZoomOfKey = 1.25;
constexpr double kPanOfKey = 0.25;
constexpr int kFoldersWidth = 200;
constexpr int kPanelWidth = 300;

QString withoutTilde(const QString& path)
{
    return path.startsWith(u'~') ? QDir::homePath() + path.mid(1) : path;
}

/// Completes paths from home, too.
class PathCompleter : public QCompleter
{
public:
    using QCompleter::QCompleter;

    QStringList splitPath(const QString& path) const override
    {
        return QCompleter::splitPath(withoutTilde(path));
    }
};

} // namespace

MainWindow::MainWindow()
{
    setCentralWidget(&m_pages);
    for (QWidget* page : std::initializer_list<QWidget*>{&m_folder, &m_picture, &m_video, &m_print})
        m_pages.addWidget(page);
    addDock(tr("Folders"), &m_tree, Qt::LeftDockWidgetArea, Qt::Key_F8);
    addDock(tr("Information"), &m_panel, Qt::RightDockWidgetArea, Qt::Key_I);
    addToolBar();
    addFileMenu();
    addEditMenu();
    addViewMenu();
    addStatus();

    connect(&m_folder, &QListView::activated, this, [this] { show(Mode::File); });
    connect(&m_folder, &FolderView::selectedFilesChanged, this, &MainWindow::updatePage);
    connect(&m_picture, &PictureView::changed, this, &MainWindow::updateStatus);
    connect(&m_tree, &FolderTree::chosen, this, [this](const QString& folder) {
        if (folder != m_model.folder())
            open(folder);
    });
    connect(&m_model, &FolderModel::folderChanged, this, [this](const QString& folder) {
        m_tree.reveal(folder);
        m_path.setText(QDir::toNativeSeparators(
            FolderTree::isAtHome(folder) ? u'~' + folder.mid(QDir::homePath().size()) : folder));
        setWindowTitle(QFileInfo(folder).fileName());
    });
    connect(&m_model, &FolderModel::dataChanged, this, &MainWindow::updatePage);
    // The file may be gone.
    connect(&m_model, &FolderModel::modelReset, this, &MainWindow::updatePage);
    connect(&m_model, &FolderModel::copyFailed, this, [this](const QStringList& failures) {
        report(failures.join(u'\n'));
    });
    connect(&m_edits, &RKMetaDataHistory::fileWritten, &m_model, &FolderModel::look);
    const auto failed = [this](const QString& file, const QString& why) {
        // The panel says it, too.
        if (!m_panel.isVisible() || file != m_folder.currentFile().path)
            report(file + u": "_s + why);
    };
    connect(&m_edits, &RKMetaDataHistory::failed, this, failed);
    connect(&m_video, &VideoView::failed, this, failed);
    connect(&m_print, &PrintView::failed, this, failed);

    resize(1200, 800);
    resizeDocks(findChildren<QDockWidget*>(), {kFoldersWidth, kPanelWidth}, Qt::Horizontal);
    restoreGeometry(m_settings.value(u"geometry"_s).toByteArray());
    restoreState(m_settings.value(u"state"_s).toByteArray());
    m_folder.setThumbnailSide(m_settings.value(u"thumbnails"_s, m_folder.thumbnailSide()).toInt());
    updatePage();
}

QString MainWindow::lastFolder()
{
    const QString pictures = QStandardPaths::writableLocation(QStandardPaths::PicturesLocation);
    return QSettings().value(u"folder"_s, pictures).toString();
}

void MainWindow::open(const QString& path)
{
    const QFileInfo file(path);
    const bool isFile = file.isFile();
    show(Mode::Folder);
    m_model.open(QDir::cleanPath(isFile ? file.absolutePath() : file.absoluteFilePath()));
    if (isFile)
        m_folder.setCurrentFile(file.absoluteFilePath());
    m_folder.setFocus();
}

void MainWindow::show(Mode mode)
{
    m_mode = mode;
    updatePage();
}

void MainWindow::step(int by)
{
    const int row = m_folder.currentIndex().row() + by;
    if (row >= 0 && row < m_model.rowCount())
        m_folder.setCurrentIndex(m_model.index(row));
}

void MainWindow::closeEvent(QCloseEvent* event)
{
    if (isFullScreen())
        setFullScreen(false);
    m_settings.setValue(u"geometry"_s, saveGeometry());
    m_settings.setValue(u"state"_s, saveState());
    m_settings.setValue(u"folder"_s, m_model.folder());
    m_settings.setValue(u"thumbnails"_s, m_folder.thumbnailSide());
    m_settings.setValue(u"sortedBy"_s, static_cast<int>(m_model.order().key));
    m_settings.setValue(u"direction"_s, m_model.order().direction);
    QMainWindow::closeEvent(event);
}

QAction* MainWindow::add(QMenu* menu,
    const QString& text,
    const QList<QKeySequence>& keys,
    const std::function<void()>& run)
{
    QAction* action = menu->addAction(text, this, run);
    action->setShortcuts(keys);
    // Without the menu bar, too.
    addAction(action);
    return action;
}

void MainWindow::addSwitch(
    QMenu* menu, const QString& text, Qt::Key key, bool isOn, const std::function<void(bool)>& turn)
{
    const QString name = u"switch"_s + QKeySequence(key).toString();
    QAction* action = add(menu, text, {key}, [] {});
    action->setCheckable(true);
    connect(action, &QAction::toggled, this, [this, turn, name](bool on) {
        turn(on);
        m_settings.setValue(name, on);
    });
    action->setChecked(m_settings.value(name, isOn).toBool());
}

void MainWindow::addFileMenu()
{
    QMenu* menu = menuBar()->addMenu(tr("&File"));
    add(menu, tr("&Open folder…"), {QKeySequence::Open}, [this] {
        const QString folder
            = QFileDialog::getExistingDirectory(this, tr("Open folder"), m_model.folder());
        if (!folder.isEmpty())
            open(folder);
    });
    add(menu, tr("Folder &above"), {Qt::ALT | Qt::Key_Up}, [this] {
        open(QFileInfo(m_model.folder()).absolutePath());
    });
    add(menu, tr("Type a &path"), {Qt::CTRL | Qt::Key_L}, [this] {
        m_path.setFocus();
        m_path.selectAll();
    });
    add(menu, tr("&Read the folder again"), {QKeySequence::Refresh}, [this] { m_model.refresh(); });
    menu->addSeparator();
    add(menu, tr("&Keys"), {QKeySequence::HelpContents}, [this] { showKeyPage(this); });
    add(menu, tr("&Quit"), {Qt::CTRL | Qt::Key_Q}, [this] { close(); });
}

void MainWindow::addEditMenu()
{
    QMenu* menu = menuBar()->addMenu(tr("&Edit"));
    QAction* undo
        = add(menu, {}, QKeySequence::keyBindings(QKeySequence::Undo), [this] { m_edits.undo(); });
    QAction* redo
        = add(menu, {}, QKeySequence::keyBindings(QKeySequence::Redo), [this] { m_edits.redo(); });
    const auto showSteps = [this, undo, redo] {
        undo->setEnabled(!m_edits.undoText().isEmpty());
        undo->setText(tr("&Undo %1").arg(m_edits.undoText()).trimmed());
        redo->setEnabled(!m_edits.redoText().isEmpty());
        redo->setText(tr("R&edo %1").arg(m_edits.redoText()).trimmed());
    };
    connect(&m_edits, &RKMetaDataHistory::stepsChanged, this, showSteps);
    showSteps();
    menu->addSeparator();
    for (int stars = 0; stars <= kMaxRating; ++stars) {
        const QString text = stars == 0 ? tr("No stars") : QString(stars, u'★');
        add(menu, text, {QKeySequence(Qt::Key_0 + stars)}, [this, stars] {
            forFiles([this, stars](const QString& file) { m_edits.setRating(file, stars); });
        });
    }
    const auto addTurn = [this, menu](const QString& text, Qt::Key key, int quarters) {
        add(menu, text, {key}, [this, quarters] {
            forFiles([this, quarters](const QString& file) { m_edits.rotate(file, quarters); });
        });
    };
    addTurn(tr("Turn &right"), Qt::Key_R, 1);
    addTurn(tr("Turn &left"), Qt::Key_L, -1);
    menu->addSeparator();
    add(menu, tr("&Copy files"), {QKeySequence::Copy}, [this] {
        QApplication::clipboard()->setMimeData(
            m_model.mimeData(m_folder.selectionModel()->selectedIndexes()));
    });
    add(menu, tr("&Paste files"), {QKeySequence::Paste}, [this] {
        m_model.copyHere(QApplication::clipboard()->mimeData()->urls());
    });
    add(menu, tr("Select &all"), {QKeySequence::SelectAll}, [this] { m_folder.selectAll(); });
}

void MainWindow::addViewMenu()
{
    QMenu* menu = menuBar()->addMenu(tr("&View"));
    const auto addForPicture = [this, menu](const QString& text,
                                   QKeyCombination key,
                                   const std::function<void(PictureView*)>& run) {
        add(menu, text, {key}, [this, run] {
            if (PictureView* view = pictureView())
                run(view);
        });
    };
    add(menu, tr("&Show the file"), {Qt::Key_Return, Qt::Key_Enter}, [this] { show(Mode::File); });
    add(menu, tr("&Print clip…"), {QKeySequence::Print}, [this] { show(Mode::Print); });
    add(menu, tr("&Back to the folder"), {Qt::Key_Escape}, [this] {
        isFullScreen() ? setFullScreen(false) : show(Mode::Folder);
    });
    m_next = add(menu, tr("&Next file"), {}, [this] { step(1); });
    m_previous = add(menu, tr("P&revious file"), {}, [this] { step(-1); });
    menu->addSeparator();
    add(menu, tr("&Larger"), {Qt::Key_Plus, Qt::Key_Equal}, [this] { zoom(1); });
    add(menu, tr("S&maller"), {Qt::Key_Minus}, [this] { zoom(-1); });
    addForPicture(tr("&Fit into the window"), Qt::Key_F, &PictureView::fit);
    addForPicture(tr("&Actual size"), Qt::Key_A, &PictureView::actualSize);
    const auto addMove = [&](const QString& text, Qt::Key key, double right, double down) {
        addForPicture(text, Qt::CTRL | Qt::SHIFT | key, [=](PictureView* view) {
            view->pan(right * kPanOfKey, down * kPanOfKey);
        });
    };
    addMove(tr("Move left"), Qt::Key_Left, -1, 0);
    addMove(tr("Move right"), Qt::Key_Right, 1, 0);
    addMove(tr("Move up"), Qt::Key_Up, 0, -1);
    addMove(tr("Move down"), Qt::Key_Down, 0, 1);
    menu->addSeparator();
    addSwitch(
        menu, tr("F&aces"), Qt::Key_N, true, [this](bool on) { m_picture.setShowsFaces(on); });
    addSwitch(menu, tr("&Histogram"), Qt::Key_H, false, [this](bool on) {
        m_picture.setShowsHistogram(on);
    });
    addForPicture(
        tr("Before the &conversion of colours"), Qt::Key_C, &PictureView::showNextComparison);
    menu->addSeparator();
    const QList<QDockWidget*> docks = findChildren<QDockWidget*>();
    for (QDockWidget* dock : docks) {
        menu->addAction(dock->toggleViewAction());
        addAction(dock->toggleViewAction());
    }
    add(menu, tr("F&ull screen"), {Qt::Key_F11}, [this] { setFullScreen(!isFullScreen()); });
}

void MainWindow::addDock(
    const QString& title, QWidget* widget, Qt::DockWidgetArea area, Qt::Key key)
{
    auto* dock = new QDockWidget(title, this);
    dock->setObjectName(QString::number(key));
    dock->setWidget(widget);
    dock->toggleViewAction()->setShortcut(key);
    addDockWidget(area, dock);
}

QComboBox* MainWindow::addChoice(QToolBar* bar,
    const QString& name,
    const QStringList& choices,
    const std::function<void(FolderOrder&, int)>& apply)
{
    auto* box = new QComboBox;
    box->addItems(choices);
    box->setToolTip(name);
    box->setAccessibleName(name);
    box->setFocusPolicy(Qt::TabFocus);
    connect(box, &QComboBox::currentIndexChanged, this, [this, apply](int index) {
        reorder([&](FolderOrder& order) { apply(order, index); });
    });
    bar->addWidget(box);
    return box;
}

void MainWindow::addToolBar()
{
    QToolBar* bar = QMainWindow::addToolBar(tr("Folder"));
    bar->setObjectName(u"folder"_s);
    bar->setMovable(false);
    m_path.setAccessibleName(tr("Path of the folder"));
    m_path.setCompleter(new PathCompleter(m_tree.model(), &m_path));
    connect(&m_path, &QLineEdit::returnPressed, this, [this] {
        open(withoutTilde(QDir::fromNativeSeparators(m_path.text())));
    });
    bar->addWidget(&m_path);

    auto* text = new QLineEdit;
    text->setPlaceholderText(tr("Part of the name"));
    text->setClearButtonEnabled(true);
    text->setMaximumWidth(180);
    connect(text, &QLineEdit::textChanged, this, [this](const QString& part) {
        reorder([&part](FolderOrder& order) { order.text = part; });
    });
    bar->addWidget(text);
    addChoice(bar,
        tr("Sorted by"),
        {tr("By name"), tr("By date"), tr("By rating"), tr("By kind")},
        [](FolderOrder& order, int index) { order.key = FolderOrder::Key(index); })
        ->setCurrentIndex(m_settings.value(u"sortedBy"_s).toInt());
    addChoice(bar,
        tr("Direction"),
        {tr("Ascending"), tr("Descending")},
        [](FolderOrder& order, int index) { order.direction = Qt::SortOrder(index); })
        ->setCurrentIndex(m_settings.value(u"direction"_s).toInt());
    QStringList ratings{tr("Any rating")};
    for (int stars = 1; stars <= kMaxRating; ++stars)
        ratings << QString(stars, u'★');
    addChoice(bar, tr("At least"), ratings, [](FolderOrder& order, int index) {
        order.minRating = index;
    });
    addChoice(bar,
        tr("Kind"),
        {tr("All kinds"), tr("Pictures"), tr("Raw"), tr("Drawings"), tr("Videos")},
        [](FolderOrder& order, int index) { order.kind = FolderOrder::Kind(index); });
    auto* people = new QToolButton;
    people->setText(tr("People"));
    people->setMenu(&m_people);
    people->setPopupMode(QToolButton::InstantPopup);
    people->setFocusPolicy(Qt::TabFocus);
    connect(&m_people, &QMenu::aboutToShow, this, &MainWindow::fillPeople);
    bar->addWidget(people);
}

void MainWindow::addStatus()
{
    m_progress.setMaximumWidth(160);
    m_progress.setTextVisible(false);
    statusBar()->addWidget(&m_about, 1);
    statusBar()->addPermanentWidget(&m_progress);
    statusBar()->addPermanentWidget(&m_count);
    connect(&m_model, &FolderModel::progressed, this, [this](int done, int all) {
        m_progress.setVisible(done < all || all == 0);
        m_progress.setRange(0, all);
        m_progress.setValue(done);
        updateStatus();
    });
}

PictureView* MainWindow::pictureView() const
{
    QWidget* page = m_pages.currentWidget();
    auto* view = qobject_cast<PictureView*>(page);
    return view ? view : page->findChild<PictureView*>();
}

void MainWindow::forFiles(const std::function<void(const QString&)>& edit)
{
    const QStringList files = m_mode == Mode::Folder ? m_folder.selectedFiles()
                                                     : QStringList{m_folder.currentFile().path};
    for (const QString& file : files)
        edit(file);
}

void MainWindow::reorder(const std::function<void(FolderOrder&)>& change)
{
    FolderOrder order = m_model.order();
    change(order);
    m_model.setOrder(order);
}

void MainWindow::updatePage()
{
    const MediaFile file = m_folder.currentFile();
    if (file.path.isEmpty())
        m_mode = Mode::Folder;
    const int row = m_folder.currentIndex().row();
    const bool isFolder = m_mode == Mode::Folder;
    const bool isVideo = !isFolder && m_model.entry(row).format.isVideo();
    const bool isPrint = m_mode == Mode::Print && !isVideo;
    const int page = isFolder ? 0 : isVideo ? 2 : isPrint ? 3 : 1;
    if (page != m_pages.currentIndex()) {
        m_pages.setCurrentIndex(page);
        m_pages.currentWidget()->setFocus();
    }
    m_next->setEnabled(!isFolder);
    m_previous->setEnabled(!isFolder);
    // The arrows belong to the frames of a video and to the clip for a print.
    QList<QKeySequence> next{Qt::Key_PageDown, Qt::Key_Space};
    QList<QKeySequence> previous{Qt::Key_PageUp, Qt::Key_Backspace};
    if (!isVideo && !isPrint) {
        next << Qt::Key_Right;
        previous << Qt::Key_Left;
    }
    m_next->setShortcuts(next);
    m_previous->setShortcuts(previous);

    QList<MediaFile> neighbours;
    for (const int other : {row + 1, row - 1}) {
        if (other >= 0 && other < m_model.rowCount() && !m_model.entry(other).format.isVideo())
            neighbours << m_model.file(other);
    }
    if (page == 1)
        m_picture.open(file, neighbours);
    else
        m_picture.open({}, {});
    m_video.open(page == 2 ? file : MediaFile());
    m_print.open(page == 3 ? file : MediaFile());
    m_panel.showFile(file);
    updateStatus();
}

void MainWindow::updateStatus()
{
    const QString all = QString::number(m_model.fileCount());
    m_count.setText(m_model.rowCount() == m_model.fileCount()
            ? tr("Files: %1").arg(all)
            : tr("Files: %1 of %2").arg(QString::number(m_model.rowCount()), all));
    const QString name = QFileInfo(m_folder.currentFile().path).fileName().simplified();
    const int selected = m_folder.selectedCount();
    const QSize size = m_picture.picture().size;
    if (!size.isEmpty()) {
        m_about.setText(tr("%1 — %2 × %3 pixels, %4 %")
                            .arg(name)
                            .arg(size.width())
                            .arg(size.height())
                            .arg(std::lround(m_picture.zoom() * 100)));
    } else {
        m_about.setText(selected > 1 ? tr("Selected: %1").arg(selected) : name);
    }
}

void MainWindow::fillPeople()
{
    // Those that nobody finds any longer can still be unchecked.
    QStringList people = m_model.people() + m_model.order().people;
    people.removeDuplicates();
    m_people.clear();
    for (const QString& person : std::as_const(people)) {
        QAction* action = m_people.addAction(QString(person).replace(u'&', u"&&"_s));
        action->setCheckable(true);
        action->setChecked(m_model.order().people.contains(person));
        connect(action, &QAction::toggled, this, [this, person](bool on) {
            reorder([&](FolderOrder& order) {
                order.people.removeAll(person);
                if (on)
                    order.people << person;
            });
        });
    }
}

void MainWindow::report(const QString& failure)
{
    // One box for many files.
    m_report.setWindowTitle(tr("Not done"));
    m_report.setIcon(QMessageBox::Warning);
    m_report.setModal(false);
    const QString before = m_report.isVisible() ? m_report.text() + u'\n' : QString();
    m_report.setText(before + failure);
    m_report.show();
}

void MainWindow::zoom(int steps)
{
    if (PictureView* view = pictureView())
        view->zoomBy(std::pow(kZoomOfKey, steps));
    else
        m_folder.zoom(steps);
}

void MainWindow::setFullScreen(bool on)
{
    if (on)
        m_stateBeforeFullScreen = saveState();
    menuBar()->setVisible(!on);
    statusBar()->setVisible(!on);
    if (!on) {
        showNormal();
        restoreState(m_stateBeforeFullScreen);
        return;
    }
    const QList<QDockWidget*> docks = findChildren<QDockWidget*>();
    for (QDockWidget* dock : docks)
        dock->hide();
    findChild<QToolBar*>()->hide();
    showFullScreen();
}
