#include "Writing.h"

#include "RKImageLoader/decoders/RKBitmapDecoderRegistry.h"
#include "RKImageLoader/loading/RKImageLoader.h"

#include <QFileDevice>

RKMediaError Writing::formatError(const RKMediaDescriptor& target)
{
    // Not asked of all loaders: videos count as writable among them, but no picture becomes one.
    const RKImageLoader& loader = *RKImageLoader::instance();
    return loader.bitmapDecoders()->isWritable(loader.mediaFormat(target))
        ? RKMediaError()
        : RKMediaError(RKMediaErrorCode::UnsupportedForWriting);
}

RKMediaError Writing::errorOf(const QFileDevice& file)
{
    switch (file.error()) {
    case QFileDevice::OpenError:
    case QFileDevice::PermissionsError:
    case QFileDevice::RenameError:
        return RKMediaError(RKMediaErrorCode::NotWritable, file.errorString());
    // Qt has no word for bytes that found no more room.
    default: return RKMediaError(RKMediaErrorCode::DiskFull);
    }
}

QString Writing::usualExtension(const RKMediaDescriptor& source)
{
    return formatError(source).isError() ? QStringLiteral("jpg")
                                         : source.mediaFormat().defaultExtension();
}
