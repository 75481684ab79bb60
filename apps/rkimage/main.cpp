#include "ClipCommand.h"
#include "ConvertCommand.h"
#include "FacesCommand.h"
#include "FormatsCommand.h"
#include "FrameCommands.h"
#include "InfoCommand.h"
#include "MessageCollector.h"
#include "Output.h"
#include "RKImageLoader/loading/RKImageLoader.h"
#include "RKImageLoader/media/RKImageLoaderConfig.h"
#include "SetCommand.h"
#include "ThumbCommand.h"

#include "RKCore/RKInitializer.h"

#include <QFile>
#include <QFileInfo>
#include <QGuiApplication>
#include <QRectF>
#include <QRegularExpression>
#include <QThread>

#include <CLI/CLI.hpp>

#include <algorithm>
#include <cmath>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace {

/// What the chosen subcommand does; set while the arguments are parsed, run when Qt is up.
using Command = std::function<int(MessageCollector& messages)>;

using Text = std::optional<std::string>;

QString toPath(const std::string& argument)
{
    return QFile::decodeName(argument.c_str());
}

QStringList toPaths(const std::vector<std::string>& arguments)
{
    QStringList paths;
    for (const std::string& argument : arguments)
        paths << toPath(argument);
    return paths;
}

std::optional<QString> toText(const Text& argument)
{
    return argument ? std::optional(QString::fromStdString(*argument)) : std::nullopt;
}

QStringList toTexts(const std::vector<std::string>& arguments)
{
    QStringList texts;
    for (const std::string& argument : arguments)
        texts << QString::fromStdString(argument);
    return texts;
}

/// Pixels as in "800x600".
std::optional<QSize> parseSize(const std::string& text)
{
    static const QRegularExpression pattern(
        QStringLiteral("^([1-9][0-9]{0,4})x([1-9][0-9]{0,4})$"));
    const QRegularExpressionMatch match = pattern.match(QString::fromStdString(text));
    if (!match.hasMatch())
        return {};
    return QSize(match.captured(1).toInt(), match.captured(2).toInt());
}

/// As many numbers as wanted; each of them finite.
std::optional<QList<double>> parseNumbers(const std::string& text, QChar separator, int count)
{
    const QStringList parts = QString::fromStdString(text).split(separator);
    QList<double> numbers;
    for (const QString& part : parts) {
        bool ok = false;
        numbers << part.toDouble(&ok);
        if (!ok || !std::isfinite(numbers.last()))
            return {};
    }
    return numbers.size() == count ? std::optional(numbers) : std::nullopt;
}

/// Pixels as in "100,50,640,480".
std::optional<QRectF> parseRect(const std::string& text)
{
    const auto numbers = parseNumbers(text, u',', 4);
    if (!numbers || (*numbers)[2] <= 0 || (*numbers)[3] <= 0)
        return {};
    return QRectF((*numbers)[0], (*numbers)[1], (*numbers)[2], (*numbers)[3]);
}

/// Tenths of a millimetre as in "1500x1000".
std::optional<QSizeF> parseProduction(const std::string& text)
{
    const auto numbers = parseNumbers(text, u'x', 2);
    if (!numbers || (*numbers)[0] <= 0 || (*numbers)[1] <= 0)
        return {};
    return QSizeF((*numbers)[0], (*numbers)[1]);
}

/// Degrees as in "48.858222,2.2945".
std::optional<RKGeoPosition> parsePosition(const std::string& text)
{
    const QStringList parts = QString::fromStdString(text).split(u',');
    bool isLatitude = false;
    bool isLongitude = false;
    const RKGeoPosition position(
        parts.value(0).toDouble(&isLatitude), parts.value(1).toDouble(&isLongitude));
    const bool ok = parts.size() == 2 && isLatitude && isLongitude && position.isValid();
    return ok ? std::optional(position) : std::nullopt;
}

std::optional<QDateTime> parseDateTime(const std::string& text)
{
    const QDateTime parsed = QDateTime::fromString(QString::fromStdString(text), Qt::ISODate);
    // Invalid as a whole is also a time that clocks here skipped, though others showed it.
    const bool isDate = parsed.date().isValid() && parsed.time().isValid();
    return isDate ? std::optional(parsed) : std::nullopt;
}

/// A check for CLI11: no text means that the argument is right.
template <typename Parse>
auto checked(Parse parse, const char* hint)
{
    return [parse, hint](
               const std::string& text) { return parse(text) ? std::string() : std::string(hint); };
}

void addFormats(CLI::App& app, Command& command)
{
    CLI::App* formats = app.add_subcommand("formats", "List the readable and writable formats");
    const CLI::Option* json = formats->add_flag("--json")->description("Print JSON");
    formats->callback([&command, json] {
        command = [json = json->count() > 0](MessageCollector&) { return runFormatsCommand(json); };
    });
}

void addInfo(CLI::App& app, std::vector<std::string>& files, Command& command)
{
    CLI::App* info = app.add_subcommand("info", "Tell what is known of files");
    const CLI::Option* json = info->add_flag("--json")->description("Print JSON");
    const CLI::Option* all
        = info->add_flag("--all")->description("Print every datum of the metadata too");
    info->add_option("FILES", files, "The files")->required();
    info->callback([&command, &files, json, all] {
        const auto style = json->count() > 0 ? InfoStyle::Json : InfoStyle::Text;
        const auto extent
            = all->count() > 0 ? MetaDataJson::Extent::All : MetaDataJson::Extent::Named;
        command = [&files, style, extent](MessageCollector& messages) {
            return runInfoCommand(toPaths(files), style, extent, messages);
        };
    });
}

void addConvert(CLI::App& app, Command& command)
{
    CLI::App* convert = app.add_subcommand("convert", "Decode a picture and save it anew");
    const CLI::Option* source = convert->add_option("IN", "The file to read")->required();
    const CLI::Option* target
        = convert->add_option("OUT", "The file to write; its extension is the format")->required();
    const CLI::Option* size = convert->add_option("--size", "Fit into WxH pixels, proportions kept")
                                  ->check(checked(parseSize, "a size looks like 800x600"));
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
            options.size = *parseSize(size->as<std::string>());
        if (keepMetaData->count() > 0)
            options.metaData = ConvertOptions::MetaData::Keep;
        if (noRotate->count() > 0)
            options.rotation = ConvertOptions::Rotation::AsStored;
        if (noColor->count() > 0)
            options.color = ConvertOptions::Color::AsStored;
        command = [from = toPath(source->as<std::string>()),
                      to = toPath(target->as<std::string>()),
                      options](MessageCollector& messages) {
            return runConvertCommand(from, to, options, messages);
        };
    });
}

void addClip(CLI::App& app, Command& command)
{
    CLI::App* clip
        = app.add_subcommand("clip", "Save a part of a picture with the pixels of a print");
    const CLI::Option* source = clip->add_option("IN", "The file to read")->required();
    const CLI::Option* target
        = clip->add_option("OUT", "The file to write; its extension is the format")->required();
    const CLI::Option* rect
        = clip->add_option("--rect", "The part as x,y,w,h in pixels of the upright picture")
              ->required()
              ->check(checked(parseRect, "a rectangle looks like 100,50,640,480"));
    const CLI::Option* production
        = clip->add_option("--production", "Size of the print as WxH in tenths of a millimetre")
              ->required()
              ->check(checked(parseProduction, "a print looks like 1500x1000"));
    const CLI::Option* dpi = clip->add_option("--dpi", "Resolution of the print")
                                 ->required()
                                 ->check(CLI::Range(1, 100000));
    const CLI::Option* upscaling = clip->add_flag("--allow-upscaling")
                                       ->description("Enlarge bitmaps beyond their own pixels");
    clip->callback([=, &command] {
        ClipOptions options;
        options.rect = *parseRect(rect->as<std::string>());
        options.production = *parseProduction(production->as<std::string>());
        options.dpi = dpi->as<int>();
        if (upscaling->count() > 0)
            options.upscaling = ClipOptions::Upscaling::Allowed;
        command = [from = toPath(source->as<std::string>()),
                      to = toPath(target->as<std::string>()),
                      options](MessageCollector& messages) {
            return runClipCommand(from, to, options, messages);
        };
    });
}

void addThumb(CLI::App& app, std::vector<std::string>& files, Command& command)
{
    CLI::App* thumb = app.add_subcommand("thumb", "Make thumbnails of files");
    const CLI::Option* side = thumb->add_option("--size", "Longest side of a thumbnail in pixels")
                                  ->required()
                                  ->check(CLI::Range(1, 10000));
    const CLI::Option* folder = thumb->add_option("--out", "Folder for the thumbnails")->required();
    const CLI::Option* jobs = thumb->add_option("--jobs", "How many to make at the same time")
                                  ->check(CLI::Range(1, 256));
    thumb->add_option("FILES", files, "The files")->required();
    thumb->callback([=, &files, &command] {
        ThumbOptions options;
        options.side = side->as<int>();
        options.folder = toPath(folder->as<std::string>());
        options.jobs = jobs->count() > 0 ? jobs->as<int>() : QThread::idealThreadCount();
        command = [&files, options](MessageCollector& messages) {
            return runThumbCommand(toPaths(files), options, messages);
        };
    });
}

/// The arguments of `rkimage frame` and `rkimage frames` as they come; CLI11 fills them.
struct FrameArguments
{
    std::string video;
    std::string target;
    FrameChoice choice;
    std::string size;
    std::optional<qint64> everyMs;
    std::optional<int> count;
    std::string folder;
    std::string sheet;
};

void addFrame(CLI::App& app, FrameArguments& arguments, Command& command)
{
    CLI::App* frame = app.add_subcommand("frame", "Save one frame of a video");
    frame->add_option("VIDEO", arguments.video, "The video")->required();
    frame->add_option("OUT", arguments.target, "The file to write; its extension is the format")
        ->required();
    CLI::Option* number
        = frame->add_option("--frame", arguments.choice.frame, "The frame's number, from 0")
              ->check(CLI::NonNegativeNumber);
    frame->add_option("--ms", arguments.choice.ms, "The frame's time in milliseconds")
        ->check(CLI::NonNegativeNumber)
        ->excludes(number);
    frame->add_option("--size", arguments.size, "Fit into WxH pixels, proportions kept")
        ->check(checked(parseSize, "a size looks like 800x600"));
    frame->callback([&arguments, &command] {
        command = [&arguments](MessageCollector& messages) {
            return runFrameCommand(toPath(arguments.video),
                toPath(arguments.target),
                arguments.choice,
                parseSize(arguments.size).value_or(QSize()),
                messages);
        };
    });
}

void addFrames(CLI::App& app, FrameArguments& arguments, Command& command)
{
    CLI::App* frames = app.add_subcommand("frames", "Save many frames of a video");
    frames->add_option("VIDEO", arguments.video, "The video")->required();
    CLI::Option_group* which = frames->add_option_group("Which frames");
    which->add_option("--every", arguments.everyMs, "One every so many milliseconds")
        ->check(CLI::PositiveNumber);
    which->add_option("--count", arguments.count, "So many, spread evenly")
        ->check(CLI::Range(1, 10000));
    which->require_option(1);
    CLI::Option_group* target = frames->add_option_group("What to write");
    target->add_option("--out", arguments.folder, "Folder for one JPEG per frame");
    target->add_option("--sheet", arguments.sheet, "Picture that shows all frames");
    target->require_option(1, 2);
    frames->callback([&arguments, &command] {
        command = [&arguments](MessageCollector& messages) {
            const FramesRequest request{arguments.everyMs,
                arguments.count,
                toPath(arguments.folder),
                toPath(arguments.sheet)};
            return runFramesCommand(toPath(arguments.video), request, messages);
        };
    });
}

/// The arguments of `rkimage set` as they come; CLI11 fills them while it parses.
struct SetArguments
{
    std::vector<std::string> files;
    std::optional<int> rating;
    std::optional<int> orientation;
    Text rotate;
    Text taken;
    Text position;
    Text title;
    Text keywords;
    std::vector<std::string> keywordList;
    std::vector<std::string> addedKeywords;
    std::vector<std::string> removedKeywords;
    Text author;
    Text copyright;
    Text comment;
    Text profile;
    Text thumbnail;
    bool dryRun = false;

    MetaDataChanges changes() const
    {
        MetaDataChanges changes;
        changes.rating = rating;
        if (orientation)
            changes.orientation = RKImageOrientation(*orientation);
        if (rotate)
            changes.rotateClockwise = *rotate == "cw";
        if (taken)
            changes.taken = parseDateTime(*taken);
        if (position)
            changes.position = parsePosition(*position);
        changes.title = toText(title);
        if (keywords)
            changes.keywords = QString::fromStdString(*keywords).split(QLatin1Char(','));
        else if (!keywordList.empty())
            changes.keywords = toTexts(keywordList);
        changes.addedKeywords = toTexts(addedKeywords);
        changes.removedKeywords = toTexts(removedKeywords);
        changes.author = toText(author);
        changes.copyright = toText(copyright);
        changes.comment = toText(comment);
        if (profile)
            changes.profile = toPath(*profile);
        if (thumbnail)
            changes.thumbnail = toPath(*thumbnail);
        changes.mode = dryRun ? MetaDataChanges::Mode::DryRun : MetaDataChanges::Mode::Write;
        return changes;
    }
};

void addSet(CLI::App& app, SetArguments& arguments, Command& command)
{
    CLI::App* set
        = app.add_subcommand("set", "Change the metadata of files; their pixels stay as they are");
    set->add_option("FILES", arguments.files, "The files")->required();
    set->add_option("--rating", arguments.rating, "Stars, 0 to 5")->check(CLI::Range(0, 5));
    set->add_option("--orientation", arguments.orientation, "Exif orientation, 1 to 8")
        ->check(CLI::Range(1, 8));
    set->add_option("--rotate", arguments.rotate, "Turn by 90 degrees: cw or ccw")
        ->check(CLI::IsMember({"cw", "ccw"}));
    set->add_option("--taken", arguments.taken, "When the picture was taken, ISO 8601")
        ->check(checked(parseDateTime, "a date looks like 2021-07-04T12:30:00"));
    set->add_option("--gps", arguments.position, "Where, in degrees: LAT,LON")
        ->check(checked(parsePosition, "a position looks like 48.858222,2.2945"));
    set->add_option("--title", arguments.title, "Title");
    CLI::Option* keywords
        = set->add_option("--keywords", arguments.keywords, "All keywords, separated by commas");
    const auto addKeywordOption = [set](const char* name, auto& texts, const char* description) {
        return set->add_option(name, texts, description)->allow_extra_args(false);
    };
    addKeywordOption("--keyword", arguments.keywordList, "A keyword; repeat it for all of them")
        ->excludes(keywords);
    addKeywordOption("--add-keyword", arguments.addedKeywords, "A keyword to add to the others");
    addKeywordOption("--remove-keyword", arguments.removedKeywords, "A keyword to remove");
    set->add_option("--author", arguments.author, "Author");
    set->add_option("--copyright", arguments.copyright, "Copyright");
    set->add_option("--comment", arguments.comment, "Comment");
    set->add_option("--icc", arguments.profile, "Colour profile to embed")
        ->check(CLI::ExistingFile);
    set->add_option("--thumbnail",
        arguments.thumbnail,
        "Thumbnail to embed: a picture, auto for one of the file itself, or none");
    set->add_flag("--dry-run", arguments.dryRun, "Write nothing");
    set->callback([&arguments, &command] {
        command = [&arguments](MessageCollector& messages) {
            return runSetCommand(toPaths(arguments.files), arguments.changes(), messages);
        };
    });
}

void addFacesOfOneFile(CLI::App& faces,
    const char* name,
    const char* description,
    int (*run)(const QString&, MessageCollector&),
    Command& command)
{
    CLI::App* action = faces.add_subcommand(name, description);
    const CLI::Option* file = action->add_option("FILE", "The picture")->required();
    action->callback([&command, file, run] {
        command = [path = toPath(file->as<std::string>()), run](
                      MessageCollector& messages) { return run(path, messages); };
    });
}

void addFacesOfTwoFiles(CLI::App& faces,
    const char* name,
    const char* description,
    const char* second,
    int (*run)(const QString&, const QString&, MessageCollector&),
    Command& command)
{
    CLI::App* action = faces.add_subcommand(name, description);
    const CLI::Option* file = action->add_option("FILE", "The picture")->required();
    const CLI::Option* other = action->add_option(second, "The other file")->required();
    action->callback([&command, file, other, run] {
        command = [path = toPath(file->as<std::string>()),
                      otherPath = toPath(other->as<std::string>()),
                      run](MessageCollector& messages) { return run(path, otherPath, messages); };
    });
}

void addFaces(CLI::App& app, Command& command)
{
    CLI::App* faces = app.add_subcommand("faces", "The faces of a picture");
    faces->require_subcommand(1);
    addFacesOfOneFile(*faces, "list", "Print the faces as JSON", runFacesListCommand, command);
    addFacesOfOneFile(*faces, "remove", "Remove all face regions", runFacesRemoveCommand, command);
    addFacesOfTwoFiles(
        *faces, "set", "Merge the faces of a JSON file", "JSON", runFacesSetCommand, command);
    addFacesOfTwoFiles(*faces,
        "draw",
        "Save the picture with its faces framed",
        "OUT",
        runFacesDrawCommand,
        command);
}

bool isDrawing(const char* argument)
{
    return RKMediaFormat(MEDIA_FORMAT_SVG).isValidExtension(QFileInfo(toPath(argument)).suffix());
}

/// Texts need fonts, and these a QGuiApplication, which takes longer to make than most pictures do.
/// Texts are drawn in drawings, whatever is made of them, and below the pictures of a storyboard.
/// Null where a QCoreApplication is enough. That is never destroyed: it would end the threads that
/// Qt scales with, and LeakSanitizer takes one that is just ending for a leak.
std::unique_ptr<QGuiApplication> makeApplication(int& argc, char** argv, bool hasStoryboard)
{
    // As without a desktop: pictures that don't know their resolution are saved with this one.
    QCoreApplication::setAttribute(Qt::AA_Use96Dpi);
    if (!hasStoryboard && std::none_of(argv + 1, argv + argc, isDrawing)) {
        [[maybe_unused]] static const auto* const core = new QCoreApplication(argc, argv);
        return nullptr;
    }
    // No window is ever shown, so none of the desktop is needed.
    if (!qEnvironmentVariableIsSet("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
    return std::make_unique<QGuiApplication>(argc, argv);
}

} // namespace

int main(int argc, char** argv)
{
    Command command;
    std::vector<std::string> infoFiles;
    std::vector<std::string> thumbFiles;
    FrameArguments frameArguments;
    SetArguments setArguments;
    CLI::App app("Opens, measures, converts and describes pictures and videos.", "rkimage");
    app.require_subcommand(1);
    const CLI::Option* verbose
        = app.add_flag("--verbose")->description("Show the library's messages");
    const CLI::Option* config
        = app.add_option("--config", "Configuration file (XML)")->check(CLI::ExistingFile);
    addFormats(app, command);
    addInfo(app, infoFiles, command);
    addConvert(app, command);
    addClip(app, command);
    addThumb(app, thumbFiles, command);
    addFrame(app, frameArguments, command);
    addFrames(app, frameArguments, command);
    addSet(app, setArguments, command);
    addFaces(app, command);
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& error) {
        return app.exit(error) == 0 ? Output::AllDone : Output::WrongUsage;
    }

    MessageCollector messages(verbose->count() > 0);
    const auto application = makeApplication(argc, argv, !frameArguments.sheet.empty());
    RKImageLoaderConfig::setConfigFile(
        QFileInfo(config->count() > 0 ? toPath(config->as<std::string>())
                                      : QStringLiteral(":/rkimage/config.xml")));
    RKInitializer::instance()->setup(RKInitializerOption::CommandLine);
    RKImageLoader::instance()->setFlag(RKImageLoader::kTurnTiff, true);
    return command(messages);
}
