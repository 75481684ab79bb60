#include "Output.h"

#include "Colors.h"
#include "Interruption.h"
#include "ProgressBar.h"

#include <QIODevice>
#include <QJsonDocument>
#include <QJsonObject>

#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdio>
#include <mutex>

namespace {

Output::Style s_style = Output::Style::Text;
bool s_isQuiet = false;
bool s_isPicture = false;
std::atomic<bool> s_isLost = false;
std::atomic<bool> s_isReaderGone = false;
// Guards what follows, and the order of results.
std::mutex s_resultMutex;
bool s_hasResults = false;

void writeTo(std::FILE* stream, const QByteArray& bytes)
{
    const ProgressBar::Hidden hidden;
    const bool isWritten
        = std::fwrite(bytes.constData(), 1, size_t(bytes.size()), stream) == size_t(bytes.size())
        && std::fflush(stream) == 0;
    if (isWritten || stream != stdout)
        return;
    if (errno == EPIPE)
        s_isReaderGone = true;
    s_isLost = true;
    // Nobody would see what the other files give.
    Interruption::stop();
}

void printLineTo(std::FILE* stream, const QByteArray& line)
{
    writeTo(stream, line + '\n');
}

QByteArray failureLine(const QByteArray& file, const QString& failure)
{
    return Colors::error("rkimage:") + ' ' + Output::escaped(file + ": " + failure.toUtf8());
}

} // namespace

void Output::setStyle(Style style)
{
    s_style = style;
}

bool Output::isText()
{
    return s_style == Style::Text;
}

void Output::setQuiet(bool isQuiet)
{
    s_isQuiet = isQuiet;
}

bool Output::isQuiet()
{
    return s_isQuiet;
}

void Output::print(const QString& text)
{
    print(text.toUtf8());
}

void Output::print(const QByteArray& line)
{
    if (isText())
        printLineTo(stdout, line);
}

void Output::printResult(const QJsonObject& result)
{
    const QJsonDocument document(result);
    const std::lock_guard lock(s_resultMutex);
    if (s_style == Style::JsonLines)
        printLineTo(stdout, document.toJson(QJsonDocument::Compact));
    else
        writeTo(stdout, (s_hasResults ? ",\n" : "[\n") + document.toJson().trimmed());
    s_hasResults = true;
}

void Output::endResults()
{
    if (s_style == Style::Json)
        printLineTo(stdout, s_hasResults ? "\n]" : "[]");
}

QString Output::sendPicture()
{
    if (!isText())
        return QStringLiteral("takes either the picture or JSON");
    if (isatty(STDOUT_FILENO) == 1)
        return QStringLiteral("is a terminal; pictures go to files and pipes");
    s_isPicture = true;
    return {};
}

void Output::note(const QString& text)
{
    if (s_isQuiet)
        return;
    if (s_isPicture)
        printLineTo(stderr, text.toUtf8());
    else
        print(text);
}

void Output::write(const QByteArray& bytes)
{
    writeTo(stdout, bytes);
}

void Output::write(QIODevice& picture)
{
    constexpr qint64 kBlockSize = 1024 * 1024;
    while (!picture.atEnd() && isWritten())
        write(picture.read(kBlockSize));
}

bool Output::isWritten()
{
    return std::fflush(stdout) == 0 && std::ferror(stdout) == 0 && !s_isLost;
}

bool Output::isReaderGone()
{
    return s_isReaderGone;
}

QByteArray Output::escaped(const QByteArray& name)
{
    QByteArray result;
    for (const char letter : name) {
        const auto code = static_cast<unsigned char>(letter);
        if (letter == '\n')
            result += "\\n";
        else if (code < 0x20 || code == 0x7f)
            result += "\\x" + QByteArray::number(code, 16).rightJustified(2, '0');
        else
            result += letter;
    }
    return result;
}

void Output::printFailure(const QByteArray& file, const QString& failure)
{
    printLineTo(stderr, failureLine(file, failure));
}

void Output::printFailure(const QString& file, const QString& failure)
{
    printFailure(file.toUtf8(), failure);
}

void Output::warn(const QString& file, const QString& warning)
{
    if (!s_isQuiet) {
        printLineTo(stderr,
            "rkimage: " + escaped(file.toUtf8()) + ": " + Colors::warning("warning:") + ' '
                + escaped(warning.toUtf8()));
    }
}

int Output::finish(qsizetype files, qsizetype failures)
{
    if (files > 1 && !s_isQuiet && isatty(STDERR_FILENO) == 1) {
        const QByteArray failed = QByteArray::number(failures) + " failed";
        printLineTo(stderr,
            "rkimage: " + QByteArray::number(files) + " files, "
                + (failures > 0 ? Colors::error(failed) : failed));
    }
    return failures == 0 ? AllDone : SomeFailed;
}
