#include "ThumbnailMap.h"

#include <QDateTime>
#include <QFileInfo>
#include <QJsonDocument>
#include <QJsonObject>
#include <QSaveFile>

#include <algorithm>

namespace {

const QString kFile = QStringLiteral("file");
const QString kThumbnail = QStringLiteral("thumbnail");

} // namespace

ThumbnailMap ThumbnailMap::read(const QString& path)
{
    ThumbnailMap map;
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return map;
    while (!file.atEnd()) {
        const QJsonObject line = QJsonDocument::fromJson(file.readLine()).object();
        if (!line.isEmpty())
            map.insert(line[kFile].toString(), line[kThumbnail].toString());
    }
    return map;
}

QString ThumbnailMap::thumbnail(const QString& source) const
{
    return m_thumbnails.value(source);
}

bool ThumbnailMap::isCurrent(const QString& source) const
{
    const QFileInfo file(source);
    const QFileInfo known(thumbnail(source));
    return file.isFile() && known.isFile() && known.lastModified() >= file.lastModified();
}

void ThumbnailMap::insert(const QString& source, const QString& thumbnail)
{
    m_thumbnails.insert(source, thumbnail);
}

bool ThumbnailMap::write(const QString& path) const
{
    QSaveFile file(path);
    if (!file.open(QIODevice::WriteOnly))
        return false;
    QStringList sources = m_thumbnails.keys();
    std::sort(sources.begin(), sources.end());
    for (const QString& source : qAsConst(sources)) {
        const QJsonObject line{{kFile, source}, {kThumbnail, m_thumbnails.value(source)}};
        file.write(QJsonDocument(line).toJson(QJsonDocument::Compact) + '\n');
    }
    // A failure of the last bytes would not keep it from taking the place of the old file.
    return file.flush() && file.commit();
}
