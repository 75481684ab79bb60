#pragma once

#include <QString>

#include <mutex>

/// A bar on the error stream, shown only where that is a terminal. Thread-safe.
class ProgressBar
{
public:
    explicit ProgressBar(int total);

    /// One more is done.
    void advance();
    /// Prints a failure as Output::printFailure() does, without the bar in between.
    void print(const QString& file, const QString& failure);
    /// Takes the bar off the terminal.
    void clear();

private:
    void draw() const;
    void erase() const;

    const bool m_isVisible;
    const int m_total;
    // Guards m_done and the error stream.
    std::mutex m_mutex;
    int m_done = 0;
};
