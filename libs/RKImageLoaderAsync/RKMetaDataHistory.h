#pragma once

#include "RKImageLoader/metadata/RKMetaData.h"
#include "RKImageLoaderAsync/RKImageLoaderAsyncExport.h"

#include <QList>
#include <QMutex>
#include <QObject>
#include <QString>
#include <QThreadPool>

#include <functional>

/// Writes changes of metadata into their files at once, in the order in which they come, on a
/// thread of its own, and takes them back.
///
/// What was written can be undone as long as the history lives, up to 500 steps. An undo takes back
/// what its step has changed and keeps what other programs have changed elsewhere in the metadata;
/// it fails if they have changed the same. A change that can't be written leaves its file as it was
/// and is not part of the history.
///
/// Texts are in English, or in the language that RKImageLoaderInitializer::installTranslation() has
/// installed. The destructor waits for what is still to be written.
///
/// Not thread-safe: for the thread that it lives in, which needs an event loop.
class RKIMAGELOADERASYNC_EXPORT RKMetaDataHistory : public QObject
{
    Q_OBJECT

public:
    RKMetaDataHistory();
    ~RKMetaDataHistory() override;

    /// Changes what the file says when its turn has come, on the history's thread. False if that is
    /// not what the user has seen: then nothing is written.
    using Change = std::function<bool(RKMetaData&)>;
    /// The text says what is changed, "Title of %1" for instance, with %1 for the name of the file.
    /// A change that changes nothing is no step.
    void edit(const QString& filePath, const QString& text, const Change& change);
    /// 0 to 5 stars.
    void setRating(const QString& filePath, int stars);
    /// Through the orientation in the metadata; the pixels stay. Mirrored pictures turn, too.
    void rotate(const QString& filePath, int quarterTurnsClockwise);

    /// Takes back the last step that is there when all is done that was asked for before, or makes
    /// it again. Nothing without one.
    /// @{
    void undo();
    void redo();
    /// @}

    /// The texts of the steps that undo() and redo() are about; empty without one.
    /// @{
    QString undoText() const;
    QString redoText() const;
    /// @}

    /// Something is still to be written.
    bool isWriting() const;

Q_SIGNALS:
    /// A step was written, taken back or made again.
    void fileWritten(const QString& filePath);
    /// The file is as it was.
    void failed(const QString& filePath, const QString& reason);
    /// undoText() or redoText() may have changed.
    void stepsChanged();

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
        QString undoText = {};
        QString redoText = {};
    };

    void start(const std::function<Outcome()>& job);
    void runNext();
    void finishNext();
    Outcome add(const Step& step, const Change& change);
    /// Undoes a step with -1, makes one again with 1.
    Outcome move(int by);
    static Outcome write(Step step, const Change& change);

    QString m_undoText;
    QString m_redoText;
    int m_waiting = 0;
    // Guards what the threads hand over to each other. Not left to Qt's pool and events, which the
    // thread sanitizer doesn't see through.
    QMutex m_mutex;
    QList<std::function<Outcome()>> m_jobs;
    QList<Outcome> m_outcomes;
    // Only the thread below uses these: what there is to undo is known when all is written that was
    // asked for before.
    QList<Step> m_steps;
    qsizetype m_done = 0;
    // Ends first.
    QThreadPool m_thread;
};
