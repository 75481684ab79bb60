#pragma once

#include "RKImageLoader/metadata/exiv2/RKExiv2AbstractData_p.h"

#include <QDateTime>
#include <QHash>
#include <QList>
#include <QString>
#include <QStringList>

#include <optional>
#include <string>

class RKFacePositions;

/// The XMP properties of one image, and the packet they came from.
///
/// Keys are exiv2's, such as "Xmp.xmp.Rating", in UTF-8. A missing key gives an empty value; an
/// unknown namespace in a key is an error that is logged, and changes nothing.
///
/// Keys never have prefixes of the packet's own: these are replaced by those that exiv2 knows (see
/// RKXmpPacketParser), so that the keys stay right whatever other files have done to exiv2's
/// registry meanwhile.
///
/// Not thread-safe; RKExiv2WrapperImpl locks. Beyond that, the functions that change or encode
/// properties take RKExiv2Library::xmpLock() exclusively themselves, so that the calling thread
/// must not hold it shared; it may hold it exclusively. These are the constructor from an image,
/// all setters, setXmpPacket(), mergeTo(), debugOutput(), and, after a setter, the readers of the
/// packet: xmpPacket(), currentPacket() and facePositions(). The other readers compare the texts of
/// keys and take no lock.
class RKExiv2XmpData : public RKExiv2AbstractData
{
public:
    RKExiv2XmpData();
    /// Copies the XMP of an opened image whose metadata was read.
    explicit RKExiv2XmpData(const RKExiv2ImagePtr& image);
    RKExiv2XmpData(const RKExiv2XmpData&) = default;
    RKExiv2XmpData& operator=(const RKExiv2XmpData&) = default;
    RKExiv2XmpData(RKExiv2XmpData&&) = default;
    RKExiv2XmpData& operator=(RKExiv2XmpData&&) = default;
    ~RKExiv2XmpData() override;

    Exiv2::MetadataId supportedMetaData() const override;

    bool hasXMPKey(const QString& key) const;
    /// 0 when missing. A number with a fraction is cut, one beyond 32 bits wraps around.
    int readInt(const char* key) const;
    /// 0.0 when missing or no number. Also reads "3/2".
    double readReal(const char* key) const;
    /// The components of an array; one component for a plain value.
    QList<int> readIntList(const char* key) const;
    /// The value as exiv2 prints it: the elements of an array joined with ", ", language
    /// alternatives with their markers, the default one first.
    QString readString(const char* key) const;
    /// The elements of an array; one element for a plain text.
    QStringList readStringList(const char* key) const;
    /// The default one of the language alternatives, else the first, without markers.
    QString readStringWithLocale(const char* key) const;
    /// An ISO 8601 text with its offset; local time without one. Invalid for a date that lacks
    /// month or day.
    QDateTime dateTime(const char* key) const;
    /// The rating of "Xmp.xmp.Rating"; -1 when it is missing.
    int adobeRating() const;

    /// Replaces the property, with all that belongs to it, but keeps alternatives in other
    /// languages than the text's; the text is read as exiv2 does for the property's type. A text
    /// that cannot be read is logged and changes nothing.
    void setString(const char* key, const QString& value);
    /// The same, but the text is taken as it is, also where it looks as if it named its language.
    void setText(const char* key, const QString& value);
    /// Sets the default language alternative; other languages stay.
    void setStringWithLocale(const char* key, const QString& value);
    /// An array of the type that the property has, else an unordered one. No texts remove the
    /// property, from a target of mergeTo() too.
    void setStringList(const char* key, const QList<QString>& values);
    void setInt(const char* key, int value);
    /// Up to 15 significant digits.
    void setReal(const char* key, double value);
    /// An ordered array.
    void setIntList(const char* key, const QList<int>& values);
    /// An ISO 8601 text, with the offset where the time has one. An invalid time sets an empty
    /// text.
    void setDateTime(const char* key, const QDateTime& value);
    /// Removes what says where the picture was taken as Exif does, also from structures; from a
    /// target of mergeTo(), too.
    void removeGeoPosition();

    /// Replaces all properties by those of a packet; an empty packet has none. False, and nothing
    /// changed, when it cannot be decoded; that is logged.
    bool setXmpPacket(const std::string& packet);
    /// The packet as it was read or set, or encoded anew when a property has changed since. Empty
    /// when that fails, which is logged.
    std::string xmpPacket() const;
    /// The same; false when it cannot be encoded.
    bool currentPacket(std::string* packet) const;

    /// The face regions, see RKXmpRegionsPacket.
    RKFacePositions facePositions() const;
    /// False if the keys that exiv2 has found show that there are none, which saves parsing the
    /// packet.
    bool mayHaveRegions() const;

    /// Key to text of all properties.
    QHash<QString, QString> allData() const;
    /// The same without markers of languages, unless there are several, and without entries that
    /// only say that a structure follows.
    QHash<QString, QString> interpretedData() const;
    /// One line for each property, and their total size as encoded, for the log.
    QStringList debugOutput() const;

    /// Adds the properties to those of the image; a property replaces the image's one with all that
    /// belongs to it, so that face regions never mix. Then removes the largest ones, which is
    /// logged, until the packet fits into a JPEG segment.
    ///
    /// An image whose XMP exiv2 cannot decode keeps it as it is and takes nothing; that is logged.
    bool mergeTo(RKExiv2ImagePtr& image) const override;
    /// The same for only the properties that have been set or removed since the data was read;
    /// without removing any for their size.
    bool mergeChangesTo(RKExiv2ImagePtr& image) const;
    /// Gives the image's XMP the keys that are used here; done by merging, too. False for a packet
    /// that cannot be decoded, which stays as it is. The caller holds xmpLock() exclusively.
    bool prepareTarget(Exiv2::Image& image) const;
    /// After merging: the image's packet in which only those properties have changed that differ
    /// now; all that exiv2 would drop or write differently stays. An image without a packet gets a
    /// new one; nullopt for a packet that cannot be edited or would not fit. The caller holds
    /// xmpLock() exclusively.
    std::optional<std::string> editedPacketOf(const Exiv2::Image& image) const;
    /// Adds the properties to others, but for those that say where the bytes of one file lie. The
    /// caller holds xmpLock() exclusively.
    void mergeInto(Exiv2::XmpData& target) const;
    /// Removes a property with all that belongs to it here; a target of mergeTo() keeps its own.
    void removeKey(const char* key);
    const Exiv2::XmpData& data() const;
    /// Replaces the properties, named without their parts, by the other's, or removes them where it
    /// has none.
    void takeOver(const std::set<std::string>& properties, const RKExiv2XmpData& other);
    void clear();

    /// A packet has to be shorter than this.
    static constexpr size_t kPacketLimit = 65535;
    /// In a JPEG: what the 65533 bytes of an APP1 segment leave beside the namespace of 29 bytes
    /// (Storage of XMP in files, 1.1.3), plus 1.
    static constexpr size_t kJpegPacketLimit = 65505;

    /// Removes the largest properties until the packet is shorter than kPacketLimit; logs each. The
    /// caller holds xmpLock() exclusively.
    void makeSureXmpDataIsLessThan64k(Exiv2::XmpData& data) const;

private:
    bool store(const char* key, const Exiv2::Value& value);

    Exiv2::XmpData m_data;
    std::string m_packet;
    /// Properties have changed since the packet was taken.
    bool m_changed = false;
    /// Properties to be removed from a target, too.
    std::set<std::string> m_removedKeys;
};
