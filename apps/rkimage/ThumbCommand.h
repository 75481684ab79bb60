#pragma once

#include <QString>
#include <QStringList>

class MessageCollector;

/// Where thumbnails go and how large they become.
struct ThumbOptions
{
    /// In pixels; each thumbnail fits into a square of that side.
    int side = 0;
    /// Made where it is missing.
    QString folder;
    /// How many threads work.
    int jobs = 1;
};

/// Makes thumbnails of the files, each under a name that no other file of the folder has: that of
/// its picture, with a number where it is taken. Returns the exit code.
int runThumbCommand(
    const QStringList& files, const ThumbOptions& options, MessageCollector& messages);
