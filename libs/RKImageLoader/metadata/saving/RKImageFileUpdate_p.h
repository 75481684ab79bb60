#pragma once

#include "RKImageLoader/RKImageLoaderExport.h"
#include "RKImageLoader/files/RKTiffEditor_p.h"
#include "RKImageLoader/metadata/exiv2/RKExiv2Compat_p.h"

#include <QByteArray>

#include <optional>
#include <string>

/// The metadata of an opened image at one moment.
struct RKIMAGELOADER_TEST_EXPORT RKImageFamilies
{
    Exiv2::ExifData exif;
    Exiv2::IptcData iptc;
    Exiv2::XmpData xmp;
    // To be written as it is; empty where the XMP data are to be encoded.
    std::string xmpPacket;

    static RKImageFamilies of(Exiv2::Image& image);

    /// Adds what has changed in the image's Exif and IPTC data to its XMP data, for a file that has
    /// no other.
    void addChangesToXmp(Exiv2::Image& image) const;

    bool hasSameExif(Exiv2::Image& image) const;
};

/// Brings changed metadata into an image file and keeps everything else of it, byte for byte.
///
/// exiv2 writes all metadata of a file anew, also what has not changed. That loses what it does not
/// know - previews and maker notes that refer to places in the file, pages behind the fourth,
/// colour specifications of JPEG 2000 - so that what it has written serves only for the parts that
/// had to change and that cannot be edited in place.
///
/// Reads and encodes metadata: the caller holds RKExiv2Library::xmpLock() exclusively.
class RKIMAGELOADER_TEST_EXPORT RKImageFileUpdate
{
public:
    /// The file as it was, and its metadata before and after the change.
    RKImageFileUpdate(
        const QByteArray& file, const RKImageFamilies& before, const RKImageFamilies& after);

    /// The profile to embed; none leaves the file's own.
    void setIccProfile(const QByteArray& profile);

    /// For a TIFF-based file: the file with its tags changed. Nothing where that is not possible,
    /// or where it would not read back as wanted.
    std::optional<QByteArray> editedTiff() const;

    /// The old file with those parts of the one that exiv2 has written whose metadata have changed;
    /// the latter as it is for a format whose parts are not known. Nothing where that has lost
    /// pages.
    std::optional<QByteArray> updated(const QByteArray& written) const;

private:
    bool editExif(RKTiffEditor& editor) const;
    bool editThumbnail(RKTiffEditor& editor) const;
    bool editXmp(RKTiffEditor& editor, std::string* packet) const;
    bool editIptc(RKTiffEditor& editor) const;
    bool hasAllDirectories(const QByteArray& written) const;

    const QByteArray m_file;
    const RKImageFamilies m_before;
    const RKImageFamilies m_after;
    bool m_hasExifChanged;
    bool m_hasIptcChanged;
    bool m_hasXmpChanged;
    QByteArray m_iccProfile;
};
