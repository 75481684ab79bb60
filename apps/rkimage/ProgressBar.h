#pragma once

#include <QElapsedTimer>
#include <QtGlobal>

#include <mutex>

/// Shows on the error stream how much of a job is done; only where that is a terminal, and only of
/// jobs that take more than a second. There is one at a time. Thread-safe.
class ProgressBar
{
public:
    /// Without a number of steps, how many are done is all that is shown.
    explicit ProgressBar(qint64 steps = 0);
    /// Hides it.
    ~ProgressBar();

    ProgressBar(const ProgressBar&) = delete;
    ProgressBar& operator=(const ProgressBar&) = delete;

    /// Another step is done.
    void step();

    /// Clears the line, and keeps it clear for other output; a later step shows the bar again.
    class Hidden
    {
    public:
        Hidden();

    private:
        std::lock_guard<std::mutex> m_lock;
    };

private:
    void show() const;

    qint64 m_steps;
    qint64 m_done = 0;
    bool m_isWanted;
    QElapsedTimer m_running;
    qint64 m_nextTime;
};
