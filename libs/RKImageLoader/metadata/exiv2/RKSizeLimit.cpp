#include "RKImageLoader/metadata/exiv2/RKExiv2XmpPackets_p.h"
#include "RKImageLoader/metadata/exiv2/RKSizeLimit_p.h"

#include <QDebug>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <numeric>
#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

namespace {

// A JPEG segment's length field counts to 65535; two bytes of it are the field itself, six the
// identifier "Exif" with two NULs (Exif 2.32, 4.7.2).
constexpr size_t kExifSizeLimit = 65527;

// What the data lose first when they are too large: copies of the image's colour profile.
constexpr std::array kProfileKeys = {"Exif.Image.InterColorProfile",
    "Exif.Image.CurrentICCProfile",
    "Exif.Image.CurrentPreProfileMatrix",
    "Exif.Image.AsShotICCProfile",
    "Exif.Image.AsShotPreProfileMatrix"};

void warnAboutDeletion(const std::string& key)
{
    qWarning().noquote() << QStringLiteral(" exifData is to large. Deleting the exifData key")
                         << QString::fromStdString(key);
}

void eraseLargest(Exiv2::ExifData& data)
{
    std::vector<Exiv2::ExifData::iterator> victims;
    for (auto it = data.begin(); it != data.end(); ++it)
        victims.push_back(it);
    // If two are equal, the later goes first.
    std::reverse(victims.begin(), victims.end());
    std::stable_sort(
        victims.begin(), victims.end(), [](auto a, auto b) { return a->size() > b->size(); });

    // The victims do not depend on each other, so that their number can be searched for: a file may
    // hold thousands of them, and every trial encodes the data.
    const auto fitsWithout = [&data, &victims](size_t number) {
        std::vector<const Exiv2::Exifdatum*> erased;
        for (size_t i = 0; i < number; ++i)
            erased.push_back(&*victims[i]);
        std::sort(erased.begin(), erased.end());
        Exiv2::ExifData rest;
        for (const Exiv2::Exifdatum& datum : data) {
            if (!std::binary_search(erased.begin(), erased.end(), &datum))
                rest.add(datum);
        }
        return RKSizeLimit::encodedSize(rest) < kExifSizeLimit;
    };
    size_t tooFew = 0;
    size_t enough = victims.size();
    while (enough - tooFew > 1) {
        const size_t middle = std::midpoint(tooFew, enough);
        (fitsWithout(middle) ? enough : tooFew) = middle;
    }
    for (size_t i = 0; i < enough; ++i) {
        warnAboutDeletion(victims[i]->key());
        data.erase(victims[i]);
    }
}

/// Where a key of a part of a structure or an array ("Xmp.dc.subject[1]/?xml:lang") branches off
/// its parent's key.
size_t branchOf(const std::string& key)
{
    return key.find_last_of("/[");
}

/// The keys without which exiv2 cannot encode a datum: the structure or array that it is part of,
/// and the element before it in an array.
std::vector<std::string> requiredKeys(const std::string& key)
{
    const size_t branch = branchOf(key);
    if (branch == std::string::npos)
        return {};
    std::vector<std::string> keys{key.substr(0, branch)};
    if (key[branch] == '[') {
        const long index = std::strtol(key.c_str() + branch + 1, nullptr, 10);
        keys.push_back(keys.front() + '[' + std::to_string(index - 1) + ']');
    }
    return keys;
}

/// For each datum its place in the order of removal: largest first, later ones before
/// earlier ones; at the latest with what it needs.
std::vector<size_t> removalRanks(const Exiv2::XmpData& data)
{
    std::vector<qsizetype> sizes;
    for (const Exiv2::Xmpdatum& datum : data)
        sizes.push_back(RKExiv2Compat::size(datum));
    std::vector<size_t> order(sizes.size());
    std::iota(order.rbegin(), order.rend(), size_t(0));
    std::stable_sort(order.begin(), order.end(), [&sizes](size_t left, size_t right) {
        return sizes[left] > sizes[right];
    });
    std::vector<size_t> ranks(order.size());
    for (size_t rank = 0; rank < order.size(); ++rank)
        ranks[order[rank]] = rank;

    // What a datum needs comes before it, so that the ranks found so far are final.
    std::unordered_map<std::string, size_t> rankOfKey;
    size_t index = 0;
    for (const Exiv2::Xmpdatum& datum : data) {
        size_t& rank = ranks[index++];
        for (const std::string& key : requiredKeys(datum.key())) {
            if (const auto required = rankOfKey.find(key); required != rankOfKey.end())
                rank = std::min(rank, required->second);
        }
        rankOfKey.emplace(datum.key(), rank);
    }
    return ranks;
}

/// The data without the first ones to go.
Exiv2::XmpData withoutFirst(
    const Exiv2::XmpData& data, const std::vector<size_t>& ranks, size_t removed)
{
    Exiv2::XmpData kept;
    size_t index = 0;
    for (const Exiv2::Xmpdatum& datum : data) {
        if (ranks[index++] >= removed)
            kept.add(datum);
    }
    return kept;
}

void logRemoved(const Exiv2::XmpData& data, const std::vector<size_t>& ranks, size_t removed)
{
    std::vector<std::pair<size_t, QString>> gone;
    size_t index = 0;
    for (const Exiv2::Xmpdatum& datum : data) {
        if (const size_t rank = ranks[index++]; rank < removed)
            gone.emplace_back(rank, RKExiv2Compat::keyText(datum));
    }
    std::stable_sort(gone.begin(), gone.end(), [](const auto& left, const auto& right) {
        return left.first < right.first;
    });
    for (const auto& [rank, key] : gone)
        qWarning().noquote() << "xmpData is to large. Deleting the xmpData key" << key;
}

} // namespace

size_t RKSizeLimit::encodedSize(const Exiv2::ExifData& data)
{
    // A copy: encoding erases tags from what it is given.
    Exiv2::ExifData copy = data;
    Exiv2::Blob blob;
    Exiv2::ExifParser::encode(blob, Exiv2::littleEndian, copy);
    return blob.size();
}

void RKSizeLimit::makeSureExifDataIsLessThan64k(Exiv2::ExifData& data)
{
    for (const char* key : kProfileKeys) {
        if (encodedSize(data) < kExifSizeLimit)
            return;
        const auto datum = data.findKey(Exiv2::ExifKey(key));
        if (datum == data.end())
            continue;
        warnAboutDeletion(datum->key());
        data.erase(datum);
    }
    if (encodedSize(data) >= kExifSizeLimit)
        eraseLargest(data);
}

void RKSizeLimit::removeLargest(Exiv2::XmpData& data, size_t limit)
{
    std::string packet;
    bool encoded = RKExiv2XmpPackets::encode(data, &packet);
    if (encoded && packet.size() < limit)
        return;

    // What goes next does not depend on what has gone, so that the least number of data to remove
    // can be searched for: a hostile file may have many thousands.
    const std::vector<size_t> ranks = removalRanks(data);
    size_t tooFew = 0;
    size_t enough = ranks.size();
    while (encoded && enough - tooFew > 1) {
        const size_t middle = tooFew + (enough - tooFew) / 2;
        encoded = RKExiv2XmpPackets::encode(withoutFirst(data, ranks, middle), &packet);
        (packet.size() < limit ? enough : tooFew) = middle;
    }
    if (!encoded) {
        qWarning() << "failed to encode XMP data";
        return;
    }
    logRemoved(data, ranks, enough);
    data = withoutFirst(data, ranks, enough);
}
