#pragma once

#include <QElapsedTimer>
#include <QTimer>

#include <algorithm>
#include <ctime>

/// The longest that the event loop of this thread did not come round, in milliseconds.
class PauseMeter
{
public:
    PauseMeter()
    {
        m_time.start();
        m_worked = worked();
        QObject::connect(&m_ticks, &QTimer::timeout, &m_ticks, [this] {
            m_longest = std::max(m_longest, m_time.restart());
            m_longestWork = std::max(m_longestWork, worked() - m_worked);
            m_worked = worked();
        });
        m_ticks.start(0);
    }

    qint64 longest() const
    {
        return m_longest;
    }

    /// What the thread itself has worked in one round: on a busy machine, less than has passed.
    qint64 longestWork() const
    {
        return m_longestWork;
    }

private:
    static qint64 worked()
    {
        std::timespec time{};
        ::clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time);
        return time.tv_sec * 1000 + time.tv_nsec / 1000000;
    }

    QTimer m_ticks;
    QElapsedTimer m_time;
    qint64 m_worked = 0;
    qint64 m_longest = 0;
    qint64 m_longestWork = 0;
};
