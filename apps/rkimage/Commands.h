#pragma once

#include <functional>
#include <optional>

namespace CLI {
class App;
}

/// What the chosen subcommand does: known when the arguments are parsed, run when Qt is up.
struct Command
{
    /// Returns the exit code.
    std::function<int()> run;
    /// Texts need fonts, which take long to set up.
    bool drawsText = false;
    /// A picture goes to standard output.
    bool writesPicture = false;
    /// The quality of JPEG files where it is chosen.
    std::optional<int> jpegQuality;
};

/// Each of these adds one subcommand with its options, and sets the command when it is chosen. The
/// command must live until the arguments are parsed.
void addFormatsCommand(CLI::App& app, Command& command);
void addInfoCommand(CLI::App& app, Command& command);
void addConvertCommand(CLI::App& app, Command& command);
void addClipCommand(CLI::App& app, Command& command);
void addThumbCommand(CLI::App& app, Command& command);
void addFrameCommand(CLI::App& app, Command& command);
void addFramesCommand(CLI::App& app, Command& command);
void addSetCommand(CLI::App& app, Command& command);
void addFacesCommand(CLI::App& app, Command& command);
void addCompareCommand(CLI::App& app, Command& command);
void addSheetCommand(CLI::App& app, Command& command);
void addCheckCommand(CLI::App& app, Command& command);
