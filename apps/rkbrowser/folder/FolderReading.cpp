#include "folder/FolderReading.h"

#include "RKImageLoader/faces/RKFacePositions.h"
#include "RKImageLoader/loading/RKImageLoader.h"
#include "RKImageLoader/loading/RKMediaLoader.h"
#include "RKImageLoader/media/RKMediaFormatList.h"
#include "RKImageLoader/metadata/RKMetaData.h"

#include <QCoreApplication>
#include <QDir>
#include <QDirIterator>
#include <QElapsedTimer>
#include <QFile>
#include <QHash>

namespace {

struct Text
{
    Q_DECLARE_TR_FUNCTIONS(FolderReading)
};

constexpr qint64 kBatchMilliseconds = 100;
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

FolderEntry entryOf(const QFileInfo& file)
{
    FolderEntry entry;
    const auto format = formatsBySuffix().constFind(file.suffix().toLower());
    if (format == formatsBySuffix().constEnd())
        return entry;
    entry.name = file.fileName();
    entry.format = *format;
    entry.bytes = file.size();
    entry.modified = file.lastModified();
    return entry;
}

/// Why a file could not be copied; empty if it was.
QString copyFile(const QString& source, const QDir& folder)
{
    const QFileInfo file(source);
    if (!file.isFile())
        return Text::tr("%1 is not a file.").arg(source);
    QFile from(source);
    for (int copy = 1; copy < kMaxCopies; ++copy) {
        QString name = file.fileName();
        if (copy > 1)
            name = QStringLiteral("%1 (%2).%3")
                       .arg(file.completeBaseName(), QString::number(copy), file.suffix());
        const QString target = folder.filePath(name);
        if (QFileInfo::exists(target) || QFileInfo(target).isSymLink())
            continue;
        // Complete or not there, and it replaces nothing that has come meanwhile.
        if (from.copy(target)) {
            QFile copied(target);
            if (copied.open(QIODevice::ReadWrite))
                copied.setFileTime(file.lastModified(), QFileDevice::FileModificationTime);
            return {};
        }
        if (!QFileInfo::exists(target))
            break;
    }
    return Text::tr("%1 can't be copied: %2").arg(source, from.errorString());
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

    QHash<QString, const FolderEntry*> before;
    before.reserve(known.size());
    for (const FolderEntry& entry : known)
        before.insert(entry.name, &entry);
    QDirIterator files(folder, QDir::Files);
    while (files.hasNext()) {
        files.next();
        const FolderEntry entry = entryOf(files.fileInfo());
        if (entry.name.isEmpty())
            continue;
        const FolderEntry* old = before.value(entry.name);
        const bool isKnown = old && old->isSameFile(entry);
        if (old && !isKnown)
            RKMediaLoader::instance()->invalidateMetaData(files.fileInfo());
        listing.entries << (isKnown ? *old : entry);
    }
    listing.rows = arranged(listing.entries, order);
    return listing;
}

FolderEntry FolderReading::look(const QString& filePath)
{
    const QFileInfo file(filePath);
    return file.isFile() ? entryOf(file) : FolderEntry();
}

void FolderReading::read(const QString& folder, FolderEntry* entry)
{
    entry->isRead = true;
    if (!RKImageLoader::instance()->supportsMediaFormat(entry->format))
        return;
    RKMediaError error; // Thumbnails say why.
    const RKMetaData metaData(QFileInfo(QDir(folder), entry->name), &error);
    entry->taken = metaData.pictureTaken();
    entry->rating = metaData.adobeRating();
    const QList<RKFacePosition> faces = metaData.facePositions().facePositions();
    for (const RKFacePosition& face : faces) {
        if (!face.name().isEmpty() && !entry->people.contains(face.name()))
            entry->people << face.name();
    }
}

void FolderReading::readAll(
    QPromise<Batch>& promise, const QString& folder, const QList<FolderEntry>& entries)
{
    Batch batch;
    QElapsedTimer time;
    time.start();
    for (qsizetype i = 0; i < entries.size() && !promise.isCanceled(); ++i) {
        if (entries[i].isRead)
            continue;
        batch.emplace_back(i, entries[i]);
        read(folder, &batch.back().second);
        if (time.elapsed() < kBatchMilliseconds)
            continue;
        promise.addResult(std::exchange(batch, {}));
        time.restart();
    }
    if (!batch.isEmpty())
        promise.addResult(batch);
}

void FolderReading::copyInto(
    QPromise<QStringList>& promise, const QString& folder, const QList<QUrl>& files)
{
    QStringList failures;
    const QDir target(folder);
    promise.setProgressRange(0, static_cast<int>(files.size()));
    for (int i = 0; i < files.size() && !promise.isCanceled(); ++i) {
        const QString source = files[i].toLocalFile();
        if (QFileInfo(source).absoluteDir() != target) {
            const QString failure = copyFile(source, target);
            if (!failure.isEmpty())
                failures << failure;
        }
        promise.setProgressValue(i + 1);
    }
    promise.addResult(failures);
}
