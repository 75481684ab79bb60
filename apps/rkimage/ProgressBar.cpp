#include "ProgressBar.h"

#include <QString>
#include <QTextStream>

#include <unistd.h>

#include <cstdio>

ProgressBar::ProgressBar(qint64 steps)
    : m_steps(steps)
    , m_isTerminal(isatty(fileno(stderr)) == 1)
{
}

ProgressBar::~ProgressBar()
{
    hide();
}

void ProgressBar::step()
{
    ++m_done;
    if (!m_isTerminal)
        return;
    constexpr qint64 kWidth = 40;
    const int filled = int(kWidth * m_done / m_steps);
    const QString bar = QString(filled, u'#').leftJustified(kWidth, u'.');
    QTextStream(stderr) << "\r[" << bar << "] " << m_done << '/' << m_steps << Qt::flush;
}

void ProgressBar::hide()
{
    // ECMA-48: erase in line.
    if (m_isTerminal)
        QTextStream(stderr) << "\r\033[K" << Qt::flush;
}
