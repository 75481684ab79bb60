#include "Arguments.h"
#include "Commands.h"
#include "FileConversion.h"
#include "InputFiles.h"
#include "Output.h"
#include "OutputFile.h"
#include "OutputNames.h"
#include "ParallelJobs.h"
#include "ProgressBar.h"
#include "RKImageLoader/faces/RKFacePositions.h"
#include "RKImageLoader/loading/RKImageLoader.h"
#include "RKImageLoader/loading/RKMediaLoader.h"
#include "RKImageLoader/metadata/RKMetaData.h"
#include "StandardInput.h"
#include "Thumbnail.h"
#include "Writing.h"

#include <QColor>
#include <QDir>
#include <QPainter>
#include <QThread>

#include <CLI/CLI.hpp>

#include <memory>
#include <mutex>
#include <set>
#include <string>
#include <vector>

namespace {

/// How `rkimage convert` makes one picture of another.
struct ConvertOptions
{
    enum class Rotation
    {
        Upright,
        AsStored
    };

    enum class Color
    {
        ToSrgb,
        AsStored
    };

    enum class MetaData
    {
        Drop,
        /// If the format has a place for it.
        KeepIfPossible,
        Keep
    };

    enum class Fit
    {
        /// Inside of the size.
        Inside,
        /// Cut to the size, from the middle.
        Fill,
        /// Stretched to the size.
        Exact
    };

    /// Invalid for full size.
    QSize size;
    Fit fit = Fit::Inside;
    Rotation rotation = Rotation::Upright;
    Color color = Color::ToSrgb;
    MetaData metaData = MetaData::KeepIfPossible;
    QColor background = Qt::white;
};

/// As they come; CLI11 fills them.
struct ConvertArguments
{
    InputFiles files;
    std::string target;
    std::string format;
    std::string size;
    std::string background;
    bool isFilled = false;
    bool isExact = false;
    bool keepsMetaData = false;
    bool isStripped = false;
    std::optional<int> quality;
    bool isAsStored = false;
    bool keepsColor = false;
    Existing existing;
    int jobs = QThread::idealThreadCount();

    ConvertOptions options() const
    {
        ConvertOptions options;
        options.size = Arguments::parseSize(size).value_or(QSize());
        if (isFilled || isExact)
            options.fit = isFilled ? ConvertOptions::Fit::Fill : ConvertOptions::Fit::Exact;
        if (isAsStored)
            options.rotation = ConvertOptions::Rotation::AsStored;
        if (keepsColor)
            options.color = ConvertOptions::Color::AsStored;
        if (keepsMetaData || isStripped)
            options.metaData
                = isStripped ? ConvertOptions::MetaData::Drop : ConvertOptions::MetaData::Keep;
        options.background = Arguments::parseColor(background).value_or(Qt::white);
        return options;
    }
};

using Rotation = ConvertOptions::Rotation;
using Color = ConvertOptions::Color;

RKDrawable read(const RKMediaDescriptor& source, const ConvertOptions& options, RKMediaError* error)
{
    const RKImageLoader& loader = *RKImageLoader::instance();
    const bool isUpright = options.rotation == Rotation::Upright;
    // Videos have neither an orientation of their own nor a profile here.
    if (!loader.hasSupportedMediaFormat(source) || (isUpright && options.color == Color::ToSrgb))
        return RKMediaLoader::instance()->drawable(source, options.size, RKImageOption(), error);
    if (options.color == Color::ToSrgb)
        return loader.unrotatedDrawable(source, options.size, RKImageOption(), error);

    // The steps of the loader without that of the colours.
    const RKDrawable stored = loader.tryAllDecoders(loader.readBinaryFile(source.fileInfo()),
        source.fileFormatAsByteArray(),
        isUpright ? loader.swapSizeRatio(source, options.size) : options.size,
        source);
    // The loader says why it fails, too.
    if (stored.isNull())
        return loader.unrotatedDrawable(source, options.size, RKImageOption(), error);
    return isUpright && stored.isBitmap() ? loader.autoRotate(source, stored) : stored;
}

/// The metadata of the source as those of the picture made of it.
RKMetaData adapted(
    const RKMediaDescriptor& source, const QImage& picture, const ConvertOptions& options)
{
    RKMetaData metaData = RKImageLoader::instance()->copyMetaData(source);
    metaData.adaptToPixels(picture.size());

    // Raw pictures are turned by their decoders whatever is asked for.
    const bool isUpright = options.rotation == Rotation::Upright || source.mediaFormat().isRaw();
    const RKFacePositions faces = metaData.regionFacePositions();
    if (!faces.isEmpty()) {
        metaData.removeFaceRegions();
        metaData.updateFaces(
            picture.size(), isUpright ? faces.toUpright(metaData.imageOrientation()) : faces);
    }
    if (isUpright)
        metaData.setImageOrientation(ORIENTATION_TOP_LEFT);
    const QImage thumbnail = Thumbnail::of(picture);
    if (options.color == Color::ToSrgb) {
        metaData.setThumbnail(thumbnail);
        // Also the marker of Adobe RGB: the pixels are sRGB now.
        metaData.setIccData(QByteArray());
    } else {
        // Nobody converts thumbnails, so they are in sRGB whatever the picture is in.
        metaData.setThumbnail(
            RKImageLoader::instance()->convertColorProfile(source, thumbnail).image());
    }
    return metaData;
}

/// The size to decode a picture at, for a result that covers the wanted one.
QSize coveringSize(const RKMediaDescriptor& source, const ConvertOptions& options)
{
    const RKMediaLoader& loader = *RKMediaLoader::instance();
    const QSize size = options.rotation == Rotation::Upright ? loader.size(source)
                                                             : loader.unrotatedSize(source);
    // One pixel may be lost by rounding.
    return size.isEmpty() ? options.size
                          : size.scaled(options.size, Qt::KeepAspectRatioByExpanding) + QSize(1, 1);
}

/// The picture in exactly the wanted size.
QImage cutOrStretched(const QImage& picture, const ConvertOptions& options)
{
    if (options.fit == ConvertOptions::Fit::Exact)
        return picture.scaled(options.size, Qt::IgnoreAspectRatio, Qt::SmoothTransformation);
    const QImage covering
        = picture.scaled(options.size, Qt::KeepAspectRatioByExpanding, Qt::SmoothTransformation);
    QRect part({}, options.size);
    part.moveCenter(covering.rect().center());
    return covering.copy(part);
}

RKDrawable readFitted(
    const RKMediaDescriptor& source, const ConvertOptions& options, RKMediaError* error)
{
    if (options.fit == ConvertOptions::Fit::Inside || !options.size.isValid())
        return read(source, options, error);
    ConvertOptions covering = options;
    covering.size = coveringSize(source, options);
    const RKDrawable picture = read(source, covering, error);
    return picture.isNull() ? picture : RKDrawable(cutOrStretched(picture.image(), options));
}

/// On a background where the format has no transparency.
RKDrawable opaque(const RKDrawable& picture, const RKMediaFormat& format, const QColor& background)
{
    if (format != MEDIA_FORMAT_JPG || !picture.hasAlpha())
        return picture;
    const QImage image = picture.image();
    QImage result(image.size(), QImage::Format_RGB32);
    result.fill(background);
    result.setDotsPerMeterX(image.dotsPerMeterX());
    result.setDotsPerMeterY(image.dotsPerMeterY());
    QPainter(&result).drawImage(0, 0, image);
    return RKDrawable(result);
}

/// A failure that says nothing about the picture and its format.
bool isOfTheSystem(const RKMediaError& error)
{
    switch (error.code()) {
    case RKMediaErrorCode::Missing:
    case RKMediaErrorCode::NoPermission:
    case RKMediaErrorCode::Unreadable:
    case RKMediaErrorCode::DiskFull:
    case RKMediaErrorCode::NotWritable:
    case RKMediaErrorCode::OutOfMemory: return true;
    default: return false;
    }
}

/// Makes the pictures of one call; its functions may be called by several threads.
class PictureConversion
{
public:
    explicit PictureConversion(const ConvertArguments& arguments)
        : m_options(arguments.options())
        , m_existing(arguments.existing)
        , m_names(Arguments::toPath(arguments.target))
        , m_extension(QString::fromStdString(arguments.format).toLower())
    {
    }

    /// No picture is replaced by another that comes from one of these.
    void protect(const std::vector<InputFile>& files)
    {
        for (const InputFile& file : files)
            m_sources.insert(QFileInfo(file.path).canonicalFilePath());
        // What is missing.
        m_sources.erase(QString());
    }

    /// Into the file, in the format of its extension.
    Result convert(const InputFile& source, const OutputFile& output) const
    {
        const QString target = output.name();
        const Writable isWritable
            = output.isStandardOutput() ? Writable::Yes : writable(source, target, m_existing);
        if (isWritable != Writable::Yes)
            return unwritten(source, target, isWritable);
        if (m_sources.count(QFileInfo(target).canonicalFilePath()) != 0)
            return failed(
                source, QStringLiteral("another picture would be replaced: %1").arg(target));
        RKMetaData metaData;
        FileConversion conversion;
        conversion.read = [&](const RKMediaDescriptor& from, RKMediaError* error) {
            const RKDrawable picture = opaque(readFitted(from, m_options, error),
                output.descriptor().mediaFormat(),
                m_options.background);
            if (!keepsMetaData() || picture.isNull())
                return picture;
            metaData = adapted(from, picture.image(), m_options);
            if (!metaData.readFailure().isError())
                return picture;
            *error = metaData.readFailure();
            return RKDrawable();
        };
        // Apart from the picture: together, a marker of Adobe RGB would be lost always.
        if (keepsMetaData()) {
            conversion.finish = [&](const RKMediaDescriptor& to, RKMediaError* error) {
                const bool mustKeep = m_options.metaData == ConvertOptions::MetaData::Keep;
                bool isSaved = RKMediaLoader::instance()->save(to, metaData, error);
                // Many mean something in their old place only; the manual says that they go.
                if (!isSaved && !mustKeep && error->code() == RKMediaErrorCode::WouldLose) {
                    metaData.removeMakerNote();
                    isSaved = RKMediaLoader::instance()->save(to, metaData, error);
                }
                if (isSaved)
                    return true;
                if (mustKeep || isOfTheSystem(*error))
                    return false;
                if (error->code() != RKMediaErrorCode::UnsupportedForWriting)
                    Output::warn(target, QStringLiteral("without metadata: ") + error->text());
                return true;
            };
        }
        return conversion.run(source, output);
    }

    /// Under a name that follows from the file's.
    Result convert(const InputFile& source, int number)
    {
        const RKMediaDescriptor descriptor{QFileInfo(source.path)};
        const QString extension
            = m_extension.isEmpty() ? Writing::usualExtension(descriptor) : m_extension;
        const QString target = m_names.of(StandardInput::isMeant(source.name.toStdString())
                ? source.stem()
                : QFile::decodeName(source.name),
            extension,
            resultSize(descriptor),
            number);
        if (!claim(target))
            return failed(source, QStringLiteral("another picture has the name %1").arg(target));
        if (const QString folder = QFileInfo(target).path(); !QDir().mkpath(folder)) {
            Result result(source);
            result.fail(folder,
                RKMediaError(
                    RKMediaErrorCode::NotWritable, QStringLiteral("the folder can't be made")));
            return result;
        }
        return convert(source, OutputFile(target, writing()));
    }

    /// Metadata is added to a picture that is there.
    OutputFile::Writing writing() const
    {
        return keepsMetaData() ? OutputFile::Writing::InSteps : OutputFile::Writing::AtOnce;
    }

private:
    static Result failed(const InputFile& source, const QString& reason)
    {
        Result result(source);
        result.fail(RKMediaError(RKMediaErrorCode::NotWritable, reason));
        return result;
    }

    /// The result for a target that is left as it is.
    static Result unwritten(const InputFile& source, const QString& target, Writable isWritable)
    {
        Result result(source);
        result.insert(QStringLiteral("skipped"), isWritable == Writable::Skip);
        if (isWritable == Writable::No) {
            result.fail(target,
                RKMediaError(RKMediaErrorCode::NotWritable,
                    source.isAt(target)
                        ? QStringLiteral("is the picture itself")
                        : QStringLiteral("exists already; --overwrite replaces it")));
        }
        return result;
    }

    /// False if a picture of this call has the name already, whatever may be replaced. Some file
    /// systems don't distinguish upper and lower case.
    bool claim(const QString& target)
    {
        const std::lock_guard lock(m_mutex);
        return m_claimed.insert(QFileInfo(target).absoluteFilePath().toCaseFolded()).second;
    }

    bool keepsMetaData() const
    {
        return m_options.metaData != ConvertOptions::MetaData::Drop;
    }

    QSize resultSize(const RKMediaDescriptor& source) const
    {
        if (m_options.size.isValid() && m_options.fit != ConvertOptions::Fit::Inside)
            return m_options.size;
        const QSize size = RKMediaLoader::instance()->size(source);
        return m_options.size.isValid() && !size.isEmpty()
            ? size.scaled(m_options.size, Qt::KeepAspectRatio)
            : size;
    }

    ConvertOptions m_options;
    Existing m_existing;
    OutputNames m_names;
    QString m_extension;
    std::set<QString> m_sources;
    // Guards the names.
    std::mutex m_mutex;
    std::set<QString> m_claimed;
};

bool isQuality(const std::string& text)
{
    bool isNumber = false;
    const int quality = QString::fromStdString(text).toInt(&isNumber);
    return isNumber && quality >= 1 && quality <= 100;
}

int convertFiles(ConvertArguments& arguments)
{
    PictureConversion conversion(arguments);
    if (arguments.target.empty()) {
        const std::vector<std::string>& pair = arguments.files.arguments();
        const InputFile source = InputFile::of(pair[0]);
        return conversion
            .convert(source, OutputFile(pair[1], source, arguments.format, conversion.writing()))
            .report();
    }
    const std::vector<InputFile> files = arguments.files.all();
    conversion.protect(files);

    std::atomic<int> failures = arguments.files.failures();
    ProgressBar progress(qint64(files.size()));
    runInParallel(files.size(), arguments.jobs, [&](size_t i) {
        failures += conversion.convert(files[i], int(i) + 1).report() != Output::AllDone;
        files[i].release();
        progress.step();
    });
    return Output::finish(qsizetype(files.size()), failures);
}

} // namespace

void addConvertCommand(CLI::App& app, Command& command)
{
    const auto arguments = std::make_shared<ConvertArguments>();
    CLI::App* convert = app.add_subcommand("convert",
        "Decode pictures and save them anew: IN OUT, or many with --out; the extension is the format");
    arguments->files.addTo(*convert);
    const CLI::Option* target
        = convert
              ->add_option("--out",
                  arguments->target,
                  "Folder, or names with {name} {stem} {ext} {width} {height} {number}")
              ->type_name("FOLDER|PATTERN")
              ->check(Arguments::checked(
                  OutputNames::isPattern, "has another word in braces than those of --help"));
    convert
        ->add_option("--format",
            arguments->format,
            "Format for --out and standard output; without it that of each file, or jpg")
        ->type_name("EXT");
    CLI::Option* size
        = convert->add_option("--size", arguments->size, "Fit into WxH pixels, proportions kept")
              ->type_name("WxH")
              ->check(Arguments::checked(Arguments::parseSize, "a size looks like 800x600"));
    CLI::Option* fill = convert->add_flag(
        "--fill", arguments->isFilled, "Fill that size, and cut off what is too much");
    fill->needs(size);
    convert->add_flag("--exact", arguments->isExact, "Stretch to exactly that size")
        ->needs(size)
        ->excludes(fill);
    convert->add_option("--quality", arguments->quality, "Quality of JPEG files, 1 to 100 (90)")
        ->type_name("N")
        ->check(Arguments::checked(isQuality, "a quality is a number from 1 to 100"));
    CLI::Option* strip
        = convert->add_flag("--strip", arguments->isStripped, "Leave out all metadata");
    convert
        ->add_flag("--keep-metadata",
            arguments->keepsMetaData,
            "Fail if not all of the metadata can be kept; without this it is kept where the format has "
            "a place for it, and a camera's maker note where it can still be read")
        ->excludes(strip);
    convert->add_flag("--no-rotate", arguments->isAsStored, "Leave the picture as it is stored");
    convert->add_flag("--no-color", arguments->keepsColor, "Leave the colours in their profile");
    convert
        ->add_option("--background",
            arguments->background,
            "Colour behind transparent pixels of a JPEG (white)")
        ->type_name("COLOUR")
        ->check(Arguments::checked(Arguments::parseColor, "a colour looks like #ffffff or white"));
    arguments->existing.addTo(*convert);
    convert->add_option("--jobs", arguments->jobs, "How many to make at the same time")
        ->type_name("N")
        ->check(CLI::Range(1, 256));
    convert->footer("rkimage convert photo.heic photo.jpg\n"
                    "rkimage convert --recursive album --out small --format jpg --size 1600x1600");
    convert->callback([arguments, target, &command] {
        if (OutputFile::isStandardOutput(arguments->target))
            throw CLI::ValidationError("--out", "is a folder; IN - writes to standard output");
        const bool isPair = target->count() == 0;
        if (isPair && !arguments->files.isPair())
            throw CLI::ValidationError("convert", "either IN OUT, or files with --out");
        if (isPair) {
            const std::vector<std::string>& pair = arguments->files.arguments();
            StandardInput::expect(StandardInput::isMeant(pair[0]));
            command.writesPicture = OutputFile::isStandardOutput(pair[1]);
            OutputFile::check(pair[1], arguments->format);
        }
        command.jpegQuality = arguments->quality;
        command.run = [arguments] { return convertFiles(*arguments); };
    });
}
