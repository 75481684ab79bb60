#include "RKImageLoader/color/RKColorProfileConverter.h"

#include "RKImageLoader/color/RKColorProfileConverterImpl_p.h"

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

void RKColorProfileConverter::resetCache()
{
    m_impl->resetCache();
}
