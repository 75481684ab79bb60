#include "panel/FileFacts.h"

#include "RKImageLoader/loading/RKImageLoader.h"
#include "RKImageLoader/loading/RKMediaLoader.h"
#include "RKImageLoader/video/RKVideoDecoderRegistry.h"

#include <QFileInfo>

FileFacts FileFacts::read(const QString& filePath)
{
    const RKMediaDescriptor descriptor{QFileInfo(filePath)};
    const RKMediaLoader& loader = *RKMediaLoader::instance();
    const RKVideoDecoderRegistry& videos = *RKVideoDecoderRegistry::instance();
    loader.invalidateMetaData(descriptor);
    RKMediaError error;
    const QSize size = loader.size(descriptor, &error);
    FileFacts facts;
    facts.problem = error.text();
    facts.isPicture = descriptor.mediaFormat().isBitmap();
    if (facts.isPicture)
        facts.metaData = RKImageLoader::instance()->copyMetaData(descriptor);
    else if (descriptor.mediaFormat().isVideo())
        facts.metaData = videos.metaData(descriptor);
    facts.card = RKMediaCard::groups(descriptor, size, facts.metaData);
    videos.freeResource(descriptor);
    return facts;
}
