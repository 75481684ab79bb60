#pragma once

#include "RKImageLoader/media/RKMediaError.h"

#include <QByteArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QString>

/// What the commands have in common when they write. Thread-safe.
namespace Output {

/// The exit codes of the program.
enum ExitCode : int
{
    AllDone = 0,
    SomeFailed = 1,
    WrongUsage = 2
};

/// Has only results and errors printed: no notes, warnings, summaries and progress bars.
void setQuiet(bool isQuiet);
bool isQuiet();

/// A line of results; bytes for those that have names of files, which need not be UTF-8.
void print(const QString& text);
void print(const QByteArray& line);
void print(const QJsonDocument& json);
/// On one line, for programs that read results as they come.
void printLine(const QJsonObject& json);
/// A line for people only.
void note(const QString& text);
/// Bytes as they are, those of a picture for instance.
void write(const QByteArray& bytes);

/// Whether all that was printed has got through to where it goes.
bool isWritten();
/// Who read the results has gone, which nobody has to be told.
bool isReaderGone();

/// The name with its line breaks and other control characters as escapes, so that it stays on a
/// line and does nothing to a terminal.
QByteArray escaped(const QByteArray& name);

/// One line on the error stream: the file, and why it failed.
void printFailure(const QByteArray& file, const QString& failure);
void printFailure(const QString& file, const QString& failure);
/// The same, and the exit code for it.
int fail(const QByteArray& file, const RKMediaError& error);
int fail(const QString& file, const RKMediaError& error);
/// One line on the error stream about what was done all the same.
void warn(const QString& file, const QString& warning);

/// The exit code of a command that has handled so many files. People at a terminal are told how
/// many of them there were.
int finish(qsizetype files, qsizetype failures);

} // namespace Output
