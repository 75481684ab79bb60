#include "Arguments.h"
#include "Commands.h"
#include "MetaDataJson.h"
#include "Output.h"
#include "RKImageLoader/faces/RKFacePositions.h"
#include "RKImageLoader/loading/RKImageLoader.h"
#include "RKImageLoader/metadata/RKMetaData.h"
#include "Writing.h"

#include <QFile>

#include <CLI/CLI.hpp>

#include <optional>

namespace {

int fail(const QString& file, const QString& failure)
{
    Output::printFailure(file, failure);
    return Output::SomeFailed;
}

/// The metadata of a file, or nothing and a line about the failure.
std::optional<RKMetaData> metaDataOf(const RKMediaDescriptor& descriptor, const QString& file)
{
    if (descriptor.fileInfo().exists())
        return RKImageLoader::instance()->copyMetaData(descriptor);
    Output::fail(file, RKMediaError(RKMediaErrorCode::Missing));
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

int saveFaces(const RKMediaDescriptor& descriptor, const QString& file, const RKMetaData& metaData)
{
    RKMediaError error;
    return RKImageLoader::instance()->save(descriptor, metaData, &error)
        ? Output::AllDone
        : Output::fail(file, error);
}

int listFaces(const QString& file)
{
    const auto metaData = metaDataOf(RKMediaDescriptor(QFileInfo(file)), file);
    if (!metaData)
        return Output::SomeFailed;
    Output::print(QJsonDocument(MetaDataJson::fromFaces(metaData->facePositions())));
    return Output::AllDone;
}

int setFaces(const QString& file, const QString& facesFile)
{
    const RKMediaDescriptor descriptor{QFileInfo(file)};
    auto metaData = metaDataOf(descriptor, file);
    if (!metaData)
        return Output::SomeFailed;
    QFile json(facesFile);
    if (!json.open(QIODevice::ReadOnly))
        return fail(facesFile, json.errorString());
    const auto faces = parseFaces(json.readAll());
    if (!faces)
        return fail(facesFile, QStringLiteral("this is no list of faces"));

    if (!metaData->updateFaces(metaData->unrotatedSize(), *faces))
        return fail(file, QStringLiteral("the faces can't be merged"));
    return saveFaces(descriptor, file, *metaData);
}

int removeFaces(const QString& file)
{
    const RKMediaDescriptor descriptor{QFileInfo(file)};
    auto metaData = metaDataOf(descriptor, file);
    if (!metaData)
        return Output::SomeFailed;
    if (!metaData->removeFaceRegions())
        return fail(file, QStringLiteral("the regions can't be parsed"));
    return saveFaces(descriptor, file, *metaData);
}

int drawFaces(const QString& file, const QString& target)
{
    const RKImageLoader& loader = *RKImageLoader::instance();
    const RKMediaDescriptor from{QFileInfo(file)};
    const RKMediaDescriptor to{QFileInfo(target)};
    if (const RKMediaError error = Writing::formatError(to); error.isError())
        return Output::fail(target, error);
    RKMediaError error;
    QImage image = loader.bitmap(from, QSize(), &error).convertToFormat(QImage::Format_RGB32);
    if (image.isNull())
        return Output::fail(file, error);

    // Faces are recorded on the stored picture; the decoded one is upright.
    const RKMetaData metaData = loader.copyMetaData(from);
    metaData.facePositions().toUpright(metaData.imageOrientation()).renderInto(&image);
    return loader.save(to, image, &error) ? Output::AllDone : Output::fail(target, error);
}

void addFacesOfOneFile(CLI::App& faces,
    const char* name,
    const char* description,
    int (*run)(const QString&),
    Command& command)
{
    CLI::App* action = faces.add_subcommand(name, description);
    const CLI::Option* file = action->add_option("FILE", "The picture")->required();
    action->callback([&command, file, run] {
        command.run
            = [path = Arguments::toPath(file->as<std::string>()), run]() { return run(path); };
    });
}

void addFacesOfTwoFiles(CLI::App& faces,
    const char* name,
    const char* description,
    const char* second,
    int (*run)(const QString&, const QString&),
    Command& command)
{
    CLI::App* action = faces.add_subcommand(name, description);
    const CLI::Option* file = action->add_option("FILE", "The picture")->required();
    const CLI::Option* other = action->add_option(second, "The other file")->required();
    action->callback([&command, file, other, run] {
        command.run = [path = Arguments::toPath(file->as<std::string>()),
                          otherPath = Arguments::toPath(other->as<std::string>()),
                          run]() { return run(path, otherPath); };
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
