#include "Arguments.h"
#include "Commands.h"
#include "MessageCollector.h"
#include "Output.h"
#include "RKImageLoader/loading/RKImageLoader.h"
#include "RKImageLoader/media/RKImageLoaderConfig.h"

#include "RKCore/RKInitializer.h"

#include <QFileInfo>
#include <QGuiApplication>

#include <CLI/CLI.hpp>

#include <algorithm>
#include <memory>

namespace {

bool isDrawing(const char* argument)
{
    return RKMediaFormat(MEDIA_FORMAT_SVG)
        .isValidExtension(QFileInfo(Arguments::toPath(argument)).suffix());
}

/// Texts need fonts, and these a QGuiApplication, which takes longer to make than most pictures do.
/// Texts are drawn in drawings, whatever is made of them, and below the pictures of a storyboard.
/// Null where a QCoreApplication is enough. That is never destroyed: it would end the threads that
/// Qt scales with, and LeakSanitizer takes one that is just ending for a leak.
std::unique_ptr<QGuiApplication> makeApplication(int& argc, char** argv, bool drawsText)
{
    // As without a desktop: pictures that don't know their resolution are saved with this one.
    QCoreApplication::setAttribute(Qt::AA_Use96Dpi);
    if (!drawsText && std::none_of(argv + 1, argv + argc, isDrawing)) {
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
    CLI::App app("Opens, measures, converts and describes pictures and videos.", "rkimage");
    app.require_subcommand(1);
    const CLI::Option* verbose
        = app.add_flag("--verbose")->description("Show the library's messages");
    const CLI::Option* config
        = app.add_option("--config", "Configuration file (XML)")->check(CLI::ExistingFile);
    for (const auto add : {addFormatsCommand,
             addInfoCommand,
             addConvertCommand,
             addClipCommand,
             addThumbCommand,
             addFrameCommand,
             addFramesCommand,
             addSetCommand,
             addFacesCommand,
             addCompareCommand,
             addSheetCommand})
        add(app, command);
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& error) {
        return app.exit(error) == 0 ? Output::AllDone : Output::WrongUsage;
    }

    MessageCollector messages(verbose->count() > 0);
    const auto application = makeApplication(argc, argv, command.drawsText);
    RKImageLoaderConfig::setConfigFile(
        QFileInfo(config->count() > 0 ? Arguments::toPath(config->as<std::string>())
                                      : QStringLiteral(":/rkimage/config.xml")));
    RKInitializer::instance()->setup(RKInitializerOption::CommandLine);
    RKImageLoader::instance()->setFlag(RKImageLoader::kTurnTiff, true);
    return command.run(messages);
}
