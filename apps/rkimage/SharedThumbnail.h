#pragma once

#include "RKImageLoader/media/RKMediaError.h"

#include <QByteArray>
#include <QImage>
#include <QString>

/// The thumbnail of a file in the cache that desktop programs share (Thumbnail Managing Standard
/// 0.9 of freedesktop.org): a PNG picture that names the file and its last change.
class SharedThumbnail
{
public:
    /// The greatest sides that the cache has a folder for.
    static bool isSize(int side);

    /// The side has to be one of these. The name is that of the file in the system's bytes, and the
    /// path what Qt opens it by.
    SharedThumbnail(const QByteArray& name, const QString& path, int side);

    QString path() const;
    /// There is one, of the file as it is.
    bool isCurrent() const;
    /// Replaces what is there; the picture fits into the size.
    RKMediaError save(const QImage& picture) const;

private:
    QString m_uri;
    QString m_modified;
    QString m_size;
    QString m_file;
};
