#include "SmallFile.h"

#include <QFile>

std::optional<QByteArray> SmallFile::read(const QString& path, qint64 maxSize, RKMediaError* error)
{
    QFile file(path);
    QByteArray bytes;
    // A pipe can be read once.
    if (file.open(QIODevice::ReadOnly))
        bytes = file.read(maxSize + 1);
    if (file.error() == QFileDevice::NoError && bytes.size() <= maxSize)
        return bytes;
    const auto code = file.exists() ? RKMediaErrorCode::Unreadable : RKMediaErrorCode::Missing;
    *error = bytes.size() > maxSize
        ? RKMediaError(RKMediaErrorCode::TooLarge, QStringLiteral("is too large"))
        : RKMediaError(code, file.errorString());
    return {};
}
