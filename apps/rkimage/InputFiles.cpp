#include "InputFiles.h"

#include "Arguments.h"
#include "Interruption.h"
#include "Output.h"
#include "ProgressBar.h"
#include "RKImageLoader/loading/RKMediaLoader.h"
#include "RKImageLoader/video/RKVideoDecoderRegistry.h"
#include "Result.h"
#include "StandardInput.h"
#include "TemporaryFolder.h"

#include <QFile>
#include <QFileInfo>

#include <CLI/CLI.hpp>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <system_error>

namespace {

namespace fs = std::filesystem;

QByteArray bytesOf(const std::string& text)
{
    return QByteArray::fromStdString(text);
}

/// Qt has no way to open a file whose name isn't in the system's encoding.
bool isExpressible(const std::string& name)
{
    return QFile::encodeName(QFile::decodeName(name.c_str())).toStdString() == name;
}

RKMediaError folderError(const std::error_code& error)
{
    const bool isForbidden = error == std::errc::permission_denied;
    return RKMediaError(isForbidden ? RKMediaErrorCode::NoPermission : RKMediaErrorCode::Unreadable,
        QStringLiteral("the folder can't be read: %1")
            .arg(QString::fromLocal8Bit(error.message().c_str())));
}

} // namespace

InputFile InputFile::of(const std::string& argument)
{
    if (StandardInput::isMeant(argument))
        return {bytesOf(argument), StandardInput::path()};
    const QString path = QFile::decodeName(argument.c_str());
    if (isExpressible(argument))
        return {bytesOf(argument), path};

    const QString link = TemporaryFolder::newPath(QFileInfo(path).suffix());
    std::error_code error;
    fs::create_symlink(fs::absolute(argument, error), QFile::encodeName(link).toStdString(), error);
    // A link that could not be made is a file that can't be found.
    return {bytesOf(argument), link};
}

QString InputFile::stem() const
{
    return StandardInput::isMeant(name.toStdString())
        ? QString::fromLatin1(StandardInput::kStem)
        : QFileInfo(QFile::decodeName(name)).completeBaseName();
}

bool InputFile::isAt(const QString& other) const
{
    std::error_code ignored;
    return fs::equivalent(
        QFile::encodeName(path).toStdString(), QFile::encodeName(other).toStdString(), ignored);
}

void InputFile::release() const
{
    const RKMediaDescriptor descriptor{QFileInfo(path)};
    RKMediaLoader::instance()->invalidateMetaData(descriptor);
    if (descriptor.mediaFormat().isVideo())
        RKVideoDecoderRegistry::instance()->freeResource(descriptor);
}

CLI::Option* addInput(
    CLI::App& command, const char* name, std::string& value, const char* description)
{
    return command.add_option(name, value, std::string(description) + "; - is standard input")
        ->required()
        ->each(StandardInput::expectIfMeant);
}

void InputFiles::addTo(CLI::App& command)
{
    command
        .add_option("FILES",
            m_arguments,
            "Files, folders with --recursive, and - for one picture from standard input")
        ->required()
        ->each(StandardInput::expectIfMeant);
    command.add_flag("-r,--recursive", m_isRecursive, "Work on all files in folders, too");
    command
        .add_option("--ext", m_extensions, "Of folders, only files with these extensions: jpg,png")
        ->type_name("EXT,...")
        ->delimiter(',')
        ->allow_extra_args(false);
}

const std::vector<std::string>& InputFiles::arguments() const
{
    return m_arguments;
}

bool InputFiles::isPair() const
{
    return !m_isRecursive && m_arguments.size() == 2;
}

void InputFiles::forEach(const std::function<void(const InputFile& file)>& work)
{
    ProgressBar progress;
    const Visit visit = [&](const InputFile& file) {
        if (!Interruption::isRequested()) {
            ++m_handled;
            work(file);
            progress.step();
        }
        return !Interruption::isRequested();
    };
    for (const std::string& argument : m_arguments) {
        std::error_code error;
        if (!fs::is_directory(argument, error)) {
            if (!visit(InputFile::of(argument)))
                return;
        } else if (!m_isRecursive) {
            fail(argument,
                RKMediaError(RKMediaErrorCode::NotAFile,
                    QStringLiteral("is a folder; --recursive works on its files")));
        } else {
            const qsizetype before = m_handled + m_failures;
            if (!visitFolder(argument, {}, visit))
                return;
            // Nothing to do looks like all done.
            if (m_handled + m_failures == before)
                Output::warn(Arguments::toPath(argument), QStringLiteral("holds no such files"));
        }
    }
}

std::vector<InputFile> InputFiles::all()
{
    std::vector<InputFile> files;
    forEach([&files](const InputFile& file) { files.push_back(file); });
    return files;
}

int InputFiles::finish(int failedFiles) const
{
    return Output::finish(m_handled, failedFiles + m_failures);
}

int InputFiles::failures() const
{
    return m_failures;
}

bool InputFiles::visitFolder(
    const std::string& folder, std::set<FolderId> ancestors, const Visit& visit)
{
    struct stat status = {};
    if (::stat(folder.c_str(), &status) != 0)
        return fail(folder, folderError(std::error_code(errno, std::generic_category())));
    // A link may lead back to where it came from.
    if (!ancestors.emplace(status.st_dev, status.st_ino).second)
        return true;

    std::error_code error;
    std::vector<std::string> names;
    for (fs::directory_iterator entry(folder, error); !error && entry != fs::directory_iterator();
         entry.increment(error))
    {
        if (entry->path().filename().native().front() != '.')
            names.push_back(entry->path().native());
    }
    if (error)
        fail(folder, folderError(error));
    std::sort(names.begin(), names.end());

    return std::all_of(names.begin(), names.end(), [&](const std::string& name) {
        std::error_code ignored;
        if (fs::is_directory(name, ignored))
            return visitFolder(name, ancestors, visit);
        return !isWanted(name) || visit(InputFile::of(name));
    });
}

bool InputFiles::isWanted(const std::string& path) const
{
    const QString extension = QFileInfo(QFile::decodeName(path.c_str())).suffix().toLower();
    if (m_extensions.empty())
        return RKMediaLoader::instance()->supportsMediaFormat(RKMediaFormat(extension.toLatin1()));
    return std::any_of(
        m_extensions.begin(), m_extensions.end(), [&extension](const std::string& wanted) {
            const QString name = QString::fromStdString(wanted).trimmed().toLower();
            return name == extension || name == u'.' + extension;
        });
}

bool InputFiles::fail(const std::string& name, const RKMediaError& error)
{
    ++m_failures;
    Result result(InputFile::of(name));
    result.fail(error);
    result.report();
    return true;
}
