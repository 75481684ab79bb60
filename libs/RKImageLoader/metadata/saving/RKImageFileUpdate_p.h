#pragma once

#include "RKImageLoader/metadata/saving/RKImageContent_p.h"
#include "RKImageLoader/metadata/saving/RKImageFamilies_p.h"

#include <QByteArray>

#include <optional>
#include <string>

/// Brings changed metadata into an image file and leaves everything else of it where it is.
///
/// exiv2 writes all metadata of a family anew, also what has not changed. That loses what it does
/// not know - previews and maker notes that refer to places in the file, pages after the fourth,
/// colour specifications of JPEG 2000 - so it encodes only what cannot be edited in place. Whether
/// the result has lost anything is for RKSaveProof to say.
///
/// Encodes metadata: the caller holds RKExiv2Library::xmpLock() exclusively.
class RKImageFileUpdate
{
public:
    struct Wanted
    {
        RKImageFamilies families;
        /// Read back, it has the XMP of the families. Empty for none.
        std::string xmpPacket;
        /// Empty to leave the file's own.
        QByteArray iccProfile;
        /// The size of the picture, in pixels.
        QSize size;
    };

    /// The file as it is, its metadata, and those that it is to have. All must outlive this.
    RKImageFileUpdate(
        const RKImageContent& old, const RKImageFamilies& before, const Wanted& wanted);

    const RKFamilyChanges& changes() const;

    /// The file with its metadata edited in place; nullopt where one of the changes cannot be made
    /// that way.
    std::optional<RKImageContent> edited() const;
    /// The same with all old bytes of a TIFF structure left in their places.
    std::optional<RKImageContent> appended() const;
    /// The file with its Exif data, in a TIFF-based file all families, encoded by exiv2; nullopt if
    /// exiv2 cannot do that, or would need pixels that were not read.
    std::optional<RKImageContent> encoded() const;

private:
    std::optional<RKImageContent> updatedParts(const std::optional<QByteArray>& exif) const;
    std::optional<RKImageContent> editedWith(RKTiffEditor::Places places) const;
    std::optional<QByteArray> editedExif(
        const QByteArray& structure, RKTiffEditor::Places places) const;
    std::optional<QByteArray> encodedExif(const QByteArray& structure) const;
    std::optional<RKImageContent> encodedTiff() const;
    std::optional<RKSparseBytes> editedTiff(RKTiffEditor::Places places) const;
    bool editTags(RKTiffEditor& editor) const;
    bool editThumbnail(RKTiffEditor& editor) const;
    bool editXmp(RKTiffEditor& editor) const;
    bool editIptc(RKTiffEditor& editor) const;

    const RKImageContent& m_old;
    const RKImageFamilies& m_before;
    const Wanted& m_wanted;
    const RKFamilyChanges m_changes;
};
