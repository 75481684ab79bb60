#include "Arguments.h"
#include "Commands.h"
#include "ErrorName.h"
#include "MetaDataJson.h"
#include "Output.h"
#include "RKImageLoader/loading/RKImageLoader.h"
#include "RKImageLoader/loading/RKMediaLoader.h"
#include "RKImageLoader/metadata/RKMetaData.h"
#include "RKImageLoader/metadata/RKMetaDataField.h"
#include "RKImageLoader/video/RKVideoDecoderRegistry.h"

#include <QJsonArray>
#include <QJsonObject>

#include <CLI/CLI.hpp>

#include <memory>

namespace {

enum class InfoStyle
{
    Text,
    Json
};

QString kindOf(const RKMediaFormat& format)
{
    if (format.isVideo())
        return QStringLiteral("video");
    return format.isSVG() ? QStringLiteral("vector") : QStringLiteral("bitmap");
}

void insertAll(QJsonObject& target, const QJsonObject& source)
{
    for (auto entry = source.begin(); entry != source.end(); ++entry)
        target[entry.key()] = entry.value();
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
    sizes.displayed
        = metaData.imageIsTiltedByMetadata() ? sizes.unrotated.transposed() : sizes.unrotated;
    if (!sizes.unrotated.isValid())
        loader.size(descriptor, &sizes.error);
    return sizes;
}

/// What only videos have.
QJsonObject describeVideo(const RKMediaDescriptor& descriptor)
{
    const RKVideoDecoderRegistry& decoders = *RKVideoDecoderRegistry::instance();
    const RKMetaData metaData = decoders.metaData(descriptor);
    QJsonObject entry{
        {QStringLiteral("framesPerSecond"), decoders.framesPerSecond(descriptor).fps()},
        {QStringLiteral("durationMs"), decoders.durationInMS(descriptor)},
        {QStringLiteral("defaultFrame"), decoders.defaultFrameIndex(descriptor).frame()},
        {QStringLiteral("codec"), decoders.usedCodec(descriptor)},
        {QStringLiteral("cameraModel"), metaData.read(RKMetaDataFieldEnum::exifModel)},
        {QStringLiteral("rotation"), decoders.rotation(descriptor)}};
    if (const QDateTime taken = metaData.pictureTaken(); taken.isValid())
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

/// All that is known of a file; with the keys "error" and "reason" if it could not be read.
QJsonObject describe(const QString& file, MetaDataJson::Extent extent)
{
    const RKMediaDescriptor descriptor{QFileInfo(file)};
    QJsonObject entry{{QStringLiteral("file"), file}};
    const auto fail = [&entry](const RKMediaError& error) {
        entry[QStringLiteral("error")] = error.text();
        entry[QStringLiteral("reason")] = ErrorName::of(error.code());
        return entry;
    };

    const RKMediaFormat format = descriptor.mediaFormat();
    const RKMediaLoader& loader = *RKMediaLoader::instance();
    if (!descriptor.fileInfo().exists()
        || (!format.isBitmap() && !loader.supportsMediaFormat(format))) {
        RKMediaError error;
        loader.size(descriptor, &error);
        return fail(error);
    }

    entry[QStringLiteral("format")] = format.defaultExtension();
    entry[QStringLiteral("description")] = format.description();
    entry[QStringLiteral("kind")] = kindOf(format);
    const Sizes sizes = measure(descriptor);
    if (sizes.error.isError()) {
        fail(sizes.error);
        // The metadata of a file whose suffix lies can be read all the same.
        const bool isOther = sizes.error.contentFormat() != MEDIA_FORMAT_UNKNOWN;
        if (!isOther && !sizes.displayed.isValid())
            return entry;
    }
    entry[QStringLiteral("size")] = MetaDataJson::fromSize(sizes.displayed);
    entry[QStringLiteral("unrotatedSize")] = MetaDataJson::fromSize(sizes.unrotated);

    if (format.isBitmap()) {
        const RKMetaData metaData = RKImageLoader::instance()->copyMetaData(descriptor);
        entry[QStringLiteral("orientation")] = int(metaData.imageOrientation());
        insertAll(entry, MetaDataJson::fromMetaData(metaData, extent));
    } else {
        entry[QStringLiteral("orientation")] = int(loader.imageOrientation(descriptor));
    }
    if (format.isVideo())
        insertAll(entry, describeVideo(descriptor));
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
        return parts.join(u' ');
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

bool isWorthPrinting(const QJsonValue& value)
{
    return !value.isNull() && value != QJsonValue(QString()) && value != QJsonValue(QJsonArray())
        && value != QJsonValue(QJsonObject());
}

void printAsText(const QJsonObject& entry)
{
    constexpr int kLongestKey = 22;
    // Written at once: every print asks the system.
    QStringList lines{entry[QStringLiteral("file")].toString()};
    for (auto value = entry.begin(); value != entry.end(); ++value) {
        if (value.key() != QLatin1String("file") && isWorthPrinting(value.value())) {
            lines << QStringLiteral("  %1%2").arg(
                value.key().leftJustified(kLongestKey), toText(value.value()));
        }
    }
    Output::print(lines.join(u'\n'));
}

int describeFiles(const QStringList& files, InfoStyle style, MetaDataJson::Extent extent)
{
    const QString errorKey = QStringLiteral("error");
    int exitCode = Output::AllDone;
    QJsonArray entries;
    for (const QString& file : files) {
        const QJsonObject entry = describe(file, extent);
        if (entry.contains(errorKey)) {
            Output::printFailure(file, entry[errorKey].toString());
            exitCode = Output::SomeFailed;
        } else if (style == InfoStyle::Text) {
            printAsText(entry);
        }
        entries << entry;
    }
    if (style == InfoStyle::Json)
        Output::print(QJsonDocument(entries));
    return exitCode;
}

} // namespace

void addInfoCommand(CLI::App& app, Command& command)
{
    CLI::App* info = app.add_subcommand("info", "Tell what is known of files");
    const CLI::Option* json = info->add_flag("--json")->description("Print JSON");
    const CLI::Option* all
        = info->add_flag("--all")->description("Print every datum of the metadata too");
    const auto files = std::make_shared<Arguments::Texts>();
    info->add_option("FILES", *files, "The files")->required();
    info->callback([&command, files, json, all] {
        const auto style = json->count() > 0 ? InfoStyle::Json : InfoStyle::Text;
        const auto extent
            = all->count() > 0 ? MetaDataJson::Extent::All : MetaDataJson::Extent::Named;
        command.run = [files, style, extent]() {
            return describeFiles(Arguments::toPaths(*files), style, extent);
        };
    });
}
