#include "RKImageLoader/loading/RKVideoLoader.h"

#include "RKImageLoader/loading/RKLoadingReason_p.h"
#include "RKImageLoader/media/RKErrorText_p.h"
#include "RKImageLoader/media/RKMemory_p.h"
#include "RKImageLoader/video/RKVideoDecoderRegistry.h"

namespace {

using RKLoadingReason::Outcome;

/// Makes and concludes a request in which a decoder may note reasons.
template <typename Result, typename Request, typename IsMade>
Result concluded(const RKVideoLoader& loader,
    const RKMediaDescriptor& descriptor,
    RKLoadContext& context,
    const Request& request,
    const IsMade& isMade)
{
    if (!loader.hasSupportedMediaFormat(descriptor)) {
        RKLoadingReason::noteUnsupported(descriptor, context);
        return {};
    }
    Result result = RKMemory::noted(context, request);
    RKLoadingReason::conclude(
        descriptor, isMade(result) ? Outcome::Loaded : Outcome::Failed, context);
    return result;
}

bool refuse(RKMediaError* error, const RKMediaDescriptor& descriptor = {})
{
    if (error) {
        *error = RKMediaError(
            RKMediaErrorCode::UnsupportedForWriting, RKErrorText::tr("Videos can't be written."));
        error->setFilePath(descriptor.absoluteFilePath());
    }
    return false;
}

} // namespace

RKMediaFormatList RKVideoLoader::writableMediaFormats() const
{
    // Kept: this is the list of what can be read. See RKVideoLoaderTest::nothingIsSaved.
    return supportedMediaFormats();
}

RKMediaFormatList RKVideoLoader::supportedMediaFormats() const
{
    return RKVideoDecoderRegistry::instance()->supportedMediaFormats();
}

bool RKVideoLoader::supportsMediaFormat(const RKMediaFormat& format) const
{
    return RKVideoDecoderRegistry::instance()->supportedMediaFormats().contains(format);
}

RKDrawable RKVideoLoader::drawable(
    const RKMediaDescriptor& descriptor, const QSize& wanted, const RKImageOption&) const
{
    RKLoadContext context;
    return RKMemory::noted(context,
        [&] { return RKVideoDecoderRegistry::instance()->decodeDrawable(descriptor, wanted); });
}

RKDrawable RKVideoLoader::drawable(const RKMediaDescriptor& descriptor,
    const QSize& wanted,
    const RKImageOption&,
    RKLoadContext& context) const
{
    return concluded<RKDrawable>(
        *this,
        descriptor,
        context,
        [&] {
            return RKVideoDecoderRegistry::instance()->decodeDrawable(descriptor, wanted, context);
        },
        [](const RKDrawable& frame) { return !frame.isNull(); });
}

QSize RKVideoLoader::unrotatedSize(const RKMediaDescriptor& descriptor) const
{
    return RKVideoDecoderRegistry::instance()->size(descriptor);
}

QSize RKVideoLoader::unrotatedSize(
    const RKMediaDescriptor& descriptor, RKLoadContext& context) const
{
    return concluded<QSize>(
        *this,
        descriptor,
        context,
        [&] { return RKVideoDecoderRegistry::instance()->size(descriptor, context); },
        [](const QSize& size) { return size.isValid(); });
}

QSize RKVideoLoader::size(const RKMediaDescriptor& descriptor, RKLoadContext& context) const
{
    return unrotatedSize(descriptor, context);
}

QDateTime RKVideoLoader::recordingDate(const RKMediaDescriptor& descriptor) const
{
    return fileCreationDate(descriptor);
}

bool RKVideoLoader::save(QBuffer*, const RKMediaFormat&, const RKDrawable&) const
{
    return false;
}

bool RKVideoLoader::save(const RKMediaDescriptor&, const RKDrawable&) const
{
    return false;
}

bool RKVideoLoader::save(QBuffer*, const RKMediaFormat&, const RKDrawable&, const RKMetaData&) const
{
    return false;
}

bool RKVideoLoader::save(const RKMediaDescriptor&, const RKDrawable&, const RKMetaData&) const
{
    return false;
}

bool RKVideoLoader::save(const RKMediaDescriptor&, const RKMetaData&) const
{
    return false;
}

bool RKVideoLoader::save(
    QBuffer*, const RKMediaFormat&, const RKDrawable&, RKMediaError* error) const
{
    return refuse(error);
}

bool RKVideoLoader::save(
    const RKMediaDescriptor& descriptor, const RKDrawable&, RKMediaError* error) const
{
    return refuse(error, descriptor);
}

bool RKVideoLoader::save(
    QBuffer*, const RKMediaFormat&, const RKDrawable&, const RKMetaData&, RKMediaError* error) const
{
    return refuse(error);
}

bool RKVideoLoader::save(const RKMediaDescriptor& descriptor,
    const RKDrawable&,
    const RKMetaData&,
    RKMediaError* error) const
{
    return refuse(error, descriptor);
}

bool RKVideoLoader::save(
    const RKMediaDescriptor& descriptor, const RKMetaData&, RKMediaError* error) const
{
    return refuse(error, descriptor);
}

void RKVideoLoader::invalidateMetaData(const RKMediaDescriptor&) const
{
}

RKFramesPerSecond RKVideoLoader::framesPerSecond(const RKMediaDescriptor& descriptor) const
{
    return RKVideoDecoderRegistry::instance()->framesPerSecond(descriptor);
}

int RKVideoLoader::durationInMS(const RKMediaDescriptor& descriptor) const
{
    return RKVideoDecoderRegistry::instance()->durationInMS(descriptor);
}

RKVideoFrameIndex RKVideoLoader::lastFrameIndex(const RKMediaDescriptor& descriptor) const
{
    return RKVideoDecoderRegistry::instance()->lastFrameIndex(descriptor);
}

RKVideoFrameIndex RKVideoLoader::defaultFrameIndex(const RKMediaDescriptor& descriptor) const
{
    return RKVideoDecoderRegistry::instance()->defaultFrameIndex(descriptor);
}
