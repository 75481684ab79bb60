#include "ProgressBar.h"

#include "Output.h"

#include <unistd.h>

#include <algorithm>
#include <cstdio>

namespace {

constexpr qint64 kFirstTimeMs = 1000;
// As often as people can see.
constexpr qint64 kPauseMs = 100;

// Guards all output; nothing else is locked meanwhile.
std::mutex s_mutex;
bool s_isShown = false;

} // namespace

ProgressBar::ProgressBar(qint64 steps)
    : m_steps(steps)
    , m_isWanted(!Output::isQuiet() && isatty(STDERR_FILENO) == 1)
    , m_nextTime(kFirstTimeMs)
{
    m_running.start();
}

ProgressBar::~ProgressBar()
{
    const Hidden hidden;
}

void ProgressBar::step()
{
    const std::lock_guard lock(s_mutex);
    ++m_done;
    if (!m_isWanted || m_running.elapsed() < m_nextTime)
        return;
    m_nextTime = m_running.elapsed() + kPauseMs;
    s_isShown = true;
    show();
}

ProgressBar::Hidden::Hidden()
    : m_lock(s_mutex)
{
    // ECMA-48: erase in line.
    if (s_isShown)
        std::fputs("\r\033[K", stderr);
    s_isShown = false;
}

void ProgressBar::show() const
{
    if (m_steps == 0) {
        std::fprintf(stderr, "\r%lld done", static_cast<long long>(m_done));
        return;
    }
    constexpr qint64 kWidth = 40;
    const QByteArray bar = QByteArray(int(kWidth * std::min(m_done, m_steps) / m_steps), '#')
                               .leftJustified(kWidth, '.');
    std::fprintf(stderr,
        "\r[%s] %lld/%lld",
        bar.constData(),
        static_cast<long long>(m_done),
        static_cast<long long>(m_steps));
}
