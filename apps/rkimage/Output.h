#pragma once

#include <QByteArray>
#include <QString>

class QIODevice;
class QJsonObject;

/// What the commands have in common when they write. Thread-safe.
namespace Output {

/// The exit codes of the program.
enum ExitCode : int
{
    AllDone = 0,
    SomeFailed = 1,
    WrongUsage = 2
};

/// How results are printed.
enum class Style
{
    /// For people, in each command's own way.
    Text,
    /// One JSON array of all results.
    Json,
    /// A line of JSON for each result.
    JsonLines
};

/// Set once, before the first output.
void setStyle(Style style);
bool isText();

/// Has only results and errors printed: no notes, warnings, summaries and progress bars.
void setQuiet(bool isQuiet);
bool isQuiet();

/// A line of results for people, which nobody sees where results are JSON; bytes for those that
/// have names of files, which need not be UTF-8.
void print(const QString& text);
void print(const QByteArray& line);
/// A result for programs.
void printResult(const QJsonObject& result);
/// Ends the array of all results, if there is one.
void endResults();
/// Has standard output take a picture only; the failure, or nothing. Notes go to the error stream
/// then.
QString sendPicture();

/// A line for people only.
void note(const QString& text);
/// Bytes as they are, those of a picture for instance.
void write(const QByteArray& bytes);
/// Writes all that the device has; what can't be written is reported when the program ends.
void write(QIODevice& picture);

/// Whether everything printed has reached its destination.
bool isWritten();
/// Whether the reader of the results has gone, which need not be reported.
bool isReaderGone();

/// The name with its line breaks and other control characters as escapes, so that it stays on a
/// line and does nothing to a terminal.
QByteArray escaped(const QByteArray& name);

/// One line on the error stream: the file, and why it failed.
void printFailure(const QByteArray& file, const QString& failure);
void printFailure(const QString& file, const QString& failure);
/// One line on the error stream about what was done all the same.
void warn(const QString& file, const QString& warning);

/// The exit code of a command that has handled so many files. People at a terminal are told how
/// many of them there were.
int finish(qsizetype files, qsizetype failures);

} // namespace Output
