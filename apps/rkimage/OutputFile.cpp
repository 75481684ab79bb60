#include "OutputFile.h"

#include "InputFiles.h"
#include "Output.h"
#include "RKImageLoader/files/RKFileSaving.h"
#include "TemporaryFolder.h"
#include "Writing.h"

#include <QFile>

#include <CLI/CLI.hpp>

namespace {

QString extensionFor(const InputFile& source, const std::string& format)
{
    return format.empty() ? ::Writing::usualExtension(RKMediaDescriptor(QFileInfo(source.path)))
                          : QString::fromStdString(format).toLower();
}

} // namespace

OutputFile::OutputFile(const QString& path, Writing writing)
    : m_name(QFile::encodeName(path))
    , m_path(writing == Writing::AtOnce ? path : TemporaryFolder::newPath(QFileInfo(path).suffix()))
{
}

OutputFile::OutputFile(
    const std::string& name, const InputFile& source, const std::string& format, Writing writing)
    : OutputFile(QFile::decodeName(name.c_str()), writing)
{
    m_name = QByteArray::fromStdString(name);
    if (isStandardOutput())
        m_path = TemporaryFolder::newPath(extensionFor(source, format));
}

void OutputFile::addTo(CLI::App& command, std::string& name, std::string& format)
{
    command
        .add_option(
            "OUT", name, "The file to write, whose extension is the format; - is standard output")
        ->required();
    command
        .add_option(
            "--format", format, "Format for standard output; without it that of the file, or jpg")
        ->type_name("EXT");
}

void OutputFile::check(const std::string& name, const std::string& format)
{
    if (!format.empty() && !isStandardOutput(name))
        throw CLI::ValidationError("--format", "the extension of OUT is the format");
}

bool OutputFile::isStandardOutput(const std::string& name)
{
    return name == "-";
}

bool OutputFile::isStandardOutput() const
{
    return isStandardOutput(m_name.toStdString());
}

QString OutputFile::name() const
{
    return QFile::decodeName(m_name);
}

RKMediaDescriptor OutputFile::descriptor() const
{
    return RKMediaDescriptor(QFileInfo(m_path));
}

RKMediaError OutputFile::nameError() const
{
    return QFile::encodeName(name()) == m_name
        ? RKMediaError()
        : RKMediaError(
            RKMediaErrorCode::NotWritable, QStringLiteral("names of new files have to be UTF-8"));
}

RKMediaError OutputFile::error() const
{
    const RKMediaError error = nameError();
    return error.isError() ? error : ::Writing::formatError(descriptor());
}

bool OutputFile::finish(RKMediaError* error) const
{
    if (m_path == name())
        return true;
    QFile written(m_path);
    if (!written.open(QIODevice::ReadOnly)) {
        *error = RKMediaError(RKMediaErrorCode::Unreadable, written.errorString());
        return false;
    }
    if (isStandardOutput()) {
        Output::write(written);
        written.remove();
        return true;
    }
    const QByteArray content = written.readAll();
    *error = content.size() == written.size()
        ? RKFileSaving::write(name(), content)
        : RKMediaError(RKMediaErrorCode::Unreadable, written.errorString());
    written.remove();
    return !error->isError();
}
