#pragma once

#include "RKImageLoaderAsync/RKAsyncLoader.h"
#include "folder/FolderModel.h"
#include "folder/FolderTree.h"
#include "folder/FolderView.h"
#include "panel/EditHistory.h"
#include "panel/InformationPanel.h"
#include "picture/PictureView.h"
#include "print/PrintView.h"
#include "video/VideoView.h"

#include <QMainWindow>

#include <functional>
#include <memory>

class QComboBox;
class QLabel;
class QLineEdit;
class QMessageBox;
class QProgressBar;
class QStackedWidget;

/// The window of the program: a folder or one of its files, with all actions.
class MainWindow : public QMainWindow
{
    Q_OBJECT

public:
    MainWindow();
    ~MainWindow() override;

    /// That of the last run, or that of pictures.
    static QString lastFolder();
    /// A folder, or a file in one.
    void open(const QString& path);
    enum class Mode
    {
        Folder,
        File,
        Print
    };
    /// Shows the folder, its current file, or how that would be printed.
    void show(Mode mode);
    using QMainWindow::show;
    /// To the next file of the folder or, with -1, the one before.
    void step(int by);

    const FolderModel& model() const;
    const PictureView& pictureView() const;

protected:
    void closeEvent(QCloseEvent* event) override;

private:
    QAction* add(QMenu* menu,
        const QString& text,
        const QList<QKeySequence>& keys,
        const std::function<void()>& run);
    QAction* addSwitch(QMenu* menu,
        const QString& text,
        const QKeySequence& key,
        bool isOn,
        const std::function<void(bool)>& turn);
    void addFileMenu();
    void addEditMenu();
    void addViewMenu();
    void addKeys(QWidget* target, const QList<std::pair<QString, QKeySequence>>& keys);
    void addDock(const QString& title, QWidget* widget, Qt::DockWidgetArea area, Qt::Key key);
    void addToolBars();
    QComboBox* addChoice(QToolBar* bar,
        const QString& name,
        const QStringList& choices,
        const std::function<void(FolderOrder*, int)>& apply);
    void addStatus();

    QWidget* page() const;
    /// What edits are for.
    QStringList files() const;
    QWidget* pageOf(const QString& filePath) const;
    void updatePage();
    void updateStatus();
    void updatePeople();
    void report(const QStringList& failures);
    void fileChanged(const QString& filePath);
    void zoom(int steps);
    void setFullScreen(bool on);

    std::unique_ptr<RKAsyncLoader> m_loader = std::make_unique<RKAsyncLoader>();
    EditHistory m_edits;
    // Before the views that show it.
    FolderModel m_model;
    FolderView m_folder{&m_model, m_loader.get()};
    PictureView m_picture{m_loader.get()};
    FolderTree m_tree;
    VideoView m_video{m_loader.get()};
    PrintView m_print{m_loader.get()};
    InformationPanel m_panel{&m_edits};

    QStackedWidget* m_pages = nullptr;
    QLineEdit* m_path = nullptr;
    QComboBox* m_person = nullptr;
    QLabel* m_about = nullptr;
    QLabel* m_count = nullptr;
    QProgressBar* m_progress = nullptr;
    QAction* m_next = nullptr;
    QAction* m_previous = nullptr;
    // What makes sense for pictures only.
    QList<QAction*> m_pictureActions;
    Mode m_mode = Mode::Folder;
    QString m_shownInPanel;
    QString m_shownVideo;
    QString m_shownPrint;
    QMessageBox* m_report = nullptr;
    QByteArray m_stateBeforeFullScreen;
};
