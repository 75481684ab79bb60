#include "ConvertCommand.h"
#include "FormatsCommand.h"
#include "InfoCommand.h"
#include "MessageCollector.h"
#include "Output.h"
#include "RKImageLoader/media/RKImageLoaderConfig.h"

#include "RKCore/RKInitializer.h"

#include <QFile>
#include <QFileInfo>
#include <QGuiApplication>
#include <QRegularExpression>

#include <CLI/CLI.hpp>

#include <string>
#include <vector>

namespace {

struct Arguments
{
    bool verbose = false;
    bool json = false;
    std::string config;
    std::string source;
    std::string target;
    std::string size;
    std::vector<std::string> files;
};

/// Pixels as in "800x600"; an invalid size for any other text.
QSize parseSize(const std::string& text)
{
    static const QRegularExpression pattern(
        QStringLiteral("^([1-9][0-9]{0,4})x([1-9][0-9]{0,4})$"));
    const QRegularExpressionMatch match = pattern.match(QString::fromStdString(text));
    return match.hasMatch() ? QSize(match.captured(1).toInt(), match.captured(2).toInt()) : QSize();
}

std::string checkSize(const std::string& text)
{
    return parseSize(text).isValid() ? std::string() : "a size looks like 800x600";
}

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

int runCommand(const CLI::App& app, const Arguments& arguments, MessageCollector& messages)
{
    if (app.got_subcommand("formats"))
        return runFormatsCommand(arguments.json);
    if (app.got_subcommand("info"))
        return runInfoCommand(toPaths(arguments.files), arguments.json, messages);
    return runConvertCommand(
        toPath(arguments.source), toPath(arguments.target), parseSize(arguments.size), messages);
}

} // namespace

int main(int argc, char** argv)
{
    Arguments arguments;
    CLI::App app("Opens, measures and converts pictures.", "rkimage");
    app.require_subcommand(1);
    app.add_flag("--verbose", arguments.verbose, "Show the library's messages");
    app.add_option("--config", arguments.config, "Configuration file (XML)")
        ->check(CLI::ExistingFile);

    CLI::App* formats = app.add_subcommand("formats", "List the readable and writable formats");
    formats->add_flag("--json", arguments.json, "Print JSON");

    CLI::App* info = app.add_subcommand("info", "Tell what is known of files");
    info->add_flag("--json", arguments.json, "Print JSON");
    info->add_option("FILES", arguments.files, "The files")->required();

    CLI::App* convert = app.add_subcommand("convert", "Decode a picture and save it anew");
    convert->add_option("IN", arguments.source, "The file to read")->required();
    convert->add_option("OUT", arguments.target, "The file to write; its extension is the format")
        ->required();
    convert->add_option("--size", arguments.size, "Fit into WxH pixels, proportions kept")
        ->check(checkSize);

    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& error) {
        return app.exit(error) == 0 ? Output::AllDone : Output::WrongUsage;
    }

    // No window is ever shown, so none of the desktop is needed.
    if (!qEnvironmentVariableIsSet("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
    MessageCollector messages(arguments.verbose);
    const QGuiApplication application(argc, argv);
    RKImageLoaderConfig::setConfigFile(
        QFileInfo(arguments.config.empty() ? QStringLiteral(":/rkimage/config.xml")
                                           : toPath(arguments.config)));
    RKInitializer::instance()->setup(RKInitializerOption::CommandLine);
    return runCommand(app, arguments, messages);
}
