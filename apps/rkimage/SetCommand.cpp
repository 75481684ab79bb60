#include "SetCommand.h"

#include "MessageCollector.h"
#include "Output.h"
#include "RKImageLoader/loading/RKImageLoader.h"
#include "RKImageLoader/metadata/RKMetaData.h"
#include "RKImageLoader/metadata/RKMetaDataField.h"
#include "Thumbnail.h"

#include <QFile>

namespace {

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
        return QStringLiteral("there is no such file");
    const RKImageLoader& loader = *RKImageLoader::instance();
    RKMetaData metaData = loader.copyMetaData(descriptor);
    const QString failure = apply(changes, descriptor, metaData);
    if (!failure.isEmpty())
        return failure;
    if (changes.mode == MetaDataChanges::Mode::DryRun) {
        Output::print(QStringLiteral("would change %1").arg(file));
        return {};
    }
    return loader.save(descriptor, metaData) ? QString()
                                             : QStringLiteral("the metadata can't be saved");
}

} // namespace

int runSetCommand(
    const QStringList& files, const MetaDataChanges& changes, MessageCollector& messages)
{
    int exitCode = Output::AllDone;
    for (const QString& file : files) {
        messages.takeWarnings();
        const QString failure = changeFile(file, changes);
        if (!failure.isEmpty()) {
            Output::printFailure(file, Output::withReason(failure, messages.takeWarnings()));
            exitCode = Output::SomeFailed;
        }
    }
    return exitCode;
}
