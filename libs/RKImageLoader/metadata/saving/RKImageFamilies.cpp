#include "RKImageLoader/files/RKTiffTags_p.h"
#include "RKImageLoader/metadata/exiv2/RKExiv2LanguageText_p.h"
#include "RKImageLoader/metadata/exiv2/RKSidecarDate_p.h"
#include "RKImageLoader/metadata/saving/RKImageFamilies_p.h"

#include <algorithm>
#include <map>
#include <vector>

namespace {

constexpr char kThumbnailGroup[] = "Thumbnail";
constexpr char kPositionGroup[] = "GPSInfo";

using Content = std::vector<std::pair<int, QByteArray>>;

/// Where the thumbnail lies, and how long it is, follows from its bytes.
bool isPlaceOfThumbnail(const Exiv2::Exifdatum& datum)
{
    return datum.groupName() == kThumbnailGroup
        && (datum.tag() == RKTiffTag::kJpegOffset || datum.tag() == RKTiffTag::kJpegSize);
}

/// The values of each tag. Only among those of one tag does the order count.
std::map<RKFamilyChanges::ExifTag, Content> contentsOf(const Exiv2::ExifData& data)
{
    std::map<RKFamilyChanges::ExifTag, Content> contents;
    for (const Exiv2::Exifdatum& datum : data) {
        if (!RKImageFamilies::isStructural(datum) && !isPlaceOfThumbnail(datum))
            contents[{datum.groupName(), datum.tag()}].emplace_back(
                datum.typeId(), RKImageFamilies::bytesOf(datum, Exiv2::littleEndian));
    }
    return contents;
}

std::string propertyOf(const std::string& key)
{
    return key.substr(0, key.find_first_of("/["));
}

/// exiv2 makes parts of a structure that it doesn't make, and finds it when it reads them back.
void addFlashStructure(Exiv2::XmpData& xmp)
{
    const Exiv2::XmpKey key("Xmp.exif.Flash");
    const bool hasParts = std::any_of(xmp.begin(), xmp.end(), [](const Exiv2::Xmpdatum& datum) {
        return datum.key().starts_with("Xmp.exif.Flash/");
    });
    if (!hasParts || xmp.findKey(key) != xmp.end())
        return;
    Exiv2::XmpTextValue structure;
    structure.setXmpStruct();
    Exiv2::XmpData whole;
    whole.add(key, &structure);
    for (const Exiv2::Xmpdatum& datum : xmp)
        whole.add(datum);
    xmp = whole;
}

/// The texts of each key, or of each XMP property with all that belongs to it.
template <typename Data>
std::map<std::string, Content> textsOf(const Data& data)
{
    std::map<std::string, Content> contents;
    for (const auto& datum : data)
        contents[propertyOf(datum.key())].emplace_back(
            datum.typeId(), QByteArray::fromStdString(datum.key() + '=' + datum.toString()));
    return contents;
}

template <typename Contents>
std::set<typename Contents::key_type> differences(const Contents& left, const Contents& right)
{
    std::set<typename Contents::key_type> keys;
    for (const auto& [key, content] : left) {
        const auto other = right.find(key);
        if (other == right.end() || other->second != content)
            keys.insert(key);
    }
    for (const auto& [key, content] : right) {
        if (left.find(key) == left.end())
            keys.insert(key);
    }
    return keys;
}

} // namespace

RKImageFamilies RKImageFamilies::of(Exiv2::Image& image)
{
    return {image.exifData(), image.iptcData(), image.xmpData()};
}

void RKImageFamilies::addChangesToXmp(Exiv2::Image& image) const
{
    const auto changes = [](const auto& before, const auto& after) {
        const std::set<std::string> keys = differences(textsOf(before), textsOf(after));
        const auto isChanged = [&keys](const auto& datum) { return keys.contains(datum.key()); };
        // exiv2 makes one property of an angle and its reference, which may be the same as before.
        const auto isPosition
            = [](const auto& datum) { return datum.groupName() == kPositionGroup; };
        const bool hasNewPosition = std::any_of(after.begin(), after.end(), [&](const auto& datum) {
            return isPosition(datum) && isChanged(datum);
        });
        std::decay_t<decltype(after)> changed;
        for (const auto& datum : after) {
            if (isChanged(datum) || (hasNewPosition && isPosition(datum)))
                changed.add(datum);
        }
        return changed;
    };
    const Exiv2::XmpData old = image.xmpData();
    Exiv2::copyExifToXmp(changes(exif, image.exifData()), image.xmpData());
    addFlashStructure(image.xmpData());
    RKSidecarDate::write(exif, image);
    RKSidecarDate::keepChanged(xmp, old, image.xmpData());
    Exiv2::copyIptcToXmp(changes(iptc, image.iptcData()), image.xmpData());
    // exiv2 replaces the alternatives in all languages.
    for (Exiv2::Xmpdatum& datum : image.xmpData()) {
        // exiv2 looks a key up among all others, of which a list of faces has thousands.
        if (datum.typeId() != Exiv2::langAlt)
            continue;
        const auto known = old.findKey(Exiv2::XmpKey(datum.key()));
        if (known == old.end())
            continue;
        const std::unique_ptr<Exiv2::Value> value(datum.getValue().release());
        RKExiv2LanguageText::addMissing(known->value(), value.get());
        datum.setValue(value.get());
    }
}

QByteArray RKImageFamilies::thumbnail() const
{
    const auto datum = exif.findKey(Exiv2::ExifKey("Exif.Thumbnail.JPEGInterchangeFormat"));
    return datum == exif.end() ? QByteArray() : RKExiv2Compat::toByteArray(datum->dataArea());
}

bool RKImageFamilies::hasThumbnailDirectory() const
{
    return std::any_of(exif.begin(), exif.end(), [](const Exiv2::Exifdatum& datum) {
        return datum.groupName() == kThumbnailGroup;
    });
}

bool RKImageFamilies::isStructural(const Exiv2::Exifdatum& datum)
{
    switch (datum.tag()) {
    case RKTiffTag::kSubDirectories:
    case RKTiffTag::kXmp:
    case RKTiffTag::kIptc:
    case RKTiffTag::kPhotoshop:
    case RKTiffTag::kExifDirectory:
    case RKTiffTag::kGpsDirectory: return datum.groupName() == "Image";
    case RKTiffTag::kInteroperabilityDirectory:
    // exiv2 lists the contents of the maker note, too.
    case RKTiffTag::kMakerNote: return datum.groupName() == "Photo";
    default: return false;
    }
}

QByteArray RKImageFamilies::bytesOf(const Exiv2::Exifdatum& datum, Exiv2::ByteOrder order)
{
    QByteArray bytes(RKExiv2Compat::size(datum), Qt::Uninitialized);
    datum.copy(reinterpret_cast<Exiv2::byte*>(bytes.data()), order);
    return bytes;
}

RKFamilyChanges::RKFamilyChanges(const RKImageFamilies& before, const RKImageFamilies& after)
    : m_exifTags(differences(contentsOf(before.exif), contentsOf(after.exif)))
    , m_hasThumbnailChanged(before.thumbnail() != after.thumbnail())
    , m_iptcKeys(differences(textsOf(before.iptc), textsOf(after.iptc)))
    , m_xmpProperties(differences(textsOf(before.xmp), textsOf(after.xmp)))
{
    for (const ExifTag& tag : m_exifTags)
        m_hasThumbnailChanged = m_hasThumbnailChanged || tag.first == kThumbnailGroup;
}

bool RKFamilyChanges::isEmpty() const
{
    return !hasExifChanged() && !hasIptcChanged() && m_xmpProperties.empty();
}

const std::set<RKFamilyChanges::ExifTag>& RKFamilyChanges::exifTags() const
{
    return m_exifTags;
}

bool RKFamilyChanges::hasThumbnailChanged() const
{
    return m_hasThumbnailChanged;
}

bool RKFamilyChanges::hasExifChanged() const
{
    return m_hasThumbnailChanged || !m_exifTags.empty();
}

bool RKFamilyChanges::hasIptcChanged() const
{
    return !m_iptcKeys.empty();
}

const std::set<std::string>& RKFamilyChanges::iptcKeys() const
{
    return m_iptcKeys;
}

const std::set<std::string>& RKFamilyChanges::xmpProperties() const
{
    return m_xmpProperties;
}

QString RKFamilyChanges::firstDifference() const
{
    if (!m_exifTags.empty()) {
        return QStringLiteral("Exif.%1.0x%2")
            .arg(QString::fromStdString(m_exifTags.begin()->first))
            .arg(m_exifTags.begin()->second, 4, 16, QLatin1Char('0'));
    }
    if (m_hasThumbnailChanged)
        return QStringLiteral("the thumbnail");
    if (!m_iptcKeys.empty())
        return QString::fromStdString(*m_iptcKeys.begin());
    return m_xmpProperties.empty() ? QString() : QString::fromStdString(*m_xmpProperties.begin());
}
