#include "panel/EditHistory.h"

#include "Background.h"
#include "RKImageLoader/loading/RKMediaLoader.h"
#include "RKImageLoader/media/RKMediaDescriptor.h"

#include <QFileInfo>

#include <array>

namespace {

// Each holds what the file said before and after.
constexpr qsizetype kMaxSteps = 500;

/// The orientation that shows a picture turned by a quarter clockwise. All but 1 to 8 mean upright.
RKImageOrientation turned(RKImageOrientation orientation)
{
    constexpr std::array<int, 9> kTurned{6, 6, 7, 8, 5, 2, 3, 4, 1};
    const auto number = static_cast<size_t>(orientation);
    return static_cast<RKImageOrientation>(kTurned.at(number < kTurned.size() ? number : 0));
}

} // namespace

EditHistory::EditHistory()
{
    m_thread.setMaxThreadCount(1);
    connect(&m_undo, &QAction::triggered, this, [this] { start([this] { return move(-1); }); });
    connect(&m_redo, &QAction::triggered, this, [this] { start([this] { return move(1); }); });
    finish({});
}

void EditHistory::edit(const QString& filePath, const QString& text, const Change& change)
{
    const Step step{filePath, text.arg(QFileInfo(filePath).fileName())};
    start([this, step, change] { return add(step, change); });
}

void EditHistory::setRating(const QString& filePath, int stars)
{
    edit(filePath, tr("Rating of %1"), [stars](RKMetaData& metaData) {
        if (metaData.adobeRating() != stars)
            metaData.setAdobeRating(stars);
        return true;
    });
}

void EditHistory::rotate(const QString& filePath, int quarterTurnsClockwise)
{
    edit(filePath, tr("Rotation of %1"), [quarterTurnsClockwise](RKMetaData& metaData) {
        RKImageOrientation orientation = metaData.imageOrientation();
        for (int turns = quarterTurnsClockwise & 3; turns > 0; --turns)
            orientation = turned(orientation);
        metaData.setImageOrientation(orientation);
        return true;
    });
}

QAction* EditHistory::undoAction()
{
    return &m_undo;
}

QAction* EditHistory::redoAction()
{
    return &m_redo;
}

bool EditHistory::isWriting() const
{
    return m_waiting > 0;
}

void EditHistory::start(const std::function<Outcome()>& job)
{
    ++m_waiting;
    const auto run = [this, job] {
        Outcome outcome = job();
        outcome.last = m_done > 0 ? m_steps[m_done - 1].text : QString();
        outcome.next = m_done < m_steps.size() ? m_steps[m_done].text : QString();
        return outcome;
    };
    whenDone(QtConcurrent::run(&m_thread, run), this, [this](const Outcome& outcome) {
        --m_waiting;
        finish(outcome);
    });
}

EditHistory::Outcome EditHistory::add(const Step& step, const Change& change)
{
    const Outcome outcome = write(step, change);
    if (outcome.isWritten) {
        m_steps.resize(m_done);
        m_steps << outcome.step;
        if (m_steps.size() > kMaxSteps)
            m_steps.removeFirst();
        m_done = m_steps.size();
    }
    return outcome;
}

EditHistory::Outcome EditHistory::move(int by)
{
    const qsizetype place = by < 0 ? m_done - 1 : m_done;
    if (place < 0 || place == m_steps.size())
        return {};
    const Step& step = m_steps[place];
    const Outcome outcome = write(step, [&step, by](RKMetaData& metaData) {
        return by < 0 ? metaData.applyDifference(step.after, step.before)
                      : metaData.applyDifference(step.before, step.after);
    });
    if (outcome.failure.isEmpty())
        m_done += by;
    return outcome;
}

EditHistory::Outcome EditHistory::write(Step step, const Change& change)
{
    const QFileInfo file(step.filePath);
    RKMediaError error;
    step.before = RKMetaData(file, &error);
    if (error.isError())
        return {step, false, error.text()};
    RKMetaData wanted = step.before;
    if (!change(wanted))
        return {step, false, tr("Another program has changed this in the file meanwhile.")};
    if (wanted.allData() == step.before.allData())
        return {step};
    if (!RKMediaLoader::instance()->save(RKMediaDescriptor(file), wanted, &error))
        return {step, false, error.text()};
    step.after = RKMetaData(file);
    return {step, true};
}

void EditHistory::finish(const Outcome& outcome)
{
    m_undo.setEnabled(!outcome.last.isEmpty());
    m_undo.setText(tr("&Undo %1").arg(outcome.last).trimmed());
    m_redo.setEnabled(!outcome.next.isEmpty());
    m_redo.setText(tr("R&edo %1").arg(outcome.next).trimmed());
    if (!outcome.failure.isEmpty())
        Q_EMIT failed(outcome.step.filePath, outcome.failure);
    else if (outcome.isWritten)
        Q_EMIT fileWritten(outcome.step.filePath);
}
