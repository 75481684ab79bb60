#include "Arguments.h"
#include "Commands.h"
#include "FileConversion.h"
#include "MetaDataJson.h"
#include "Output.h"
#include "RKImageLoader/loading/RKImageClipper.h"
#include "RKImageLoader/loading/RKMediaLoader.h"

#include <QRectF>
#include <QSizeF>

#include <CLI/CLI.hpp>

#include <algorithm>
#include <limits>
#include <memory>
#include <optional>
#include <string>

namespace {

/// The part of a picture and what it is printed as.
struct ClipOptions
{
    /// In pixels of the upright picture, or in parts of its sides; empty for the largest one with
    /// the proportions below, in the middle.
    QRectF rect;
    bool isInParts = false;
    QSizeF ratio;
    /// In tenths of a millimetre.
    QSizeF production;
    int dpi = 0;
    bool isUpscaled = false;
};

/// As they come; CLI11 fills them.
struct ClipArguments
{
    std::string source;
    std::string target;
    std::string format;
    std::string rect;
    std::string ratio;
    std::string production;
    int dpi = 0;
    bool isCentered = false;
    bool isUpscaled = false;

    ClipOptions options() const;
};

/// Pixels as in "100,50,640,480", or per cent as in "10%,5%,80%,90%".
std::optional<ClipOptions> parsePart(const std::string& text)
{
    ClipOptions options;
    QString numbers = QString::fromStdString(text);
    options.isInParts = numbers.count(u'%') == 4;
    if (options.isInParts)
        numbers.remove(u'%');
    const auto rect = Arguments::parseRect(numbers.toStdString());
    if (!rect)
        return {};
    options.rect = options.isInParts ? QRectF(rect->topLeft() / 100, rect->size() / 100) : *rect;
    return options;
}

/// As in "3:2".
std::optional<QSizeF> parseRatio(const std::string& text)
{
    return Arguments::parseProduction(
        QString::fromStdString(text).replace(u':', u'x').toStdString());
}

ClipOptions ClipArguments::options() const
{
    ClipOptions options = parsePart(rect).value_or(ClipOptions());
    options.production = *Arguments::parseProduction(production);
    options.ratio = parseRatio(ratio).value_or(options.production);
    options.dpi = dpi;
    options.isUpscaled = isUpscaled;
    return options;
}

/// The part in pixels of a picture of that size.
QRectF partOf(const QSizeF& size, const ClipOptions& options)
{
    if (options.rect.isEmpty()) {
        QRectF part({}, options.ratio.scaled(size, Qt::KeepAspectRatio));
        part.moveCenter(QRectF({}, size).center());
        return part;
    }
    if (!options.isInParts)
        return options.rect;
    return {options.rect.x() * size.width(),
        options.rect.y() * size.height(),
        options.rect.width() * size.width(),
        options.rect.height() * size.height()};
}

/// How many pixels of the picture an inch of the print has.
int reachedDpi(const QRectF& part, const ClipOptions& options)
{
    constexpr double kTenthsOfMillimetresPerInch = 254;
    const double dpi = std::min(part.width() / options.production.width(),
                           part.height() / options.production.height())
        * kTenthsOfMillimetresPerInch;
    return int(std::min<double>(dpi, std::numeric_limits<int>::max()));
}

void tellResolution(const QString& target, int reached, const ClipOptions& options)
{
    Output::note(QStringLiteral("%1: %2 dpi of the picture, %3 wanted")
                     .arg(target)
                     .arg(reached)
                     .arg(options.dpi));
    if (reached < options.dpi) {
        Output::warn(
            target, QStringLiteral("%1 dpi are less than %2").arg(reached).arg(options.dpi));
    }
}

int saveClip(const InputFile& source, const OutputFile& target, const ClipOptions& options)
{
    QRectF part;
    FileConversion conversion;
    conversion.read = [&](const RKMediaDescriptor& from, RKMediaError* error) {
        const QSizeF size = RKMediaLoader::instance()->size(from, error);
        if (!size.isValid())
            return RKDrawable();
        part = partOf(size, options);
        // Not in full: hosts clip a little beyond the edge, which is rounded there.
        const QRectF whole = QRectF({}, size).adjusted(-1, -1, 1, 1);
        const bool isDrawing = from.mediaFormat().isSVG();
        if (!isDrawing && !whole.contains(part)) {
            *error = RKMediaError(RKMediaErrorCode::TooSmall,
                QStringLiteral("the part reaches beyond the picture of %1x%2 pixels")
                    .arg(size.width())
                    .arg(size.height()));
            return RKDrawable();
        }
        return RKDrawable(RKImageClipper().clipForProduction(
            from, part, options.production, options.dpi, options.isUpscaled, error));
    };
    Result result = conversion.run(source, target);
    result.insert(QStringLiteral("wantedDpi"), options.dpi);
    if (!part.isEmpty()) {
        result.insert(QStringLiteral("part"), MetaDataJson::fromRect(part));
        // Drawings have as many as are wanted.
        if (!RKMediaDescriptor(QFileInfo(source.path)).mediaFormat().isSVG()) {
            const int reached = reachedDpi(part, options);
            result.insert(QStringLiteral("reachedDpi"), reached);
            if (result.isDone())
                tellResolution(target.name(), reached, options);
        }
    }
    return result.report();
}

} // namespace

void addClipCommand(CLI::App& app, Command& command)
{
    const auto arguments = std::make_shared<ClipArguments>();
    CLI::App* clip
        = app.add_subcommand("clip", "Save a part of a picture with the pixels of a print");
    addInput(*clip, "IN", arguments->source, "The file to read");
    OutputFile::addTo(*clip, arguments->target, arguments->format);
    CLI::Option_group* part = clip->add_option_group("Which part");
    part->add_option("--rect",
            arguments->rect,
            "The part as x,y,w,h in pixels of the upright picture, or per cent: 10%,0%,80%,100%")
        ->type_name("X,Y,W,H")
        ->check(Arguments::checked(parsePart, "a rectangle looks like 100,50,640,480"));
    CLI::Option* center = part->add_flag(
        "--center", arguments->isCentered, "The largest part of the print's proportions");
    part->require_option(1);
    clip->add_option("--ratio", arguments->ratio, "Other proportions for --center: 3:2")
        ->type_name("W:H")
        ->needs(center)
        ->check(Arguments::checked(parseRatio, "proportions look like 3:2"));
    clip->add_option("--production",
            arguments->production,
            "Size of the print as WxH in tenths of a millimetre")
        ->type_name("WxH")
        ->required()
        ->check(Arguments::checked(Arguments::parseProduction, "a print looks like 1500x1000"));
    clip->add_option("--dpi", arguments->dpi, "Resolution of the print")
        ->type_name("N")
        ->required()
        ->check(CLI::Range(1, 100000));
    clip->add_flag(
        "--allow-upscaling", arguments->isUpscaled, "Enlarge bitmaps beyond their own pixels");
    clip->footer("rkimage clip --center --production 1500x1000 --dpi 300 photo.jpg print.jpg");
    clip->callback([arguments, &command] {
        OutputFile::check(arguments->target, arguments->format);
        command.writesPicture = OutputFile::isStandardOutput(arguments->target);
        command.run = [arguments] {
            const InputFile source = InputFile::of(arguments->source);
            return saveClip(source,
                OutputFile(arguments->target, source, arguments->format),
                arguments->options());
        };
    });
}
