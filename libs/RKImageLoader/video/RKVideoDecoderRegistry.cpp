#include "RKImageLoader/video/RKVideoDecoderRegistry.h"

#ifdef RK_HAS_VIDEO
#    include "RKImageLoader/video/RKVideoDecoderFfmpeg.h"
#endif

#include <QDir>

RKVideoDecoderRegistry::RKVideoDecoderRegistry()
{
    init();
}

RKVideoDecoderRegistry::~RKVideoDecoderRegistry() = default;

void RKVideoDecoderRegistry::init()
{
#ifdef RK_HAS_VIDEO
    m_ownedDecoders.push_back(std::make_unique<RKVideoDecoderFfmpeg>());
#endif
    for (const auto& decoder : m_ownedDecoders) {
        const RKMediaFormatList formats = decoder->supportedVideoFileFormats();
        for (const RKMediaFormat& format : formats) {
            m_decoders.insert_or_assign(format, decoder.get());
            m_formats.insertOnlyOnce(format);
        }
    }
}

RKMediaFormatList RKVideoDecoderRegistry::supportedMediaFormats() const
{
    return m_formats;
}

bool RKVideoDecoderRegistry::hasSupportedFileFormat(const QFileInfo& file) const
{
    return QDir::match(m_formats.fileExtensionFilters(), file.fileName());
}

RKVideoDecoder* RKVideoDecoderRegistry::decoder(const RKMediaFormat& format) const
{
    const auto found = m_decoders.find(format);
    return found == m_decoders.end() ? nullptr : found->second;
}

const RKVideoDecoder* RKVideoDecoderRegistry::decoderOf(const RKMediaDescriptor& descriptor) const
{
    return decoder(descriptor.mediaFormat());
}

const RKVideoDecoder* RKVideoDecoderRegistry::decoderOf(
    const RKMediaDescriptor& descriptor, RKLoadContext& context) const
{
    const RKVideoDecoder* found = decoderOf(descriptor);
    if (!found)
        context.fail(RKMediaErrorCode::NoDecoder);
    return found;
}

RKDrawable RKVideoDecoderRegistry::decodeDrawable(
    const RKMediaDescriptor& descriptor, const QSize& wanted) const
{
    const RKVideoDecoder* found = decoderOf(descriptor);
    return found ? found->decodeDrawable(descriptor, wanted) : RKDrawable();
}

QSize RKVideoDecoderRegistry::size(const RKMediaDescriptor& descriptor) const
{
    const RKVideoDecoder* found = decoderOf(descriptor);
    return found ? found->size(descriptor) : QSize();
}

RKDrawable RKVideoDecoderRegistry::decodeDrawable(
    const RKMediaDescriptor& descriptor, const QSize& wanted, RKLoadContext& context) const
{
    const RKVideoDecoder* found = decoderOf(descriptor, context);
    return found ? found->decodeDrawable(descriptor, wanted, context) : RKDrawable();
}

QSize RKVideoDecoderRegistry::size(
    const RKMediaDescriptor& descriptor, RKLoadContext& context) const
{
    const RKVideoDecoder* found = decoderOf(descriptor, context);
    return found ? found->size(descriptor, context) : QSize();
}

RKMetaData RKVideoDecoderRegistry::metaData(const RKMediaDescriptor& descriptor) const
{
    const RKVideoDecoder* found = decoderOf(descriptor);
    return found ? found->metaData(descriptor) : RKMetaData();
}

RKFramesPerSecond RKVideoDecoderRegistry::framesPerSecond(const RKMediaDescriptor& descriptor) const
{
    const RKVideoDecoder* found = decoderOf(descriptor);
    return found ? found->framesPerSecond(descriptor) : RKFramesPerSecond();
}

int RKVideoDecoderRegistry::durationInMS(const RKMediaDescriptor& descriptor) const
{
    const RKVideoDecoder* found = decoderOf(descriptor);
    return found ? found->durationInMS(descriptor) : 0;
}

QString RKVideoDecoderRegistry::usedCodec(const RKMediaDescriptor& descriptor) const
{
    const RKVideoDecoder* found = decoderOf(descriptor);
    return found ? found->usedCodec(descriptor) : QString();
}

int RKVideoDecoderRegistry::rotation(const RKMediaDescriptor& descriptor) const
{
    const RKVideoDecoder* found = decoderOf(descriptor);
    return found ? found->rotation(descriptor) : 0;
}

RKVideoFrameIndex RKVideoDecoderRegistry::lastFrameIndex(const RKMediaDescriptor& descriptor) const
{
    const RKVideoDecoder* found = decoderOf(descriptor);
    return found ? found->lastFrameIndex(descriptor) : RKVideoFrameIndex();
}

RKVideoFrameIndex RKVideoDecoderRegistry::defaultFrameIndex(
    const RKMediaDescriptor& descriptor) const
{
    const RKVideoDecoder* found = decoderOf(descriptor);
    return found ? found->defaultFrameIndex(descriptor) : RKVideoFrameIndex(0);
}

void RKVideoDecoderRegistry::freeResources() const
{
    for (const auto& decoder : m_ownedDecoders)
        decoder->freeResources();
}

void RKVideoDecoderRegistry::freeResource(const RKMediaDescriptor& descriptor) const
{
    if (const RKVideoDecoder* found = decoderOf(descriptor))
        found->freeResource(descriptor);
}
