#include "Arguments.h"
#include "Commands.h"
#include "InputFiles.h"
#include "Interruption.h"
#include "Output.h"
#include "OutputFile.h"
#include "ProgressBar.h"
#include "RKImageLoader/loading/RKImageLoader.h"
#include "RKImageLoader/loading/RKVideoLoader.h"
#include "Result.h"
#include "Storyboard.h"
#include "Writing.h"

#include <QDir>
#include <QRegularExpression>

#include <CLI/CLI.hpp>

#include <algorithm>
#include <limits>
#include <memory>
#include <optional>
#include <string>

namespace {

/// Which frame of a video: by its number, its time, or its place in parts of the length; by none of
/// these the default one.
struct FrameChoice
{
    std::optional<int> frame;
    std::optional<qint64> ms;
    std::optional<double> part;
};

/// A frame's number as in "250", its time as in "0:10.5" or "1:02:03.250", its place as in "50%".
std::optional<FrameChoice> parseChoice(const std::string& text)
{
    static const QRegularExpression pattern(QStringLiteral(
        "^(?:(?<frame>\\d{1,9})|(?:(?<h>\\d{1,4}):)?(?<m>\\d{1,4}):(?<s>[0-5]?\\d)(?<ms>\\.\\d{1,3})?"
        "|(?<percent>\\d{1,3}(?:\\.\\d+)?)%)$"));
    const QRegularExpressionMatch match = pattern.match(QString::fromStdString(text));
    const auto number
        = [&match](const char* name) { return match.captured(QLatin1String(name)).toDouble(); };
    FrameChoice choice;
    if (!match.hasMatch() || number("percent") > 100)
        return {};
    if (!match.captured(QStringLiteral("frame")).isEmpty())
        choice.frame = int(number("frame"));
    else if (!match.captured(QStringLiteral("percent")).isEmpty())
        choice.part = number("percent") / 100;
    else
        choice.ms
            = qRound64(1000 * (3600 * number("h") + 60 * number("m") + number("s") + number("ms")));
    return choice;
}

/// Which frames of a video, and what to make of them; an empty name stands for nothing.
struct FramesRequest
{
    /// The time between two frames, how many there are, spread evenly, or each of them.
    std::optional<qint64> everyMs;
    std::optional<int> count;
    QList<FrameChoice> choices;
    /// The folder for one JPEG per frame, named after the video and the frame's number.
    QString folder;
    /// The file for one picture that shows all frames with their time codes.
    QString sheet;
};

// Lengths of videos may lie, and each picture is a file.
constexpr qint64 kMaxPictures = 10000;
constexpr qsizetype kMaxTiles = 400;
// Single frames may be damaged; after so many in a row the video is taken to be over.
constexpr int kMaxFailedFrames = 5;

bool isVideo(const RKMediaDescriptor& descriptor, Result& result)
{
    RKMediaError error;
    const bool isMeasured = RKVideoLoader::instance()->size(descriptor, &error).isValid();
    const RKMediaFormat format = descriptor.mediaFormat();
    if (isMeasured)
        return true;
    if (error.code() == RKMediaErrorCode::NoDecoder && (format.isBitmap() || format.isSVG()))
        error = RKMediaError(
            error.code(), QStringLiteral("is a picture; only videos have frames to take"));
    result.fail(error);
    return false;
}

/// Also a picture's name may lead to the video, through a link.
RKMediaError ofVideoItself(const InputFile& video, const QString& picture)
{
    return video.isAt(picture)
        ? RKMediaError(RKMediaErrorCode::NotWritable, QStringLiteral("is the video itself"))
        : RKMediaError();
}

bool isWritable(const InputFile& video, const QString& picture, Result& result)
{
    RKMediaError error = Writing::formatError(RKMediaDescriptor(QFileInfo(picture)));
    if (!error.isError())
        error = ofVideoItself(video, picture);
    if (error.isError())
        result.fail(picture, error);
    return !error.isError();
}

void save(
    const RKDrawable& drawable, const InputFile& video, const QString& picture, Result& result)
{
    if (!isWritable(video, picture, result))
        return;
    RKMediaError error;
    if (RKImageLoader::instance()->save(RKMediaDescriptor(QFileInfo(picture)), drawable, &error))
        result.addWritten(picture, drawable.size());
    else
        result.fail(picture, error);
}

RKMediaDescriptor withFrame(RKMediaDescriptor descriptor, const RKVideoFrameIndex& frame)
{
    descriptor.setFrame(frame);
    return descriptor;
}

RKVideoFrameIndex chosenFrame(const RKMediaDescriptor& descriptor, const FrameChoice& choice)
{
    const RKVideoLoader& loader = *RKVideoLoader::instance();
    if (choice.frame)
        return *choice.frame;
    if (choice.part)
        return qRound(*choice.part * std::max(loader.lastFrameIndex(descriptor).frame(), 0));
    if (!choice.ms)
        return {};
    // A time beyond all numbers gives no frame, which would stand for the default one.
    const RKVideoFrameIndex frame = loader.framesPerSecond(descriptor).ms2frameIndex(*choice.ms);
    return frame.isValid() ? frame : RKVideoFrameIndex(std::numeric_limits<int>::max());
}

/// Names the frame, where it was asked for by its number.
RKMediaError ofFrame(const RKVideoFrameIndex& frame, const RKMediaError& error)
{
    return frame.isValid() ? RKMediaError(
               error.code(), QStringLiteral("frame %1: %2").arg(frame.frame()).arg(error.text()))
                           : error;
}

QList<qint64> wantedTimes(qint64 durationMs, const FramesRequest& request)
{
    QList<qint64> times;
    if (request.count) {
        // The middles of equal parts, so that there is no dark first frame.
        for (int i = 0; i < *request.count; ++i)
            times << durationMs * (2 * i + 1) / (2 * *request.count);
    } else {
        const qint64 end = std::max<qint64>(durationMs, 1);
        // One more than are taken, to see whether there are more.
        for (qint64 time = 0; time < end && times.size() <= kMaxPictures; time += *request.everyMs)
            times << time;
    }
    return times;
}

/// Each frame once.
QList<RKVideoFrameIndex> wantedFrames(
    const RKMediaDescriptor& descriptor, const FramesRequest& request)
{
    const RKFramesPerSecond rate = RKVideoLoader::instance()->framesPerSecond(descriptor);
    // The length of the container may be that of its sound.
    const int last = std::max(RKVideoLoader::instance()->lastFrameIndex(descriptor).frame(), 0);
    const qint64 duration = rate.frameIndex2ms(last + 1);
    QList<RKVideoFrameIndex> frames;
    for (const FrameChoice& choice : request.choices) {
        const RKVideoFrameIndex frame = chosenFrame(descriptor, choice);
        if (!frames.contains(frame))
            frames << frame;
    }
    if (!frames.isEmpty())
        return frames;
    const QList<qint64> times = wantedTimes(duration, request);
    for (const qint64 time : times) {
        const int frame = std::clamp(rate.ms2frameIndex(time).frame(), 0, last);
        if (frames.isEmpty() || frames.last() != RKVideoFrameIndex(frame))
            frames << frame;
    }
    return frames;
}

/// Takes the frames of one video, one after the other.
class FramesExport
{
public:
    FramesExport(const InputFile& video, const FramesRequest& request)
        : m_video(video)
        , m_request(request)
        , m_descriptor(QFileInfo(video.path))
    {
    }

    int run()
    {
        Result result(m_video);
        if (!prepare(result))
            return result.report();
        const int exitCode = takeFrames();
        // One that lacks frames would look whole.
        if (!hasSheet() || Interruption::isRequested())
            return exitCode;
        save(m_storyboard.image(), m_video, m_request.sheet, result);
        return std::max(result.report(), exitCode);
    }

private:
    bool hasSheet() const
    {
        return !m_request.sheet.isEmpty();
    }

    bool hasFolder() const
    {
        return !m_request.folder.isEmpty();
    }

    /// All that can go wrong before there is a picture.
    bool prepare(Result& result)
    {
        if (!isVideo(m_descriptor, result)
            || (hasSheet() && !isWritable(m_video, m_request.sheet, result)))
            return false;
        m_frames = wantedFrames(m_descriptor, m_request);
        if (hasSheet() && m_frames.size() > kMaxTiles) {
            result.fail(m_request.sheet,
                RKMediaError(RKMediaErrorCode::TooLarge,
                    QStringLiteral("a sheet holds at most %1 pictures").arg(kMaxTiles)));
        } else if (hasFolder() && !QDir().mkpath(m_request.folder)) {
            result.fail(m_request.folder,
                RKMediaError(
                    RKMediaErrorCode::NotWritable, QStringLiteral("the folder can't be made")));
        }
        return result.isDone();
    }

    int takeFrames()
    {
        int exitCode = Output::AllDone;
        int failedInARow = 0;
        ProgressBar progress(m_frames.size());
        for (const RKVideoFrameIndex& frame : m_frames.mid(0, kMaxPictures)) {
            const Result result = takeFrame(frame);
            progress.step();
            exitCode = std::max(exitCode, result.report());
            failedInARow = result.isDone() ? 0 : failedInARow + 1;
            if (failedInARow == kMaxFailedFrames || Interruption::isRequested())
                break;
        }
        if (m_frames.size() <= kMaxPictures || failedInARow == kMaxFailedFrames)
            return exitCode;
        Result result(m_video);
        result.fail(RKMediaError(RKMediaErrorCode::TooLarge,
            QStringLiteral("these are the first %1 pictures").arg(kMaxPictures)));
        return result.report();
    }

    Result takeFrame(const RKVideoFrameIndex& frame)
    {
        const RKFramesPerSecond rate = RKVideoLoader::instance()->framesPerSecond(m_descriptor);
        Result result(m_video);
        result.insert(QStringLiteral("frame"), frame.frame());
        result.insert(QStringLiteral("ms"), rate.frameIndex2ms(frame));
        // Whole frames only where they are saved.
        const QSize size = hasFolder() ? QSize() : m_storyboard.tileSize();
        RKMediaError error;
        const RKDrawable drawable = RKVideoLoader::instance()->drawable(
            withFrame(m_descriptor, frame), size, RKImageOption(), &error);
        if (drawable.isNull()) {
            result.fail(ofFrame(frame, error));
            return result;
        }
        if (hasSheet())
            m_storyboard.add(drawable.image(), rate.describe(frame));
        if (hasFolder())
            save(drawable, m_video, pictureOf(frame), result);
        return result;
    }

    QString pictureOf(const RKVideoFrameIndex& frame) const
    {
        QString name = m_video.stem();
        frame.addToFilename(name);
        return QDir(m_request.folder).filePath(name + QStringLiteral(".jpg"));
    }

    InputFile m_video;
    FramesRequest m_request;
    RKMediaDescriptor m_descriptor;
    QList<RKVideoFrameIndex> m_frames;
    Storyboard m_storyboard;
};

int saveFrame(
    const InputFile& video, const OutputFile& target, const FrameChoice& choice, const QSize& size)
{
    const RKMediaDescriptor descriptor{QFileInfo(video.path)};
    Result result(video);
    if (!isVideo(descriptor, result))
        return result.report();
    RKMediaError error = target.error();
    if (!error.isError() && !target.isStandardOutput())
        error = ofVideoItself(video, target.name());
    if (error.isError()) {
        result.fail(target.name(), error);
        return result.report();
    }

    const RKVideoFrameIndex frame = chosenFrame(descriptor, choice);
    const RKDrawable drawable = RKVideoLoader::instance()->drawable(
        withFrame(descriptor, frame), size, RKImageOption(), &error);
    if (drawable.isNull())
        result.fail(ofFrame(frame, error));
    else if (RKImageLoader::instance()->save(target.descriptor(), drawable, &error)
        && target.finish(&error))
        result.addWritten(target.name(), drawable.size());
    else
        result.fail(target.name(), error);
    const RKVideoFrameIndex taken
        = frame.isValid() ? frame : RKVideoLoader::instance()->defaultFrameIndex(descriptor);
    result.insert(QStringLiteral("frame"), taken.frame());
    return result.report();
}

/// Milliseconds, of "500" or "0:10"; more than none.
std::optional<qint64> parsePause(const std::string& text)
{
    const FrameChoice choice = parseChoice(text).value_or(FrameChoice());
    const qint64 pause = choice.frame ? *choice.frame : choice.ms.value_or(0);
    return pause > 0 ? std::optional(pause) : std::nullopt;
}

bool isCount(const std::string& text)
{
    return !text.empty() && text.find_first_not_of("0123456789") == std::string::npos;
}

/// The arguments of `rkimage frame` and `rkimage frames` as they come; CLI11 fills them.
struct FrameArguments
{
    std::string video;
    std::string target;
    FrameChoice choice;
    std::string format;
    std::string place;
    std::vector<std::string> places;
    std::string every;
    std::string size;
    std::optional<int> count;
    std::string folder;
    std::string sheet;
};

} // namespace

void addFrameCommand(CLI::App& app, Command& command)
{
    const auto arguments = std::make_shared<FrameArguments>();
    CLI::App* frame = app.add_subcommand("frame", "Save one frame of a video");
    addInput(*frame, "VIDEO", arguments->video, "The video");
    OutputFile::addTo(*frame, arguments->target, arguments->format);
    CLI::Option* number
        = frame->add_option("--frame", arguments->choice.frame, "The frame's number, from 0")
              ->type_name("N")
              ->check(Arguments::checked(isCount, "a frame's number is 0 or more"));
    CLI::Option* time
        = frame->add_option("--ms", arguments->choice.ms, "The frame's time in milliseconds")
              ->type_name("MS")
              ->check(Arguments::checked(isCount, "a time in milliseconds is 0 or more"))
              ->excludes(number);
    frame->add_option("--at", arguments->place, "The frame's time, its place, or its number")
        ->type_name("H:M:S.MS|P%|N")
        ->check(Arguments::checked(parseChoice, "a frame is at 1:02:03.250, at 50% or is 250"))
        ->excludes(number)
        ->excludes(time);
    frame->add_option("--size", arguments->size, "Fit into WxH pixels, proportions kept")
        ->type_name("WxH")
        ->check(Arguments::checked(Arguments::parseSize, "a size looks like 800x600"));
    frame->footer("rkimage frame --at 0:05.5 holiday.mp4 still.png");
    frame->callback([arguments, &command] {
        OutputFile::check(arguments->target, arguments->format);
        command.writesPicture = OutputFile::isStandardOutput(arguments->target);
        command.run = [arguments]() {
            const InputFile video = InputFile::of(arguments->video);
            return saveFrame(video,
                OutputFile(arguments->target, video, arguments->format),
                parseChoice(arguments->place).value_or(arguments->choice),
                Arguments::parseSize(arguments->size).value_or(QSize()));
        };
    });
}

void addFramesCommand(CLI::App& app, Command& command)
{
    const auto arguments = std::make_shared<FrameArguments>();
    CLI::App* frames = app.add_subcommand("frames", "Save many frames of a video");
    addInput(*frames, "VIDEO", arguments->video, "The video");
    CLI::Option_group* which = frames->add_option_group("Which frames");
    which->add_option("--every", arguments->every, "One every so many milliseconds, or a time")
        ->type_name("MS|H:M:S.MS")
        ->check(Arguments::checked(parsePause, "the time between frames looks like 500 or 0:10"));
    which->add_option("--at", arguments->places, "These, by time, place or number: 0:05.5,50%,250")
        ->type_name("H:M:S.MS|P%|N,...")
        ->delimiter(',')
        ->allow_extra_args(false)
        ->check(Arguments::checked(parseChoice, "a frame is at 1:02:03.250, at 50% or is 250"));
    which->add_option("--count", arguments->count, "So many, spread evenly")
        ->type_name("N")
        ->check(CLI::Range(1, 10000));
    which->require_option(1);
    CLI::Option_group* target = frames->add_option_group("What to write");
    target->add_option("--out", arguments->folder, "Folder for one JPEG per frame")
        ->type_name("FOLDER")
        ->check(Arguments::newName());
    target->add_option("--sheet", arguments->sheet, "Picture that shows all frames")
        ->type_name("FILE")
        ->check(Arguments::newName());
    target->require_option(1, 2);
    frames->footer("rkimage frames --every 0:10 --sheet overview.png holiday.mp4\n"
                   "rkimage frames --at 0:05.5,50%,250 --out stills holiday.mp4");
    frames->callback([arguments, &command] {
        command.drawsText = !arguments->sheet.empty();
        command.run = [arguments]() {
            QList<FrameChoice> choices;
            for (const std::string& place : arguments->places)
                choices << parseChoice(place).value_or(FrameChoice());
            const FramesRequest request{parsePause(arguments->every),
                arguments->count,
                choices,
                Arguments::toPath(arguments->folder),
                Arguments::toPath(arguments->sheet)};
            return FramesExport(InputFile::of(arguments->video), request).run();
        };
    });
}
