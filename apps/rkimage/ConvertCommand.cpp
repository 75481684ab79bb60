#include "Arguments.h"
#include "Commands.h"
#include "FileConversion.h"
#include "RKImageLoader/faces/RKFacePositions.h"
#include "RKImageLoader/loading/RKImageLoader.h"
#include "RKImageLoader/loading/RKMediaLoader.h"
#include "RKImageLoader/metadata/RKMetaData.h"
#include "Thumbnail.h"

#include <CLI/CLI.hpp>

namespace {

/// How `rkimage convert` makes one picture of another.
struct ConvertOptions
{
    enum class Rotation
    {
        Upright,
        AsStored
    };

    enum class Color
    {
        ToSrgb,
        AsStored
    };

    enum class MetaData
    {
        Drop,
        Keep
    };

    /// To fit into; an invalid one means full size.
    QSize size;
    Rotation rotation = Rotation::Upright;
    Color color = Color::ToSrgb;
    MetaData metaData = MetaData::Drop;
};

using Rotation = ConvertOptions::Rotation;
using Color = ConvertOptions::Color;

RKDrawable read(const RKMediaDescriptor& source, const ConvertOptions& options, RKMediaError* error)
{
    const RKImageLoader& loader = *RKImageLoader::instance();
    const bool isUpright = options.rotation == Rotation::Upright;
    // Videos have neither an orientation of their own nor a profile here.
    if (!loader.hasSupportedMediaFormat(source) || (isUpright && options.color == Color::ToSrgb))
        return RKMediaLoader::instance()->drawable(source, options.size, RKImageOption(), error);
    if (options.color == Color::ToSrgb)
        return loader.unrotatedDrawable(source, options.size, RKImageOption(), error);

    // The steps of the loader without that of the colours.
    const RKDrawable stored = loader.tryAllDecoders(loader.readBinaryFile(source.fileInfo()),
        source.fileFormatAsByteArray(),
        isUpright ? loader.swapSizeRatio(source, options.size) : options.size,
        source);
    // The loader says why it fails, too.
    if (stored.isNull())
        return loader.unrotatedDrawable(source, options.size, RKImageOption(), error);
    return isUpright && stored.isBitmap() ? loader.autoRotate(source, stored) : stored;
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
            picture.size(), isUpright ? faces.toUpright(metaData.imageOrientation()) : faces);
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

int convertFile(const QString& source, const QString& target, const ConvertOptions& options)
{
    const bool keepsMetaData = options.metaData == ConvertOptions::MetaData::Keep;
    RKMetaData metaData;
    FileConversion conversion;
    conversion.read = [&](const RKMediaDescriptor& from, RKMediaError* error) {
        const RKDrawable picture = read(from, options, error);
        // Before the target is written, which may be the source.
        if (keepsMetaData && !picture.isNull())
            metaData = adapted(from, picture.image(), options);
        return picture;
    };
    // Apart from the picture: together, a marker of Adobe RGB would be lost always.
    if (keepsMetaData) {
        conversion.finish = [&metaData](const RKMediaDescriptor& to, RKMediaError* error) {
            return RKMediaLoader::instance()->save(to, metaData, error);
        };
    }
    return conversion.run(source, target);
}

} // namespace

void addConvertCommand(CLI::App& app, Command& command)
{
    CLI::App* convert = app.add_subcommand("convert", "Decode a picture and save it anew");
    const CLI::Option* source = convert->add_option("IN", "The file to read")->required();
    const CLI::Option* target
        = convert->add_option("OUT", "The file to write; its extension is the format")->required();
    const CLI::Option* size
        = convert->add_option("--size", "Fit into WxH pixels, proportions kept")
              ->type_name("WxH")
              ->check(Arguments::checked(Arguments::parseSize, "a size looks like 800x600"));
    const CLI::Option* keepMetaData
        = convert->add_flag("--keep-metadata")
              ->description("Copy the metadata, adapted to the picture");
    const CLI::Option* noRotate
        = convert->add_flag("--no-rotate")->description("Leave the picture as it is stored");
    const CLI::Option* noColor
        = convert->add_flag("--no-color")->description("Leave the colours in their profile");
    convert->callback([=, &command] {
        ConvertOptions options;
        if (size->count() > 0)
            options.size = *Arguments::parseSize(size->as<std::string>());
        if (keepMetaData->count() > 0)
            options.metaData = ConvertOptions::MetaData::Keep;
        if (noRotate->count() > 0)
            options.rotation = ConvertOptions::Rotation::AsStored;
        if (noColor->count() > 0)
            options.color = ConvertOptions::Color::AsStored;
        command.run = [from = Arguments::toPath(source->as<std::string>()),
                          to = Arguments::toPath(target->as<std::string>()),
                          options]() { return convertFile(from, to, options); };
    });
}
