#pragma once

#include "RKImageLoader/files/RKByteSource_p.h"

#include <QByteArray>
#include <QByteArrayList>
#include <QList>
#include <QString>

#include <memory>

class RKImageFileFormat;

/// An image file as the segments, chunks, boxes or resources that it consists of, so that those
/// with metadata can be replaced while all others stay as they are, byte for byte.
///
/// JPEG (ISO/IEC 10918-1, annex B), PNG (ISO/IEC 15948), JPEG 2000 (ISO/IEC 15444-1, annex I), WebP
/// (RFC 9649) and Photoshop. Pixels are not read: they are ranges of the source. Sizes inside the
/// container follow from its parts when a file is made of them.
///
/// A file whose metadata exceed 64 MiB, or that has more than 200 000 parts, is not valid: such
/// files are made to cost memory. Reentrant.
class RKImageFileParts
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
        /// For messages: "segment APP2 MPF", "chunk IDAT", "box jp2c", "resource 0x0404".
        QByteArray name;
        RKFilePiece piece;
        /// The first bytes of a range, where the format needs them.
        QByteArray start;
    };

    explicit RKImageFileParts(const QByteArray& file);
    explicit RKImageFileParts(std::shared_ptr<const RKByteSource> source);

    /// Whether the file has one of the formats, and its parts follow each other to its end.
    bool isValid() const;
    /// Whether the source could not be read, so that the kind of file remains unknown.
    bool hasReadError() const;

    /// The file to write. Ranges are those of the source.
    QList<RKFilePiece> pieces() const;
    /// The same, read into memory; empty where the source cannot be read.
    QByteArray file() const;
    /// What a reader will find in it: bytes that belong to no part may join others.
    RKImageFileParts read() const;
    /// A small file of the same format with the same metadata and size in pixels, for a library
    /// that reads or writes metadata only. The pixels are left out, or cut to their header.
    QByteArray skeleton() const;

    /// The bytes of all parts with that content, together with their headers.
    QList<QByteArray> parts(Content content) const;
    /// Puts parts in the place of all with that content; without any, where the format wants them.
    /// Does nothing for an invalid file.
    void replace(Content content, const QList<QByteArray>& parts);

    /// The TIFF structure of the first Exif part, the one that counts; empty without one.
    QByteArray exifBlock() const
    {
        return block(Content::Exif);
    }

    /// The blocks of IPTC data sets (IIM 4.2), without what surrounds them, in the order of the
    /// file; some may be empty. RKIptcEditor::joined() has the data sets that count.
    QByteArrayList iptcBlocks() const;

    QByteArray xmpPacket() const
    {
        return block(Content::Xmp);
    }

    QByteArray iccProfile() const
    {
        return block(Content::Icc);
    }

    /// These replace metadata of one kind, in their old place, or add them. Empty bytes remove
    /// them. Further parts with Exif or XMP stay as they are. False, and nothing changed, for an
    /// invalid file, and where the format cannot hold them: a JPEG segment has at most 65 533
    /// bytes, which only a profile and IPTC may exceed.
    bool setExifBlock(const QByteArray& block)
    {
        return setBlock(Content::Exif, block);
    }

    /// One for each of iptcBlocks(), of which those that are the same stay as they are; one for a
    /// file that has none. Photoshop's other resources stay, also in the same segment. False also
    /// for a damaged file whose other resources could not be told apart any more.
    bool setIptcBlocks(const QByteArrayList& blocks);

    bool setXmpPacket(const QByteArray& packet)
    {
        return setBlock(Content::Xmp, packet);
    }

    bool setIccProfile(const QByteArray& profile)
    {
        return setBlock(Content::Icc, profile);
    }

    /// To be called once, after all changes of parts that were those before: corrects what the
    /// maker note of a JPEG says of places after the picture.
    void adjustPreviews(const RKImageFileParts& before);

    /// The name of the first part that is not the same in both files, or not in the same place
    /// among the others; empty where there is none. Parts with the owned contents may differ.
    /// Ranges of the same bytes of one source are not read.
    static QString firstDifference(
        const RKImageFileParts& before, const RKImageFileParts& after, const QList<Content>& owned);

private:
    QByteArray block(Content content) const;
    bool setBlock(Content content, const QByteArray& block);
    void replaceEach(Content content, const QList<QList<QByteArray>>& replacements);

    std::shared_ptr<const RKByteSource> m_source;
    const RKImageFileFormat* m_format = nullptr;
    QList<Part> m_parts;
    bool m_hasReadError = false;
};
