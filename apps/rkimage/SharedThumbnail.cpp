#include "SharedThumbnail.h"

#include "RKImageLoader/files/RKFileSaving.h"

#include <QBuffer>
#include <QCryptographicHash>
#include <QDateTime>
#include <QDir>
#include <QFileInfo>
#include <QStandardPaths>

#include <array>
#include <utility>

namespace {

constexpr std::array<std::pair<int, const char*>, 4> kFolders{
    std::pair{128, "normal"}, {256, "large"}, {512, "x-large"}, {1024, "xx-large"}};

QString folderOf(int side)
{
    QString folder;
    for (const auto& [size, name] : kFolders) {
        if (size == side)
            folder = QLatin1String(name);
    }
    return QStandardPaths::writableLocation(QStandardPaths::GenericCacheLocation)
        + QStringLiteral("/thumbnails/") + folder;
}

QByteArray absolute(const QByteArray& name)
{
    return name.startsWith('/') ? name : QFile::encodeName(QDir::currentPath()) + '/' + name;
}

/// As the desktop's libraries write it; another spelling would be another key.
QByteArray uriOf(const QByteArray& path)
{
    return "file://" + path.toPercentEncoding("!$&'()*+,/:=@");
}

} // namespace

bool SharedThumbnail::isSize(int side)
{
    for (const auto& [size, name] : kFolders) {
        if (size == side)
            return true;
    }
    return false;
}

SharedThumbnail::SharedThumbnail(const QByteArray& name, const QString& path, int side)
    : m_uri(QString::fromLatin1(uriOf(absolute(name))))
    , m_modified(QString::number(QFileInfo(path).lastModified().toSecsSinceEpoch()))
    , m_size(QString::number(QFileInfo(path).size()))
    , m_file(folderOf(side) + u'/'
          + QString::fromLatin1(
              QCryptographicHash::hash(m_uri.toLatin1(), QCryptographicHash::Md5).toHex())
          + QStringLiteral(".png"))
{
}

QString SharedThumbnail::path() const
{
    return m_file;
}

bool SharedThumbnail::isCurrent() const
{
    // Not with QImageReader, which takes the colons for the end of a key.
    const QImage thumbnail(m_file, "png");
    return thumbnail.text(QStringLiteral("Thumb::URI")) == m_uri
        && thumbnail.text(QStringLiteral("Thumb::MTime")) == m_modified;
}

RKMediaError SharedThumbnail::save(const QImage& picture) const
{
    QImage thumbnail = picture;
    thumbnail.setText(QStringLiteral("Thumb::URI"), m_uri);
    thumbnail.setText(QStringLiteral("Thumb::MTime"), m_modified);
    thumbnail.setText(QStringLiteral("Thumb::Size"), m_size);
    thumbnail.setText(QStringLiteral("Software"), QStringLiteral("rkimage"));

    // Thumbnails are as private as what they show.
    constexpr auto kOwnerOnly = QFileDevice::ReadOwner | QFileDevice::WriteOwner;
    const QString folder = QFileInfo(m_file).path();
    if (!QFileInfo::exists(folder)) {
        QDir().mkpath(folder);
        QFile::setPermissions(folder, kOwnerOnly | QFileDevice::ExeOwner);
    }
    QBuffer encoded;
    encoded.open(QIODevice::WriteOnly);
    if (!thumbnail.save(&encoded, "png"))
        return RKMediaError(RKMediaErrorCode::OutOfMemory);
    const RKMediaError error = RKFileSaving::write(m_file, encoded.data());
    // Until then the folder keeps others out.
    return error.isError() || QFile::setPermissions(m_file, kOwnerOnly)
        ? error
        : RKMediaError(RKMediaErrorCode::NotWritable);
}
