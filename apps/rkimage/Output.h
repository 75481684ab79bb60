#pragma once

#include "RKImageLoader/media/RKMediaError.h"

#include <QJsonDocument>
#include <QJsonObject>
#include <QString>

/// What the commands have in common when they write.
namespace Output {

/// The exit codes of the program.
enum ExitCode : int
{
    AllDone = 0,
    SomeFailed = 1,
    WrongUsage = 2
};

void print(const QString& text);
void print(const QJsonDocument& json);
/// On one line, for programs that read results as they come.
void printLine(const QJsonObject& json);

/// Whether all that was printed has got through to where it goes.
bool isWritten();

/// One line on the error stream: the file, and why it failed.
void printFailure(const QString& file, const QString& failure);
/// The same, and the exit code for it.
int fail(const QString& file, const RKMediaError& error);

} // namespace Output
