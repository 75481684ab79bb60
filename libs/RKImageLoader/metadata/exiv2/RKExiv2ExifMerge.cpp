#include "RKImageLoader/metadata/exiv2/RKExiv2ExifMerge_p.h"

#include <algorithm>
#include <array>
#include <map>
#include <string>

namespace {

// The tags of a TIFF directory that say how its own pixels are stored (TIFF 6.0, sections 3 to 23,
// TIFF/EP, and the technical notes on subdirectories and JPEG).
constexpr std::array<quint16, 49> kPixelTags = {0x00fe,
    0x00ff,
    0x0100,
    0x0101,
    0x0102,
    0x0103,
    0x0106,
    0x0107,
    0x0108,
    0x0109,
    0x010a,
    0x0111,
    0x0115,
    0x0116,
    0x0117,
    0x011c,
    0x0120,
    0x0121,
    0x0122,
    0x0123,
    0x0124,
    0x0125,
    0x013d,
    0x0140,
    0x0141,
    0x0142,
    0x0143,
    0x0144,
    0x0145,
    0x014a,
    0x014c,
    0x0152,
    0x0153,
    0x015b,
    0x0200,
    0x0201,
    0x0202,
    0x0203,
    0x0205,
    0x0206,
    0x0207,
    0x0208,
    0x0209,
    0x0211,
    0x0212,
    0x0213,
    0x0214,
    0x828d,
    0x828e};
// From DNGVersion on the tags describe the raw data (DNG 1.4, chapter 4).
constexpr quint16 kFirstDngTag = 0xc612;
constexpr quint16 kLastDngTag = 0xc7ff;

} // namespace

bool RKExiv2ExifMerge::isInThumbnail(const Exiv2::Exifdatum& datum)
{
    return datum.groupName() == "Thumbnail";
}

bool RKExiv2ExifMerge::hasThumbnailDirectory(const Exiv2::ExifData& data)
{
    return std::any_of(data.begin(), data.end(), isInThumbnail);
}

bool RKExiv2ExifMerge::secondDirectoryIsPage(const Exiv2::ExifData& data)
{
    const auto has
        = [&data](const char* key) { return data.findKey(Exiv2::ExifKey(key)) != data.end(); };
    if (has("Exif.Thumbnail.JPEGInterchangeFormat"))
        return false;
    if (!has("Exif.Thumbnail.StripOffsets") && !has("Exif.Thumbnail.TileOffsets"))
        return false;
    const auto kind = data.findKey(Exiv2::ExifKey("Exif.Thumbnail.NewSubfileType"));
    return kind == data.end() || RKExiv2Compat::count(*kind) == 0
        || (RKExiv2Compat::toInt64(*kind) & 1) == 0;
}

bool RKExiv2ExifMerge::isOfMakerNote(const std::string& group)
{
    return group == "MakerNote" || Exiv2::ExifTags::isMakerGroup(group);
}

bool RKExiv2ExifMerge::describesPixels(const Exiv2::Exifdatum& datum)
{
    const std::string group = datum.groupName();
    if (group == "Image") {
        const quint16 tag = datum.tag();
        return std::binary_search(kPixelTags.begin(), kPixelTags.end(), tag)
            || (tag >= kFirstDngTag && tag <= kLastDngTag);
    }
    return group == "Image2" || group == "Image3" || group.starts_with("Sub")
        || group.starts_with("PanasonicRaw");
}

void RKExiv2ExifMerge::merge(
    Exiv2::ExifData& target, const std::vector<const Exiv2::Exifdatum*>& source)
{
    struct Places
    {
        std::vector<Exiv2::Exifdatum*> found;
        size_t used = 0;
    };

    std::map<std::string, Places> places;
    for (Exiv2::Exifdatum& datum : target)
        places[datum.key()].found.push_back(&datum);

    // A repeated key is a list of its own: all of them must not become the last one.
    for (const Exiv2::Exifdatum* datum : source) {
        Places& place = places[datum->key()];
        if (place.used < place.found.size())
            *place.found[place.used++] = *datum;
        else
            target.add(*datum);
    }
}
