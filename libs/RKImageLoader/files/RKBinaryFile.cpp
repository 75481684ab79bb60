#include "RKImageLoader/files/RKBinaryFile_p.h"

#include <QDebug>
#include <QFile>

QByteArray RKBinaryFile::readAll(const QFileInfo& file)
{
    const QString path = file.absoluteFilePath();
    QFile device(path);
    QString error;
    if (mayBlock(file))
        error = QStringLiteral("Not a regular file");
    else if (device.open(QIODevice::ReadOnly | QIODevice::Unbuffered))
        return device.readAll();
    else
        error = device.errorString();
    qWarning().noquote() << "Konnte Datei nicht öffnen:" << path << error;
    return {};
}

bool RKBinaryFile::mayBlock(const QFileInfo& file)
{
    // The caller may have asked long ago.
    const QFileInfo current(file.absoluteFilePath());
    return current.exists() && !current.isFile();
}
