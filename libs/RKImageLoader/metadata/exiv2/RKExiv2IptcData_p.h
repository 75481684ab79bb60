#pragma once

#include "RKImageLoader/metadata/exiv2/RKExiv2AbstractData_p.h"

#include <QByteArrayList>
#include <QDateTime>
#include <QHash>
#include <QString>
#include <QStringList>

#include <map>
#include <set>
#include <string>
#include <utility>

/// The IPTC data sets of one image (IPTC-NAA Information Interchange Model 4.2).
///
/// Keys are exiv2's, such as "Iptc.Application2.Caption", in UTF-8. A missing key gives an empty
/// value. Texts are UTF-8; one whose bytes are not is taken for Windows-1252, which old files have
/// without saying so.
///
/// Not thread-safe; RKExiv2WrapperImpl locks.
class RKExiv2IptcData : public RKExiv2AbstractData
{
public:
    RKExiv2IptcData();
    /// Copies the IPTC of an opened image whose metadata was read.
    explicit RKExiv2IptcData(const RKExiv2ImagePtr& image);
    explicit RKExiv2IptcData(const Exiv2::IptcData& data);
    RKExiv2IptcData(const RKExiv2IptcData&) = default;
    RKExiv2IptcData& operator=(const RKExiv2IptcData&) = default;
    RKExiv2IptcData(RKExiv2IptcData&&) = default;
    RKExiv2IptcData& operator=(RKExiv2IptcData&&) = default;
    ~RKExiv2IptcData() override;

    Exiv2::MetadataId supportedMetaData() const override;

    /// All data sets of the key in order, joined with ", ".
    QString readString(const char* key) const;
    QStringList readStringList(const char* key) const;
    /// The text of a language alternative, should one have been written here.
    QString stringWithLocale(const char* key) const;
    /// Local time; a stored offset is ignored, a missing time is midnight. Invalid without a date.
    QDateTime dateTime(const char* dateKey, const char* timeKey) const;

    /// Replaces all data sets of the key by one. A text that the data set cannot take is logged and
    /// changes nothing.
    void writeString(const char* key, const QString& value);
    /// The same with one data set for each text; no texts remove the key, from a target of
    /// mergeTo() too.
    void writeStringList(const char* key, const QStringList& values);
    /// Like writeString(): IPTC has no languages, and a marker would be seen by everybody else.
    void writeStringWithLocale(const char* key, const QString& value);
    void setInt(const char* key, int value);
    /// Date and time as they are, with the offset from UTC of a time that is not local; an invalid
    /// one changes nothing.
    void setDateTime(const char* dateKey, const char* timeKey, const QDateTime& value);

    /// Key to text of all data sets.
    QHash<QString, QString> allData() const;

    bool mergeTo(RKExiv2ImagePtr& image) const override;
    /// The same for only the keys that have been set since the data was read.
    bool mergeChangesTo(RKExiv2ImagePtr& image) const;
    /// Replaces all data sets of the keys whose values differ here.
    ///
    /// The first text beyond ASCII is stored in UTF-8 and the character set marked accordingly. If
    /// there are other such texts without a mark, it is stored like them, so that no program reads
    /// those differently from then on; only where Windows-1252 cannot hold it, they are encoded
    /// anew with the mark.
    void mergeInto(Exiv2::IptcData& target) const;
    void clear();

    /// The keys whose texts differ. Not their bytes, nor the mark of the character set: a save may
    /// have encoded all texts anew for the sake of one.
    std::set<std::string> differences(const RKExiv2IptcData& other) const;
    /// Replaces the data sets of the keys by the other's, or removes them where it has none; at
    /// last also the mark of the character set.
    void takeOver(const std::set<std::string>& keys, const RKExiv2IptcData& other);

    using Id = std::pair<int, int>;
    /// The values as the bytes of a file, by record and number.
    using Values = std::map<Id, QByteArrayList>;
    static Values valuesOf(const Exiv2::IptcData& data);

private:
    bool store(const char* key, const QStringList& values);
    template <typename IsMerged>
    void merge(Exiv2::IptcData& target, IsMerged isMerged) const;

    Exiv2::IptcData m_data;
};
