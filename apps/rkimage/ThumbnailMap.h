#pragma once

#include "RKImageLoader/media/RKMediaError.h"

#include <QHash>
#include <QString>

/// Which thumbnail belongs to which file, kept in a file of JSON lines.
class ThumbnailMap
{
public:
    /// Adds what the file says, if there is one. A file that holds anything else is an error: it
    /// would be lost.
    RKMediaError read(const QString& path);

    /// The thumbnail that the file had; empty if none is known.
    QString thumbnail(const QString& source) const;
    /// It is there, was made for that side, and is not older than the file.
    bool isCurrent(const QString& source, int side) const;

    void insert(const QString& source, const QString& thumbnail, int side);

    /// Replaces the file; no error if it has them all.
    RKMediaError write(const QString& path) const;

private:
    struct Thumbnail
    {
        QString path;
        int side = 0;
    };

    QHash<QString, Thumbnail> m_thumbnails;
};
