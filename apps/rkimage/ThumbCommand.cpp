#include "Arguments.h"
#include "Commands.h"
#include "MessageCollector.h"
#include "Output.h"
#include "ParallelJobs.h"
#include "ProgressBar.h"
#include "RKImageLoader/loading/RKLoadingError.h"
#include "RKImageLoader/loading/RKMediaLoader.h"

#include <QDir>
#include <QSet>
#include <QThread>

#include <CLI/CLI.hpp>

#include <memory>
#include <mutex>
#include <vector>

namespace {

/// Where thumbnails go and how large they become.
struct ThumbOptions
{
    /// In pixels; each thumbnail fits into a square of that side.
    int side = 0;
    /// Made where it is missing.
    QString folder;
    /// How many threads work.
    int jobs = 1;
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
    QString source;
    /// Without extension.
    QString target;
};

std::vector<Job> jobsOf(const QStringList& files, const QDir& folder)
{
    UniqueNames names(folder);
    std::vector<Job> jobs;
    for (const QString& file : files) {
        const QString name = QFileInfo(file).completeBaseName();
        jobs.push_back({file, folder.filePath(names.next(name))});
    }
    return jobs;
}

/// The failure, or nothing when the thumbnail is saved.
QString makeThumbnail(const Job& job, int side)
{
    const RKMediaLoader& loader = *RKMediaLoader::instance();
    const RKMediaDescriptor source{QFileInfo(job.source)};
    const bool isLoadable = source.fileInfo().exists() && loader.hasSupportedMediaFormat(source);
    const RKDrawable drawable
        = isLoadable ? loader.drawable(source, {side, side}, RKImageOption()) : RKDrawable();
    const QImage thumbnail = drawable.image();
    if (thumbnail.isNull())
        return RKLoadingError::of(source).text();
    const auto format = RKDrawable(thumbnail).bestImageFileFormat();
    const QFileInfo target(job.target + u'.' + format.defaultExtension());
    if (!loader.save(RKMediaDescriptor(target), thumbnail))
        return QStringLiteral("the thumbnail can't be saved");
    return {};
}

int makeThumbnails(
    const QStringList& files, const ThumbOptions& options, MessageCollector& messages)
{
    const QDir folder(options.folder);
    if (!folder.mkpath(QStringLiteral("."))) {
        Output::printFailure(options.folder, QStringLiteral("the folder can't be made"));
        return Output::SomeFailed;
    }
    const std::vector<Job> jobs = jobsOf(files, folder);

    // Guards what follows, and the error stream.
    std::mutex mutex;
    int failures = 0;
    ProgressBar progress(qint64(jobs.size()));
    runInParallel(jobs.size(), options.jobs, [&](size_t i) {
        messages.takeWarnings();
        const QString failure = makeThumbnail(jobs[i], options.side);
        const std::lock_guard lock(mutex);
        if (!failure.isEmpty()) {
            ++failures;
            progress.hide();
            Output::printFailure(
                jobs[i].source, Output::withReason(failure, messages.takeWarnings()));
        }
        progress.step();
    });
    progress.hide();

    Output::print(
        QStringLiteral("%1 thumbnails, %2 failed").arg(int(jobs.size()) - failures).arg(failures));
    return failures == 0 ? Output::AllDone : Output::SomeFailed;
}

} // namespace

void addThumbCommand(CLI::App& app, Command& command)
{
    CLI::App* thumb = app.add_subcommand("thumb", "Make thumbnails of files");
    const CLI::Option* side = thumb->add_option("--size", "Longest side of a thumbnail in pixels")
                                  ->type_name("N")
                                  ->required()
                                  ->check(CLI::Range(1, 10000));
    const CLI::Option* folder
        = thumb->add_option("--out", "Folder for the thumbnails")->type_name("FOLDER")->required();
    const CLI::Option* jobs = thumb->add_option("--jobs", "How many to make at the same time")
                                  ->type_name("N")
                                  ->check(CLI::Range(1, 256));
    const auto files = std::make_shared<Arguments::Texts>();
    thumb->add_option("FILES", *files, "The files")->required();
    thumb->callback([=, &command] {
        ThumbOptions options;
        options.side = side->as<int>();
        options.folder = Arguments::toPath(folder->as<std::string>());
        options.jobs = jobs->count() > 0 ? jobs->as<int>() : QThread::idealThreadCount();
        command.run = [files, options](MessageCollector& messages) {
            return makeThumbnails(Arguments::toPaths(*files), options, messages);
        };
    });
}
