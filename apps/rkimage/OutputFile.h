#pragma once

#include "RKImageLoader/media/RKMediaDescriptor.h"
#include "RKImageLoader/media/RKMediaError.h"

#include <QByteArray>
#include <QString>

#include <string>

namespace CLI {
class App;
} // namespace CLI

struct InputFile;

/// The target of a picture: a file, or standard output, which is named "-". The library writes to a
/// path, from which the picture may have to be handed on.
class OutputFile
{
public:
    /// How the library writes.
    enum class Writing
    {
        /// At once, so that nobody ever sees half of it.
        AtOnce,
        /// In more than one step.
        InSteps
    };

    /// A file, whose extension is the format.
    explicit OutputFile(const QString& path, Writing writing = Writing::AtOnce);
    /// The argument OUT of a command; standard output gets the format, if one is named, or that
    /// which is usual for the source.
    OutputFile(const std::string& name,
        const InputFile& source,
        const std::string& format,
        Writing writing = Writing::AtOnce);

    /// Adds OUT, and --format for standard output.
    static void addTo(CLI::App& command, std::string& name, std::string& format);
    /// Throws what CLI11 reports where a format is named for a file.
    static void check(const std::string& name, const std::string& format);
    static bool isStandardOutput(const std::string& name);
    bool isStandardOutput() const;

    /// For messages.
    QString name() const;
    /// What the library writes to.
    RKMediaDescriptor descriptor() const;

    /// Why nothing can be written there; no error if something can.
    RKMediaError nameError() const;
    /// Why no picture can be written there; no error if one can.
    RKMediaError error() const;

    /// Hands on what was written; false if that fails.
    bool finish(RKMediaError* error) const;

private:
    QByteArray m_name;
    QString m_path;
};
