#include "RKImageLoader/loading/RKMediaLoaderAbstract.h"

#include "RKImageLoader/files/RKFileTimes.h"
#include "RKImageLoader/loading/RKLoadingReason_p.h"

namespace {

using RKLoadingReason::Outcome;

void store(const RKMediaError& reason, RKMediaError* error)
{
    if (error)
        *error = reason;
}

/// What a request in a context of its own returns.
template <typename Request>
auto withError(RKMediaError* error, const Request& request)
{
    RKLoadContext context;
    auto result = request(context);
    store(context.error(), error);
    return result;
}

/// For a loader that gives no reasons.
void storeSaved(bool isSaved, const QString& path, RKMediaError* error)
{
    RKMediaError reason(isSaved ? RKMediaErrorCode::None : RKMediaErrorCode::NotWritable);
    if (!isSaved)
        reason.setFilePath(path);
    store(reason, error);
}

template <typename Save>
bool savedIfSupported(bool isSupported, const QString& path, RKMediaError* error, const Save& save)
{
    if (!isSupported) {
        RKMediaError reason(RKMediaErrorCode::UnsupportedForWriting);
        reason.setFilePath(path);
        store(reason, error);
        return false;
    }
    const bool isSaved = save();
    storeSaved(isSaved, path, error);
    return isSaved;
}

} // namespace

RKMediaLoaderAbstract::~RKMediaLoaderAbstract() = default;

RKDrawable RKMediaLoaderAbstract::drawable(const RKMediaDescriptor& descriptor,
    const QSize& wanted,
    const RKImageOption& option,
    RKLoadContext& context) const
{
    RKDrawable made = drawable(descriptor, wanted, option);
    RKLoadingReason::conclude(
        descriptor, made.isNull() ? Outcome::Failed : Outcome::Loaded, context);
    return made;
}

RKDrawable RKMediaLoaderAbstract::drawable(const RKMediaDescriptor& descriptor,
    const QSize& wanted,
    const RKImageOption& option,
    RKMediaError* error) const
{
    return withError(error,
        [&](RKLoadContext& context) { return drawable(descriptor, wanted, option, context); });
}

RKImageOrientation RKMediaLoaderAbstract::imageOrientation(const RKMediaDescriptor&) const
{
    return ORIENTATION_TOP_LEFT;
}

QSize RKMediaLoaderAbstract::size(const RKMediaDescriptor& descriptor) const
{
    return unrotatedSize(descriptor);
}

QSize RKMediaLoaderAbstract::size(const RKMediaDescriptor& descriptor, RKLoadContext& context) const
{
    const QSize measured = size(descriptor);
    RKLoadingReason::conclude(
        descriptor, measured.isValid() ? Outcome::Loaded : Outcome::Failed, context);
    return measured;
}

QSize RKMediaLoaderAbstract::size(const RKMediaDescriptor& descriptor, RKMediaError* error) const
{
    return withError(error, [&](RKLoadContext& context) { return size(descriptor, context); });
}

QSize RKMediaLoaderAbstract::unrotatedSize(
    const RKMediaDescriptor& descriptor, RKLoadContext& context) const
{
    const QSize measured = unrotatedSize(descriptor);
    RKLoadingReason::conclude(
        descriptor, measured.isValid() ? Outcome::Loaded : Outcome::Failed, context);
    return measured;
}

QSize RKMediaLoaderAbstract::unrotatedSize(
    const RKMediaDescriptor& descriptor, RKMediaError* error) const
{
    return withError(
        error, [&](RKLoadContext& context) { return unrotatedSize(descriptor, context); });
}

bool RKMediaLoaderAbstract::save(QBuffer* buffer,
    const RKMediaFormat& format,
    const RKDrawable& drawable,
    RKMediaError* error) const
{
    return savedIfSupported(isSupportedWritableFormat(format), {}, error, [&] {
        return save(buffer, format, drawable);
    });
}

bool RKMediaLoaderAbstract::save(
    const RKMediaDescriptor& descriptor, const RKDrawable& drawable, RKMediaError* error) const
{
    const bool isSupported = isSupportedWritableFormat(mediaFormat(descriptor));
    return savedIfSupported(isSupported, descriptor.absoluteFilePath(), error, [&] {
        return save(descriptor, drawable);
    });
}

bool RKMediaLoaderAbstract::save(QBuffer* buffer,
    const RKMediaFormat& format,
    const RKDrawable& drawable,
    const RKMetaData& metaData,
    RKMediaError* error) const
{
    return savedIfSupported(isSupportedWritableFormat(format), {}, error, [&] {
        return save(buffer, format, drawable, metaData);
    });
}

bool RKMediaLoaderAbstract::save(const RKMediaDescriptor& descriptor,
    const RKDrawable& drawable,
    const RKMetaData& metaData,
    RKMediaError* error) const
{
    const bool isSupported = isSupportedWritableFormat(mediaFormat(descriptor));
    return savedIfSupported(isSupported, descriptor.absoluteFilePath(), error, [&] {
        return save(descriptor, drawable, metaData);
    });
}

bool RKMediaLoaderAbstract::save(
    const RKMediaDescriptor& descriptor, const RKMetaData& metaData, RKMediaError* error) const
{
    const bool isSaved = save(descriptor, metaData);
    storeSaved(isSaved, descriptor.absoluteFilePath(), error);
    return isSaved;
}

RKMediaFormat RKMediaLoaderAbstract::mediaFormat(const RKMediaDescriptor& descriptor) const
{
    return descriptor.mediaFormat();
}

bool RKMediaLoaderAbstract::hasSupportedMediaFormat(const RKMediaDescriptor& descriptor) const
{
    return supportsMediaFormat(mediaFormat(descriptor));
}

bool RKMediaLoaderAbstract::isSupportedFormat(const RKMediaFormat& format) const
{
    return supportedMediaFormats().contains(format);
}

bool RKMediaLoaderAbstract::isSupportedWritableFormat(const RKMediaFormat& format) const
{
    return writableMediaFormats().contains(format);
}

QImage RKMediaLoaderAbstract::bitmap(const RKMediaDescriptor& descriptor, const QSize& wanted) const
{
    return drawable(descriptor, wanted, RKImageOption()).image();
}

QImage RKMediaLoaderAbstract::bitmap(
    const RKMediaDescriptor& descriptor, const QSize& wanted, RKLoadContext& context) const
{
    return drawable(descriptor, wanted, RKImageOption(), context).image();
}

QImage RKMediaLoaderAbstract::bitmap(
    const RKMediaDescriptor& descriptor, const QSize& wanted, RKMediaError* error) const
{
    return drawable(descriptor, wanted, RKImageOption(), error).image();
}

RKMediaFormatList RKMediaLoaderAbstract::convertableFormats(const RKMediaFormat& format) const
{
    RKMediaFormatList formats;
    if (!format.isBitmap()) {
        if (isSupportedWritableFormat(format) || format.preferFastCopy())
            formats.append(format);
        return formats;
    }

    const RKMediaFormatList writable = writableMediaFormats();
    for (const RKMediaFormat& candidate : writable) {
        if (candidate.isBitmap() && candidate.isAlphaChannelAsGoodAs(format))
            formats.insertOnlyOnce(candidate);
    }
    formats.sort(format);
    return formats;
}

QDateTime RKMediaLoaderAbstract::fileCreationDate(const RKMediaDescriptor& descriptor) const
{
    return ctimeInternal(descriptor.fileInfo().absoluteFilePath());
}
