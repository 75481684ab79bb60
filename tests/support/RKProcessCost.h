#pragma once

#include "support/RKTimeLimit.h"

#include <QFile>
#include <QStringList>

#include <fcntl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <vector>

/// What code or a program takes of the machine.
namespace RKProcessCost {

inline qint64 mebibytes(const rusage& usage)
{
#ifdef Q_OS_DARWIN
    constexpr qint64 kUnitsPerMebibyte = 1 << 20;
#else
    constexpr qint64 kUnitsPerMebibyte = 1 << 10;
#endif
    return usage.ru_maxrss / kUnitsPerMebibyte;
}

/// The most memory that this process has held so far.
inline qint64 peakMebibytes()
{
    rusage usage{};
    ::getrusage(RUSAGE_SELF, &usage);
    return mebibytes(usage);
}

struct Result
{
    int exitCode = -1; ///< -1 if the program crashed or did not start
    qint64 workedMilliseconds = 0;
    qint64 mebibytes = 0; ///< at least those of the process that starts it
    QString messages; ///< what it wrote to its standard error
};

/// Runs a program that reads nothing and writes its messages to a file. It is killed after it has
/// worked for a minute.
inline Result run(const QString& program, const QStringList& arguments, const QString& messageFile)
{
    std::vector<QByteArray> words{QFile::encodeName(program)};
    for (const QString& argument : arguments)
        words.push_back(QFile::encodeName(argument));
    std::vector<char*> pointers;
    pointers.reserve(words.size() + 1);
    for (QByteArray& word : words)
        pointers.push_back(word.data());
    pointers.push_back(nullptr);
    const QByteArray path = QFile::encodeName(messageFile);

    const pid_t child = ::fork();
    if (child == 0) {
        const int file = ::open(path.constData(), O_CREAT | O_TRUNC | O_WRONLY, 0600);
        const rlimit limit{60 * RKTimeLimit::kSanitizerFactor, 60 * RKTimeLimit::kSanitizerFactor};
        ::setrlimit(RLIMIT_CPU, &limit);
        ::dup2(file, STDERR_FILENO);
        ::dup2(file, STDOUT_FILENO);
        ::execv(pointers[0], pointers.data());
        ::_exit(127);
    }
    int status = 0;
    rusage usage{};
    if (child < 0 || ::wait4(child, &status, 0, &usage) != child || !WIFEXITED(status))
        return {};
    const auto milliseconds
        = [](const timeval& time) { return qint64(time.tv_sec) * 1000 + time.tv_usec / 1000; };
    QFile messages(messageFile);
    return {WEXITSTATUS(status),
        milliseconds(usage.ru_utime) + milliseconds(usage.ru_stime),
        mebibytes(usage),
        messages.open(QIODevice::ReadOnly) ? QString::fromUtf8(messages.readAll()) : QString()};
}

} // namespace RKProcessCost
