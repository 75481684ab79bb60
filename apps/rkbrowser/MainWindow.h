#pragma once

#include "RKImageLoaderAsync/RKMetaDataHistory.h"
#include "folder/FolderModel.h"
#include "folder/FolderTree.h"
#include "folder/FolderView.h"
#include "panel/InformationPanel.h"
#include "picture/PictureView.h"
#include "print/PrintView.h"
#include "video/VideoView.h"

#include <QLabel>
#include <QLineEdit>
#include <QMainWindow>
#include <QMenu>
#include <QMessageBox>
#include <QProgressBar>
#include <QSettings>
#include <QStackedWidget>

#include <functional>

class QComboBox;

/// The window of the program: a folder or one of its files, with all actions.
class MainWindow : public QMainWindow
{
    Q_OBJECT

public:
    MainWindow();

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

protected:
    void closeEvent(QCloseEvent* event) override;

private:
    QAction* add(QMenu* menu,
        const QString& text,
        const QList<QKeySequence>& keys,
        const std::function<void()>& run);
    void addSwitch(QMenu* menu,
        const QString& text,
        Qt::Key key,
        bool isOn,
        const std::function<void(bool)>& turn);
    void addFileMenu();
    void addEditMenu();
    void addViewMenu();
    void addDock(const QString& title, QWidget* widget, Qt::DockWidgetArea area, Qt::Key key);
    void addToolBar();
    QComboBox* addChoice(QToolBar* bar,
        const QString& name,
        const QStringList& choices,
        const std::function<void(FolderOrder&, int)>& apply);
    void addStatus();

    /// That on the page that is shown, if there is one.
    PictureView* pictureView() const;
    void forFiles(const std::function<void(const QString&)>& edit);
    void reorder(const std::function<void(FolderOrder&)>& change);
    void step(int by);
    void updatePage();
    void updateStatus();
    void fillPeople();
    void report(const QString& failure);
    void zoom(int steps);
    void setFullScreen(bool on);

    QSettings m_settings;
    RKAsyncLoader m_loader;
    RKMetaDataHistory m_edits;
    // Before the views that show it.
    FolderModel m_model;
    FolderTree m_tree;
    InformationPanel m_panel{&m_edits};
    QStackedWidget m_pages;
    FolderView m_folder{&m_model, &m_loader};
    PictureView m_picture{&m_loader};
    VideoView m_video{&m_loader};
    PrintView m_print{&m_loader};

    QLineEdit m_path;
    QMenu m_people;
    QLabel m_about;
    QLabel m_count;
    QProgressBar m_progress;
    QAction* m_next = nullptr;
    QAction* m_previous = nullptr;
    Mode m_mode = Mode::Folder;
    QMessageBox m_report{this};
    QByteArray m_stateBeforeFullScreen;
};
