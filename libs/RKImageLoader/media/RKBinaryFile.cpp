#include "RKImageLoader/media/RKBinaryFile.h"

#include <QDebug>
#include <QFile>

QByteArray RKBinaryFile::readAll(const QFileInfo& file)
{
    const QString path = file.absoluteFilePath();
    const QFileInfo current(path);
    QFile device(path);
    QString error;
    // Opening a pipe without a writer would block, so the kind is looked at before.
    if (current.exists() && !current.isFile())
        error = QStringLiteral("Not a regular file");
    else if (device.open(QIODevice::ReadOnly | QIODevice::Unbuffered))
        return device.readAll();
    else
        error = device.errorString();
    qWarning().noquote() << "Konnte Datei nicht öffnen:" << path << error;
    return {};
}
