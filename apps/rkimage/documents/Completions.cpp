#include "Documents.h"

#include <CLI/CLI.hpp>

#include <sstream>

namespace {

std::string joined(const std::vector<std::string>& words)
{
    std::string line;
    for (const std::string& word : words)
        line += (line.empty() ? "" : " ") + word;
    return line;
}

std::vector<std::string> commandNames(const CLI::App& app)
{
    std::vector<std::string> names;
    for (const CLI::App* command : Documents::commandsOf(app))
        names.push_back(command->get_name());
    return names;
}

std::vector<std::string> optionNames(const CLI::App& app)
{
    std::vector<std::string> names;
    for (const CLI::Option* option : Documents::optionsOf(app)) {
        const auto more = Documents::namesOf(*option);
        names.insert(names.end(), more.begin(), more.end());
    }
    return names;
}

/// As a pattern of bash.
std::string optionsWithValue(const CLI::App& app)
{
    std::string pattern;
    for (const CLI::Option* option : Documents::optionsOf(app)) {
        for (const std::string& name : Documents::namesOf(*option)) {
            if (!Documents::valueOf(*option).empty())
                pattern += (pattern.empty() ? "" : "|") + name;
        }
    }
    return pattern;
}

/// In single quotes, for any of the shells.
std::string quoted(const std::string& text)
{
    std::string result = "'";
    for (const char letter : text)
        result += letter == '\'' ? std::string("'\\''") : std::string(1, letter);
    return result + "'";
}

/// A description in the brackets of zsh, where a colon and brackets have a meaning.
std::string bracketed(const std::string& text)
{
    std::string result = "[";
    for (const char letter : text) {
        if (letter == '[' || letter == ']' || letter == ':' || letter == '\\')
            result += '\\';
        result += letter;
    }
    return result + "]";
}

} // namespace

std::string Documents::bashCompletion(const CLI::App& program)
{
    std::ostringstream out;
    out << "# bash completion of rkimage\n"
           "_rkimage()\n"
           "{\n"
           "    local word=${COMP_WORDS[COMP_CWORD]} command='' i words\n"
           "    for ((i = 1; i < COMP_CWORD; ++i)); do\n"
           "        case ${COMP_WORDS[i]} in\n"
           "            "
        << optionsWithValue(program)
        << ") ((++i)) ;;\n"
           "            -*) ;;\n"
           "            *) command=${COMP_WORDS[i]}; break ;;\n"
           "        esac\n"
           "    done\n"
           "    case $command in\n"
        << "        '') words=" << quoted(joined(commandNames(program))) << " ;;\n";
    for (const CLI::App* command : commandsOf(program)) {
        out << "        " << command->get_name() << ") words="
            << quoted(joined(optionNames(*command)) + " " + joined(commandNames(*command)))
            << " ;;\n";
    }
    out << "    esac\n"
        << "    words=\"$words \"" << quoted(joined(optionNames(program))) << '\n'
        << "    mapfile -t COMPREPLY < <(compgen -W \"$words\" -- \"$word\")\n"
           "}\n"
           "complete -o default -F _rkimage rkimage\n";
    return out.str();
}

std::string Documents::zshCompletion(const CLI::App& program)
{
    const auto writeOptions = [](std::ostream& out, const CLI::App& app, const char* indent) {
        for (const CLI::Option* option : optionsOf(app)) {
            for (const std::string& name : namesOf(*option)) {
                std::string text = "*" + name + bracketed(option->get_description());
                if (!valueOf(*option).empty())
                    text += ":value:_files";
                out << indent << quoted(text) << " \\\n";
            }
        }
    };
    std::ostringstream out;
    out << "#compdef rkimage\n"
           "_rkimage() {\n"
           "    local context state state_descr line\n"
           "    typeset -A opt_args\n"
           "    _arguments -C \\\n";
    writeOptions(out, program, "        ");
    out << "        '1: :->command' '*:: :->arguments'\n"
           "    case $state in\n"
           "        command)\n"
           "            local -a commands=(\n";
    for (const CLI::App* command : commandsOf(program)) {
        out << "                " << quoted(command->get_name() + ":" + command->get_description())
            << '\n';
    }
    out << "            )\n"
           "            _describe command commands ;;\n"
           "        arguments)\n"
           "            case $line[1] in\n";
    for (const CLI::App* command : commandsOf(program)) {
        out << "                " << command->get_name() << ")\n"
            << "                    _arguments \\\n";
        writeOptions(out, *command, "                        ");
        const auto actions = commandNames(*command);
        if (!actions.empty())
            out << "                        " << quoted("1:action:(" + joined(actions) + ")")
                << " \\\n";
        out << "                        '*:file:_files' ;;\n";
    }
    out << "            esac ;;\n"
           "    esac\n"
           "}\n"
           "_rkimage \"$@\"\n";
    return out.str();
}

std::string Documents::fishCompletion(const CLI::App& program)
{
    const auto writeOptions
        = [](std::ostream& out, const CLI::App& app, const std::string& condition) {
              for (const CLI::Option* option : optionsOf(app)) {
                  out << "complete -c rkimage" << condition;
                  for (const std::string& name : option->get_snames())
                      out << " -s " << name;
                  for (const std::string& name : option->get_lnames())
                      out << " -l " << name;
                  out << (valueOf(*option).empty() ? "" : " -r") << " -d "
                      << quoted(option->get_description()) << '\n';
              }
          };
    std::ostringstream out;
    out << "# fish completion of rkimage\n";
    writeOptions(out, program, "");
    for (const CLI::App* command : commandsOf(program)) {
        out << "complete -c rkimage -n __fish_use_subcommand -a " << command->get_name() << " -d "
            << quoted(command->get_description()) << '\n';
    }
    for (const CLI::App* command : commandsOf(program)) {
        const std::string condition
            = " -n " + quoted("__fish_seen_subcommand_from " + command->get_name());
        writeOptions(out, *command, condition);
        for (const std::string& action : commandNames(*command))
            out << "complete -c rkimage" << condition << " -a " << action << '\n';
    }
    return out.str();
}
