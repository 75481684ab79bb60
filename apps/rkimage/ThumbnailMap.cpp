#include "ThumbnailMap.h"

#include "RKImageLoader/files/RKFileSaving.h"
#include "SmallFile.h"

#include <QDateTime>
#include <QFileInfo>
#include <QJsonDocument>
#include <QJsonObject>

#include <algorithm>

namespace {

const QString kFile = QStringLiteral("file");
const QString kThumbnail = QStringLiteral("thumbnail");
const QString kSide = QStringLiteral("side");

// A million lines of long names.
constexpr qint64 kMaxSize = 512 * 1024 * 1024;

} // namespace

RKMediaError ThumbnailMap::read(const QString& path)
{
    RKMediaError error;
    const auto bytes = SmallFile::read(path, kMaxSize, &error);
    if (!bytes)
        return error.code() == RKMediaErrorCode::Missing ? RKMediaError() : error;
    const QByteArrayList lines = bytes->split('\n');
    for (const QByteArray& bytesOfLine : lines) {
        const QJsonObject line = QJsonDocument::fromJson(bytesOfLine).object();
        if (line.contains(kFile)) {
            insert(line[kFile].toString(), line[kThumbnail].toString(), line[kSide].toInt());
        } else if (!bytesOfLine.trimmed().isEmpty()) {
            return RKMediaError(RKMediaErrorCode::NotWritable,
                QStringLiteral("is there, and no map of thumbnails"));
        }
    }
    return {};
}

QString ThumbnailMap::thumbnail(const QString& source) const
{
    return m_thumbnails.value(source).path;
}

bool ThumbnailMap::isCurrent(const QString& source, int side) const
{
    const Thumbnail thumbnail = m_thumbnails.value(source);
    const QFileInfo file(source);
    const QFileInfo known(thumbnail.path);
    return thumbnail.side == side && file.isFile() && known.isFile()
        && known.lastModified() >= file.lastModified();
}

void ThumbnailMap::insert(const QString& source, const QString& thumbnail, int side)
{
    m_thumbnails.insert(source, {thumbnail, side});
}

RKMediaError ThumbnailMap::write(const QString& path) const
{
    QStringList sources = m_thumbnails.keys();
    std::sort(sources.begin(), sources.end());
    QByteArray lines;
    for (const QString& source : qAsConst(sources)) {
        const Thumbnail thumbnail = m_thumbnails.value(source);
        const QJsonObject line{
            {kFile, source}, {kThumbnail, thumbnail.path}, {kSide, thumbnail.side}};
        lines += QJsonDocument(line).toJson(QJsonDocument::Compact) + '\n';
    }
    return RKFileSaving::write(path, lines);
}
