#pragma once

#include "RKImageLoader/files/RKTiffEditor_p.h"
#include "RKImageLoader/metadata/exiv2/RKExiv2Compat_p.h"

#include <QByteArray>
#include <QSize>
#include <QString>

#include <set>
#include <string>
#include <utility>

/// The metadata of an opened image at one moment.
struct RKImageFamilies
{
    Exiv2::ExifData exif;
    Exiv2::IptcData iptc;
    Exiv2::XmpData xmp;

    static RKImageFamilies of(Exiv2::Image& image);

    /// Adds what has changed in the image's Exif and IPTC data to its XMP data, for a file that has
    /// no other.
    void addChangesToXmp(Exiv2::Image& image) const;

    /// The bytes of the embedded JPEG.
    QByteArray thumbnail() const;
    /// The tags of the thumbnail's directory.
    bool hasThumbnailDirectory() const;

    /// Tags that hold places in the file, and those of other families: exiv2 lists them, but their
    /// values follow from elsewhere.
    static bool isStructural(const Exiv2::Exifdatum& datum);
    /// The value of a datum as a file holds it.
    static QByteArray bytesOf(const Exiv2::Exifdatum& datum, Exiv2::ByteOrder order);
};

/// The difference between the metadata of a file and those that it is to have: what a save may
/// change in the file.
class RKFamilyChanges
{
public:
    /// exiv2's name of a group and a tag's number.
    using ExifTag = std::pair<std::string, quint16>;

    RKFamilyChanges(const RKImageFamilies& before, const RKImageFamilies& after);

    bool isEmpty() const;

    const std::set<ExifTag>& exifTags() const;
    bool hasThumbnailChanged() const;
    bool hasExifChanged() const;
    bool hasIptcChanged() const;
    const std::set<std::string>& iptcKeys() const;
    /// exiv2's keys of properties, without those of their parts.
    const std::set<std::string>& xmpProperties() const;

    /// A line for the log about the first datum in which the metadata differ; empty where they are
    /// the same.
    QString firstDifference() const;

private:
    std::set<ExifTag> m_exifTags;
    bool m_hasThumbnailChanged;
    std::set<std::string> m_iptcKeys;
    std::set<std::string> m_xmpProperties;
};
