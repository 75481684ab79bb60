#include "RKImageLoader/loading/RKVideoLoader.h"

#include "RKImageLoader/video/RKVideoDecoderRegistry.h"

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
    return RKVideoDecoderRegistry::instance()->decodeDrawable(descriptor, wanted);
}

QSize RKVideoLoader::unrotatedSize(const RKMediaDescriptor& descriptor) const
{
    return RKVideoDecoderRegistry::instance()->size(descriptor);
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
