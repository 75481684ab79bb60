#include "Arguments.h"
#include "Commands.h"
#include "InputFiles.h"
#include "Output.h"
#include "OutputFile.h"
#include "ParallelJobs.h"
#include "ProgressBar.h"
#include "RKImageLoader/loading/RKMediaLoader.h"
#include "Result.h"
#include "SharedThumbnail.h"
#include "StandardInput.h"
#include "ThumbnailMap.h"
#include "UniqueNames.h"

#include <QDir>
#include <QThread>

#include <CLI/CLI.hpp>

#include <memory>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

namespace {

/// What to make thumbnails of, and where they go.
struct ThumbArguments
{
    InputFiles files;
    /// In pixels; each thumbnail fits into a square of that side.
    int side = 0;
    /// Made where it is missing.
    std::string folder;
    /// Instead of the folder, the cache that desktop programs share.
    bool isShared = false;
    /// Which thumbnail belongs to which file; empty for nothing.
    std::string map;
    /// How many threads work.
    int jobs = QThread::idealThreadCount();
};

/// What became of one file: a thumbnail may come with an error.
struct Outcome
{
    /// Empty if there is none.
    QString thumbnail;
    QSize size;
    /// It was there before.
    bool isCurrent = false;
    RKMediaError error;
};

QImage thumbnailOf(const InputFile& file, int side, RKMediaError* error)
{
    const RKMediaDescriptor source{QFileInfo(file.path)};
    return RKMediaLoader::instance()
        ->drawable(source, {side, side}, RKImageOption(), error)
        .image();
}

/// A folder of the user's, where nothing is replaced but what the map says to be a thumbnail.
class ThumbnailFolder
{
public:
    explicit ThumbnailFolder(const ThumbArguments& arguments)
        : m_folder(Arguments::toPath(arguments.folder))
        , m_mapFile(Arguments::toPath(arguments.map))
        , m_side(arguments.side)
    {
    }

    /// Why the map can't be used; no error if there is none yet.
    RKMediaError readMap()
    {
        const RKMediaError error = m_mapFile.isEmpty() ? RKMediaError() : m_map.read(m_mapFile);
        m_known = m_map;
        return error;
    }

    RKMediaError prepare(const std::vector<InputFile>& files)
    {
        if (!m_folder.mkpath(QStringLiteral("."))) {
            return RKMediaError(
                RKMediaErrorCode::NotWritable, QStringLiteral("the folder can't be made"));
        }
        UniqueNames names(m_folder);
        for (const InputFile& file : files) {
            const QFileInfo known(m_known.thumbnail(keyOf(file)));
            const bool isHere = isInFolder(known);
            m_targets.push_back(
                m_folder.filePath(isHere ? known.completeBaseName() : names.next(file.stem())));
        }
        return {};
    }

    Outcome make(const InputFile& file, size_t index)
    {
        const QString key = keyOf(file);
        if (const QString known = m_known.thumbnail(key);
            m_known.isCurrent(key, m_side) && isInFolder(QFileInfo(known)))
            return {known, {}, true, {}};
        Outcome outcome;
        const QImage picture = thumbnailOf(file, m_side, &outcome.error);
        if (picture.isNull())
            return outcome;
        const QString target = m_targets[index] + u'.'
            + RKDrawable(picture).bestImageFileFormat().defaultExtension();
        RKMediaError error;
        if (!RKMediaLoader::instance()->save(RKMediaDescriptor(QFileInfo(target)), picture, &error))
            return {{}, {}, false, error};
        outcome.thumbnail = target;
        outcome.size = picture.size();
        const std::lock_guard lock(m_mutex);
        m_map.insert(key, QFileInfo(target).absoluteFilePath(), m_side);
        return outcome;
    }

    RKMediaError finish() const
    {
        return m_mapFile.isEmpty() ? RKMediaError() : m_map.write(m_mapFile);
    }

private:
    static QString keyOf(const InputFile& file)
    {
        return QFileInfo(QFile::decodeName(file.name)).absoluteFilePath();
    }

    /// One map may have been used for several folders.
    bool isInFolder(const QFileInfo& thumbnail) const
    {
        return !thumbnail.filePath().isEmpty() && thumbnail.absoluteDir() == m_folder;
    }

    QDir m_folder;
    QString m_mapFile;
    int m_side;
    // Without extension: which one a thumbnail gets is only known when it is made.
    std::vector<QString> m_targets;
    // As it was before: a file that is named twice must not depend on which thread is faster.
    ThumbnailMap m_known;
    // Guards what follows.
    std::mutex m_mutex;
    ThumbnailMap m_map;
};

Outcome makeShared(const InputFile& file, int side)
{
    const SharedThumbnail shared(file.name, file.path, side);
    if (shared.isCurrent())
        return {shared.path(), {}, true, {}};
    Outcome outcome;
    const QImage picture = thumbnailOf(file, side, &outcome.error);
    if (picture.isNull())
        return outcome;
    const RKMediaError error = shared.save(picture);
    if (error.isError())
        return {{}, {}, false, error};
    return {shared.path(), picture.size(), false, outcome.error};
}

Result resultOf(const InputFile& file, const Outcome& outcome)
{
    Result result(file);
    result.insert(QStringLiteral("skipped"), outcome.isCurrent);
    if (!outcome.thumbnail.isEmpty())
        result.insert(QStringLiteral("thumbnailPath"), outcome.thumbnail);
    if (!outcome.thumbnail.isEmpty() && !outcome.isCurrent)
        result.addWritten(outcome.thumbnail, outcome.size);
    if (outcome.error.isError())
        result.fail(outcome.error);
    return result;
}

int failAll(const QString& file, const RKMediaError& error)
{
    Result result(file);
    result.fail(error);
    return result.report();
}

/// The thumbnail of the only file, to standard output.
int sendThumbnail(const std::vector<InputFile>& files, int side)
{
    if (files.size() != 1) {
        Output::printFailure(
            QStringLiteral("standard output"), QStringLiteral("takes the thumbnail of one file"));
        return Output::SomeFailed;
    }
    Result result(files.front());
    RKMediaError error;
    const QImage picture = thumbnailOf(files.front(), side, &error);
    // Also of a picture that is not whole.
    if (error.isError())
        result.fail(error);
    if (picture.isNull())
        return result.report();
    const QString format = RKDrawable(picture).bestImageFileFormat().defaultExtension();
    const OutputFile target("-", files.front(), format.toStdString());
    if (!RKMediaLoader::instance()->save(target.descriptor(), picture, &error)
        || !target.finish(&error))
        result.fail(target.name(), error);
    return result.report();
}

int makeThumbnails(ThumbArguments& arguments)
{
    const std::vector<InputFile> files = arguments.files.all();
    if (OutputFile::isStandardOutput(arguments.folder))
        return sendThumbnail(files, arguments.side);
    ThumbnailFolder folder(arguments);
    if (const RKMediaError error = folder.readMap(); error.isError())
        return failAll(Arguments::toPath(arguments.map), error);
    if (!arguments.isShared) {
        if (const RKMediaError error = folder.prepare(files); error.isError())
            return failAll(Arguments::toPath(arguments.folder), error);
    }

    // Guards what follows, and the error stream.
    std::mutex mutex;
    int made = 0;
    int current = 0;
    int failures = arguments.files.failures();
    ProgressBar progress(qint64(files.size()));
    runInParallel(files.size(), arguments.jobs, [&](size_t i) {
        const Outcome outcome
            = arguments.isShared ? makeShared(files[i], arguments.side) : folder.make(files[i], i);
        files[i].release();
        const std::lock_guard lock(mutex);
        made += !outcome.thumbnail.isEmpty() && !outcome.isCurrent;
        current += outcome.isCurrent;
        failures += resultOf(files[i], outcome).report() != Output::AllDone;
        progress.step();
    });

    QString summary = QStringLiteral("%1 thumbnails, %2 failed").arg(made).arg(failures);
    if (current > 0)
        summary += QStringLiteral(", %1 up to date").arg(current);
    Output::note(summary);
    const RKMediaError error = arguments.isShared ? RKMediaError() : folder.finish();
    if (error.isError())
        return failAll(Arguments::toPath(arguments.map), error);
    return Output::finish(qsizetype(files.size()), failures);
}

} // namespace

void addThumbCommand(CLI::App& app, Command& command)
{
    const auto arguments = std::make_shared<ThumbArguments>();
    CLI::App* thumb = app.add_subcommand("thumb", "Make thumbnails of files");
    arguments->files.addTo(*thumb);
    CLI::Option* side
        = thumb->add_option("--size", arguments->side, "Longest side of a thumbnail in pixels")
              ->type_name("N")
              ->required()
              ->check(CLI::Range(1, 10000));
    CLI::Option_group* target = thumb->add_option_group("Where they go");
    CLI::Option* folder
        = target
              ->add_option("--out",
                  arguments->folder,
                  "Folder for the thumbnails; - for that of one file on standard output")
              ->type_name("FOLDER")
              ->check(Arguments::newName());
    target->add_flag("--freedesktop",
        arguments->isShared,
        "The cache of the desktop, for a size of 128, 256, 512 or 1024");
    target->require_option(1);
    thumb
        ->add_option("--map",
            arguments->map,
            "Keep in this file which thumbnail belongs to which picture, as lines of JSON; those "
            "of that folder and size that are up to date aren't made again")
        ->type_name("FILE")
        ->check(Arguments::newName())
        ->needs(folder);
    thumb->add_option("--jobs", arguments->jobs, "How many to make at the same time")
        ->type_name("N")
        ->check(CLI::Range(1, 256));
    thumb->footer("rkimage thumb --recursive --size 256 --freedesktop Pictures\n"
                  "rkimage thumb --size 300 --out small --map small/map.jsonl *.jpg");
    thumb->callback([arguments, side, &command] {
        const bool isNamed = arguments->isShared || !arguments->map.empty();
        if (StandardInput::isExpected() && isNamed)
            throw CLI::ValidationError("thumb", "standard input has no name to remember");
        command.writesPicture = OutputFile::isStandardOutput(arguments->folder);
        if (command.writesPicture && !arguments->map.empty())
            throw CLI::ValidationError("--map", "is for a folder");
        if (arguments->isShared && !SharedThumbnail::isSize(arguments->side))
            throw CLI::ValidationError(side->get_name(), "must be 128, 256, 512 or 1024 there");
        command.run = [arguments] { return makeThumbnails(*arguments); };
    });
}
