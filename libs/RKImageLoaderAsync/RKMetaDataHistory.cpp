#include "RKImageLoaderAsync/RKMetaDataHistory.h"

#include "RKImageLoader/loading/RKMediaLoader.h"
#include "RKImageLoader/media/RKMediaDescriptor.h"

#include <QFileInfo>
#include <QMutexLocker>

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

RKMetaDataHistory::RKMetaDataHistory()
{
    m_thread.setMaxThreadCount(1);
}

RKMetaDataHistory::~RKMetaDataHistory() = default;

void RKMetaDataHistory::edit(const QString& filePath, const QString& text, const Change& change)
{
    const Step step{filePath, text.arg(QFileInfo(filePath).fileName())};
    start([this, step, change] { return add(step, change); });
}

void RKMetaDataHistory::setRating(const QString& filePath, int stars)
{
    edit(filePath, tr("Rating of %1"), [stars](RKMetaData& metaData) {
        // A rejected picture has 0 stars, too.
        if (metaData.adobeRating() != stars || metaData.isRejected())
            metaData.setAdobeRating(stars);
        return true;
    });
}

void RKMetaDataHistory::rotate(const QString& filePath, int quarterTurnsClockwise)
{
    edit(filePath, tr("Rotation of %1"), [quarterTurnsClockwise](RKMetaData& metaData) {
        RKImageOrientation orientation = metaData.imageOrientation();
        for (int turns = quarterTurnsClockwise & 3; turns > 0; --turns)
            orientation = turned(orientation);
        metaData.setImageOrientation(orientation);
        return true;
    });
}

void RKMetaDataHistory::undo()
{
    start([this] { return move(-1); });
}

void RKMetaDataHistory::redo()
{
    start([this] { return move(1); });
}

QString RKMetaDataHistory::undoText() const
{
    return m_undoText;
}

QString RKMetaDataHistory::redoText() const
{
    return m_redoText;
}

bool RKMetaDataHistory::isWriting() const
{
    return m_waiting > 0;
}

void RKMetaDataHistory::start(const std::function<Outcome()>& job)
{
    ++m_waiting;
    {
        const QMutexLocker locker(&m_mutex);
        m_jobs << job;
    }
    m_thread.start([this] { runNext(); });
}

void RKMetaDataHistory::runNext()
{
    std::function<Outcome()> job;
    {
        const QMutexLocker locker(&m_mutex);
        job = m_jobs.takeFirst();
    }
    Outcome outcome = job();
    outcome.undoText = m_done > 0 ? m_steps[m_done - 1].text : QString();
    outcome.redoText = m_done < m_steps.size() ? m_steps[m_done].text : QString();
    {
        const QMutexLocker locker(&m_mutex);
        m_outcomes << outcome;
    }
    QMetaObject::invokeMethod(this, &RKMetaDataHistory::finishNext, Qt::QueuedConnection);
}

RKMetaDataHistory::Outcome RKMetaDataHistory::add(const Step& step, const Change& change)
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

RKMetaDataHistory::Outcome RKMetaDataHistory::move(int by)
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

RKMetaDataHistory::Outcome RKMetaDataHistory::write(Step step, const Change& change)
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

void RKMetaDataHistory::finishNext()
{
    Outcome outcome;
    {
        const QMutexLocker locker(&m_mutex);
        outcome = m_outcomes.takeFirst();
    }
    --m_waiting;
    m_undoText = outcome.undoText;
    m_redoText = outcome.redoText;
    Q_EMIT stepsChanged();
    if (!outcome.failure.isEmpty())
        Q_EMIT failed(outcome.step.filePath, outcome.failure);
    else if (outcome.isWritten)
        Q_EMIT fileWritten(outcome.step.filePath);
}
