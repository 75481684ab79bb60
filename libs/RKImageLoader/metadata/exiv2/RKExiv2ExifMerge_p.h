#pragma once

#include "RKImageLoader/metadata/exiv2/RKExiv2Compat_p.h"

#include <iterator>
#include <string>
#include <vector>

/// How Exif data get into an image that has some of its own.
namespace RKExiv2ExifMerge {

bool isInThumbnail(const Exiv2::Exifdatum& datum);
bool hasThumbnailDirectory(const Exiv2::ExifData& data);
/// A group of tags that only the camera's maker can change.
bool isOfMakerNote(const std::string& group);

/// The second directory of a TIFF-based file holds pixels and is not marked as a reduced version of
/// the first one (TIFF 6.0, NewSubfileType).
bool secondDirectoryIsPage(const Exiv2::ExifData& data);

/// A TIFF-based file cannot take this datum from elsewhere: it says how pixels of the file itself
/// are stored. The thumbnail's directory is left out here.
bool describesPixels(const Exiv2::Exifdatum& datum);

/// Adds data to a target: the n-th datum of a key replaces the n-th one there.
void merge(Exiv2::ExifData& target, const std::vector<const Exiv2::Exifdatum*>& source);

template <typename Predicate>
void eraseIf(Exiv2::ExifData& data, Predicate predicate)
{
    for (auto it = data.begin(); it != data.end();)
        it = predicate(*it) ? data.erase(it) : std::next(it);
}

} // namespace RKExiv2ExifMerge
