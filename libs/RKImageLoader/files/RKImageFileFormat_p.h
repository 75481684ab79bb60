#pragma once

#include "RKImageLoader/files/RKImageFileParts_p.h"

#include <QByteArrayList>

#include <optional>

class RKPartCollector;

/// What differs between the formats of RKImageFileParts. Without state.
class RKImageFileFormat
{
    Q_DISABLE_COPY_MOVE(RKImageFileFormat)

public:
    using Content = RKImageFileParts::Content;
    using Part = RKImageFileParts::Part;
    using Parts = QList<Part>;

    virtual ~RKImageFileFormat() = default;

    static constexpr qint64 kStartSize = 12;
    /// From the first kStartSize bytes of a file.
    virtual bool matches(QByteArrayView start) const = 0;

    /// False where the parts don't follow each other to the end of the file.
    virtual bool split(RKPartCollector& file) const = 0;
    /// The bytes of a whole part, with its content and name.
    virtual Part partOf(const QByteArray& bytes) const = 0;

    virtual QList<RKFilePiece> pieces(const Parts& parts) const;
    /// A reader will find the parts of a file that they make up; false where that is to be seen.
    virtual bool areReadAsWritten(const Parts& parts) const;
    /// The parts of a small file with the same metadata. exiv2 does not recognise files of less
    /// than some dozen bytes: a format that makes such adds kMinTail.
    virtual Parts withoutPixels(const Parts& parts) const;
    /// The parts as they are compared: without what follows from others.
    virtual Parts comparable(const Parts& parts) const;

    /// Where the first part of a content goes: after those of the contents that come before it.
    /// -1 where this file has no place for it.
    virtual qsizetype placeFor(Content content, const Parts& parts) const;
    /// The number of parts that have to stay in front of all metadata.
    virtual qsizetype leadingParts(const Parts& parts) const = 0;
    /// Keeps places right that a part notes of others, after the parts between them have changed.
    virtual void adjust(Parts& parts, const Parts& before) const;
    /// The same for places of previews in the source, which has the parts from before all changes.
    virtual void adjustPreviews(
        Parts& parts, const Parts& before, const RKByteSource& source) const;

    /// The metadata in the parts with that content.
    virtual QByteArray block(Content content, const QList<QByteArray>& parts) const = 0;
    /// The parts with other metadata: one for Exif, IPTC and XMP, and all for a profile. nullopt
    /// where the format cannot hold them.
    virtual std::optional<QList<QByteArray>> withBlock(
        Content content, const QByteArray& block, const QList<QByteArray>& parts) const = 0;

    using Run = QList<QByteArray>;
    /// The parts with IPTC, those together that cannot be read apart. By default each for itself.
    virtual QList<Run> iptcRuns(const QList<QByteArray>& parts) const;
    /// The blocks of data sets in a run. By default one, as block() has it.
    virtual QByteArrayList iptcBlocks(const Run& run) const;
    /// What replaces each part of a run, so that the run has other blocks; further parts of a run
    /// without any. nullopt where the format cannot hold them.
    virtual std::optional<QList<Run>> withIptcBlocks(
        const QByteArrayList& blocks, const Run& run) const;

protected:
    static constexpr qsizetype kMinTail = 64;

    RKImageFileFormat() = default;
};
