#include "Arguments.h"
#include "Commands.h"
#include "Output.h"
#include "RKImageLoader/loading/RKImageLoader.h"
#include "RKImageLoader/metadata/RKMetaData.h"
#include "RKImageLoader/metadata/RKMetaDataField.h"
#include "Thumbnail.h"

#include "RKGeoLocation/RKGeoPosition.h"

#include <QDateTime>
#include <QFile>

#include <CLI/CLI.hpp>

#include <memory>
#include <optional>

namespace {

/// What `rkimage set` changes; what holds no value stays as it is.
struct MetaDataChanges
{
    enum class Mode
    {
        Write,
        DryRun
    };

    std::optional<int> rating;
    std::optional<RKImageOrientation> orientation;
    std::optional<bool> rotateClockwise;
    std::optional<QDateTime> taken;
    std::optional<RKGeoPosition> position;
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

/// The failure, or nothing when the thumbnail is set.
QString setThumbnail(
    RKMetaData& metaData, const RKMediaDescriptor& descriptor, const QString& source)
{
    if (source == QLatin1String("none")) {
        metaData.eraseThumbnail();
        return {};
    }
    const bool isOwn = source == QLatin1String("auto");
    const RKMediaDescriptor picture = isOwn ? descriptor : RKMediaDescriptor(QFileInfo(source));
    // A thumbnail lies as the stored picture does.
    RKImageLoader& loader = *RKImageLoader::instance();
    const RKDrawable drawable = isOwn
        ? RKDrawable(loader.decodeBigDrawable(picture, Thumbnail::kSize))
        : loader.drawable(picture, Thumbnail::kSize, RKImageOption());
    if (drawable.isNull())
        return QStringLiteral("no thumbnail can be made of %1").arg(source);
    metaData.setThumbnail(drawable.image());
    return {};
}

QString setProfile(RKMetaData& metaData, const QString& path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return QStringLiteral("can't open the profile %1: %2").arg(path, file.errorString());
    metaData.setIccData(file.readAll());
    return {};
}

/// The failure, or nothing when all changes are made.
QString apply(
    const MetaDataChanges& changes, const RKMediaDescriptor& descriptor, RKMetaData& metaData)
{
    if (changes.rating)
        metaData.setAdobeRating(*changes.rating);
    if (changes.orientation)
        metaData.setImageOrientation(*changes.orientation);
    if (changes.rotateClockwise)
        metaData.rotate(*changes.rotateClockwise);
    if (changes.taken)
        metaData.setPictureTaken(*changes.taken);
    if (changes.position)
        metaData.setGeoPosition(*changes.position);
    writeText(metaData, RKMetaDataFieldEnum::originalFilename, changes.title);
    changeKeywords(metaData, changes);
    writeText(metaData, RKMetaDataFieldEnum::author, changes.author);
    writeText(metaData, RKMetaDataFieldEnum::copyright, changes.copyright);
    writeText(metaData, RKMetaDataFieldEnum::exifUserComment, changes.comment);

    QString failure;
    if (changes.profile)
        failure = setProfile(metaData, *changes.profile);
    if (failure.isEmpty() && changes.thumbnail)
        failure = setThumbnail(metaData, descriptor, *changes.thumbnail);
    return failure;
}

/// The failure, or nothing when the file is changed.
QString changeFile(const QString& file, const MetaDataChanges& changes)
{
    const RKMediaDescriptor descriptor{QFileInfo(file)};
    if (!descriptor.fileInfo().exists())
        return RKMediaError(RKMediaErrorCode::Missing).text();
    const RKImageLoader& loader = *RKImageLoader::instance();
    RKMetaData metaData = loader.copyMetaData(descriptor);
    const QString failure = apply(changes, descriptor, metaData);
    if (!failure.isEmpty())
        return failure;
    if (changes.mode == MetaDataChanges::Mode::DryRun) {
        Output::print(QStringLiteral("would change %1").arg(file));
        return {};
    }
    RKMediaError error;
    loader.save(descriptor, metaData, &error);
    return error.text();
}

int changeFiles(const QStringList& files, const MetaDataChanges& changes)
{
    int exitCode = Output::AllDone;
    for (const QString& file : files) {
        const QString failure = changeFile(file, changes);
        if (!failure.isEmpty()) {
            Output::printFailure(file, failure);
            exitCode = Output::SomeFailed;
        }
    }
    return exitCode;
}

/// The arguments of `rkimage set` as they come; CLI11 fills them while it parses.
struct SetArguments
{
    Arguments::Texts files;
    std::optional<int> rating;
    std::optional<int> orientation;
    Arguments::Text rotate;
    Arguments::Text taken;
    Arguments::Text position;
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

    MetaDataChanges changes() const
    {
        MetaDataChanges changes;
        changes.rating = rating;
        if (orientation)
            changes.orientation = RKImageOrientation(*orientation);
        if (rotate)
            changes.rotateClockwise = *rotate == "cw";
        if (taken)
            changes.taken = Arguments::parseDateTime(*taken);
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
        return changes;
    }
};

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
    set->add_option("FILES", arguments->files, "The files")->required();
    set->add_option("--rating", arguments->rating, "Stars, 0 to 5")
        ->type_name("N")
        ->check(CLI::Range(0, 5));
    set->add_option("--orientation", arguments->orientation, "Exif orientation, 1 to 8")
        ->type_name("N")
        ->check(CLI::Range(1, 8));
    set->add_option("--rotate", arguments->rotate, "Turn by 90 degrees: cw or ccw")
        ->type_name("cw|ccw")
        ->check(Arguments::checked(isTurn, "cw or ccw"));
    set->add_option("--taken", arguments->taken, "When the picture was taken, ISO 8601")
        ->type_name("DATE")
        ->check(
            Arguments::checked(Arguments::parseDateTime, "a date looks like 2021-07-04T12:30:00"));
    set->add_option("--gps", arguments->position, "Where, in degrees: LAT,LON")
        ->type_name("LAT,LON")
        ->check(
            Arguments::checked(Arguments::parsePosition, "a position looks like 48.858222,2.2945"));
    set->add_option("--title", arguments->title, "Title")->type_name("TEXT");
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
    set->add_option("--author", arguments->author, "Author")->type_name("TEXT");
    set->add_option("--copyright", arguments->copyright, "Copyright")->type_name("TEXT");
    set->add_option("--comment", arguments->comment, "Comment")->type_name("TEXT");
    set->add_option("--icc", arguments->profile, "Colour profile to embed")
        ->type_name("FILE")
        ->check(Arguments::existingFile());
    set->add_option("--thumbnail",
           arguments->thumbnail,
           "Thumbnail to embed: a picture, auto for one of the file itself, or none")
        ->type_name("FILE|auto|none");
    set->add_flag("--dry-run", arguments->dryRun, "Write nothing");
    set->callback([arguments, &command] {
        command.run = [arguments]() {
            return changeFiles(Arguments::toPaths(arguments->files), arguments->changes());
        };
    });
}
