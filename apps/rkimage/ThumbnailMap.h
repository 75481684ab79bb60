#pragma once

#include "RKImageLoader/media/RKMediaError.h"

#include <QHash>
#include <QString>

/// Which thumbnail belongs to which file, kept in a file of JSON lines.
class ThumbnailMap
{
public:
    /// What the file says; nothing if there is none.
    static ThumbnailMap read(const QString& path);

    /// The thumbnail that the file had; empty if none is known.
    QString thumbnail(const QString& source) const;
    /// It is there, and not older than the file.
    bool isCurrent(const QString& source) const;

    void insert(const QString& source, const QString& thumbnail);

    /// Replaces the file; no error if it has them all.
    RKMediaError write(const QString& path) const;

private:
    QHash<QString, QString> m_thumbnails;
};
