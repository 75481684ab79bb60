// Lists the faces of a picture, and marks another one.
// Usage: faces FILE [NAME X Y WIDTH HEIGHT]    in pixels of the upright picture
#include "RKImageLoader/faces/RKFacePositions.h"
#include "RKImageLoader/loading/RKImageLoader.h"
#include "RKImageLoader/media/RKImageLoaderConfig.h"
#include "RKImageLoader/media/RKMediaError.h"
#include "RKImageLoader/metadata/RKMetaData.h"

#include "RKCore/RKInitializer.h"

#include <QCoreApplication>
#include <QTextStream>

namespace {

int fail(const QString& file, const QString& reason)
{
    QTextStream(stderr) << file << ": " << reason << '\n';
    return 1;
}

} // namespace

int main(int argc, char** argv)
{
    const QCoreApplication application(argc, argv);
    RKImageLoaderConfig::useDefaults();
    RKInitializer::instance()->setup(RKInitializerOption::CommandLine);
    const QStringList arguments = application.arguments();
    if (arguments.size() != 2 && arguments.size() != 7)
        return 2;

    RKImageLoader& loader = *RKImageLoader::instance();
    const RKMediaDescriptor photo{QFileInfo(arguments[1])};
    RKMediaError error;
    const QSize size = loader.size(photo, &error);
    if (!size.isValid())
        return fail(arguments[1], error.text());

    RKMetaData metaData = loader.copyMetaData(photo);
    if (arguments.size() == 7) {
        const QRect pixels(
            arguments[3].toInt(), arguments[4].toInt(), arguments[5].toInt(), arguments[6].toInt());
        RKFacePositions faces;
        faces.append(
            RKFacePosition::named(RKFacePositions::normalizeRect(pixels, size), arguments[2]));
        // Files keep faces in the picture as stored. Other faces of the file stay.
        if (!metaData.updateFaces(
                metaData.unrotatedSize(), faces.toStored(metaData.imageOrientation())))
            return fail(arguments[1], QStringLiteral("the faces in the file can't be read"));
        if (!loader.save(photo, metaData, &error))
            return fail(arguments[1], error.text());
    }
    const QList<RKFacePosition> faces
        = metaData.facePositions().toUpright(metaData.imageOrientation()).facePositions();
    for (const RKFacePosition& face : faces) {
        const QRect rect = face.rectStretched(size);
        QTextStream(stdout) << face.name() << ": " << rect.x() << ' ' << rect.y() << ' '
                            << rect.width() << ' ' << rect.height() << '\n';
    }
    return 0;
}
