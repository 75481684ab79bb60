#pragma once

#include <string>
#include <vector>

namespace CLI {
class App;
class Option;
} // namespace CLI

/// What manual pages and completions say of the tool, made from its options.
namespace Documents {

/// The commands of the program, or the actions of a command, in the order in which they were added.
std::vector<const CLI::App*> commandsOf(const CLI::App& app);

/// The groups of options of which so many have to be given.
std::vector<const CLI::App*> groupsOf(const CLI::App& app);

/// The options that people type, those of groups after the others, without arguments that are told
/// by their place.
std::vector<const CLI::Option*> optionsOf(const CLI::App& app);

/// Their names with the dashes: "-r", "--recursive".
std::vector<std::string> namesOf(const CLI::Option& option);

/// What the value that follows is called; empty for an option without one.
std::string valueOf(const CLI::Option& option);

/// A manual page in section 1, in the macros that man(7) describes: of the program, or of one of
/// its commands.
std::string manualOfProgram(const CLI::App& program, const std::string& version);
std::string manualOfCommand(
    const CLI::App& program, const CLI::App& command, const std::string& version);

std::string bashCompletion(const CLI::App& program);
std::string zshCompletion(const CLI::App& program);
std::string fishCompletion(const CLI::App& program);

} // namespace Documents
