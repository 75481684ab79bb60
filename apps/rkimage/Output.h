#pragma once

#include <QJsonDocument>
#include <QJsonObject>
#include <QString>
#include <QStringList>

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

/// One line on the error stream: the file, what failed and why, as far as the warnings say.
void printFailure(const QString& file, const QString& failure);

/// One line on the error stream for every warning that a picture, though it could be had, is not
/// what the file promises.
void printRemarks(const QString& file, const QStringList& warnings);

/// Joins what failed with the first warning that names a cause, if one does.
QString withReason(const QString& failure, const QStringList& warnings);

} // namespace Output
