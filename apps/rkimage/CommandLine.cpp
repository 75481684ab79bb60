#include "CommandLine.h"

#include "Arguments.h"
#include "NearestName.h"
#include "Output.h"
#include "RKImageLoader/loading/RKImageLoaderInfo.h"

#include <QFile>

#include <CLI/CLI.hpp>

#include <algorithm>
#include <iostream>
#include <vector>

namespace {

QString nearestCommand(const CLI::App& app, const std::string& word)
{
    QStringList names;
    const std::vector<const CLI::App*> commands = app.get_subcommands({});
    for (const CLI::App* command : commands)
        names << QString::fromStdString(command->get_name());
    return nearestName(QString::fromStdString(word), names);
}

bool isCommand(const CLI::App& app, const std::string& word)
{
    return !app.get_subcommands(
                   [&word](const CLI::App* command) { return command->get_name() == word; })
                .empty();
}

/// The first argument that is no option, where that should be a command and is none.
std::string unknownCommand(const CLI::App& app, int argc, char** argv)
{
    for (int i = 1; i < argc; ++i) {
        const std::string argument = argv[i];
        const CLI::Option* option = app.get_option_no_throw(argument);
        if (option != nullptr && option->get_items_expected_max() > 0)
            ++i;
        else if (argument.empty() || argument.front() != '-')
            return isCommand(app, argument) ? std::string() : argument;
    }
    return {};
}

bool isColorChoice(const std::string& text)
{
    return text == "auto" || text == "always" || text == "never";
}

/// From the last to the first, as CLI11 takes them. What follows an "=" that has nothing after it,
/// which a shell makes of --title="", would become the value.
std::vector<std::string> reversed(int argc, char** argv)
{
    const auto isEnd = [](const char* argument) { return std::string("--") == argument; };
    const auto names = std::find_if(argv + 1, argv + argc, isEnd) - argv;
    std::vector<std::string> arguments;
    for (int i = argc - 1; i > 0; --i) {
        std::string argument = argv[i];
        const bool isEmpty = i < names && argument.size() > 3 && argument.compare(0, 2, "--") == 0
            && argument.find('=') == argument.size() - 1;
        if (isEmpty) {
            argument.pop_back();
            arguments.emplace_back();
        }
        arguments.push_back(argument);
    }
    return arguments;
}

/// The first argument that was taken for options, where there is a file of that name.
std::string dashedFile(int argc, char** argv)
{
    const auto isFile = [](const char* argument) {
        return argument[0] == '-' && argument[1] != '\0'
            && QFile::exists(Arguments::toPath(argument));
    };
    char** const file = std::find_if(argv + 1, argv + argc, isFile);
    return file == argv + argc ? std::string() : *file;
}

/// One line, as for files that fail.
std::string failureLine(const CLI::App*, const CLI::Error& error)
{
    return "rkimage: " + Output::escaped(error.what()).toStdString() + '\n';
}

std::string versions()
{
    std::string text = "rkimage " RK_VERSION;
    const QList<RKThirdParty> libraries = RKImageLoaderInfo().thirdParties();
    for (const RKThirdParty& library : libraries) {
        if (!library.version.isEmpty())
            text += "\n" + library.name.toStdString() + " " + library.version.toStdString();
    }
    return text;
}

} // namespace

CommandLine::CommandLine()
    : m_app(std::make_unique<CLI::App>(
        "Opens, measures, converts and describes pictures and videos.", "rkimage"))
{
    m_app->require_subcommand(1);
    // Options of the program may stand after those of the command, too.
    m_app->fallthrough();
    m_app->set_version_flag(
        "--version", versions, "Print the versions of the program and of the libraries in it");
    m_app->failure_message(failureLine);
    CLI::Option* quiet = m_app->add_flag("--quiet",
        m_isQuiet,
        "Print results and errors only: no notes, warnings, summaries and progress bars");
    m_app->add_flag("--verbose", m_isVerbose, "Show the library's messages")->excludes(quiet);
    m_app
        ->add_option("--color",
            m_colors,
            "Colours for headings and errors: auto for terminals, unless NO_COLOR is set")
        ->type_name("auto|always|never")
        ->check(Arguments::checked(isColorChoice, "is auto, always or never"));
    m_app->add_option("--config", m_configFile, "Configuration file (XML)")
        ->type_name("FILE")
        ->check(Arguments::existingFile());
    CLI::Option* json = m_app->add_flag(
        "--json", m_isJson, "Print the results as one JSON array, and nothing else");
    m_app
        ->add_flag(
            "--jsonl", m_isJsonLines, "Print a line of JSON for each result, and nothing else")
        ->excludes(json);
    for (const auto add : {addInfoCommand,
             addConvertCommand,
             addThumbCommand,
             addSheetCommand,
             addSetCommand,
             addFacesCommand,
             addClipCommand,
             addCompareCommand,
             addCheckCommand,
             addFrameCommand,
             addFramesCommand,
             addFormatsCommand})
        add(*m_app, m_command);
}

CommandLine::~CommandLine() = default;

const CLI::App& CommandLine::app() const
{
    return *m_app;
}

std::optional<int> CommandLine::parse(int argc, char** argv)
{
    try {
        m_app->parse(reversed(argc, argv));
    } catch (const CLI::ParseError& error) {
        const std::string unknown = unknownCommand(*m_app, argc, argv);
        if (error.get_exit_code() != 0 && !unknown.empty()) {
            std::cerr << "rkimage: there is no command \""
                      << Output::escaped(unknown.c_str()).toStdString() << "\"; did you mean \""
                      << nearestCommand(*m_app, unknown).toStdString() << "\"?\n";
            return Output::WrongUsage;
        }
        if (m_app->exit(error) != 0) {
            if (const std::string file = dashedFile(argc, argv); !file.empty())
                std::cerr << "rkimage: " << Output::escaped(file.c_str()).toStdString()
                          << ": files whose names begin with a dash come after --\n";
            return Output::WrongUsage;
        }
        if (std::cout.flush())
            return Output::AllDone;
        Output::printFailure(QStringLiteral("standard output"), QStringLiteral("can't be written"));
        return Output::SomeFailed;
    }
    return {};
}

const Command& CommandLine::command() const
{
    return m_command;
}

bool CommandLine::isVerbose() const
{
    return m_isVerbose;
}

bool CommandLine::isQuiet() const
{
    return m_isQuiet;
}

Colors::When CommandLine::colors() const
{
    if (m_colors == "always")
        return Colors::When::Always;
    return m_colors == "never" ? Colors::When::Never : Colors::When::Auto;
}

Output::Style CommandLine::outputStyle() const
{
    if (m_isJson)
        return Output::Style::Json;
    return m_isJsonLines ? Output::Style::JsonLines : Output::Style::Text;
}

QString CommandLine::configFile() const
{
    return Arguments::toPath(m_configFile);
}
