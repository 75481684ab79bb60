#include "Arguments.h"
#include "Commands.h"
#include "FaceList.h"
#include "FileConversion.h"
#include "InputFiles.h"
#include "MetaDataJson.h"
#include "Output.h"
#include "RKImageLoader/faces/RKFacePositions.h"
#include "RKImageLoader/loading/RKImageLoader.h"
#include "RKImageLoader/metadata/RKMetaData.h"
#include "Result.h"
#include "SmallFile.h"
#include "StandardInput.h"

#include <QJsonDocument>

#include <CLI/CLI.hpp>

#include <optional>

namespace {

// More than the faces of any picture.
constexpr qint64 kMaxListSize = 16 * 1024 * 1024;

/// The metadata of a file, or nothing and the reason in the result.
std::optional<RKMetaData> metaDataOf(const RKMediaDescriptor& descriptor, Result& result)
{
    RKMediaError error;
    RKMetaData metaData(descriptor.fileInfo(), &error);
    if (!error.isError())
        return metaData;
    result.fail(error);
    return {};
}

void saveFaces(const InputFile& file, const RKMetaData& metaData, Result& result)
{
    const RKMediaDescriptor descriptor{QFileInfo(file.path)};
    RKMediaError error;
    if (!RKImageLoader::instance()->save(descriptor, metaData, &error))
        result.fail(error);
    else if (StandardInput::isExpected())
        StandardInput::giveBack(result);
    else
        result.addChanged(file);
}

int listFaces(const InputFile& file)
{
    Result result(file);
    const RKMediaDescriptor descriptor{QFileInfo(file.path)};
    if (const auto metaData = metaDataOf(descriptor, result)) {
        const QJsonArray faces
            = MetaDataJson::fromFaces(*metaData, RKImageLoader::instance()->size(descriptor));
        result.insert(QStringLiteral("faces"), faces);
        Output::print(QString::fromUtf8(QJsonDocument(faces).toJson().trimmed()));
    }
    return result.report();
}

int setFaces(const InputFile& file, const QString& facesFile)
{
    const RKMediaDescriptor descriptor{QFileInfo(file.path)};
    Result result(file);
    auto metaData = metaDataOf(descriptor, result);
    if (!metaData)
        return result.report();
    RKMediaError error;
    const auto json = SmallFile::read(facesFile, kMaxListSize, &error);
    const auto faces = json ? FaceList::fromJson(*json) : std::nullopt;
    if (!json) {
        result.fail(facesFile, error);
    } else if (!faces) {
        result.fail(facesFile,
            RKMediaError(RKMediaErrorCode::Damaged, QStringLiteral("this is no list of faces")));
    } else if (!metaData->updateFaces(metaData->unrotatedSize(), *faces)) {
        result.refuse(QStringLiteral("the faces can't be merged"));
    } else {
        saveFaces(file, *metaData, result);
    }
    return result.report();
}

int removeFaces(const InputFile& file)
{
    const RKMediaDescriptor descriptor{QFileInfo(file.path)};
    Result result(file);
    auto metaData = metaDataOf(descriptor, result);
    if (metaData && metaData->removeFaceRegions())
        saveFaces(file, *metaData, result);
    else if (metaData)
        result.refuse(QStringLiteral("the regions can't be parsed"));
    return result.report();
}

int drawFaces(const InputFile& file, const QString& target)
{
    FileConversion conversion;
    conversion.read = [](const RKMediaDescriptor& from, RKMediaError* error) {
        const RKImageLoader& loader = *RKImageLoader::instance();
        QImage image = loader.bitmap(from, QSize(), error).convertToFormat(QImage::Format_RGB32);
        if (image.isNull())
            return RKDrawable();
        // Faces are recorded on the stored picture; the decoded one is upright.
        const RKMetaData metaData = loader.copyMetaData(from);
        metaData.facePositions().toUpright(metaData.imageOrientation()).renderInto(&image);
        return RKDrawable(image);
    };
    return conversion.run(file, OutputFile(target)).report();
}

void addFacesOfOneFile(CLI::App& faces,
    const char* name,
    const char* description,
    int (*run)(const InputFile&),
    Command& command)
{
    CLI::App* action = faces.add_subcommand(name, description);
    const CLI::Option* file = action->add_option("FILE", "The picture; - is standard input")
                                  ->required()
                                  ->each(StandardInput::expectIfMeant);
    action->callback([&command, file, run] {
        command.run = [name = file->as<std::string>(), run] { return run(InputFile::of(name)); };
    });
}

CLI::Option* addFacesOfTwoFiles(CLI::App& faces,
    const char* name,
    const char* description,
    const char* second,
    int (*run)(const InputFile&, const QString&),
    Command& command)
{
    CLI::App* action = faces.add_subcommand(name, description);
    const CLI::Option* file = action->add_option("FILE", "The picture; - is standard input")
                                  ->required()
                                  ->each(StandardInput::expectIfMeant);
    CLI::Option* other = action->add_option(second, "The other file")->required();
    action->callback([&command, file, other, run] {
        command.run = [name = file->as<std::string>(),
                          otherPath = Arguments::toPath(other->as<std::string>()),
                          run]() { return run(InputFile::of(name), otherPath); };
    });
    return other;
}

} // namespace

void addFacesCommand(CLI::App& app, Command& command)
{
    CLI::App* faces = app.add_subcommand("faces", "The faces of a picture");
    faces->require_subcommand(1);
    addFacesOfOneFile(*faces,
        "list",
        "Print the faces as JSON, also in pixels of the upright picture",
        listFaces,
        command);
    addFacesOfOneFile(*faces, "remove", "Remove all face regions", removeFaces, command);
    addFacesOfTwoFiles(*faces,
        "set",
        "Merge the faces of a JSON file: [{\"rect\": [x, y, w, h], \"name\": \"Zoe\"}], in parts of "
        "the stored picture's sides, 0 to 1",
        "JSON",
        setFaces,
        command);
    addFacesOfTwoFiles(
        *faces, "draw", "Save the picture with its faces framed", "OUT", drawFaces, command)
        ->check(Arguments::newName());
}
