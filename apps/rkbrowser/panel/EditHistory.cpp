#include "panel/EditHistory.h"

#include "RKImageLoader/loading/RKMediaLoader.h"
#include "RKImageLoader/media/RKMediaDescriptor.h"
#include "WhenDone.h"

#include <QAction>
#include <QEventLoop>
#include <QFileInfo>
#include <QUndoCommand>
#include <QtConcurrent>

#include <algorithm>
#include <array>

namespace {

// Each holds what the file said before and after.
constexpr int kMaxSteps = 500;

/// The orientation that shows a picture turned further, by quarters of a full turn clockwise.
RKImageOrientation turned(RKImageOrientation orientation, int quarterTurns)
{
    constexpr int kTurns = 4;
    using Cycle = std::array<RKImageOrientation, kTurns>;
    constexpr Cycle kPlain = {ORIENTATION_TOP_LEFT,
        ORIENTATION_RIGHT_TOP,
        ORIENTATION_BOTTOM_RIGHT,
        ORIENTATION_LEFT_BOTTOM};
    constexpr Cycle kMirrored = {ORIENTATION_TOP_RIGHT,
        ORIENTATION_RIGHT_BOTTOM,
        ORIENTATION_BOTTOM_LEFT,
        ORIENTATION_LEFT_TOP};
    const int steps = (quarterTurns % kTurns + kTurns) % kTurns;
    for (const Cycle& cycle : {kPlain, kMirrored}) {
        const auto* place = std::find(cycle.begin(), cycle.end(), orientation);
        if (place != cycle.end())
            return cycle.at(size_t(place - cycle.begin() + steps) % kTurns);
    }
    // Anything else means upright.
    return kPlain.at(size_t(steps));
}

} // namespace

/// A save that was made. The stack only keeps the order: it moves after a file was written.
class EditHistory::Command : public QUndoCommand
{
public:
    Command(const Task& task, const Outcome& outcome)
        : QUndoCommand(task.text)
        , m_filePath(task.filePath)
        , m_before(outcome.before)
        , m_after(outcome.after)
    {
    }

    Task taskFor(Kind kind) const
    {
        const bool isUndo = kind == Kind::Undo;
        return {kind,
            m_filePath,
            text(),
            [from = isUndo ? m_after : m_before, to = isUndo ? m_before : m_after](
                RKMetaData& metaData) { return metaData.applyDifference(from, to); }};
    }

private:
    QString m_filePath;
    RKMetaData m_before;
    RKMetaData m_after;
};

EditHistory::EditHistory(QObject* parent)
    : QObject(parent)
{
    m_stack.setUndoLimit(kMaxSteps);
    m_thread.setMaxThreadCount(1);
}

EditHistory::~EditHistory()
{
    if (!m_isWriting)
        return;
    QEventLoop loop;
    connect(this, &EditHistory::idle, &loop, &QEventLoop::quit);
    loop.exec(QEventLoop::ExcludeUserInputEvents);
}

QAction* EditHistory::createUndoAction(QObject* parent)
{
    return ownAction(m_stack.createUndoAction(parent), &EditHistory::undo);
}

QAction* EditHistory::createRedoAction(QObject* parent)
{
    return ownAction(m_stack.createRedoAction(parent), &EditHistory::redo);
}

QAction* EditHistory::ownAction(QAction* action, void (EditHistory::*slot)())
{
    disconnect(action, nullptr, &m_stack, nullptr);
    connect(action, &QAction::triggered, this, slot);
    return action;
}

void EditHistory::setRating(const QString& filePath, int stars)
{
    addEdit(filePath, tr("Rating of %1"), [stars](RKMetaData& metaData) {
        if (metaData.adobeRating() != stars)
            metaData.setAdobeRating(stars);
        return true;
    });
}

void EditHistory::rotate(const QString& filePath, int quarterTurnsClockwise)
{
    addEdit(filePath, tr("Rotation of %1"), [quarterTurnsClockwise](RKMetaData& metaData) {
        metaData.setImageOrientation(turned(metaData.imageOrientation(), quarterTurnsClockwise));
        return true;
    });
}

void EditHistory::setText(
    const QString& filePath, RKMetaDataFieldEnum field, const QString& shown, const QString& wanted)
{
    addEdit(filePath, tr("Text of %1"), [=](RKMetaData& metaData) {
        const QString now = metaData.read(field);
        if (now != wanted)
            metaData.write(field, wanted);
        return now == shown || now == wanted;
    });
}

void EditHistory::changeKeywords(
    const QString& filePath, const QStringList& removed, const QStringList& added)
{
    addEdit(filePath, tr("Keywords of %1"), [=](RKMetaData& metaData) {
        const QStringList known = metaData.keywordsOfAllPlaces();
        QStringList keywords = known + added;
        keywords.removeDuplicates();
        for (const QString& keyword : removed)
            keywords.removeAll(keyword);
        if (keywords != known)
            metaData.setKeywords(keywords);
        return true;
    });
}

void EditHistory::setPictureTaken(
    const QString& filePath, const QDateTime& shown, const QDateTime& wanted)
{
    addEdit(filePath, tr("Date of %1"), [=](RKMetaData& metaData) {
        const QDateTime now = metaData.pictureTaken();
        metaData.setPictureTaken(wanted);
        return now == shown || now == wanted;
    });
}

void EditHistory::setPosition(
    const QString& filePath, const RKGeoPosition& shown, const RKGeoPosition& wanted)
{
    addEdit(filePath, tr("Place of %1"), [=](RKMetaData& metaData) {
        const RKGeoPosition now = metaData.geoPosition();
        if (wanted.isValid())
            metaData.setGeoPosition(wanted);
        else
            metaData.removeGeoPosition();
        return now == shown || now == wanted;
    });
}

bool EditHistory::isWriting() const
{
    return m_isWriting;
}

void EditHistory::undo()
{
    add({Kind::Undo, {}, {}, {}});
}

void EditHistory::redo()
{
    add({Kind::Redo, {}, {}, {}});
}

void EditHistory::addEdit(const QString& filePath, const QString& text, const Change& change)
{
    add({Kind::Edit, filePath, text.arg(QFileInfo(filePath).fileName()), change});
}

void EditHistory::add(const Task& task)
{
    m_waiting.enqueue(task);
    if (!m_isWriting)
        startNext();
}

void EditHistory::startNext()
{
    m_isWriting = false;
    while (!m_waiting.isEmpty() && !m_isWriting) {
        Task task = m_waiting.dequeue();
        // What there is to undo is known only now, after all that was written before.
        if (task.kind != Kind::Edit) {
            const bool isUndo = task.kind == Kind::Undo;
            const auto* command = static_cast<const Command*>(
                m_stack.command(isUndo ? m_stack.index() - 1 : m_stack.index()));
            if (!command)
                continue;
            task = command->taskFor(task.kind);
        }
        m_isWriting = true;
        whenDone(QtConcurrent::run(&m_thread, [task] { return write(task.filePath, task.change); }),
            this,
            [this, task](const Outcome& outcome) { finish(task, outcome); });
    }
    if (!m_isWriting)
        Q_EMIT idle();
}

void EditHistory::finish(const Task& task, const Outcome& outcome)
{
    if (!outcome.failure.isEmpty()) {
        Q_EMIT failed(task.filePath, outcome.failure);
    } else {
        switch (task.kind) {
        case Kind::Edit:
            if (outcome.isWritten)
                m_stack.push(new Command(task, outcome));
            break;
        case Kind::Undo: m_stack.undo(); break;
        case Kind::Redo: m_stack.redo(); break;
        }
        if (outcome.isWritten)
            Q_EMIT fileWritten(task.filePath);
    }
    startNext();
}

EditHistory::Outcome EditHistory::write(const QString& filePath, const Change& change)
{
    const QFileInfo file(filePath);
    RKMediaError error;
    const auto failure = [&error] {
        Outcome outcome;
        outcome.failure = error.text();
        return outcome;
    };
    Outcome outcome;
    outcome.before = RKMetaData(file, &error);
    if (error.isError())
        return failure();
    RKMetaData wanted = outcome.before;
    if (!change(wanted)) {
        outcome.failure = tr("Another program has changed this in the file meanwhile.");
        return outcome;
    }
    if (wanted.allData() == outcome.before.allData())
        return outcome;
    if (!RKMediaLoader::instance()->save(RKMediaDescriptor(file), wanted, &error))
        return failure();
    outcome.isWritten = true;
    outcome.after = RKMetaData(file);
    return outcome;
}
