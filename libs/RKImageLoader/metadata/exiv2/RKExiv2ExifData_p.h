#pragma once

#include "RKImageLoader/faces/RKFacePositions.h"
#include "RKImageLoader/media/RKImageOrientation.h"
#include "RKImageLoader/metadata/exiv2/RKExiv2AbstractData_p.h"

#include "RKCore/RKRational.h"
#include "RKGeoLocation/RKGeoPosition.h"

#include <QByteArray>
#include <QDateTime>
#include <QHash>
#include <QImage>
#include <QList>
#include <QSize>
#include <QString>
#include <QStringList>

#include <set>
#include <string>
#include <utility>
#include <vector>

/// The Exif data of one image. Keys are exiv2's, such as "Exif.Image.Orientation".
///
/// Readers return an empty value for a key that is missing or of another type. Not thread-safe;
/// RKExiv2WrapperImpl locks.
class RKExiv2ExifData : public RKExiv2AbstractData
{
public:
    RKExiv2ExifData();
    /// The data of an opened image whose metadata was read.
    explicit RKExiv2ExifData(const RKExiv2ImagePtr& image);
    /// The data of an image that is TIFF-based, or is not.
    RKExiv2ExifData(Exiv2::ExifData&& data, bool isTiffBased);
    RKExiv2ExifData(const RKExiv2ExifData& other) = default;
    RKExiv2ExifData& operator=(const RKExiv2ExifData& other) = default;
    RKExiv2ExifData(RKExiv2ExifData&&) = default;
    RKExiv2ExifData& operator=(RKExiv2ExifData&&) = default;
    ~RKExiv2ExifData() override;

    /// Besides merging, removes from the image what was removed here on purpose, and then shortens
    /// the data until they fit into a JPEG segment, except in formats that have no segments. The
    /// pictures of a TIFF-based image keep the tags that describe their pixels.
    bool mergeTo(RKExiv2ImagePtr& image) const override;
    /// The same for only what has been set and removed since the data was read; without shortening
    /// the data.
    bool mergeChangesTo(RKExiv2ImagePtr& image) const;
    Exiv2::MetadataId supportedMetaData() const override;
    bool hasChanges() const override;

    /// Adds the data to others, the n-th datum of a key for the n-th one there.
    void mergeInto(Exiv2::ExifData& target) const;

    void clear();

    /// The first datum with the key, or the end.
    Exiv2::ExifData::const_iterator findKey(const char* key) const;

    QString readString(const char* key) const;
    /// The text that Windows stores in the tags "Exif.Image.XP...": UTF-16, little-endian, up to
    /// the first NUL.
    QString readWindowsText(const char* key) const;
    /// The first component; 0 where there is none.
    int readInt(const char* key) const;
    QList<int> readIntList(const char* key) const;
    /// 0/1 for values other than rationals.
    RKRational readRational(const char* key) const;
    /// In local time. Accepts any separators, and fractions of a second.
    QDateTime dateTime(const char* key) const;
    /// The same with the offset from UTC that another key has.
    QDateTime dateTime(const char* key, const char* offsetKey) const;
    /// The orientation, 0 where there is none.
    int readRotation() const;
    RKGeoPosition geoPosition() const;
    /// The angle in degrees, south and west negative; not a number where it is missing or
    /// malformed.
    qreal getGPSArc(const char* key, const char* refKey) const;
    bool isAdobeRGB() const;
    /// Fills the buffer with the embedded ICC profile, if there is one.
    void readIccData(Exiv2::DataBuf& profile) const;
    /// Gives the encoded thumbnail; false, and no bytes, if there is none.
    bool extractThumbnailData(QByteArray& data) const;
    QImage thumbnail() const;
    /// The encoded thumbnail that was set since the data was read; empty without one.
    QByteArray newThumbnail() const;
    /// The faces that Fujifilm and Canon cameras record. The size is that of the image in pixels as
    /// stored.
    RKFacePositions facePositions(const QSize& imageSize) const;
    /// The text of every key; of a repeated key the last one.
    QHash<QString, QString> allData() const;
    /// The same with the texts that exiv2 prints for people. Of long bytes whose meaning it doesn't
    /// know only their number.
    QHash<QString, QString> interpretedData() const;
    /// A line for each datum: key, tag number, type, size, value.
    QStringList debugOutput() const;
    /// The size in bytes of a JPEG segment's content that holds the data, length field and header
    /// included.
    quint32 exifDataSize(const Exiv2::ExifData& data) const;

    /// Stores the text, which exiv2 parses after the tag's type. A text that does not parse is
    /// logged and changes nothing.
    void setString(const char* key, const QString& value);
    /// Stores the text as readWindowsText() reads it; an empty one removes the key, from a target
    /// of mergeTo() too.
    void setWindowsText(const char* key, const QString& value);
    /// Stores the text with the language of the system in front of it.
    void setStringWithLocale(const char* key, const QString& value);
    /// Stores the number with the tag's own type where that is an integer type that holds it.
    void setInt(const char* key, int value);
    /// An empty list removes the key.
    void setIntList(const char* key, const QList<int>& values);
    /// A fraction whose parts need more than 32 bits changes nothing.
    void setRational(const char* key, const RKRational& value);
    /// Stores date and time without a time zone; an invalid one as the empty text.
    void setDateTime(const char* key, const QDateTime& dateTime);
    /// The same with the offset from UTC under another key. A local time has none: an offset that
    /// is there belongs to another date and is removed, from a target of mergeTo() too.
    void setDateTime(const char* key, const char* offsetKey, const QDateTime& dateTime);
    void setRotation(RKImageOrientation orientation);
    /// Sets the size where one is recorded and drops what described the file's own pixels, and the
    /// thumbnail.
    void adaptToPixels(const QSize& size);
    /// With all that exiv2 has found in it; that of a target of mergeTo() stays.
    void removeMakerNote();
    /// An invalid position changes nothing.
    void setGeoPosition(const RKGeoPosition& position);
    /// The whole directory of it, from a target of mergeTo() too.
    void removeGeoPosition();
    /// Stores the bytes of a JPEG; no bytes change nothing.
    void writeThumbnail(const QByteArray& jpeg);
    void eraseThumbnail();
    /// Removes what the colours are said to be.
    void clearAllColorProfileData();
    /// Removes every datum of the key here; those of a target of mergeTo() stay.
    void removeKey(const char* key);

    /// A group of exiv2's and a tag's number.
    using Tag = std::pair<std::string, quint16>;
    const Exiv2::ExifData& data() const;
    /// Replaces the data of the tags by the other's, or removes them where it has none; those of
    /// the thumbnail are left alone.
    void takeOver(const std::set<Tag>& tags, const RKExiv2ExifData& other);

private:
    template <typename ToText>
    QHash<QString, QString> texts(const ToText& toText) const;
    /// From a target of mergeTo(), too.
    void removeEverywhere(const char* key);
    template <typename IsMerged>
    void merge(Exiv2::Image& image, IsMerged isMerged) const;

    Exiv2::ExifData m_exifData;
    // A TIFF-based file's second directory is a page of its own, not a thumbnail.
    bool m_secondDirectoryIsPage = false;
    // The thumbnail was erased or replaced, so that a target's own one has to go.
    bool m_thumbnailChanged = false;
    // Keys to be removed from the target, too.
    std::vector<std::string> m_removedKeys;
};
