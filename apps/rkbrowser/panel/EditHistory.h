#pragma once

#include "RKImageLoader/metadata/RKMetaData.h"

#include <QAction>
#include <QList>
#include <QObject>
#include <QThreadPool>

#include <functional>

/// Writes changes of metadata into their files at once, in the order in which they come, on a
/// thread of its own. What was written can be undone as long as the history lives.
///
/// A change that can't be written leaves its file as it was and is not part of the history. The
/// destructor waits for what is still to be written. For the window's thread.
class EditHistory : public QObject
{
    Q_OBJECT

public:
    EditHistory();

    /// Changes what the file says when its turn has come; false if that is not what the user saw.
    using Change = std::function<bool(RKMetaData&)>;
    /// The text says what is changed, with %1 for the name of the file.
    void edit(const QString& filePath, const QString& text, const Change& change);
    /// 0 to 5 stars.
    void setRating(const QString& filePath, int stars);
    /// Through the orientation in the metadata; the pixels stay.
    void rotate(const QString& filePath, int quarterTurnsClockwise);

    /// Take the last step back, or make it again, after everything that was asked for before. Their
    /// texts say which one that is.
    QAction* undoAction();
    QAction* redoAction();

    bool isWriting() const;

Q_SIGNALS:
    void fileWritten(const QString& filePath);
    /// The file is as it was.
    void failed(const QString& filePath, const QString& reason);

private:
    struct Step
    {
        QString filePath;
        QString text;
        RKMetaData before = {};
        RKMetaData after = {};
    };

    struct Outcome
    {
        Step step;
        bool isWritten = false;
        QString failure = {};
        // What can be undone and made again now.
        QString last = {};
        QString next = {};
    };

    void start(const std::function<Outcome()>& job);
    Outcome add(const Step& step, const Change& change);
    /// Undoes a step with -1, makes one again with 1.
    Outcome move(int by);
    static Outcome write(Step step, const Change& change);
    void finish(const Outcome& outcome);

    QAction m_undo;
    QAction m_redo;
    int m_waiting = 0;
    // Only the thread below uses these: what there is to undo is known when all is written that was
    // asked for before.
    QList<Step> m_steps;
    qsizetype m_done = 0;
    // Ends first.
    QThreadPool m_thread;
};
