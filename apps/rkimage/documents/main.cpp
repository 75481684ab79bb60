#include "CommandLine.h"
#include "Documents.h"

#include <CLI/CLI.hpp>

#include <filesystem>
#include <fstream>
#include <iostream>

namespace {

bool write(const std::filesystem::path& file, const std::string& text)
{
    std::ofstream out(file, std::ios::binary);
    out << text;
    out.close();
    if (!out)
        std::cerr << "can't write " << file << '\n';
    return bool(out);
}

} // namespace

/// Writes the manual pages and completions of rkimage into a folder: rkimage-documents FOLDER
/// VERSION.
int main(int argc, char** argv)
{
    if (argc != 3)
        return 2;
    const std::filesystem::path folder = argv[1];
    const std::string version = argv[2];
    const CommandLine commandLine;
    const CLI::App& program = commandLine.app();

    std::error_code error;
    std::filesystem::create_directories(folder, error);
    bool isDone = write(folder / "rkimage.1", Documents::manualOfProgram(program, version))
        && write(folder / "rkimage.bash", Documents::bashCompletion(program))
        && write(folder / "_rkimage", Documents::zshCompletion(program))
        && write(folder / "rkimage.fish", Documents::fishCompletion(program));
    for (const CLI::App* command : Documents::commandsOf(program)) {
        isDone = isDone
            && write(folder / ("rkimage-" + command->get_name() + ".1"),
                Documents::manualOfCommand(program, *command, version));
    }
    return isDone ? 0 : 1;
}
