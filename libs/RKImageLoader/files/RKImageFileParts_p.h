#pragma once

#include "RKImageLoader/RKImageLoaderExport.h"

#include <QByteArray>
#include <QList>

#include <memory>

class QIODevice;

/// An image file as the segments, chunks, boxes or resources that it consists of, so that those
/// with metadata can be exchanged while all others stay as they are, byte for byte.
///
/// JPEG (ISO/IEC 10918-1, annex B), PNG, JPEG 2000 (ISO/IEC 15444-1, annex I), WebP and Photoshop.
/// Reentrant.
class RKIMAGELOADER_TEST_EXPORT RKImageFileParts
{
public:
    enum class Content
    {
        Other,
        Exif,
        Iptc,
        Xmp,
        Icc
    };

    struct Part
    {
        Content content = Content::Other;
        QByteArray bytes;
    };

    class Format;

    explicit RKImageFileParts(const QByteArray& file);

    /// The file has one of the formats, and its parts follow each other to its end.
    bool isValid() const;

    QByteArray file() const;

    QList<QByteArray> parts(Content content) const;
    /// Puts parts in the place of all with that content; without any, where the format wants them.
    /// Does nothing for an invalid file.
    void replace(Content content, const QList<QByteArray>& parts);

    /// The TIFF structure of the first Exif part, the one that counts; empty where there is none,
    /// and where it is encoded as a text.
    QByteArray exifBlock() const;
    /// Replaces that structure. False, and nothing changed, where there is none, or the new one is
    /// too large.
    bool setExifBlock(const QByteArray& block);

    /// The colour profile of a Photoshop file, of which only the resources are read; empty without
    /// one.
    static QByteArray photoshopProfile(QIODevice* file);

    /// Replaces the colour profile. False for a format that this does not know how to do.
    bool setIccProfile(const QByteArray& profile);
    /// Replaces the XMP packet; likewise.
    bool setXmpPacket(const QByteArray& packet);

private:
    bool replaceWith(Content content, const QByteArray& part);

    const Format* m_format = nullptr;
    QList<Part> m_parts;
};
