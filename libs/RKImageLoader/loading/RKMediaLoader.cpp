#include "RKImageLoader/loading/RKMediaLoader.h"

#include "RKImageLoader/loading/RKImageLoader.h"
#include "RKImageLoader/loading/RKLoadingReason_p.h"
#include "RKImageLoader/loading/RKVideoLoader.h"

#include <algorithm>

RKMediaLoader::RKMediaLoader()
    : m_loaders{RKImageLoader::instance(), RKVideoLoader::instance()}
{
}

QStringList RKMediaLoader::supportedFormatFileExtensionFilters() const
{
    return supportedMediaFormats().fileExtensionFilters();
}

RKMediaFormatList RKMediaLoader::writableMediaFormats() const
{
    RKMediaFormatList formats;
    for (const RKMediaLoaderAbstract* loader : m_loaders) {
        const RKMediaFormatList own = loader->writableMediaFormats();
        for (const RKMediaFormat& format : own)
            formats.insertOnlyOnce(format);
    }
    return formats;
}

RKMediaFormatList RKMediaLoader::supportedMediaFormats() const
{
    RKMediaFormatList formats;
    for (const RKMediaLoaderAbstract* loader : m_loaders) {
        const RKMediaFormatList own = loader->supportedMediaFormats();
        for (const RKMediaFormat& format : own)
            formats.insertOnlyOnce(format);
    }
    return formats;
}

bool RKMediaLoader::supportsMediaFormat(const RKMediaFormat& format) const
{
    return loaderFor(format) != nullptr;
}

RKDrawable RKMediaLoader::drawable(
    const RKMediaDescriptor& descriptor, const QSize& wanted, const RKImageOption& option) const
{
    const RKMediaLoaderAbstract* loader = loaderFor(mediaFormat(descriptor));
    return loader ? loader->drawable(descriptor, wanted, option) : RKDrawable();
}

RKDrawable RKMediaLoader::drawable(const RKMediaDescriptor& descriptor,
    const QSize& wanted,
    const RKImageOption& option,
    RKLoadContext& context) const
{
    const RKMediaLoaderAbstract* loader = loaderFor(descriptor, context);
    return loader ? loader->drawable(descriptor, wanted, option, context) : RKDrawable();
}

RKDrawable RKMediaLoader::drawable(const RKMediaDescriptor& descriptor, const QSize& wanted) const
{
    return drawable(descriptor, wanted, RKImageOption());
}

RKImageOrientation RKMediaLoader::imageOrientation(const RKMediaDescriptor& descriptor) const
{
    const RKMediaLoaderAbstract* loader = loaderFor(mediaFormat(descriptor));
    return loader ? loader->imageOrientation(descriptor)
                  : RKMediaLoaderAbstract::imageOrientation(descriptor);
}

QSize RKMediaLoader::size(const RKMediaDescriptor& descriptor) const
{
    const RKMediaLoaderAbstract* loader = loaderFor(mediaFormat(descriptor));
    return loader ? loader->size(descriptor) : QSize();
}

QSize RKMediaLoader::unrotatedSize(const RKMediaDescriptor& descriptor) const
{
    const RKMediaLoaderAbstract* loader = loaderFor(mediaFormat(descriptor));
    return loader ? loader->unrotatedSize(descriptor) : QSize();
}

QSize RKMediaLoader::size(const RKMediaDescriptor& descriptor, RKLoadContext& context) const
{
    const RKMediaLoaderAbstract* loader = loaderFor(descriptor, context);
    return loader ? loader->size(descriptor, context) : QSize();
}

QSize RKMediaLoader::unrotatedSize(
    const RKMediaDescriptor& descriptor, RKLoadContext& context) const
{
    const RKMediaLoaderAbstract* loader = loaderFor(descriptor, context);
    return loader ? loader->unrotatedSize(descriptor, context) : QSize();
}

QDateTime RKMediaLoader::recordingDate(const RKMediaDescriptor& descriptor) const
{
    const RKMediaLoaderAbstract* loader = loaderFor(mediaFormat(descriptor));
    return loader ? loader->recordingDate(descriptor) : QDateTime();
}

bool RKMediaLoader::canSave(const RKMediaFormat& format) const
{
    return isSupportedWritableFormat(format);
}

bool RKMediaLoader::save(
    QBuffer* buffer, const RKMediaFormat& format, const RKDrawable& drawable) const
{
    const RKMediaLoaderAbstract* loader = loaderFor(format);
    return loader && loader->save(buffer, format, drawable);
}

bool RKMediaLoader::save(const RKMediaDescriptor& descriptor, const RKDrawable& drawable) const
{
    const RKMediaLoaderAbstract* loader = loaderFor(mediaFormat(descriptor));
    return loader && loader->save(descriptor, drawable);
}

bool RKMediaLoader::save(QBuffer* buffer,
    const RKMediaFormat& format,
    const RKDrawable& drawable,
    const RKMetaData& metaData) const
{
    const RKMediaLoaderAbstract* loader = loaderFor(format);
    return loader && loader->save(buffer, format, drawable, metaData);
}

bool RKMediaLoader::save(const RKMediaDescriptor& descriptor,
    const RKDrawable& drawable,
    const RKMetaData& metaData) const
{
    const RKMediaLoaderAbstract* loader = loaderFor(mediaFormat(descriptor));
    return loader && loader->save(descriptor, drawable, metaData);
}

bool RKMediaLoader::save(const RKMediaDescriptor& descriptor, const RKMetaData& metaData) const
{
    const RKMediaLoaderAbstract* loader = loaderFor(mediaFormat(descriptor));
    return loader && loader->save(descriptor, metaData);
}

bool RKMediaLoader::save(QBuffer* buffer,
    const RKMediaFormat& format,
    const RKDrawable& drawable,
    RKMediaError* error) const
{
    const RKMediaLoaderAbstract* loader = loaderFor(format);
    return loader ? loader->save(buffer, format, drawable, error)
                  : RKMediaLoaderAbstract::save(buffer, format, drawable, error);
}

bool RKMediaLoader::save(
    const RKMediaDescriptor& descriptor, const RKDrawable& drawable, RKMediaError* error) const
{
    const RKMediaLoaderAbstract* loader = loaderFor(mediaFormat(descriptor));
    return loader ? loader->save(descriptor, drawable, error)
                  : RKMediaLoaderAbstract::save(descriptor, drawable, error);
}

bool RKMediaLoader::save(QBuffer* buffer,
    const RKMediaFormat& format,
    const RKDrawable& drawable,
    const RKMetaData& metaData,
    RKMediaError* error) const
{
    const RKMediaLoaderAbstract* loader = loaderFor(format);
    return loader ? loader->save(buffer, format, drawable, metaData, error)
                  : RKMediaLoaderAbstract::save(buffer, format, drawable, metaData, error);
}

bool RKMediaLoader::save(const RKMediaDescriptor& descriptor,
    const RKDrawable& drawable,
    const RKMetaData& metaData,
    RKMediaError* error) const
{
    const RKMediaLoaderAbstract* loader = loaderFor(mediaFormat(descriptor));
    return loader ? loader->save(descriptor, drawable, metaData, error)
                  : RKMediaLoaderAbstract::save(descriptor, drawable, metaData, error);
}

bool RKMediaLoader::save(
    const RKMediaDescriptor& descriptor, const RKMetaData& metaData, RKMediaError* error) const
{
    const RKMediaLoaderAbstract* loader = loaderFor(mediaFormat(descriptor));
    return loader ? loader->save(descriptor, metaData, error)
                  : RKMediaLoaderAbstract::save(descriptor, metaData, error);
}

void RKMediaLoader::invalidateMetaData(const RKMediaDescriptor& descriptor) const
{
    if (const RKMediaLoaderAbstract* loader = loaderFor(mediaFormat(descriptor)))
        loader->invalidateMetaData(descriptor);
}

const RKMediaLoaderAbstract* RKMediaLoader::loaderFor(const RKMediaFormat& format) const
{
    const auto found = std::find_if(m_loaders.cbegin(),
        m_loaders.cend(),
        [&format](const auto* loader) { return loader->supportsMediaFormat(format); });
    return found == m_loaders.cend() ? nullptr : *found;
}

const RKMediaLoaderAbstract* RKMediaLoader::loaderFor(
    const RKMediaDescriptor& descriptor, RKLoadContext& context) const
{
    const RKMediaLoaderAbstract* loader = loaderFor(mediaFormat(descriptor));
    if (!loader)
        RKLoadingReason::noteUnsupported(descriptor, context);
    return loader;
}
