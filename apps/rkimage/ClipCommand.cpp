#include "Arguments.h"
#include "Commands.h"
#include "FileConversion.h"
#include "RKImageLoader/loading/RKImageClipper.h"

#include <QRectF>
#include <QSizeF>

#include <CLI/CLI.hpp>

namespace {

/// The part of a picture and what it is printed as.
struct ClipOptions
{
    enum class Upscaling
    {
        No,
        Allowed
    };

    /// In pixels of the upright picture.
    QRectF rect;
    /// In tenths of a millimetre.
    QSizeF production;
    int dpi = 0;
    Upscaling upscaling = Upscaling::No;
};

int saveClip(const QString& source, const QString& target, const ClipOptions& options)
{
    FileConversion conversion;
    conversion.read = [&options](const RKMediaDescriptor& from, RKMediaError* error) {
        return RKDrawable(RKImageClipper().clipForProduction(from,
            options.rect,
            options.production,
            options.dpi,
            options.upscaling == ClipOptions::Upscaling::Allowed,
            error));
    };
    return conversion.run(source, target);
}

} // namespace

void addClipCommand(CLI::App& app, Command& command)
{
    CLI::App* clip
        = app.add_subcommand("clip", "Save a part of a picture with the pixels of a print");
    const CLI::Option* source = clip->add_option("IN", "The file to read")->required();
    const CLI::Option* target
        = clip->add_option("OUT", "The file to write; its extension is the format")->required();
    const CLI::Option* rect
        = clip->add_option("--rect", "The part as x,y,w,h in pixels of the upright picture")
              ->type_name("X,Y,W,H")
              ->required()
              ->check(Arguments::checked(
                  Arguments::parseRect, "a rectangle looks like 100,50,640,480"));
    const CLI::Option* production
        = clip->add_option("--production", "Size of the print as WxH in tenths of a millimetre")
              ->type_name("WxH")
              ->required()
              ->check(
                  Arguments::checked(Arguments::parseProduction, "a print looks like 1500x1000"));
    const CLI::Option* dpi = clip->add_option("--dpi", "Resolution of the print")
                                 ->type_name("N")
                                 ->required()
                                 ->check(CLI::Range(1, 100000));
    const CLI::Option* upscaling = clip->add_flag("--allow-upscaling")
                                       ->description("Enlarge bitmaps beyond their own pixels");
    clip->callback([=, &command] {
        ClipOptions options;
        options.rect = *Arguments::parseRect(rect->as<std::string>());
        options.production = *Arguments::parseProduction(production->as<std::string>());
        options.dpi = dpi->as<int>();
        if (upscaling->count() > 0)
            options.upscaling = ClipOptions::Upscaling::Allowed;
        command.run = [from = Arguments::toPath(source->as<std::string>()),
                          to = Arguments::toPath(target->as<std::string>()),
                          options]() { return saveClip(from, to, options); };
    });
}
