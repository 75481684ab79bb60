#pragma once

#include "Colors.h"
#include "Commands.h"
#include "Output.h"

#include <QString>

#include <memory>
#include <optional>
#include <string>

/// The arguments of the tool: every option and command. The help, the manual pages and the
/// completions of shells are made from the same object.
class CommandLine
{
public:
    CommandLine();
    ~CommandLine();

    CommandLine(const CommandLine&) = delete;
    CommandLine& operator=(const CommandLine&) = delete;

    const CLI::App& app() const;

    /// The exit code where there is nothing to run: after wrong usage, or if only help was asked
    /// for.
    std::optional<int> parse(int argc, char** argv);

    const Command& command() const;
    bool isVerbose() const;
    bool isQuiet() const;
    Colors::When colors() const;
    Output::Style outputStyle() const;
    /// Empty for the built-in configuration.
    QString configFile() const;

private:
    Command m_command;
    bool m_isVerbose = false;
    bool m_isQuiet = false;
    std::string m_colors;
    bool m_isJson = false;
    bool m_isJsonLines = false;
    std::string m_configFile;
    std::unique_ptr<CLI::App> m_app;
};
