#pragma once

#include <QSize>
#include <QString>

#include <string>

namespace CLI {
class App;
}

struct InputFile;

/// The targets of the results of many files: a folder, or a pattern of names.
class OutputNames
{
public:
    /// "out" for a folder; "out/{stem}_{width}.{ext}" for names made from those of the files, with
    /// {name}, {stem}, {ext}, {width}, {height} and {number}, which begins with 1.
    explicit OutputNames(const QString& pattern);

    /// All words in braces are those above.
    static bool isPattern(const std::string& pattern);

    /// The path for a file's result of that size and extension.
    QString of(
        const QString& source, const QString& extension, const QSize& size, int number) const;

private:
    QString m_pattern;
};

/// What happens to files that are there already.
struct Existing
{
    bool isOverwritten = false;
    bool isSkipped = false;
    /// Skipped unless the source is newer.
    bool isUpdated = false;

    void addTo(CLI::App& command);
};

enum class Writable
{
    Yes,
    /// It is there and stays, as wanted.
    Skip,
    /// It is there.
    No
};

/// Whether a target may be written; never if it is the source itself.
Writable writable(const InputFile& source, const QString& target, const Existing& existing);
