#include "RKImageLoader/metadata/exiv2/RKSizeLimit_p.h"

#include <QDebug>

#include <algorithm>
#include <array>
#include <numeric>
#include <string>
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
    // Of equal ones the later goes first.
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
