#include "ThumbnailMap.h"

#include "RKImageLoader/files/RKFileSaving.h"

#include <QDateTime>
#include <QFileInfo>
#include <QJsonDocument>
#include <QJsonObject>

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

RKMediaError ThumbnailMap::write(const QString& path) const
{
    QStringList sources = m_thumbnails.keys();
    std::sort(sources.begin(), sources.end());
    QByteArray lines;
    for (const QString& source : qAsConst(sources)) {
        const QJsonObject line{{kFile, source}, {kThumbnail, m_thumbnails.value(source)}};
        lines += QJsonDocument(line).toJson(QJsonDocument::Compact) + '\n';
    }
    return RKFileSaving::write(path, lines);
}
