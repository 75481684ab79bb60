#include "Arguments.h"
#include "Commands.h"
#include "InputFiles.h"
#include "Output.h"
#include "ParallelJobs.h"
#include "ProgressBar.h"
#include "RKImageLoader/loading/RKMediaLoader.h"

#include <QDir>
#include <QSet>
#include <QThread>

#include <CLI/CLI.hpp>

#include <memory>
#include <mutex>
#include <string>
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
    /// How many threads work.
    int jobs = QThread::idealThreadCount();
};

/// Hands out names that differ from each other and from those in a folder, also where the file
/// system doesn't tell upper from lower case or composed from decomposed letters. Extensions don't
/// count: which one a thumbnail gets is only known when it is made.
class UniqueNames
{
public:
    explicit UniqueNames(const QDir& folder)
    {
        const QFileInfoList existing = folder.entryInfoList(QDir::AllEntries | QDir::Hidden);
        for (const QFileInfo& file : existing)
            m_taken << key(file.completeBaseName());
    }

    QString next(const QString& wanted)
    {
        QString name = wanted;
        for (int number = 2; m_taken.contains(key(name)); ++number)
            name = QStringLiteral("%1-%2").arg(wanted, QString::number(number));
        m_taken << key(name);
        return name;
    }

private:
    static QString key(const QString& name)
    {
        return name.normalized(QString::NormalizationForm_C).toCaseFolded();
    }

    QSet<QString> m_taken;
};

struct Job
{
    InputFile source;
    /// Without extension.
    QString target;
};

std::vector<Job> jobsOf(const std::vector<InputFile>& files, const QDir& folder)
{
    UniqueNames names(folder);
    std::vector<Job> jobs;
    for (const InputFile& file : files) {
        const QString name = QFileInfo(QFile::decodeName(file.name)).completeBaseName();
        jobs.push_back({file, folder.filePath(names.next(name))});
    }
    return jobs;
}

/// No error if the thumbnail is saved.
RKMediaError makeThumbnail(const Job& job, int side)
{
    const RKMediaLoader& loader = *RKMediaLoader::instance();
    const RKMediaDescriptor source{QFileInfo(job.source.path)};
    RKMediaError error;
    const QImage thumbnail = loader.drawable(source, {side, side}, RKImageOption(), &error).image();
    if (thumbnail.isNull())
        return error;
    const auto format = RKDrawable(thumbnail).bestImageFileFormat();
    const QFileInfo target(job.target + u'.' + format.defaultExtension());
    RKMediaError saveError;
    // A picture that is not whole has a thumbnail, and an error nevertheless.
    return loader.save(RKMediaDescriptor(target), thumbnail, &saveError) ? error : saveError;
}

int makeThumbnails(ThumbArguments& arguments)
{
    const QString folderName = Arguments::toPath(arguments.folder);
    const QDir folder(folderName);
    if (!folder.mkpath(QStringLiteral("."))) {
        Output::printFailure(folderName, QStringLiteral("the folder can't be made"));
        return Output::SomeFailed;
    }
    const std::vector<Job> jobs = jobsOf(arguments.files.all(), folder);

    // Guards what follows, and the error stream.
    std::mutex mutex;
    int made = 0;
    int failures = arguments.files.failures();
    ProgressBar progress(qint64(jobs.size()));
    runInParallel(jobs.size(), arguments.jobs, [&](size_t i) {
        const RKMediaError error = makeThumbnail(jobs[i], arguments.side);
        const std::lock_guard lock(mutex);
        if (error.isError()) {
            ++failures;
            progress.hide();
            Output::fail(QString::fromLocal8Bit(jobs[i].source.name), error);
        } else {
            ++made;
        }
        progress.step();
    });
    progress.hide();

    Output::print(QStringLiteral("%1 thumbnails, %2 failed").arg(made).arg(failures));
    return failures == 0 ? Output::AllDone : Output::SomeFailed;
}

} // namespace

void addThumbCommand(CLI::App& app, Command& command)
{
    const auto arguments = std::make_shared<ThumbArguments>();
    CLI::App* thumb = app.add_subcommand("thumb", "Make thumbnails of files");
    arguments->files.addTo(*thumb);
    thumb->add_option("--size", arguments->side, "Longest side of a thumbnail in pixels")
        ->type_name("N")
        ->required()
        ->check(CLI::Range(1, 10000));
    thumb->add_option("--out", arguments->folder, "Folder for the thumbnails")
        ->type_name("FOLDER")
        ->required();
    thumb->add_option("--jobs", arguments->jobs, "How many to make at the same time")
        ->type_name("N")
        ->check(CLI::Range(1, 256));
    thumb->callback([arguments, &command] {
        // There may be drawings with texts in folders.
        command.drawsText = arguments->files.isRecursive();
        command.run = [arguments] { return makeThumbnails(*arguments); };
    });
}
