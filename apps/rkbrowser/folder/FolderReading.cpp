#include "folder/FolderReading.h"

#include "RKImageLoader/faces/RKFacePositions.h"
#include "RKImageLoader/loading/RKImageLoader.h"
#include "RKImageLoader/loading/RKMediaLoader.h"
#include "RKImageLoader/media/RKMediaFormatList.h"
#include "RKImageLoader/metadata/RKMetaData.h"

#include <QCoreApplication>
#include <QDir>
#include <QDirIterator>
#include <QFile>
#include <QHash>

#include <atomic>

using namespace Qt::StringLiterals;

namespace {

struct Text
{
    Q_DECLARE_TR_FUNCTIONS(FolderReading)
};

// More copies of one name than anybody has.
constexpr int kMaxCopies = 10000;

/// The formats by their suffixes. RKMediaFormat itself logs every suffix that it doesn't know.
const QHash<QString, RKMediaFormat>& formatsBySuffix()
{
    static const QHash<QString, RKMediaFormat> formats = [] {
        QHash<QString, RKMediaFormat> result;
        const RKMediaFormatList supported = RKMediaLoader::instance()->supportedMediaFormats();
        for (const RKMediaFormat& format : supported) {
            const QStringList suffixes = format.fileExtensions();
            for (const QString& suffix : suffixes)
                result.insert(suffix, format);
        }
        return result;
    }();
    return formats;
}

} // namespace

FolderReading::Listing FolderReading::list(
    const QString& folder, const QList<FolderEntry>& known, const FolderOrder& order)
{
    Listing listing;
    listing.order = order;
    const QFileInfo info(folder);
    if (!info.isDir())
        listing.failure = Text::tr("There is no such folder.");
    else if (!info.isReadable())
        listing.failure = Text::tr("The folder may not be read.");

    QHash<QString, FolderEntry> before;
    for (const FolderEntry& entry : known)
        before.insert(entry.name, entry);
    QDirIterator files(folder, QDir::Files);
    while (files.hasNext()) {
        const FolderEntry entry = entryOf(files.nextFileInfo());
        const FolderEntry old = before.value(entry.name);
        const bool isKnown = old.bytes == entry.bytes && old.modified == entry.modified;
        if (old.version > 0 && !isKnown)
            RKMediaLoader::instance()->invalidateMetaData(files.fileInfo());
        if (!entry.name.isEmpty())
            listing.entries << (isKnown ? old : entry);
    }
    listing.rows = arranged(listing.entries, order);
    return listing;
}

FolderEntry FolderReading::entryOf(const QFileInfo& file)
{
    static std::atomic<quint64> newest = 0;
    FolderEntry entry;
    const auto format = formatsBySuffix().constFind(file.suffix().toLower());
    if (format == formatsBySuffix().constEnd())
        return entry;
    entry.name = file.fileName();
    entry.format = *format;
    entry.bytes = file.size();
    entry.modified = file.lastModified();
    entry.version = ++newest;
    return entry;
}

FolderEntry FolderReading::read(const QString& folder, FolderEntry entry)
{
    entry.isRead = true;
    if (!RKImageLoader::instance()->supportsMediaFormat(entry.format))
        return entry;
    RKMediaError error; // Thumbnails say why.
    const RKMetaData metaData(QFileInfo(QDir(folder), entry.name), &error);
    entry.taken = metaData.pictureTaken();
    entry.rating = metaData.adobeRating();
    entry.people.clear();
    const QList<RKFacePosition> faces = metaData.facePositions().facePositions();
    for (const RKFacePosition& face : faces)
        entry.people << face.name();
    entry.people.removeAll(QString());
    entry.people.removeDuplicates();
    return entry;
}

QString FolderReading::copyInto(const QString& folder, const QUrl& url)
{
    const QString source = url.toLocalFile();
    const QFileInfo file(source);
    const QDir target(folder);
    if (file.absoluteDir() == target)
        return {};
    if (!file.isFile())
        return Text::tr("%1 is not a file.").arg(source);
    QFile from(source);
    for (int copy = 1; copy < kMaxCopies; ++copy) {
        const QString other = file.completeBaseName() + u" (%1)."_s.arg(copy) + file.suffix();
        const QString path = target.filePath(copy == 1 ? file.fileName() : other);
        if (QFileInfo::exists(path) || QFileInfo(path).isSymLink())
            continue;
        // Complete or not there, and it replaces nothing that has come meanwhile.
        if (from.copy(path)) {
            QFile copied(path);
            if (copied.open(QIODevice::ReadWrite))
                copied.setFileTime(file.lastModified(), QFileDevice::FileModificationTime);
            return {};
        }
        if (!QFileInfo::exists(path))
            break;
    }
    return Text::tr("%1 can't be copied: %2").arg(source, from.errorString());
}
