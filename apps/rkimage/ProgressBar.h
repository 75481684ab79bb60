#pragma once

#include <QtGlobal>

/// Shows on the error stream how much of a job is done; only where that is a terminal.
class ProgressBar
{
public:
    explicit ProgressBar(qint64 steps);
    /// Hides it.
    ~ProgressBar();

    ProgressBar(const ProgressBar&) = delete;
    ProgressBar& operator=(const ProgressBar&) = delete;

    /// Another step is done.
    void step();
    /// Clears the line, for other output; the next step shows the bar again.
    void hide();

private:
    qint64 m_steps;
    qint64 m_done = 0;
    bool m_isTerminal;
};
