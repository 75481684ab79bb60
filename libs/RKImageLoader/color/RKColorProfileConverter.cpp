#include "RKImageLoader/color/RKColorProfileConverter.h"

#include "RKImageLoader/color/RKColorProfileConverterImpl_p.h"
#include "RKImageLoader/color/RKLcms_p.h"
#include "RKImageLoader/metadata/RKMetaData.h"

RKColorProfileConverter::RKColorProfileConverter()
    : m_impl(std::make_unique<RKColorProfileConverterImpl>())
{
}

RKColorProfileConverter::~RKColorProfileConverter() = default;

QImage RKColorProfileConverter::convert(const QImage& image, const RKMetaData& metaData, bool* ok)
{
    return m_impl->convert(image, metaData, ok, {});
}

QImage RKColorProfileConverter::convert(
    QImage&& image, const RKMetaData& metaData, bool* ok, const RKCancellation& cancellation)
{
    return m_impl->convert(std::move(image), metaData, ok, cancellation);
}

QString RKColorProfileConverter::profileName(const RKMetaData& metaData)
{
    const QByteArray bytes = metaData.iccData();
    if (bytes.isEmpty())
        return metaData.isAdobeRGB() ? QStringLiteral("Adobe RGB (1998)") : QString();
    const RKLcms::Context context = RKLcms::makeContext();
    const RKLcms::Profile profile = RKLcms::openProfile(context, bytes);
    return profile ? RKLcms::nameOf(profile) : QString();
}

void RKColorProfileConverter::resetCache()
{
    m_impl->resetCache();
}
