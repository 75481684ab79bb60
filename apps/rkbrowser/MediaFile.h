#pragma once

#include <QString>

/// A file as it was seen last. Its version is another one after each change.
struct MediaFile
{
    QString path;
    quint64 version = 0;

    bool operator==(const MediaFile& other) const = default;
};
