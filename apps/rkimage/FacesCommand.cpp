#include "Arguments.h"
#include "Commands.h"
#include "MessageCollector.h"
#include "MetaDataJson.h"
#include "Output.h"
#include "RKImageLoader/decoders/RKBitmapDecoderRegistry.h"
#include "RKImageLoader/faces/RKFacePositions.h"
#include "RKImageLoader/loading/RKImageLoader.h"
#include "RKImageLoader/loading/RKLoadingError.h"
#include "RKImageLoader/metadata/RKMetaData.h"
#include "UprightFaces.h"

#include <QFile>

#include <CLI/CLI.hpp>

#include <optional>

namespace {

int fail(const QString& file, const QString& failure, MessageCollector& messages)
{
    Output::printFailure(file, Output::withReason(failure, messages.takeWarnings()));
    return Output::SomeFailed;
}

/// The descriptor of an existing file, or nothing and a line about the failure.
std::optional<RKMediaDescriptor> existing(const QString& file, MessageCollector& messages)
{
    messages.takeWarnings();
    const RKMediaDescriptor descriptor{QFileInfo(file)};
    if (descriptor.fileInfo().exists())
        return descriptor;
    fail(file, QStringLiteral("there is no such file"), messages);
    return {};
}

std::optional<RKFacePosition> parseFace(const QJsonValue& value)
{
    const QJsonArray numbers = value[u"rect"].toArray();
    if (numbers.size() != 4)
        return {};
    const QRectF rect(
        numbers[0].toDouble(), numbers[1].toDouble(), numbers[2].toDouble(), numbers[3].toDouble());
    RKFacePosition face(rect,
        faceDetectionEngineUnknown,
        RKFaceId(),
        RKClusterId(value[u"clusterId"].toInt(RKClusterId().id())),
        RKFacePosition::invalidCoverImageEpoch(),
        value[u"name"].toString(),
        RKFacePosition::invalidXmpRegionIndex());
    return face.isValid() ? std::optional(face) : std::nullopt;
}

/// The faces of a JSON text; nothing when one of them is no face.
std::optional<RKFacePositions> parseFaces(const QByteArray& json)
{
    const QJsonDocument document = QJsonDocument::fromJson(json);
    if (!document.isArray())
        return {};
    RKFacePositions faces;
    const QJsonArray values = document.array();
    for (const auto& value : values) {
        const std::optional<RKFacePosition> face = parseFace(value);
        if (!face)
            return {};
        faces.append(*face);
    }
    return faces;
}

int saveFaces(const RKMediaDescriptor& descriptor,
    const QString& file,
    const RKMetaData& metaData,
    MessageCollector& messages)
{
    return RKImageLoader::instance()->save(descriptor, metaData)
        ? Output::AllDone
        : fail(file, QStringLiteral("the metadata can't be saved"), messages);
}

int listFaces(const QString& file, MessageCollector& messages)
{
    const auto descriptor = existing(file, messages);
    if (!descriptor)
        return Output::SomeFailed;
    const RKMetaData metaData = RKImageLoader::instance()->copyMetaData(*descriptor);
    Output::print(QJsonDocument(MetaDataJson::fromFaces(metaData.facePositions())));
    return Output::AllDone;
}

int setFaces(const QString& file, const QString& facesFile, MessageCollector& messages)
{
    const auto descriptor = existing(file, messages);
    if (!descriptor)
        return Output::SomeFailed;
    QFile json(facesFile);
    if (!json.open(QIODevice::ReadOnly))
        return fail(facesFile, json.errorString(), messages);
    const auto faces = parseFaces(json.readAll());
    if (!faces)
        return fail(facesFile, QStringLiteral("this is no list of faces"), messages);

    RKMetaData metaData = RKImageLoader::instance()->copyMetaData(*descriptor);
    if (!metaData.updateFaces(metaData.unrotatedSize(), *faces))
        return fail(file, QStringLiteral("the faces can't be merged"), messages);
    return saveFaces(*descriptor, file, metaData, messages);
}

int removeFaces(const QString& file, MessageCollector& messages)
{
    const auto descriptor = existing(file, messages);
    if (!descriptor)
        return Output::SomeFailed;
    RKMetaData metaData = RKImageLoader::instance()->copyMetaData(*descriptor);
    if (!metaData.removeFaceRegions())
        return fail(file, QStringLiteral("the regions can't be parsed"), messages);
    return saveFaces(*descriptor, file, metaData, messages);
}

int drawFaces(const QString& file, const QString& target, MessageCollector& messages)
{
    const auto descriptor = existing(file, messages);
    if (!descriptor)
        return Output::SomeFailed;
    const RKImageLoader& loader = *RKImageLoader::instance();
    const RKMediaDescriptor to{QFileInfo(target)};
    if (!loader.bitmapDecoders()->isWritable(loader.mediaFormat(to)))
        return fail(target, QStringLiteral("the format can't be written"), messages);
    QImage image = loader.bitmap(*descriptor, QSize()).convertToFormat(QImage::Format_RGB32);
    if (image.isNull())
        return fail(file, RKLoadingError::of(*descriptor).text(), messages);

    // Faces are recorded on the stored picture; the decoded one is upright.
    const RKMetaData metaData = loader.copyMetaData(*descriptor);
    UprightFaces::of(metaData.facePositions(), metaData.imageOrientation()).renderInto(&image);
    return loader.save(to, image)
        ? Output::AllDone
        : fail(target, QStringLiteral("the picture can't be saved"), messages);
}

void addFacesOfOneFile(CLI::App& faces,
    const char* name,
    const char* description,
    int (*run)(const QString&, MessageCollector&),
    Command& command)
{
    CLI::App* action = faces.add_subcommand(name, description);
    const CLI::Option* file = action->add_option("FILE", "The picture")->required();
    action->callback([&command, file, run] {
        command.run = [path = Arguments::toPath(file->as<std::string>()), run](
                          MessageCollector& messages) { return run(path, messages); };
    });
}

void addFacesOfTwoFiles(CLI::App& faces,
    const char* name,
    const char* description,
    const char* second,
    int (*run)(const QString&, const QString&, MessageCollector&),
    Command& command)
{
    CLI::App* action = faces.add_subcommand(name, description);
    const CLI::Option* file = action->add_option("FILE", "The picture")->required();
    const CLI::Option* other = action->add_option(second, "The other file")->required();
    action->callback([&command, file, other, run] {
        command.run
            = [path = Arguments::toPath(file->as<std::string>()),
                  otherPath = Arguments::toPath(other->as<std::string>()),
                  run](MessageCollector& messages) { return run(path, otherPath, messages); };
    });
}

} // namespace

void addFacesCommand(CLI::App& app, Command& command)
{
    CLI::App* faces = app.add_subcommand("faces", "The faces of a picture");
    faces->require_subcommand(1);
    addFacesOfOneFile(*faces, "list", "Print the faces as JSON", listFaces, command);
    addFacesOfOneFile(*faces, "remove", "Remove all face regions", removeFaces, command);
    addFacesOfTwoFiles(*faces, "set", "Merge the faces of a JSON file", "JSON", setFaces, command);
    addFacesOfTwoFiles(
        *faces, "draw", "Save the picture with its faces framed", "OUT", drawFaces, command);
}
