#include "Colors.h"

#include <QStringBuilder>
#include <QtGlobal>

#include <unistd.h>

namespace {

bool s_isOutputColored = false;
bool s_isErrorColored = false;

bool showsColors(Colors::When when, int stream)
{
    if (when != Colors::When::Auto)
        return when == Colors::When::Always;
    return qEnvironmentVariableIsEmpty("NO_COLOR") && qgetenv("TERM") != "dumb"
        && isatty(stream) == 1;
}

/// ECMA-48: select graphic rendition.
QByteArray rendered(bool isColored, const char* rendition, const QByteArray& text)
{
    return isColored ? "\033[" + QByteArray(rendition) + 'm' + text + "\033[0m" : text;
}

} // namespace

void Colors::choose(When when)
{
    s_isOutputColored = showsColors(when, STDOUT_FILENO);
    s_isErrorColored = showsColors(when, STDERR_FILENO);
}

QByteArray Colors::error(const QByteArray& text)
{
    return rendered(s_isErrorColored, "1;31", text);
}

QByteArray Colors::warning(const QByteArray& text)
{
    return rendered(s_isErrorColored, "1;33", text);
}

QByteArray Colors::heading(const QByteArray& text)
{
    return rendered(s_isOutputColored, "1", text);
}
