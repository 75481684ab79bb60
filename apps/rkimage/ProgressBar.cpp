#include "ProgressBar.h"

#include "Output.h"

#include <QByteArray>

#include <unistd.h>

#include <cstdio>

namespace {

constexpr int kLength = 40;

} // namespace

ProgressBar::ProgressBar(int total)
    : m_isVisible(isatty(STDERR_FILENO) != 0)
    , m_total(total)
{
    draw();
}

void ProgressBar::advance()
{
    const std::lock_guard lock(m_mutex);
    ++m_done;
    draw();
}

void ProgressBar::print(const QString& file, const QString& failure)
{
    const std::lock_guard lock(m_mutex);
    erase();
    Output::printFailure(file, failure);
    draw();
}

void ProgressBar::clear()
{
    const std::lock_guard lock(m_mutex);
    erase();
}

void ProgressBar::draw() const
{
    if (!m_isVisible || m_total == 0)
        return;
    const QByteArray bar(qsizetype(qint64(m_done) * kLength / m_total), '#');
    std::fprintf(
        stderr, "\r[%s] %d/%d", bar.leftJustified(kLength, ' ').constData(), m_done, m_total);
}

void ProgressBar::erase() const
{
    // Back to the first column, and the rest of the line away (ECMA-48, 8.3.41).
    if (m_isVisible)
        std::fputs("\r\x1b[K", stderr);
}
