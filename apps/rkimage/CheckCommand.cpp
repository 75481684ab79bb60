#include "Arguments.h"
#include "Commands.h"
#include "InputFiles.h"
#include "Interruption.h"
#include "Output.h"
#include "ParallelJobs.h"
#include "ProgressBar.h"
#include "RKImageLoader/loading/RKMediaLoader.h"
#include "RKImageLoader/loading/RKVideoLoader.h"
#include "Result.h"

#include <QFileInfo>
#include <QThread>

#include <CLI/CLI.hpp>

#include <algorithm>
#include <atomic>
#include <memory>

namespace {

struct CheckArguments
{
    InputFiles files;
    int jobs = QThread::idealThreadCount();
    bool isEveryFrame = false;
};

// Enough to show what is decoded; the cost of larger ones is that of scaling.
constexpr QSize kFrameSize(64, 64);
constexpr int kSampledFrames = 10;

RKMediaError frameError(const RKMediaDescriptor& video, int frame)
{
    RKMediaDescriptor descriptor = video;
    descriptor.setFrame(RKVideoFrameIndex(frame));
    RKMediaError error;
    const RKDrawable picture
        = RKVideoLoader::instance()->drawable(descriptor, kFrameSize, RKImageOption(), &error);
    if (!picture.isNull() && !error.isError())
        return {};
    return RKMediaError(error.isError() ? error.code() : RKMediaErrorCode::Damaged,
        QStringLiteral("frame %1: %2").arg(frame).arg(error.text()));
}

/// The first frame that can't be decoded, of all or of some that are spread evenly.
RKMediaError videoError(const RKMediaDescriptor& video, bool isEveryFrame)
{
    RKMediaError error;
    const RKVideoLoader& loader = *RKVideoLoader::instance();
    if (!loader.size(video, &error).isValid())
        return error;
    const int last = std::max(loader.lastFrameIndex(video).frame(), 0);
    const int step = isEveryFrame ? 1 : std::max(last / kSampledFrames, 1);
    for (int frame = 0; frame <= last && !error.isError() && !Interruption::isRequested();
         frame += step)
        error = frameError(video, frame);
    if (!error.isError() && last % step != 0)
        error = frameError(video, last);
    return error;
}

RKMediaError pictureError(const RKMediaDescriptor& picture)
{
    const RKMediaLoader& loader = *RKMediaLoader::instance();
    RKMediaError error;
    if (!loader.size(picture, &error).isValid())
        return error;
    // Only the reason counts.
    static_cast<void>(loader.drawable(picture, QSize(), RKImageOption(), &error));
    return error;
}

/// What is found is a result, not a failure of this program, so people get it as output.
void report(const InputFile& file, const RKMediaError& error)
{
    if (!Output::isText()) {
        Result result(file);
        if (error.isError())
            result.fail(error);
        result.report();
    } else if (error.isError()) {
        Output::print(Output::escaped(file.name + ": " + error.text().toUtf8()));
    }
}

int check(CheckArguments& arguments)
{
    const std::vector<InputFile> files = arguments.files.all();
    std::atomic<int> failures = arguments.files.failures();
    ProgressBar progress(qint64(files.size()));
    runInParallel(files.size(), arguments.jobs, [&](size_t i) {
        const RKMediaDescriptor descriptor{QFileInfo(files[i].path)};
        const RKMediaError error = descriptor.mediaFormat().isVideo()
            ? videoError(descriptor, arguments.isEveryFrame)
            : pictureError(descriptor);
        failures += error.isError();
        report(files[i], error);
        files[i].release();
        progress.step();
    });
    return Output::finish(qsizetype(files.size()), failures);
}

} // namespace

void addCheckCommand(CLI::App& app, Command& command)
{
    const auto arguments = std::make_shared<CheckArguments>();
    CLI::App* checkApp
        = app.add_subcommand("check", "Decode files and tell which are damaged or not whole");
    arguments->files.addTo(*checkApp);
    checkApp->add_flag("--all-frames", arguments->isEveryFrame, "Decode every frame of videos");
    checkApp->add_option("--jobs", arguments->jobs, "How many to check at the same time")
        ->type_name("N")
        ->check(CLI::Range(1, 256));
    checkApp->footer("rkimage check --recursive archive\n"
                     "rkimage check --recursive --ext mp4,mov --all-frames videos");
    checkApp->callback(
        [arguments, &command] { command.run = [arguments]() { return check(*arguments); }; });
}
