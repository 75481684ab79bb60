#include "RKImageLoader/metadata/exiv2/RKExiv2ExifData_p.h"
#include "RKImageLoader/metadata/exiv2/RKExiv2IccData_p.h"

RKExiv2IccData::RKExiv2IccData(const QByteArray& profile)
    : m_profile(profile)
{
}

RKExiv2IccData::RKExiv2IccData(const RKExiv2ImagePtr& image, const RKExiv2ExifData& exifData)
    : m_profile(RKExiv2Compat::iccProfile(*image))
{
    if (!m_profile.isEmpty())
        return;
    Exiv2::DataBuf inExif;
    exifData.readIccData(inExif);
    m_profile = RKExiv2Compat::toByteArray(inExif);
}

RKExiv2IccData::~RKExiv2IccData() = default;

QByteArray RKExiv2IccData::asByteArray() const
{
    return m_profile;
}

bool RKExiv2IccData::isEmpty() const
{
    return m_profile.isEmpty();
}
