#include "Arguments.h"
#include "Commands.h"
#include "FieldNames.h"
#include "InfoCard.h"
#include "InputFiles.h"
#include "MetaDataJson.h"
#include "NearestName.h"
#include "Output.h"
#include "RKImageLoader/loading/RKImageLoader.h"
#include "RKImageLoader/loading/RKMediaLoader.h"
#include "RKImageLoader/metadata/RKMetaData.h"
#include "RKImageLoader/metadata/RKMetaDataField.h"
#include "RKImageLoader/video/RKVideoDecoderRegistry.h"
#include "Result.h"

#include <QJsonArray>
#include <QJsonObject>

#include <CLI/CLI.hpp>

#include <algorithm>
#include <cmath>
#include <memory>
#include <utility>

namespace {

struct InfoArguments
{
    InputFiles files;
    bool isCsv = false;
    bool isAll = false;
    Arguments::Texts fields;
};

// The columns of a table unless told otherwise.
const QStringList kUsualFields{QStringLiteral("file"),
    QStringLiteral("format"),
    QStringLiteral("size"),
    QStringLiteral("recordingDate"),
    QStringLiteral("adobeRating"),
    QStringLiteral("keywords")};

QString kindOf(const RKMediaFormat& format)
{
    if (format.isVideo())
        return QStringLiteral("video");
    return format.isSVG() ? QStringLiteral("vector") : QStringLiteral("bitmap");
}

struct Sizes
{
    QSize displayed;
    QSize unrotated;
    /// Also with sizes: that of a file whose name lies can come from its metadata.
    RKMediaError error;
};

/// As the loaders measure them, or as the metadata says for a format that none of them decodes.
Sizes measure(const RKMediaDescriptor& descriptor)
{
    const RKMediaLoader& loader = *RKMediaLoader::instance();
    Sizes sizes;
    if (loader.hasSupportedMediaFormat(descriptor)) {
        sizes.unrotated = loader.unrotatedSize(descriptor, &sizes.error);
        sizes.displayed = loader.size(descriptor);
        return sizes;
    }
    const RKMetaData metaData = RKImageLoader::instance()->copyMetaData(descriptor);
    sizes.unrotated = metaData.unrotatedSize();
    sizes.displayed = MetaDataJson::uprightSize(metaData);
    if (!sizes.unrotated.isValid())
        loader.size(descriptor, &sizes.error);
    return sizes;
}

/// What was read of a file.
struct Medium
{
    RKMediaDescriptor descriptor;
    /// Also where some of it is known.
    RKMediaError error;
    bool isKnown = false;
    Sizes sizes;
    RKMetaData metaData;
};

/// Pictures in formats that nothing here decodes are, too: their metadata can be read.
bool isMedium(const RKMediaDescriptor& descriptor)
{
    const RKMediaFormat format = descriptor.mediaFormat();
    return descriptor.fileInfo().exists()
        && (format.isBitmap() || RKMediaLoader::instance()->supportsMediaFormat(format));
}

Medium readMedium(const QFileInfo& file)
{
    Medium medium;
    medium.descriptor = RKMediaDescriptor(file);
    if (!isMedium(medium.descriptor)) {
        RKMediaLoader::instance()->size(medium.descriptor, &medium.error);
        return medium;
    }
    const RKMediaFormat format = medium.descriptor.mediaFormat();
    medium.sizes = measure(medium.descriptor);
    // The metadata of a file whose name lies, or of one that nobody can decode, can be read.
    const RKMediaError& failure = medium.sizes.error;
    const bool isOtherFormat = failure.contentFormat() != MEDIA_FORMAT_UNKNOWN;
    medium.isKnown = isOtherFormat || !failure.isError() || medium.sizes.displayed.isValid();
    if (isOtherFormat || !medium.isKnown)
        medium.error = failure;
    if (!medium.isKnown)
        return medium;
    if (format.isVideo())
        medium.metaData = RKVideoDecoderRegistry::instance()->metaData(medium.descriptor);
    if (format.isBitmap())
        medium.metaData = RKImageLoader::instance()->copyMetaData(medium.descriptor);
    if (medium.metaData.readFailure().isError())
        medium.error = medium.metaData.readFailure();
    return medium;
}

/// What only videos have.
QJsonObject describeVideo(const Medium& video)
{
    const RKMediaDescriptor& descriptor = video.descriptor;
    const RKVideoDecoderRegistry& decoders = *RKVideoDecoderRegistry::instance();
    QJsonObject entry{
        {QStringLiteral("framesPerSecond"), decoders.framesPerSecond(descriptor).fps()},
        {QStringLiteral("durationMs"), decoders.durationInMS(descriptor)},
        {QStringLiteral("defaultFrame"), decoders.defaultFrameIndex(descriptor).frame()},
        {QStringLiteral("codec"), decoders.usedCodec(descriptor)},
        {QStringLiteral("geoPosition"), MetaDataJson::fromPosition(video.metaData.geoPosition())},
        {QStringLiteral("cameraModel"), video.metaData.read(RKMetaDataFieldEnum::exifModel)},
        {QStringLiteral("rotation"), decoders.rotation(descriptor)}};
    if (const double ms = entry[u"durationMs"].toDouble(); ms > 0) {
        const double bits = 8.0 * double(descriptor.fileInfo().size());
        entry[QStringLiteral("bitRate")] = std::round(1000 * bits / ms);
    }
    if (const QDateTime taken = video.metaData.pictureTaken(); taken.isValid())
        entry[QStringLiteral("videoTaken")] = taken.toString(Qt::ISODate);
    return entry;
}

QDateTime recordingDate(const RKMediaDescriptor& descriptor)
{
    // The image loader also knows the dates of pictures that it can't decode.
    return descriptor.mediaFormat().isVideo()
        ? RKMediaLoader::instance()->recordingDate(descriptor)
        : RKImageLoader::instance()->recordingDate(descriptor);
}

/// All that is known, for programs.
QJsonObject describe(const Medium& medium, MetaDataJson::Extent extent)
{
    const RKMediaDescriptor& descriptor = medium.descriptor;
    const RKMediaFormat format = descriptor.mediaFormat();
    if (!isMedium(descriptor))
        return {};
    QJsonObject entry{{QStringLiteral("format"), format.defaultExtension()},
        {QStringLiteral("description"), format.description()},
        {QStringLiteral("kind"), kindOf(format)},
        {QStringLiteral("bytes"), descriptor.fileInfo().size()}};
    if (!medium.isKnown)
        return entry;
    const auto insert = [&entry](const QJsonObject& values) {
        for (auto value = values.begin(); value != values.end(); ++value)
            entry[value.key()] = value.value();
    };
    entry[QStringLiteral("size")] = MetaDataJson::fromSize(medium.sizes.displayed);
    entry[QStringLiteral("unrotatedSize")] = MetaDataJson::fromSize(medium.sizes.unrotated);
    entry[QStringLiteral("orientation")]
        = int(format.isBitmap() ? medium.metaData.imageOrientation()
                                : RKMediaLoader::instance()->imageOrientation(descriptor));
    if (format.isBitmap())
        insert(MetaDataJson::fromMetaData(medium.metaData, medium.sizes.displayed, extent));
    if (format.isVideo())
        insert(describeVideo(medium));
    if (const QDateTime recorded = recordingDate(descriptor); recorded.isValid())
        entry[QStringLiteral("recordingDate")] = recorded.toString(Qt::ISODate);
    return entry;
}

QString toText(const QJsonValue& value)
{
    switch (value.type()) {
    case QJsonValue::Array: {
        QStringList parts;
        const QJsonArray array = value.toArray();
        for (const auto& part : array)
            parts << toText(part);
        // Keywords may have blanks in them, and commas separate the columns.
        return parts.join(value[0].isString() ? QStringLiteral("; ") : QStringLiteral(" "));
    }
    case QJsonValue::Object: {
        QStringList parts;
        const QJsonObject object = value.toObject();
        for (auto part = object.begin(); part != object.end(); ++part)
            parts << QStringLiteral("%1=%2").arg(part.key(), toText(part.value()));
        return parts.join(QStringLiteral(", "));
    }
    default: return value.toVariant().toString();
    }
}

/// The field is a key of exiv2's, "Exif.Photo.FNumber" for instance.
bool isKey(const QString& field)
{
    return field.startsWith(QLatin1String("Exif.")) || field.startsWith(QLatin1String("Iptc."))
        || field.startsWith(QLatin1String("Xmp."));
}

/// A value inside the object: "geoPosition.latitude" names that of an object in it.
QJsonValue valueAt(const QJsonObject& entry, const QString& field)
{
    if (isKey(field))
        return entry[u"interpretedData"][field];
    QJsonValue value = entry;
    const QStringList keys = field.split(u'.');
    for (const QString& key : keys)
        value = value.toObject().value(key);
    return value;
}

/// As spreadsheets read it (RFC 4180).
QByteArray asCsv(QByteArray text)
{
    const auto isSpecial = [](char letter) { return QByteArray(",\"\r\n").contains(letter); };
    return std::any_of(text.cbegin(), text.cend(), isSpecial)
        ? '"' + text.replace("\"", "\"\"") + '"'
        : text;
}

void printRow(QByteArrayList row)
{
    std::transform(row.begin(), row.end(), row.begin(), asCsv);
    Output::print(row.join(','));
}

/// The file's name as the bytes that it has.
void printRow(const InputFile& file, const QJsonObject& entry, const QStringList& fields)
{
    QByteArrayList row;
    for (const QString& field : fields)
        row << (field == u"file" ? file.name : toText(valueAt(entry, field)).toUtf8());
    printRow(row);
}

/// Written at once: every print asks the system.
void printCard(
    const InputFile& file, const Medium& medium, MetaDataJson::Extent extent, bool isFirst)
{
    // The program speaks English everywhere.
    QByteArray text = InfoCard::of(file.name,
        RKMediaCard::groups(
            medium.descriptor, medium.sizes.displayed, medium.metaData, QLocale::c()));
    const bool isPicture = medium.descriptor.mediaFormat().isBitmap();
    if (isPicture && extent == MetaDataJson::Extent::All) {
        if (const QByteArray data = InfoCard::allData(medium.metaData.interpretedData());
            !data.isEmpty())
            text += '\n' + data;
    }
    text.chop(1);
    Output::print(isFirst ? text : '\n' + text);
}

/// Tags aren't known by name: every maker of cameras has his own.
void warnOfUnknown(const QStringList& fields)
{
    const QStringList known = FieldNames::known();
    for (const QString& field : fields) {
        if (!isKey(field) && !known.contains(field)) {
            Output::warn(QStringLiteral("--fields"),
                QStringLiteral("no file has \"%1\"; did you mean \"%2\"?")
                    .arg(field, nearestName(field, known)));
        }
    }
}

int describeFiles(InfoArguments& arguments)
{
    const bool isTable = arguments.isCsv || !arguments.fields.empty();
    const QStringList fields
        = arguments.fields.empty() ? kUsualFields : Arguments::toTexts(arguments.fields);
    const bool isAll = arguments.isAll || std::any_of(fields.begin(), fields.end(), isKey);
    const auto extent = isAll ? MetaDataJson::Extent::All : MetaDataJson::Extent::Named;
    if (isTable) {
        warnOfUnknown(fields);
        printRow(fields.join(u'\n').toUtf8().split('\n'));
    }
    int failures = 0;
    bool isFirst = true;
    arguments.files.forEach([&](const InputFile& file) {
        const Medium medium = readMedium(QFileInfo(file.path));
        Result result(file);
        if (medium.error.isError())
            result.fail(medium.error);
        if (isTable || !Output::isText())
            result.insert(describe(medium, extent));
        failures += result.report() != Output::AllDone;
        if (isTable)
            printRow(file, result.toJson(), fields);
        else if (Output::isText() && medium.isKnown)
            printCard(file, medium, extent, std::exchange(isFirst, false));
        file.release();
    });
    return arguments.files.finish(failures);
}

} // namespace

void addInfoCommand(CLI::App& app, Command& command)
{
    const auto arguments = std::make_shared<InfoArguments>();
    CLI::App* info = app.add_subcommand(
        "info", "Show what is known of files: a card for each, a table, or JSON");
    arguments->files.addTo(*info);
    CLI::Option* csv
        = info->add_flag("--csv", arguments->isCsv, "Print a table with a line for each file");
    info->add_flag("--all",
        arguments->isAll,
        "Print every datum of the metadata, too, with what its value means");
    CLI::Option* fields
        = info->add_option("--fields",
                  arguments->fields,
                  "What the table has, by the names of --json or of tags: "
                  "file,size,geoPosition.latitude,Exif.Photo.FNumber; a name that no file can "
                  "have is warned of, unless it is a tag's")
              ->type_name("NAME,...")
              ->delimiter(',')
              ->allow_extra_args(false);
    for (const char* json : {"--json", "--jsonl"}) {
        csv->excludes(app.get_option(json));
        fields->excludes(app.get_option(json));
    }
    info->footer("rkimage info photo.jpg\n"
                 "rkimage info --recursive --csv --fields file,size,fields.author album");
    info->callback(
        [arguments, &command] { command.run = [arguments] { return describeFiles(*arguments); }; });
}
