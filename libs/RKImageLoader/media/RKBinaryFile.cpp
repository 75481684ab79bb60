#include "RKImageLoader/media/RKBinaryFile.h"

#include <QDebug>
#include <QFile>

bool RKBinaryFile::isRegular(const QFileInfo& file)
{
    // Asked anew: the given object may remember what was there before.
    return QFileInfo(file.absoluteFilePath()).isFile();
}

QByteArray RKBinaryFile::readAll(const QFileInfo& file)
{
    const QString path = file.absoluteFilePath();
    QFile device(path);
    QString error;
    // Opening a pipe without a writer would block, so the kind is looked at before.
    if (QFileInfo::exists(path) && !isRegular(file))
        error = QStringLiteral("Not a regular file");
    else if (device.open(QIODevice::ReadOnly | QIODevice::Unbuffered))
        return device.readAll();
    else
        error = device.errorString();
    qWarning().noquote() << "Konnte Datei nicht öffnen:" << path << error;
    return {};
}
