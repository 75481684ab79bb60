#include "MainWindow.h"

#include "BackgroundThreads.h"
#include "KeyPage.h"
#include "print/CropView.h"

#include <QApplication>
#include <QClipboard>
#include <QCloseEvent>
#include <QComboBox>
#include <QDir>
#include <QDockWidget>
#include <QFileDialog>
#include <QLabel>
#include <QLineEdit>
#include <QMenuBar>
#include <QMessageBox>
#include <QMimeData>
#include <QProgressBar>
#include <QSettings>
#include <QStackedWidget>
#include <QStandardPaths>
#include <QStatusBar>
#include <QThreadPool>
#include <QToolBar>

#include <cmath>

namespace {

constexpr int kMaxRating = 5;
constexpr double kZoomOfKey = 1.25;
constexpr double kPanOfKey = 0.25;
constexpr int kFoldersWidth = 200;
constexpr int kPanelWidth = 300;

} // namespace

MainWindow::MainWindow()
    : m_pages(new QStackedWidget(this))
{
    setCentralWidget(m_pages);
    for (QWidget* page : std::initializer_list<QWidget*>{&m_folder, &m_picture, &m_video, &m_print})
        m_pages->addWidget(page);
    addDock(tr("Folders"), &m_tree, Qt::LeftDockWidgetArea, Qt::Key_F8);
    addDock(tr("Information"), &m_panel, Qt::RightDockWidgetArea, Qt::Key_I);
    addToolBars();
    addFileMenu();
    addEditMenu();
    addViewMenu();
    addStatus();
    m_video.setAccessibleName(tr("Video"));
    addKeys(&m_video,
        {{tr("Next frame"), Qt::Key_Right},
            {tr("Previous frame"), Qt::Key_Left},
            {tr("A second on"), Qt::SHIFT | Qt::Key_Right},
            {tr("A second back"), Qt::SHIFT | Qt::Key_Left},
            {tr("First frame"), Qt::Key_Home},
            {tr("Last frame"), Qt::Key_End}});
    addKeys(m_print.findChild<CropView*>(),
        {{tr("To the left"), Qt::Key_Left},
            {tr("To the right"), Qt::Key_Right},
            {tr("Up"), Qt::Key_Up},
            {tr("Down"), Qt::Key_Down},
            {tr("Narrower"), Qt::SHIFT | Qt::Key_Left},
            {tr("Wider"), Qt::SHIFT | Qt::Key_Right},
            {tr("A pixel to the left"), Qt::CTRL | Qt::Key_Left},
            {tr("A pixel to the right"), Qt::CTRL | Qt::Key_Right},
            {tr("A pixel up"), Qt::CTRL | Qt::Key_Up},
            {tr("A pixel down"), Qt::CTRL | Qt::Key_Down}});

    connect(&m_folder, &QListView::activated, this, [this] { show(Mode::File); });
    connect(&m_folder, &FolderView::currentChangedTo, this, &MainWindow::updatePage);
    connect(&m_folder, &FolderView::selectedFilesChanged, this, &MainWindow::updateStatus);
    connect(&m_picture, &PictureView::changed, this, &MainWindow::updateStatus);
    connect(&m_picture, &PictureView::activated, this, [this] {
        m_picture.zoom() < 1 ? m_picture.actualSize() : m_picture.fit();
    });
    connect(&m_tree, &FolderTree::chosen, this, &MainWindow::open);
    connect(&m_model, &FolderModel::folderChanged, this, [this](const QString& folder) {
        m_tree.reveal(folder);
        const QString home = QDir::homePath();
        const bool isInHome = folder == home || folder.startsWith(home + u'/');
        m_path->setText(
            QDir::toNativeSeparators(isInHome ? u'~' + folder.mid(home.size()) : folder));
        setWindowTitle(QFileInfo(folder).fileName());
    });
    // The file may be gone.
    connect(&m_model, &FolderModel::modelReset, this, &MainWindow::updatePage);
    connect(&m_model, &FolderModel::modelReset, this, &MainWindow::updatePeople);
    connect(&m_model, &FolderModel::copyFailed, this, &MainWindow::report);
    connect(&m_edits, &EditHistory::fileWritten, this, &MainWindow::fileChanged);
    connect(&m_panel, &InformationPanel::changedOnDisk, this, &MainWindow::fileChanged);
    const auto failed = [this](const QString& file, const QString& why) {
        // The panel says it, too.
        if (!m_panel.isVisible() || file != m_folder.currentFile())
            report({file + QStringLiteral(": ") + why});
    };
    connect(&m_edits, &EditHistory::failed, this, failed);
    connect(&m_video, &VideoView::failed, this, failed);
    connect(&m_print, &PrintView::failed, this, failed);

    const QSettings settings;
    resize(1200, 800);
    resizeDocks(findChildren<QDockWidget*>(), {kFoldersWidth, kPanelWidth}, Qt::Horizontal);
    restoreGeometry(settings.value(QStringLiteral("geometry")).toByteArray());
    restoreState(settings.value(QStringLiteral("state")).toByteArray());
    m_folder.setThumbnailSide(
        settings.value(QStringLiteral("thumbnails"), m_folder.thumbnailSide()).toInt());
    updatePage();
}

MainWindow::~MainWindow()
{
    // What is under way needs those that it is for.
    m_loader.reset();
    m_model.stop();
    backgroundThreads()->waitForDone();
    // Or they would report to a window that is gone in parts.
    m_model.disconnect(this);
    m_folder.disconnect(this);
    m_picture.disconnect(this);
    m_edits.disconnect(this);
    m_panel.disconnect(this);
}

QString MainWindow::lastFolder()
{
    const QString pictures = QStandardPaths::writableLocation(QStandardPaths::PicturesLocation);
    return QSettings().value(QStringLiteral("folder"), pictures).toString();
}

void MainWindow::open(const QString& path)
{
    const QFileInfo file(path);
    const bool isFile = file.isFile();
    show(Mode::Folder);
    m_model.open(QDir::cleanPath(isFile ? file.absolutePath() : file.absoluteFilePath()));
    if (isFile)
        m_folder.setCurrentFile(file.absoluteFilePath());
}

void MainWindow::show(Mode mode)
{
    if (mode == Mode::Folder && isFullScreen())
        setFullScreen(false);
    m_mode = mode;
    updatePage();
}

void MainWindow::step(int by)
{
    const int row = m_folder.currentIndex().row() + by;
    if (row >= 0 && row < m_model.rowCount())
        m_folder.setCurrentIndex(m_model.index(row));
}

const FolderModel& MainWindow::model() const
{
    return m_model;
}

const PictureView& MainWindow::pictureView() const
{
    return m_picture;
}

void MainWindow::closeEvent(QCloseEvent* event)
{
    if (isFullScreen())
        setFullScreen(false);
    QSettings settings;
    settings.setValue(QStringLiteral("geometry"), saveGeometry());
    settings.setValue(QStringLiteral("state"), saveState());
    settings.setValue(QStringLiteral("folder"), m_model.folder());
    settings.setValue(QStringLiteral("thumbnails"), m_folder.thumbnailSide());
    settings.setValue(QStringLiteral("sortedBy"), static_cast<int>(m_model.order().key));
    settings.setValue(QStringLiteral("direction"), m_model.order().direction);
    QMainWindow::closeEvent(event);
}

QAction* MainWindow::add(QMenu* menu,
    const QString& text,
    const QList<QKeySequence>& keys,
    const std::function<void()>& run)
{
    QAction* action = menu->addAction(text);
    action->setShortcuts(keys);
    // Without the menu bar, too.
    addAction(action);
    connect(action, &QAction::triggered, this, run);
    return action;
}

QAction* MainWindow::addSwitch(QMenu* menu,
    const QString& text,
    const QKeySequence& key,
    bool isOn,
    const std::function<void(bool)>& turn)
{
    QAction* action = add(menu, text, {key}, [] {});
    action->setCheckable(true);
    action->setChecked(isOn);
    connect(action, &QAction::toggled, this, turn);
    return action;
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
        m_path->setFocus();
        m_path->selectAll();
    });
    add(menu, tr("&Read the folder again"), {QKeySequence::Refresh}, [this] { m_model.refresh(); });
    menu->addSeparator();
    add(menu, tr("&Keys"), {QKeySequence::HelpContents}, [this] { showKeyPage(this); });
    add(menu, tr("&Quit"), {Qt::CTRL | Qt::Key_Q}, [this] { close(); });
}

void MainWindow::addEditMenu()
{
    QMenu* menu = menuBar()->addMenu(tr("&Edit"));
    QAction* undo = m_edits.createUndoAction(this);
    undo->setShortcuts(QKeySequence::Undo);
    QAction* redo = m_edits.createRedoAction(this);
    redo->setShortcuts(QKeySequence::Redo);
    menu->addActions({undo, redo});
    addActions({undo, redo});
    menu->addSeparator();
    for (int stars = 0; stars <= kMaxRating; ++stars) {
        const QString text = stars == 0 ? tr("No stars") : QString(stars, u'★');
        add(menu, text, {QKeySequence(Qt::Key_0 + stars)}, [this, stars] {
            for (const QString& file : files())
                m_edits.setRating(file, stars);
        });
    }
    const auto rotate = [this](int quarters) {
        for (const QString& file : files())
            m_edits.rotate(file, quarters);
    };
    add(menu, tr("Turn &right"), {Qt::Key_R}, [rotate] { rotate(1); });
    add(menu, tr("Turn &left"), {Qt::Key_L}, [rotate] { rotate(-1); });
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
    m_pictureActions << add(
        menu, tr("&Fit into the window"), {Qt::Key_F}, [this] { m_picture.fit(); });
    m_pictureActions << add(
        menu, tr("&Actual size"), {Qt::Key_A}, [this] { m_picture.actualSize(); });
    const std::array<std::tuple<QString, Qt::Key, double, double>, 4> moves{
        std::tuple{tr("Move left"), Qt::Key_Left, -kPanOfKey, 0.0},
        {tr("Move right"), Qt::Key_Right, kPanOfKey, 0.0},
        {tr("Move up"), Qt::Key_Up, 0.0, -kPanOfKey},
        {tr("Move down"), Qt::Key_Down, 0.0, kPanOfKey}};
    for (const auto& [text, key, right, down] : moves) {
        m_pictureActions << add(
            menu, text, {Qt::SHIFT | key}, [this, x = right, y = down] { m_picture.pan(x, y); });
    }
    menu->addSeparator();
    addSwitch(
        menu, tr("F&aces"), Qt::Key_N, true, [this](bool on) { m_picture.setShowsFaces(on); });
    addSwitch(menu, tr("&Histogram"), Qt::Key_H, false, [this](bool on) {
        m_picture.setShowsHistogram(on);
    });
    m_pictureActions << add(menu, tr("Before the &conversion of colours"), {Qt::Key_C}, [this] {
        using Comparison = PictureView::Comparison;
        const Comparison now = m_picture.comparison();
        m_picture.setComparison(now == Comparison::Off ? Comparison::Split
                : now == Comparison::Split             ? Comparison::Before
                                                       : Comparison::Off);
    });
    menu->addSeparator();
    const QList<QDockWidget*> docks = findChildren<QDockWidget*>();
    for (QDockWidget* dock : docks) {
        menu->addAction(dock->toggleViewAction());
        addAction(dock->toggleViewAction());
    }
    add(menu, tr("F&ull screen"), {Qt::Key_F11}, [this] { setFullScreen(!isFullScreen()); });
}

void MainWindow::addKeys(QWidget* target, const QList<std::pair<QString, QKeySequence>>& keys)
{
    for (const auto& [text, key] : keys) {
        auto* action = new QAction(text, target);
        action->setShortcut(key);
        action->setShortcutContext(Qt::WidgetWithChildrenShortcut);
        target->addAction(action);
        connect(action, &QAction::triggered, target, [target, combination = key[0]] {
            QKeyEvent event(QEvent::KeyPress, combination.key(), combination.keyboardModifiers());
            QCoreApplication::sendEvent(target, &event);
        });
    }
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
    const std::function<void(FolderOrder*, int)>& apply)
{
    auto* box = new QComboBox;
    box->addItems(choices);
    box->setToolTip(name);
    box->setAccessibleName(name);
    box->setFocusPolicy(Qt::TabFocus);
    connect(box, &QComboBox::currentIndexChanged, this, [this, apply](int index) {
        FolderOrder order = m_model.order();
        apply(&order, index);
        m_model.setOrder(order);
    });
    bar->addWidget(box);
    return box;
}

void MainWindow::addToolBars()
{
    auto* bar = addToolBar(tr("Folder"));
    bar->setObjectName(QStringLiteral("folder"));
    bar->setMovable(false);
    m_path = new QLineEdit;
    m_path->setAccessibleName(tr("Path of the folder"));
    connect(m_path, &QLineEdit::returnPressed, this, [this] {
        const QString path = QDir::fromNativeSeparators(m_path->text());
        open(path.startsWith(u'~') ? QDir::homePath() + path.mid(1) : path);
    });
    bar->addWidget(m_path);

    auto* text = new QLineEdit;
    text->setPlaceholderText(tr("Part of the name"));
    text->setClearButtonEnabled(true);
    text->setMaximumWidth(180);
    connect(text, &QLineEdit::textChanged, this, [this](const QString& part) {
        FolderOrder order = m_model.order();
        order.text = part;
        m_model.setOrder(order);
    });
    bar->addWidget(text);
    const QSettings settings;
    QComboBox* key = addChoice(bar,
        tr("Sorted by"),
        {tr("By name"), tr("By date"), tr("By rating"), tr("By kind")},
        [](FolderOrder* order, int index) { order->key = static_cast<FolderOrder::Key>(index); });
    key->setCurrentIndex(settings.value(QStringLiteral("sortedBy")).toInt());
    QComboBox* direction = addChoice(bar,
        tr("Direction"),
        {tr("Ascending"), tr("Descending")},
        [](FolderOrder* order, int index) {
            order->direction = static_cast<Qt::SortOrder>(index);
        });
    direction->setCurrentIndex(settings.value(QStringLiteral("direction")).toInt());
    QStringList ratings{tr("Any rating")};
    for (int stars = 1; stars <= kMaxRating; ++stars)
        ratings << QString(stars, u'★');
    addChoice(bar, tr("At least"), ratings, [](FolderOrder* order, int index) {
        order->minRating = index;
    });
    addChoice(bar,
        tr("Kind"),
        {tr("All kinds"), tr("Pictures"), tr("Raw"), tr("Drawings"), tr("Videos")},
        [](FolderOrder* order, int index) { order->kind = static_cast<FolderOrder::Kind>(index); });
    m_person
        = addChoice(bar, tr("People"), {tr("Everybody")}, [this](FolderOrder* order, int index) {
              order->person = index > 0 ? m_person->itemText(index) : QString();
          });
}

void MainWindow::addStatus()
{
    m_about = new QLabel;
    m_count = new QLabel;
    m_progress = new QProgressBar;
    m_progress->setMaximumWidth(160);
    m_progress->setTextVisible(false);
    statusBar()->addWidget(m_about, 1);
    statusBar()->addPermanentWidget(m_progress);
    statusBar()->addPermanentWidget(m_count);
    connect(&m_model, &FolderModel::progressed, this, [this](int done, int all) {
        m_progress->setVisible(done < all || all == 0);
        m_progress->setRange(0, all);
        m_progress->setValue(done);
        updateStatus();
    });
}

QWidget* MainWindow::page() const
{
    return m_pages->currentWidget();
}

QStringList MainWindow::files() const
{
    return m_mode == Mode::Folder ? m_folder.selectedFiles() : QStringList{m_folder.currentFile()};
}

QWidget* MainWindow::pageOf(const QString& filePath) const
{
    if (filePath.isEmpty() || m_mode == Mode::Folder)
        return m_pages->widget(0);
    const bool isVideo = RKMediaFormat(QFileInfo(filePath)).isVideo();
    return m_pages->widget(isVideo ? 2 : m_mode == Mode::Print ? 3 : 1);
}

void MainWindow::updatePage()
{
    const QString file = m_folder.currentFile();
    QWidget* shown = pageOf(file);
    if (shown == &m_folder)
        m_mode = Mode::Folder;
    if (shown != page()) {
        m_pages->setCurrentWidget(shown);
        shown->setFocus();
    }
    for (QAction* action : std::as_const(m_pictureActions))
        action->setEnabled(shown == &m_picture);
    m_next->setEnabled(shown != &m_folder);
    m_previous->setEnabled(shown != &m_folder);
    // The arrows belong to the frames of a video and to the clip for a print.
    QList<QKeySequence> next{Qt::Key_PageDown, Qt::Key_Space};
    QList<QKeySequence> previous{Qt::Key_PageUp, Qt::Key_Backspace};
    if (shown == &m_picture || shown == &m_folder) {
        next << Qt::Key_Right;
        previous << Qt::Key_Left;
    }
    m_next->setShortcuts(next);
    m_previous->setShortcuts(previous);

    const int row = m_folder.currentIndex().row();
    QStringList neighbours;
    for (const int other : {row + 1, row - 1}) {
        if (shown == &m_picture && other >= 0 && other < m_model.rowCount()
            && !m_model.entry(other).format.isVideo())
            neighbours << m_model.filePath(other);
    }
    m_picture.open(shown == &m_picture ? file : QString(), neighbours);
    const QString video = shown == &m_video ? file : QString();
    if (std::exchange(m_shownVideo, video) != video)
        video.isEmpty() ? m_video.close() : m_video.open(video);
    const QString print = shown == &m_print ? file : QString();
    if (std::exchange(m_shownPrint, print) != print && !print.isEmpty())
        m_print.open(print);
    // Not again for the same file, which may be being edited.
    if (std::exchange(m_shownInPanel, file) != file)
        m_panel.showFile(file);
    updateStatus();
}

void MainWindow::updateStatus()
{
    const int selected = m_folder.selectedCount();
    const QString all = QString::number(m_model.fileCount());
    m_count->setText(m_model.rowCount() == m_model.fileCount()
            ? tr("Files: %1").arg(all)
            : tr("Files: %1 of %2").arg(QString::number(m_model.rowCount()), all));
    const QString name = QFileInfo(m_folder.currentFile()).fileName().replace(u'\n', u' ');
    if (page() == &m_picture && m_picture.pictureSize().isValid())
        m_about->setText(tr("%1 — %2 × %3 pixels, %4 %")
                             .arg(name)
                             .arg(m_picture.pictureSize().width())
                             .arg(m_picture.pictureSize().height())
                             .arg(std::lround(m_picture.zoom() * 100)));
    else
        m_about->setText(selected > 1 ? tr("Selected: %1").arg(selected) : name);
}

void MainWindow::updatePeople()
{
    QStringList people{m_person->itemText(0)};
    people << m_model.people();
    const QString person = m_model.order().person;
    // A filter that nobody passes any longer stays until somebody else is chosen.
    if (!person.isEmpty() && !people.contains(person))
        people << person;
    if (people.size() == m_person->count() && m_person->findText(people.last()) >= 0)
        return;
    const QSignalBlocker blocker(m_person);
    m_person->clear();
    m_person->addItems(people);
    m_person->setCurrentIndex(person.isEmpty() ? 0 : static_cast<int>(people.indexOf(person)));
}

void MainWindow::report(const QStringList& failures)
{
    // One box for many files.
    if (!m_report) {
        m_report = new QMessageBox(QMessageBox::Warning, tr("Not done"), {}, QMessageBox::Ok, this);
        m_report->setModal(false);
    }
    if (!m_report->isVisible())
        m_report->setText({});
    m_report->setText((QStringList(m_report->text()) + failures).join(u'\n').trimmed());
    m_report->show();
}

void MainWindow::fileChanged(const QString& filePath)
{
    m_model.look(filePath);
    m_picture.reload(filePath);
    // The panel reads by itself what it has written or seen to change.
}

void MainWindow::zoom(int steps)
{
    if (page() == &m_folder)
        m_folder.zoom(steps);
    else
        m_picture.zoomBy(std::pow(kZoomOfKey, steps));
}

void MainWindow::setFullScreen(bool on)
{
    if (on)
        m_stateBeforeFullScreen = saveState();
    menuBar()->setVisible(!on);
    statusBar()->setVisible(!on);
    const QList<QDockWidget*> docks = findChildren<QDockWidget*>();
    const QList<QToolBar*> bars = findChildren<QToolBar*>();
    if (on) {
        for (QDockWidget* dock : docks)
            dock->hide();
        for (QToolBar* bar : bars)
            bar->hide();
        showFullScreen();
    } else {
        showNormal();
        restoreState(m_stateBeforeFullScreen);
    }
}
