#include "RKImageLoader/loading/RKMediaLoaderAbstract.h"

#include "RKImageLoader/files/RKFileTimes.h"

RKMediaLoaderAbstract::~RKMediaLoaderAbstract() = default;

RKImageOrientation RKMediaLoaderAbstract::imageOrientation(const RKMediaDescriptor&) const
{
    return ORIENTATION_TOP_LEFT;
}

QSize RKMediaLoaderAbstract::size(const RKMediaDescriptor& descriptor) const
{
    return unrotatedSize(descriptor);
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
