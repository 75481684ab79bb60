#include "Arguments.h"
#include "Commands.h"
#include "InputFiles.h"
#include "MetaDataCopy.h"
#include "MetaDataJson.h"
#include "Output.h"
#include "RKImageLoader/loading/RKImageLoader.h"
#include "RKImageLoader/metadata/RKMetaData.h"
#include "RKImageLoader/metadata/RKMetaDataField.h"
#include "Result.h"
#include "SmallFile.h"
#include "StandardInput.h"
#include "TemporaryFolder.h"
#include "Thumbnail.h"

#include "RKGeoLocation/RKGeoPosition.h"

#include <QDateTime>
#include <QFile>
#include <QFileInfo>
#include <QJsonDocument>
#include <QRegularExpression>

#include <CLI/CLI.hpp>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <memory>
#include <optional>
#include <set>
#include <system_error>
#include <utility>

namespace {

namespace fs = std::filesystem;

constexpr int kRejected = -1;
// Those of printers have a few megabytes.
constexpr qint64 kMaxProfileSize = 64 * 1024 * 1024;
// ICC.1:2022, 7.2.11.
constexpr qsizetype kProfileMarkPlace = 36;

/// What `rkimage set` changes; what holds no value stays as it is.
struct MetaDataChanges
{
    enum class Mode
    {
        Write,
        DryRun
    };

    enum class FileTime
    {
        Now,
        Keep
    };

    enum class Backup
    {
        No,
        /// Beside the file, with a tilde after its name; an older one stays.
        Keep
    };

    /// What to take from another file, before all other changes.
    std::optional<MetaDataCopy> copied;
    /// kRejected for a picture that was rejected.
    std::optional<int> rating;
    std::optional<RKImageOrientation> orientation;
    std::optional<bool> rotateClockwise;
    /// Removed if it is null.
    std::optional<QDateTime> taken;
    /// Added to the dates that the file has.
    std::optional<qint64> shiftSeconds;
    std::optional<RKGeoPosition> position;
    bool isPositionRemoved = false;
    std::optional<QString> title;
    /// All keywords; those to remove and to add come after.
    std::optional<QStringList> keywords;
    QStringList removedKeywords;
    QStringList addedKeywords;
    std::optional<QString> author;
    std::optional<QString> copyright;
    std::optional<QString> comment;
    /// The path of an ICC profile.
    std::optional<QString> profile;
    /// The path of a picture, "auto" for one of the file's own, or "none".
    std::optional<QString> thumbnail;
    Mode mode = Mode::Write;
    FileTime fileTime = FileTime::Now;
    Backup backup = Backup::No;
};

void writeText(RKMetaData& metaData, RKMetaDataFieldEnum field, const std::optional<QString>& text)
{
    if (text)
        metaData.write(field, *text);
}

void changeKeywords(RKMetaData& metaData, const MetaDataChanges& changes)
{
    // What only one place in the file has would be lost by adding to those that count.
    const QStringList known = metaData.keywordsOfAllPlaces();
    QStringList keywords = changes.keywords.value_or(known);
    for (const QString& removed : changes.removedKeywords)
        keywords.removeAll(removed.trimmed());
    keywords += changes.addedKeywords;
    if (changes.keywords || keywords != known)
        metaData.setKeywords(keywords);
}

void setThumbnail(RKMetaData& metaData,
    const RKMediaDescriptor& descriptor,
    const QString& source,
    Result& result)
{
    if (source == QLatin1String("none")) {
        metaData.eraseThumbnail();
        return;
    }
    const bool isOwn = source == QLatin1String("auto");
    const RKMediaDescriptor picture = isOwn ? descriptor : RKMediaDescriptor(QFileInfo(source));
    // A thumbnail lies as the stored picture does.
    RKImageLoader& loader = *RKImageLoader::instance();
    const RKDrawable drawable = isOwn
        ? RKDrawable(loader.decodeBigDrawable(picture, Thumbnail::kSize))
        : loader.drawable(picture, Thumbnail::kSize, RKImageOption());
    if (drawable.isNull())
        result.refuse(QStringLiteral("no thumbnail can be made of %1").arg(source));
    else
        metaData.setThumbnail(drawable.image());
}

void shiftDates(RKMetaData& metaData, qint64 seconds, Result& result)
{
    const QDateTime before = metaData.pictureTaken();
    metaData.shiftDates(seconds);
    if (!before.isValid() || (seconds != 0 && metaData.pictureTaken() == before))
        result.refuse(QStringLiteral("nothing says when the picture was taken"));
}

void setProfile(RKMetaData& metaData, const QString& path, Result& result)
{
    RKMediaError error;
    const auto profile = SmallFile::read(path, kMaxProfileSize, &error);
    if (profile && profile->mid(kProfileMarkPlace).startsWith("acsp"))
        metaData.setIccData(*profile);
    else if (profile) {
        result.fail(path,
            RKMediaError(RKMediaErrorCode::Damaged, QStringLiteral("this is no colour profile")));
    } else {
        result.fail(path, error);
    }
}

/// Makes all changes; failures are noted in the result.
void apply(const MetaDataChanges& changes,
    const RKMediaDescriptor& descriptor,
    RKMetaData& metaData,
    Result& result)
{
    if (changes.copied) {
        if (const QString failure = changes.copied->copyTo(metaData, descriptor.fileInfo());
            !failure.isEmpty())
        {
            result.refuse(failure);
            return;
        }
    }
    if (changes.rating == kRejected)
        metaData.setRejected();
    else if (changes.rating)
        metaData.setAdobeRating(*changes.rating);
    if (changes.orientation)
        metaData.setImageOrientation(*changes.orientation);
    if (changes.rotateClockwise)
        metaData.rotate(*changes.rotateClockwise);
    if (changes.taken && changes.taken->isNull())
        metaData.removePictureTaken();
    else if (changes.taken)
        metaData.setPictureTaken(*changes.taken);
    if (changes.position)
        metaData.setGeoPosition(*changes.position);
    if (changes.isPositionRemoved)
        metaData.removeGeoPosition();
    writeText(metaData, RKMetaDataFieldEnum::originalFilename, changes.title);
    changeKeywords(metaData, changes);
    writeText(metaData, RKMetaDataFieldEnum::author, changes.author);
    writeText(metaData, RKMetaDataFieldEnum::copyright, changes.copyright);
    writeText(metaData, RKMetaDataFieldEnum::exifUserComment, changes.comment);

    if (changes.shiftSeconds)
        shiftDates(metaData, *changes.shiftSeconds, result);
    if (changes.profile)
        setProfile(metaData, *changes.profile, result);
    if (changes.thumbnail)
        setThumbnail(metaData, descriptor, *changes.thumbnail, result);
}

QString asText(const QJsonValue& value)
{
    if (value.isUndefined() || value.isNull())
        return QStringLiteral("nothing");
    const QJsonDocument document(QJsonArray{value});
    const QString text = QString::fromUtf8(document.toJson(QJsonDocument::Compact));
    return text.mid(1, text.size() - 2);
}

/// Numbers that say where something lies in the file.
bool isPlace(const QString& key)
{
    static const QStringList places{QStringLiteral("Exif.Image.ExifTag"),
        QStringLiteral("Exif.Image.GPSTag"),
        QStringLiteral("Exif.Photo.InteroperabilityTag"),
        QStringLiteral("Exif.Thumbnail.JPEGInterchangeFormat"),
        QStringLiteral("Exif.MakerNote.Offset")};
    return places.contains(key);
}

/// What would change, value by value.
QJsonArray changesBetween(const RKMetaData& before, const RKMetaData& after)
{
    const auto valuesOf = [](const RKMetaData& metaData) {
        QJsonObject values = MetaDataJson::fromMetaData(
            metaData, MetaDataJson::uprightSize(metaData), MetaDataJson::Extent::All);
        values[QStringLiteral("orientation")] = int(metaData.imageOrientation());
        // The same data in words.
        values.remove(QStringLiteral("interpretedData"));
        const QJsonObject fields = values.take(QStringLiteral("fields")).toObject();
        for (auto field = fields.begin(); field != fields.end(); ++field)
            values[QStringLiteral("fields.") + field.key()] = field.value();
        return values;
    };
    QJsonArray changes;
    const auto compare = [&changes](const QJsonObject& one, const QJsonObject& other) {
        QStringList keys = one.keys() + other.keys();
        keys.removeDuplicates();
        for (const QString& key : qAsConst(keys)) {
            if (one[key] != other[key] && !isPlace(key)) {
                changes << QJsonObject{{QStringLiteral("key"), key},
                    {QStringLiteral("old"), one[key]},
                    {QStringLiteral("new"), other[key]}};
            }
        }
    };
    QJsonObject oldValues = valuesOf(before);
    QJsonObject newValues = valuesOf(after);
    const QJsonObject oldData = oldValues.take(QStringLiteral("allData")).toObject();
    const QJsonObject newData = newValues.take(QStringLiteral("allData")).toObject();
    compare(oldValues, newValues);
    compare(oldData, newData);
    return changes;
}

void printChanges(const QByteArray& file, const QJsonArray& changes)
{
    const QByteArray name = Output::escaped(file);
    QByteArrayList lines{name};
    for (const auto& change : changes) {
        const QString line = QStringLiteral("  %1: %2 → %3");
        lines << line.arg(change[u"key"].toString(), asText(change[u"old"]), asText(change[u"new"]))
                     .toUtf8();
    }
    Output::print(changes.isEmpty() ? name + ": no change" : lines.join('\n'));
}

/// Keeps a copy of a file while it is changed: for good if the change was made and a copy is
/// wanted.
class BackupFile
{
public:
    explicit BackupFile(const InputFile& file)
        : m_path(file.name.toStdString())
        , m_copy(m_path.native() + '~')
    {
    }

    /// No error if there is a copy, made now or before.
    RKMediaError make()
    {
        std::error_code error;
        if (fs::exists(m_copy, error))
            return {};
        // Under its own name when it is whole.
        const fs::path incomplete
            = m_path.parent_path() / (".rkimage-" + std::to_string(::getpid()));
        fs::copy_file(m_path, incomplete, error);
        if (!error)
            fs::rename(incomplete, m_copy, error);
        m_isOwn = !error;
        if (m_isOwn)
            return {};
        if (std::error_code ignored; error != std::errc::file_exists)
            fs::remove(incomplete, ignored);
        return RKMediaError(RKMediaErrorCode::NotWritable,
            QStringLiteral("no backup can be made: %1")
                .arg(QString::fromLocal8Bit(error.message().c_str())));
    }

    void drop() const
    {
        std::error_code ignored;
        if (m_isOwn)
            fs::remove(m_copy, ignored);
    }

private:
    // Bytes, which need not be UTF-8.
    fs::path m_path;
    fs::path m_copy;
    bool m_isOwn = false;
};

/// Device and number, which are the same by all names of a file.
std::pair<dev_t, ino_t> idOf(const InputFile& file)
{
    struct stat status = {};
    ::stat(QFile::encodeName(file.path).constData(), &status);
    return {status.st_dev, status.st_ino};
}

/// In full: Qt cuts it to milliseconds, and sets none of those before 1970.
fs::file_time_type modified(const fs::path& path)
{
    std::error_code ignored;
    return fs::last_write_time(path, ignored);
}

/// No error if the file has the time.
RKMediaError setModified(const fs::path& path, fs::file_time_type time)
{
    std::error_code error;
    fs::last_write_time(path, time, error);
    return error ? RKMediaError(RKMediaErrorCode::NotWritable,
               QStringLiteral("the time of the last change can't be kept: %1")
                   .arg(QString::fromLocal8Bit(error.message().c_str())))
                 : RKMediaError();
}

/// Makes the file as wanted; failures are noted in the result.
void save(const InputFile& file,
    const RKMediaDescriptor& descriptor,
    const RKMetaData& metaData,
    const MetaDataChanges& changes,
    Result& result)
{
    const fs::path path = QFile::encodeName(descriptor.absoluteFilePath()).toStdString();
    BackupFile backup(file);
    if (changes.backup == MetaDataChanges::Backup::Keep) {
        if (const RKMediaError error = backup.make(); error.isError()) {
            result.fail(error);
            return;
        }
    }
    const fs::file_time_type before = modified(path);
    const auto idBefore = idOf(file);
    RKMediaError error;
    RKImageLoader::instance()->save(descriptor, metaData, &error);
    // A file that is as wanted is not written. One that is, and failed, needs its backup most. Some
    // disks count time in steps of two seconds.
    const bool isWritten = modified(path) != before || idOf(file) != idBefore;
    if (!isWritten)
        backup.drop();
    if (isWritten && changes.fileTime == MetaDataChanges::FileTime::Keep) {
        const RKMediaError timeError = setModified(path, before);
        if (!error.isError())
            error = timeError;
    }
    if (error.isError())
        result.fail(error);
    if (isWritten && !StandardInput::isExpected())
        result.addChanged(file);
    else if (StandardInput::isExpected() && !error.isError())
        StandardInput::giveBack(result);
}

/// What a change would do, tried out on a copy, so that what would fail does so here, too.
void tryOut(const InputFile& file, const MetaDataChanges& changes, Result& result)
{
    const QString copy = TemporaryFolder::newPath(QFileInfo(file.path).suffix());
    QFile source(file.path);
    if (!source.copy(copy)) {
        result.fail(RKMediaError(RKMediaErrorCode::Unreadable));
        return;
    }
    QFile::setPermissions(copy, QFileDevice::ReadOwner | QFileDevice::WriteOwner);
    const RKMediaDescriptor descriptor{QFileInfo(copy)};
    const RKMetaData before = RKImageLoader::instance()->copyMetaData(descriptor);
    RKMetaData metaData = before;
    apply(changes, descriptor, metaData, result);
    RKMediaError error;
    if (result.isDone() && !RKImageLoader::instance()->save(descriptor, metaData, &error))
        result.fail(error);
    const RKMetaData after{QFileInfo(copy)};
    if (result.isDone() && after.readFailure().isError())
        result.fail(after.readFailure());
    if (result.isDone()) {
        const QJsonArray changed = changesBetween(before, after);
        result.insert(QStringLiteral("changes"), changed);
        printChanges(file.name, changed);
    }
    QFile::remove(copy);
}

Result changeFile(const InputFile& file, const MetaDataChanges& changes)
{
    const RKMediaDescriptor descriptor{QFileInfo(file.path)};
    Result result(file);
    if (!descriptor.fileInfo().isFile()) {
        result.fail(RKMediaError(descriptor.fileInfo().exists() ? RKMediaErrorCode::NotAFile
                                                                : RKMediaErrorCode::Missing));
        return result;
    }
    if (changes.mode == MetaDataChanges::Mode::DryRun) {
        tryOut(file, changes, result);
        return result;
    }
    RKMetaData metaData = RKImageLoader::instance()->copyMetaData(descriptor);
    apply(changes, descriptor, metaData, result);
    if (result.isDone())
        save(file, descriptor, metaData, changes, result);
    return result;
}

int changeFiles(InputFiles& files, const MetaDataChanges& changes)
{
    int failures = 0;
    // As they are after the change, which gives most of them another number.
    std::set<std::pair<dev_t, ino_t>> changed;
    files.forEach([&](const InputFile& file) {
        // A turn or a shift would be made once more by each name and link.
        const bool isAgain = changed.count(idOf(file)) != 0;
        const Result result = isAgain ? Result(file) : changeFile(file, changes);
        if (result.isDone() && changes.mode == MetaDataChanges::Mode::Write)
            changed.insert(idOf(file));
        failures += result.report() != Output::AllDone;
        file.release();
    });
    return files.finish(failures);
}

/// Seconds, of "+1:30:00", "-0:00:20" or "+2:00".
std::optional<qint64> parseShift(const std::string& text)
{
    static const QRegularExpression pattern(
        QStringLiteral("^([+-])(\\d{1,6}):([0-5]?\\d)(?::([0-5]?\\d))?$"));
    const QRegularExpressionMatch match = pattern.match(QString::fromStdString(text));
    if (!match.hasMatch())
        return {};
    const qint64 seconds = match.captured(2).toLongLong() * 3600 + match.captured(3).toInt() * 60
        + match.captured(4).toInt();
    return match.captured(1) == QLatin1String("-") ? -seconds : seconds;
}

/// No date for an empty text.
std::optional<QDateTime> parseTaken(const std::string& text)
{
    return text.empty() ? QDateTime() : Arguments::parseDateTime(text);
}

/// The arguments of `rkimage set` as they come; CLI11 fills them while it parses.
struct SetArguments
{
    InputFiles files;
    std::optional<int> rating;
    std::optional<int> orientation;
    Arguments::Text rotate;
    Arguments::Text taken;
    Arguments::Text shift;
    Arguments::Text position;
    bool isPositionRemoved = false;
    Arguments::Text source;
    Arguments::Texts copiedFields;
    Arguments::Text title;
    Arguments::Text keywords;
    Arguments::Texts keywordList;
    Arguments::Texts addedKeywords;
    Arguments::Texts removedKeywords;
    Arguments::Text author;
    Arguments::Text copyright;
    Arguments::Text comment;
    Arguments::Text profile;
    Arguments::Text thumbnail;
    bool dryRun = false;
    bool keepsTime = false;
    bool hasBackup = false;

    /// Whether any change is named.
    bool isChange() const
    {
        return rating || orientation || rotate || taken || shift || position || isPositionRemoved
            || source || title || keywords || !keywordList.empty() || !addedKeywords.empty()
            || !removedKeywords.empty() || author || copyright || comment || profile || thumbnail;
    }

    MetaDataChanges changes() const
    {
        MetaDataChanges changes;
        if (source) {
            changes.copied.emplace(InputFile::of(*source).path, Arguments::toTexts(copiedFields));
        }
        changes.rating = rating;
        changes.isPositionRemoved = isPositionRemoved;
        if (orientation)
            changes.orientation = RKImageOrientation(*orientation);
        if (rotate)
            changes.rotateClockwise = *rotate == "cw";
        if (taken)
            changes.taken = parseTaken(*taken);
        if (shift)
            changes.shiftSeconds = parseShift(*shift);
        if (position)
            changes.position = Arguments::parsePosition(*position);
        changes.title = Arguments::toText(title);
        if (keywords)
            changes.keywords = QString::fromStdString(*keywords).split(QLatin1Char(','));
        else if (!keywordList.empty())
            changes.keywords = Arguments::toTexts(keywordList);
        changes.addedKeywords = Arguments::toTexts(addedKeywords);
        changes.removedKeywords = Arguments::toTexts(removedKeywords);
        changes.author = Arguments::toText(author);
        changes.copyright = Arguments::toText(copyright);
        changes.comment = Arguments::toText(comment);
        if (profile)
            changes.profile = Arguments::toPath(*profile);
        if (thumbnail)
            changes.thumbnail = Arguments::toPath(*thumbnail);
        changes.mode = dryRun ? MetaDataChanges::Mode::DryRun : MetaDataChanges::Mode::Write;
        if (keepsTime)
            changes.fileTime = MetaDataChanges::FileTime::Keep;
        if (hasBackup)
            changes.backup = MetaDataChanges::Backup::Keep;
        return changes;
    }
};

/// A check for CLI11: a value.
std::optional<QString> isCopiedField(const std::string& text)
{
    const QString name = QString::fromStdString(text);
    return MetaDataCopy::fieldNames().contains(name) ? std::optional(name) : std::nullopt;
}

bool isTurn(const std::string& text)
{
    return text == "cw" || text == "ccw";
}

} // namespace

void addSetCommand(CLI::App& app, Command& command)
{
    const auto arguments = std::make_shared<SetArguments>();
    CLI::App* set
        = app.add_subcommand("set", "Change the metadata of files; their pixels stay as they are");
    arguments->files.addTo(*set);
    set->get_option("FILES")->description(
        "Files, folders with --recursive, or - for a picture from standard input, which goes to "
        "standard output");
    set->add_option("--rating", arguments->rating, "Stars, 0 to 5, or -1 for a rejected picture")
        ->type_name("N")
        ->check(CLI::Range(kRejected, 5));
    set->add_option("--orientation", arguments->orientation, "Exif orientation, 1 to 8")
        ->type_name("N")
        ->check(CLI::Range(1, 8));
    set->add_option("--rotate", arguments->rotate, "Turn by 90 degrees: cw or ccw")
        ->type_name("cw|ccw")
        ->check(Arguments::checked(isTurn, "cw or ccw"));
    CLI::Option* taken
        = set->add_option("--taken",
                 arguments->taken,
                 "When the picture was taken, ISO 8601; an empty text removes it")
              ->type_name("DATE")
              ->check(Arguments::checked(parseTaken, "a date looks like 2021-07-04T12:30:00"));
    set->add_option("--shift-taken",
           arguments->shift,
           "Move that date, and that of digitisation, wherever the file has them: +H:M:S or -H:M:S")
        ->type_name("+H:M:S")
        ->check(Arguments::checked(parseShift, "a shift looks like +1:30:00"))
        ->excludes(taken);
    CLI::Option* position
        = set->add_option("--gps", arguments->position, "Where, in degrees: LAT,LON")
              ->type_name("LAT,LON")
              ->check(Arguments::checked(
                  Arguments::parsePosition, "a position looks like 48.858222,2.2945"));
    set->add_flag("--no-gps",
           arguments->isPositionRemoved,
           "Remove the position with all that belongs to it; names of places stay")
        ->excludes(position);
    set->add_option("--title", arguments->title, "Title; an empty text removes it")
        ->type_name("TEXT");
    CLI::Option* keywords
        = set->add_option("--keywords", arguments->keywords, "All keywords, separated by commas")
              ->type_name("K,K,...");
    const auto addKeywordOption = [set](const char* name, auto& texts, const char* description) {
        return set->add_option(name, texts, description)
            ->type_name("TEXT")
            ->allow_extra_args(false);
    };
    addKeywordOption("--keyword", arguments->keywordList, "A keyword; repeat it for all of them")
        ->excludes(keywords);
    addKeywordOption("--add-keyword", arguments->addedKeywords, "A keyword to add to the others");
    addKeywordOption("--remove-keyword", arguments->removedKeywords, "A keyword to remove");
    set->add_option("--author", arguments->author, "Author; likewise")->type_name("TEXT");
    set->add_option("--copyright", arguments->copyright, "Copyright; likewise")->type_name("TEXT");
    set->add_option("--comment", arguments->comment, "Comment; likewise")->type_name("TEXT");
    set->add_option("--icc", arguments->profile, "Colour profile to embed")
        ->type_name("FILE")
        ->check(Arguments::existingFile());
    set->add_option("--thumbnail",
           arguments->thumbnail,
           "Thumbnail to embed: a picture, auto for one of the file itself, or none")
        ->type_name("FILE|auto|none");
    CLI::Option* source
        = set->add_option("--copy-from",
                 arguments->source,
                 "Take over all metadata of another file but what describes its pixels, and the "
                 "camera's maker note; other changes come after")
              ->type_name("FILE")
              ->check(Arguments::existingFile());
    set->add_option("--fields",
           arguments->copiedFields,
           "Take over only these: "
               + MetaDataCopy::fieldNames().join(QStringLiteral(", ")).toStdString())
        ->type_name("NAME,...")
        ->delimiter(',')
        ->allow_extra_args(false)
        ->needs(source)
        ->check(Arguments::checked(isCopiedField, "there is no such field"));
    set->add_flag("--dry-run", arguments->dryRun, "Write nothing; show what would change");
    set->add_flag(
        "--preserve-mtime", arguments->keepsTime, "Keep the time of the file's last change");
    set->add_flag("--backup",
        arguments->hasBackup,
        "Keep the file as it was beside it, with ~ after its name; an older one stays");
    set->footer("rkimage set --rating 4 --add-keyword Paris photo.jpg\n"
                "rkimage set --recursive --shift-taken +1:00:00 --preserve-mtime holiday");
    set->callback([arguments, &command] {
        if (!arguments->isChange())
            throw CLI::ValidationError("set", "no change is named");
        if (StandardInput::isExpected() && arguments->files.arguments().size() > 1)
            throw CLI::ValidationError("set", "standard input goes to standard output by itself");
        if (StandardInput::isExpected() && arguments->hasBackup)
            throw CLI::ValidationError("--backup", "is for files");
        command.run = [arguments] { return changeFiles(arguments->files, arguments->changes()); };
    });
}
