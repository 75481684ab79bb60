#pragma once

#include "RKImageLoader/metadata/exiv2/RKExiv2Compat_p.h"

#include <QByteArray>

class RKExiv2ExifData;

/// The ICC profile of one image, as bytes that nobody has checked.
///
/// Reentrant.
class RKExiv2IccData
{
public:
    /// No profile.
    RKExiv2IccData() = default;
    explicit RKExiv2IccData(const QByteArray& profile);
    /// The profile of an opened image whose metadata was read, else the one in its Exif data.
    RKExiv2IccData(const RKExiv2ImagePtr& image, const RKExiv2ExifData& exifData);
    RKExiv2IccData(const RKExiv2IccData&) = default;
    RKExiv2IccData(RKExiv2IccData&&) noexcept = default;
    RKExiv2IccData& operator=(const RKExiv2IccData&) = default;
    RKExiv2IccData& operator=(RKExiv2IccData&&) noexcept = default;
    virtual ~RKExiv2IccData();

    QByteArray asByteArray() const;
    bool isEmpty() const;

private:
    QByteArray m_profile;
};
