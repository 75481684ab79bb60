#pragma once

#include "RKImageLoader/metadata/RKMetaData.h"
#include "RKImageLoader/metadata/RKMetaDataField.h"

#include <QDateTime>
#include <QObject>
#include <QQueue>
#include <QString>
#include <QStringList>
#include <QThreadPool>
#include <QUndoStack>

#include <functional>

class QAction;

/// Writes changes of metadata into their files at once, in the order in which they come, on a
/// thread of its own. What was written can be undone as long as the history lives.
///
/// A change that can't be written leaves its file as it was and is not part of the history. Values
/// that a user has seen before editing are handed over as "shown": where the file says something
/// else by now, nothing is written. For the window's thread.
class EditHistory : public QObject
{
    Q_OBJECT

public:
    explicit EditHistory(QObject* parent = nullptr);
    /// Waits for what is still to be written.
    ~EditHistory() override;

    /// Actions with a text that says what they take back or make again. An undo is a save, which
    /// may fail, so that QUndoStack's own actions would not do.
    QAction* createUndoAction(QObject* parent);
    QAction* createRedoAction(QObject* parent);

    /// 0 to 5 stars.
    void setRating(const QString& filePath, int stars);
    /// Through the orientation in the metadata; the pixels stay.
    void rotate(const QString& filePath, int quarterTurnsClockwise);
    /// A field that is a free text.
    void setText(const QString& filePath,
        RKMetaDataFieldEnum field,
        const QString& shown,
        const QString& wanted);
    /// Keywords that others have added meanwhile stay.
    void changeKeywords(
        const QString& filePath, const QStringList& removed, const QStringList& added);
    void setPictureTaken(const QString& filePath, const QDateTime& shown, const QDateTime& wanted);
    /// An invalid one removes it.
    void setPosition(
        const QString& filePath, const RKGeoPosition& shown, const RKGeoPosition& wanted);

    bool isWriting() const;

public Q_SLOTS:
    /// After everything that was asked for before.
    void undo();
    void redo();

Q_SIGNALS:
    void fileWritten(const QString& filePath);
    /// The file is as it was.
    void failed(const QString& filePath, const QString& reason);
    /// Everything is written.
    void idle();

private:
    class Command;
    enum class Kind
    {
        Edit,
        Undo,
        Redo
    };
    /// Changes what the file has now; false if that is not what the change was made for.
    using Change = std::function<bool(RKMetaData&)>;

    struct Task
    {
        Kind kind;
        QString filePath;
        QString text;
        Change change;
    };

    struct Outcome
    {
        bool isWritten = false;
        QString failure;
        RKMetaData before;
        RKMetaData after;
    };

    static Outcome write(const QString& filePath, const Change& change);
    void add(const Task& task);
    void addEdit(const QString& filePath, const QString& text, const Change& change);
    void startNext();
    void finish(const Task& task, const Outcome& outcome);
    QAction* ownAction(QAction* action, void (EditHistory::*slot)());

    QUndoStack m_stack;
    QQueue<Task> m_waiting;
    bool m_isWriting = false;
    QThreadPool m_thread;
};
