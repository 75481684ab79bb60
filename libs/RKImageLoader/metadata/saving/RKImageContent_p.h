#pragma once

#include "RKImageLoader/files/RKImageFileParts_p.h"
#include "RKImageLoader/files/RKSparseBytes_p.h"

#include <QByteArray>
#include <QList>

#include <memory>
#include <optional>

/// An image whose metadata is saved. If its format consists of parts, or is TIFF, pixels stay in
/// the source and are not read; other files are held as a whole.
///
/// Cheap to copy.
class RKImageContent
{
public:
    /// Reads what holds metadata. Ask isRead() for success.
    explicit RKImageContent(const std::shared_ptr<const RKByteSource>& source);
    explicit RKImageContent(const RKImageFileParts& parts);
    explicit RKImageContent(const QByteArray& file);

    /// The same image with other bytes, whose holes are those of this one's source.
    RKImageContent with(const RKSparseBytes& bytes) const;

    bool isRead() const;

    /// Null for a format without parts, and for a damaged file.
    const RKImageFileParts* parts() const;

    /// A file for exiv2: it has all metadata; the pixels and the colour profile only where parts()
    /// is null. Pixels that were not read are zeros. This has to outlive it.
    const QByteArray& readable() const;
    /// The same with what is known of its pixels.
    const RKSparseBytes& bytes() const;

    /// See RKImageFileParts::adjustPreviews().
    void adjustPreviews(const RKImageContent& before);

    /// Reads the pixels of an image without parts; false if there is nothing to read. Ask isRead()
    /// for success.
    bool readPixels();

    /// The file to write; ranges are those of the source.
    QList<RKFilePiece> pieces() const;
    /// The same as bytes; empty if the source cannot be read.
    QByteArray file() const;

private:
    std::optional<RKImageFileParts> m_parts;
    RKSparseBytes m_bytes;
    std::shared_ptr<const RKByteSource> m_source;
    bool m_isRead = true;
};
