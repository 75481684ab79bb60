#pragma once

#include <QTimer>

#include <algorithm>
#include <ctime>

/// The longest that this thread has worked without coming round to its event loop, in milliseconds:
/// on a busy machine, less than has passed.
class PauseMeter
{
public:
    PauseMeter()
    {
        QObject::connect(&m_ticks, &QTimer::timeout, &m_ticks, [this] {
            m_longest = std::max(m_longest, worked() - m_worked);
            m_worked = worked();
        });
        m_ticks.start(0);
    }

    qint64 longest() const
    {
        return m_longest;
    }

private:
    static qint64 worked()
    {
        std::timespec time{};
        ::clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time);
        return time.tv_sec * 1000 + time.tv_nsec / 1000000;
    }

    QTimer m_ticks;
    qint64 m_worked = worked();
    qint64 m_longest = 0;
};
