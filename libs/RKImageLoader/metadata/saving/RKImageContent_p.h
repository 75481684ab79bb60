#pragma once

#include "RKImageLoader/files/RKImageFileParts_p.h"

#include <QByteArray>
#include <QList>

#include <memory>
#include <optional>

/// An image whose metadata are saved. Where its format consists of parts, pixels stay in the source
/// and are not read; other files are held as a whole.
///
/// Cheap to copy.
class RKImageContent
{
public:
    /// Reads what holds metadata. Ask isRead() for success.
    explicit RKImageContent(const std::shared_ptr<const RKByteSource>& source);
    explicit RKImageContent(const RKImageFileParts& parts);
    explicit RKImageContent(const QByteArray& file);

    bool isRead() const;

    /// Null for a format without parts, and for a damaged file.
    const RKImageFileParts* parts() const;

    /// A file for exiv2: it has all metadata, and the pixels where parts() is null, the colour
    /// profile only there.
    const QByteArray& readable() const;

    /// The file to write; ranges are those of the source.
    QList<RKFilePiece> pieces() const;
    /// The same as bytes.
    QByteArray file() const;

private:
    std::optional<RKImageFileParts> m_parts;
    QByteArray m_readable;
    bool m_isRead = true;
};
