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
/// thread of its own, and undoes them.
///
/// What was written can be undone as long as the history lives, up to 500 steps. An undo reverts
/// what its step has changed and keeps what other programs have changed elsewhere in the metadata;
/// it fails if they have changed the same data. A change that can't be written leaves its file as
/// it was and is not part of the history.
///
/// Texts are in English, or in the language that RKImageLoaderInitializer::installTranslation() has
/// installed. The destructor waits for what is still to be written.
///
/// Not thread-safe: call it from the thread that it lives in, which needs an event loop.
class RKIMAGELOADERASYNC_EXPORT RKMetaDataHistory : public QObject
{
    Q_OBJECT

public:
    RKMetaDataHistory();
    ~RKMetaDataHistory() override;

    /// Changes the file's current metadata; called on the history's thread. Returns false if they
    /// differ from what the user has seen: nothing is written then, and failed() is emitted.
    using Change = std::function<bool(RKMetaData&)>;
    /// The text names the change; it must have a %1 for the file's name, as in "Title of %1". A
    /// change that leaves all Exif, IPTC and XMP data as they were is not written and is no step.
    void edit(const QString& filePath, const QString& text, const Change& change);
    /// Sets 0 to 5 stars.
    void setRating(const QString& filePath, int stars);
    /// Changes the orientation in the metadata, not the pixels. Negative numbers turn back.
    void rotate(const QString& filePath, int quarterTurnsClockwise);

    /// Undoes the last step, or redoes the last one undone, once everything asked for before is
    /// done. Does nothing if there is none.
    /// @{
    void undo();
    void redo();
    /// @}

    /// The texts of the steps that undo() and redo() would act on; empty without one.
    /// @{
    QString undoText() const;
    QString redoText() const;
    /// @}

    /// Whether something is still to be written.
    bool isWriting() const;

Q_SIGNALS:
    /// A step was written, undone or redone.
    void fileWritten(const QString& filePath);
    /// That could not be done; the file is as it was. The reason is a sentence for people.
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
