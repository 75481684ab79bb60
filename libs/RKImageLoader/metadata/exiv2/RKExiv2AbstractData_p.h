#pragma once

#include "RKImageLoader/metadata/exiv2/RKExiv2Compat_p.h"

#include <QString>

#include <set>
#include <string>

/// One family of an image's metadata: Exif, IPTC or XMP, held apart from the image it came from.
///
/// Not thread-safe; RKExiv2WrapperImpl locks.
class RKExiv2AbstractData
{
public:
    virtual ~RKExiv2AbstractData();

    /// Adds the held data to that of an opened image whose metadata was read; data of the image
    /// that is not held here stays. The image is not written.
    ///
    /// Returns whether the image can take the family at all, not whether anything has changed.
    virtual bool mergeTo(RKExiv2ImagePtr& image) const = 0;

    virtual Exiv2::MetadataId supportedMetaData() const = 0;

    /// Whether something has been set or removed since the data was read.
    virtual bool hasChanges() const;
    /// The keys of what has been set or removed; of XMP those of whole properties.
    const std::set<std::string>& changedKeys() const;

    /// The format of the image has a place for the family and exiv2 can write it there.
    bool canWriteTo(RKExiv2ImagePtr& image) const;

    /// See RKExiv2Library::describeError().
    void describeError(const QString& where, const Exiv2::Error& error) const;

protected:
    /// Most of the keys that were read are still in the target. Otherwise its file has been
    /// replaced by a picture that was encoded anew, and has to get everything.
    template <typename Data>
    bool targetHasMostOf(const Data& held, const Data& target) const
    {
        std::set<std::string> keysOfTarget;
        for (const auto& datum : target)
            keysOfTarget.insert(datum.key());
        qsizetype present = 0;
        qsizetype missing = 0;
        for (const auto& datum : held) {
            if (m_changedKeys.count(datum.key()) == 0)
                ++(keysOfTarget.count(datum.key()) != 0 ? present : missing);
        }
        return present >= missing;
    }

    RKExiv2AbstractData();
    RKExiv2AbstractData(const RKExiv2AbstractData&) = default;
    RKExiv2AbstractData& operator=(const RKExiv2AbstractData&) = default;
    RKExiv2AbstractData(RKExiv2AbstractData&&) = default;
    RKExiv2AbstractData& operator=(RKExiv2AbstractData&&) = default;

    // Keys that have been set or removed since the data was read; in XMP without those of parts.
    std::set<std::string> m_changedKeys;
};
