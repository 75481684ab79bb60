#include "Documents.h"

#include <CLI/CLI.hpp>

#include <set>
#include <sstream>

namespace {

/// Text as roff shows it, letter by letter.
std::string escaped(const std::string& text)
{
    std::string result;
    bool isLineStart = true;
    for (const char letter : text) {
        // Control lines begin so.
        if (isLineStart && (letter == '.' || letter == '\''))
            result += "\\&";
        if (letter == '\\')
            result += "\\e";
        else if (letter == '-')
            result += "\\-";
        else
            result += letter;
        isLineStart = letter == '\n';
    }
    return result;
}

std::string upper(std::string text)
{
    for (char& letter : text)
        letter = char(std::toupper(static_cast<unsigned char>(letter)));
    return text;
}

void writeHeader(
    std::ostream& out, const std::string& name, const std::string& version, const std::string& what)
{
    out << ".TH " << escaped(upper(name)) << " 1 \"\" \"rkimage " << escaped(version) << "\"\n"
        << ".SH NAME\n"
        << escaped(name) << " \\- " << escaped(what) << '\n';
}

void writeOption(std::ostream& out, const CLI::Option& option)
{
    out << ".TP\n";
    const char* separator = "";
    for (const std::string& name : Documents::namesOf(option)) {
        out << separator << "\\fB" << escaped(name) << "\\fR";
        separator = ", ";
    }
    if (const std::string value = Documents::valueOf(option); !value.empty())
        out << " \\fI" << escaped(value) << "\\fR";
    out << '\n'
        << escaped(option.get_description()) << (option.get_required() ? "; required\n" : "\n");
}

/// The positional arguments.
std::vector<const CLI::Option*> placesOf(const CLI::App& app)
{
    return app.get_options([](const CLI::Option* option) { return option->get_positional(); });
}

void writePlaces(std::ostream& out, const CLI::App& app)
{
    if (placesOf(app).empty())
        return;
    out << ".SH ARGUMENTS\n";
    for (const CLI::Option* place : placesOf(app)) {
        out << ".TP\n\\fI" << escaped(place->get_name(true)) << "\\fR\n"
            << escaped(place->get_description()) << '\n';
    }
}

void writeGroup(std::ostream& out, const CLI::App& group)
{
    out << ".SS " << escaped(group.get_group())
        << (group.get_require_option_max() == 1 ? ": one of these\n" : ": at least one of these\n");
    for (const CLI::Option* option : Documents::optionsOf(group))
        writeOption(out, *option);
}

void writeOptions(std::ostream& out, const CLI::App& app)
{
    const auto groups = Documents::groupsOf(app);
    std::set<const CLI::Option*> grouped;
    for (const CLI::App* group : groups) {
        const auto options = Documents::optionsOf(*group);
        grouped.insert(options.begin(), options.end());
        writeGroup(out, *group);
    }
    if (!groups.empty())
        out << ".SS Others\n";
    for (const CLI::Option* option : Documents::optionsOf(app)) {
        if (grouped.count(option) == 0)
            writeOption(out, *option);
    }
}

void writeUsage(std::ostream& out, const std::string& name, const CLI::App& app)
{
    out << "\\fB" << escaped(name) << "\\fR [options]";
    for (const CLI::Option* place : placesOf(app)) {
        out << " \\fI" << escaped(place->get_name(true)) << "\\fR"
            << (place->get_items_expected_max() > 1 ? " ..." : "");
    }
    out << '\n';
}

void writeExitStatus(std::ostream& out)
{
    out << ".SH EXIT STATUS\n"
           ".TP\n0\nAll was done.\n"
           ".TP\n1\nAt least one file failed; the others are done.\n"
           ".TP\n2\nWrong usage; nothing was done.\n"
           ".TP\n128 + n\nEnded by signal n, 130 by Ctrl+C: the file at hand was finished, the others "
           "were not begun.\n";
}

void writeExamples(std::ostream& out, const CLI::App& app)
{
    if (!app.get_footer().empty())
        out << ".SH EXAMPLES\n.nf\n" << escaped(app.get_footer()) << "\n.fi\n";
}

} // namespace

std::string Documents::manualOfProgram(const CLI::App& program, const std::string& version)
{
    std::ostringstream out;
    writeHeader(out, "rkimage", version, "pictures and videos on the command line");
    out << ".SH SYNOPSIS\n\\fBrkimage\\fR [options] \\fIcommand\\fR [options] ...\n"
        << ".SH DESCRIPTION\n"
        << escaped(program.get_description()) << '\n'
        << ".SH COMMANDS\n";
    for (const CLI::App* command : commandsOf(program)) {
        out << ".TP\n\\fBrkimage\\-" << escaped(command->get_name()) << "\\fR(1)\n"
            << escaped(command->get_description()) << '\n';
    }
    out << ".SH OPTIONS\n";
    writeOptions(out, program);
    writeExitStatus(out);
    return out.str();
}

std::string Documents::manualOfCommand(
    const CLI::App& program, const CLI::App& command, const std::string& version)
{
    std::ostringstream out;
    writeHeader(out, "rkimage-" + command.get_name(), version, command.get_description());
    out << ".SH SYNOPSIS\n";
    const std::string name = "rkimage " + command.get_name();
    const auto actions = commandsOf(command);
    if (actions.empty())
        writeUsage(out, name, command);
    for (const CLI::App* action : actions) {
        if (action != actions.front())
            out << ".br\n";
        writeUsage(out, name + " " + action->get_name(), *action);
    }
    out << ".SH DESCRIPTION\n" << escaped(command.get_description()) << ".\n";
    for (const CLI::App* action : actions) {
        out << ".TP\n\\fB" << escaped(action->get_name()) << "\\fR\n"
            << escaped(action->get_description()) << ".\n";
    }
    writePlaces(out, command);
    out << ".SH OPTIONS\n";
    writeOptions(out, command);
    for (const CLI::Option* option : optionsOf(program)) {
        if (option != program.get_help_ptr())
            writeOption(out, *option);
    }
    writeExitStatus(out);
    writeExamples(out, command);
    out << ".SH SEE ALSO\n\\fBrkimage\\fR(1)\n";
    return out.str();
}
