#include "Writing.h"

#include "RKImageLoader/decoders/RKBitmapDecoderRegistry.h"
#include "RKImageLoader/loading/RKImageLoader.h"

RKMediaError Writing::formatError(const RKMediaDescriptor& target)
{
    // Not asked of all loaders: videos count as writable among them, but no picture becomes one.
    const RKImageLoader& loader = *RKImageLoader::instance();
    return loader.bitmapDecoders()->isWritable(loader.mediaFormat(target))
        ? RKMediaError()
        : RKMediaError(RKMediaErrorCode::UnsupportedForWriting);
}
