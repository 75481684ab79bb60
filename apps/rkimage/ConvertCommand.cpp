#include "ConvertCommand.h"

#include "FileConversion.h"
#include "RKImageLoader/faces/RKFacePositions.h"
#include "RKImageLoader/loading/RKImageLoader.h"
#include "RKImageLoader/loading/RKMediaLoader.h"
#include "RKImageLoader/metadata/RKMetaData.h"
#include "Thumbnail.h"

namespace {

using Rotation = ConvertOptions::Rotation;
using Color = ConvertOptions::Color;

RKDrawable read(const RKMediaDescriptor& source, const ConvertOptions& options)
{
    const RKImageLoader& loader = *RKImageLoader::instance();
    const bool isUpright = options.rotation == Rotation::Upright;
    // Videos have neither an orientation of their own nor a profile here.
    if (!loader.hasSupportedMediaFormat(source) || (isUpright && options.color == Color::ToSrgb))
        return RKMediaLoader::instance()->drawable(source, options.size, RKImageOption());
    if (options.color == Color::ToSrgb)
        return loader.unrotatedDrawable(source, options.size, RKImageOption());

    const RKDrawable stored = loader.tryAllDecoders(loader.readBinaryFile(source.fileInfo()),
        source.fileFormatAsByteArray(),
        isUpright ? loader.swapSizeRatio(source, options.size) : options.size,
        source);
    return isUpright && stored.isBitmap() ? loader.autoRotate(source, stored) : stored;
}

/// Faces are turned as pixels are.
RKFacePositions turned(const RKFacePositions& faces, RKImageOrientation orientation)
{
    // RKFacePosition::rotated() has these two the other way round.
    switch (orientation) {
    case ORIENTATION_LEFT_TOP: return faces.rotated(ORIENTATION_RIGHT_BOTTOM);
    case ORIENTATION_RIGHT_BOTTOM: return faces.rotated(ORIENTATION_LEFT_TOP);
    default: return faces.rotated(orientation);
    }
}

/// The metadata of the source as those of the picture made of it.
RKMetaData adapted(
    const RKMediaDescriptor& source, const QImage& picture, const ConvertOptions& options)
{
    RKMetaData metaData = RKImageLoader::instance()->copyMetaData(source);
    metaData.adaptToPixels(picture.size());

    // Raw pictures are turned by their decoders whatever is asked for.
    const bool isUpright = options.rotation == Rotation::Upright || source.mediaFormat().isRaw();
    const RKFacePositions faces = metaData.regionFacePositions();
    if (!faces.isEmpty()) {
        metaData.removeFaceRegions();
        metaData.updateFaces(
            picture.size(), isUpright ? turned(faces, metaData.imageOrientation()) : faces);
    }
    if (isUpright)
        metaData.setImageOrientation(ORIENTATION_TOP_LEFT);
    const QImage thumbnail = Thumbnail::of(picture);
    if (options.color == Color::ToSrgb) {
        metaData.setThumbnail(thumbnail);
        // Also the marker of Adobe RGB: the pixels are sRGB now.
        metaData.setIccData(QByteArray());
    } else {
        // Nobody converts thumbnails, so they are in sRGB whatever the picture is in.
        metaData.setThumbnail(
            RKImageLoader::instance()->convertColorProfile(source, thumbnail).image());
    }
    return metaData;
}

} // namespace

int runConvertCommand(const QString& source,
    const QString& target,
    const ConvertOptions& options,
    MessageCollector& messages)
{
    const bool keepsMetaData = options.metaData == ConvertOptions::MetaData::Keep;
    RKMetaData metaData;
    FileConversion conversion;
    conversion.read = [&](const RKMediaDescriptor& from) {
        const RKDrawable picture = read(from, options);
        // Before the target is written, which may be the source.
        if (keepsMetaData && !picture.isNull())
            metaData = adapted(from, picture.image(), options);
        return picture;
    };
    // Apart from the picture: together, a marker of Adobe RGB would be lost always.
    if (keepsMetaData) {
        conversion.finish = [&metaData](const RKMediaDescriptor& to) {
            return RKMediaLoader::instance()->save(to, metaData);
        };
    }
    return conversion.run(source, target, messages);
}
