// Sets the stars of a picture and adds keywords; its pixels stay as they are.
// Usage: edit_metadata FILE STARS [KEYWORD...]
#include "RKImageLoader/loading/RKImageLoader.h"
#include "RKImageLoader/media/RKImageLoaderConfig.h"
#include "RKImageLoader/media/RKMediaError.h"
#include "RKImageLoader/metadata/RKMetaData.h"
#include "RKImageLoader/metadata/RKMetaDataField.h"

#include "RKCore/RKInitializer.h"

#include <QCoreApplication>
#include <QTextStream>

int main(int argc, char** argv)
{
    const QCoreApplication application(argc, argv);
    RKImageLoaderConfig::useDefaults();
    RKInitializer::instance()->setup(RKInitializerOption::CommandLine);
    const QStringList arguments = application.arguments();
    if (arguments.size() < 3)
        return 2;

    // A file that can't be read has empty metadata, and saving says why.
    const RKMediaDescriptor photo{QFileInfo(arguments[1])};
    RKMetaData metaData = RKImageLoader::instance()->copyMetaData(photo);
    metaData.setAdobeRating(arguments[2].toInt());
    // From all places of the file, or those that other programs have written would be lost.
    metaData.setKeywords(metaData.keywordsOfAllPlaces() + arguments.mid(3));

    // The loader, rather than metaData.save(): it knows what it has cached of the file.
    RKMediaError error;
    if (!RKImageLoader::instance()->save(photo, metaData, &error)) {
        QTextStream(stderr) << arguments[1] << ": " << error.text() << '\n';
        return 1;
    }
    const RKMetaData saved = RKImageLoader::instance()->copyMetaData(photo);
    QTextStream(stdout) << saved.adobeRating()
                        << " stars, keywords: " << saved.keywords().join(QStringLiteral(", "))
                        << '\n'
                        << "taken " << saved.pictureTaken().toString(Qt::ISODate) << ", title "
                        << saved.read(RKMetaDataFieldEnum::originalFilename) << '\n';
    return 0;
}
