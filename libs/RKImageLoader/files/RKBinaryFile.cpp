#include "RKImageLoader/files/RKBinaryFile_p.h"
#include "RKImageLoader/files/RKFileSnapshot_p.h"
#include "RKImageLoader/media/RKLogCategories_p.h"

#include <QDebug>

QByteArray RKBinaryFile::readAll(const QFileInfo& file)
{
    std::error_code ignored;
    return readAll(file, &ignored);
}

QByteArray RKBinaryFile::readAll(
    const QFileInfo& file, std::error_code* error, const RKCancellation& cancellation)
{
    const QString path = file.absoluteFilePath();
    const RKFileSnapshot snapshot(path);
    QByteArray bytes;
    if (!snapshot.readAll(&bytes, cancellation)
        && snapshot.error() != std::errc::operation_canceled)
        qCWarning(rkLoad).noquote()
            << "Konnte Datei nicht öffnen:" << path << snapshot.errorString();
    *error = snapshot.error();
    return bytes;
}

bool RKBinaryFile::mayBlock(const QFileInfo& file)
{
    // The caller may have asked long ago.
    const QFileInfo current(file.absoluteFilePath());
    return current.exists() && !current.isFile();
}
