#pragma once

#include "RKImageLoader/media/RKMediaFormat.h"

#include <QDateTime>
#include <QString>
#include <QStringList>

/// A file of a folder that the library opens, and what its metadata says once it was read.
struct FolderEntry
{
    QString name;
    RKMediaFormat format;
    qint64 bytes = 0;
    QDateTime modified;
    /// Another one for each file and each of its states.
    quint64 version = 0;

    bool isRead = false;
    /// Invalid if the file doesn't say it.
    QDateTime taken;
    int rating = 0;
    QStringList people;

    /// What the folder is sorted by.
    QDateTime date() const
    {
        return taken.isValid() ? taken : modified;
    }
};
