#pragma once

#include "panel/FileFacts.h"

#include <QFileSystemWatcher>
#include <QPointer>
#include <QTimer>
#include <QWidget>

#include <functional>
#include <vector>

class EditHistory;
class KeywordEdit;
class QFormLayout;
class QLabel;
class QLineEdit;
class QToolButton;

/// Shows what is known of a file, and edits its metadata. An edit is written when Return is pressed
/// or its line is left; a file that others change is shown anew.
class InformationPanel : public QWidget
{
    Q_OBJECT

public:
    explicit InformationPanel(EditHistory* history, QWidget* parent = nullptr);
    /// Writes what was edited, if the history still lives.
    ~InformationPanel() override;

    /// Writes what was edited of the file before. An empty path shows nothing.
    void showFile(const QString& filePath);
    void reload();

Q_SIGNALS:
    /// The file has been read.
    void shown(const QString& filePath);
    /// Others have changed the file.
    void changedOnDisk(const QString& filePath);

protected:
    void hideEvent(QHideEvent* event) override;

private:
    /// A line whose text is one of the file's data.
    struct Line
    {
        QLineEdit* edit;
        std::function<QString(const RKMetaData&)> read;
        /// From what was shown. False for a text that can't be meant.
        std::function<bool(const RKMetaData&, const QString&)> write;
        /// What the line was filled from.
        RKMetaData shown;
    };

    void addStars(QFormLayout* form);
    void addLines(QFormLayout* form);
    void addLine(QFormLayout* form,
        const QString& name,
        const QString& hint,
        const std::function<QString(const RKMetaData&)>& read,
        const std::function<bool(const RKMetaData&, const QString&)>& write);
    void commit();
    void commitLine(Line& line);
    void display(const FileFacts& facts);
    void showRating(int rating);
    void showProblem(const QString& text);
    void watch();
    void lookForChange();

    const QPointer<EditHistory> m_history;
    QString m_filePath;
    FileFacts m_facts;
    std::vector<Line> m_lines;
    QList<QToolButton*> m_stars;
    KeywordEdit* m_keywords;
    QWidget* m_editors;
    QFormLayout* m_rows;
    QLabel* m_name;
    QLabel* m_problem;
    QFileSystemWatcher m_watcher;
    // Programs write in several steps.
    QTimer m_settling;
    // Of the file as it was read.
    QString m_stamp;
    quint64 m_request = 0;
};
