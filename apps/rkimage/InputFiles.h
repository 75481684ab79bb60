#pragma once

#include "RKImageLoader/media/RKMediaError.h"

#include <QByteArray>
#include <QString>

#include <functional>
#include <set>
#include <string>
#include <utility>
#include <vector>

namespace CLI {
class App;
class Option;
} // namespace CLI

/// A file that a command works on.
struct InputFile
{
    /// The file of an argument, which is "-" for standard input. Not before the program is set up:
    /// where Qt can't express the name, there is a link with a plain one from then on.
    static InputFile of(const std::string& argument);

    /// What names of results begin with: the name without folder and extension.
    QString stem() const;

    /// The path leads to this file: by its name, another one, or a link of either kind.
    bool isAt(const QString& other) const;

    /// Frees what the library keeps of the file: that of thousands would fill the memory.
    void release() const;

    /// The bytes that name it, as they were given or found; for messages and results.
    QByteArray name;
    /// How Qt opens it: the same unless the name isn't in the system's encoding.
    QString path;
};

/// Adds the argument of a command that takes one file.
CLI::Option* addInput(
    CLI::App& command, const char* name, std::string& value, const char* description);

/// The files that the arguments of a command name, one after the other: files, and with --recursive
/// those in folders. Folders are read when their turn comes, so that the first results are there
/// before the last file is found.
class InputFiles
{
public:
    /// Adds FILES and the options that say which files of folders count. The object must live until
    /// the arguments are parsed, and for as long as the files are used.
    void addTo(CLI::App& command);

    /// As they were given, for commands that also take IN and OUT.
    const std::vector<std::string>& arguments() const;
    /// There are two of them, and no folders.
    bool isPair() const;

    /// Calls back for each file, until an interruption. A folder that isn't wanted or can't be read
    /// is reported and counts as a failure.
    void forEach(const std::function<void(const InputFile& file)>& work);

    /// All of them at once.
    std::vector<InputFile> all();

    /// How many folders could not be read so far.
    int failures() const;

    /// The exit code after so many of the files, and some folders, have failed.
    int finish(int failedFiles) const;

private:
    /// False if there is to be no other file.
    using Visit = std::function<bool(const InputFile& file)>;
    /// Device and number, which identify a folder however it was reached.
    using FolderId = std::pair<quint64, quint64>;

    bool visitFolder(const std::string& folder, std::set<FolderId> ancestors, const Visit& visit);
    bool isWanted(const std::string& path) const;
    bool fail(const std::string& name, const RKMediaError& error);

    std::vector<std::string> m_arguments;
    std::vector<std::string> m_extensions;
    bool m_isRecursive = false;
    int m_failures = 0;
    qsizetype m_handled = 0;
};
