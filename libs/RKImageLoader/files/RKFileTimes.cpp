#include "RKImageLoader/files/RKFileTimes.h"

#include <QFile>
#include <QFileInfo>

namespace {

constexpr int kCreation = 0;
constexpr int kModification = 1;

} // namespace

QDateTime ctimeInternal(const QString& path)
{
    return timeInternal(path, kCreation);
}

QDateTime mtimeInternal(const QString& path)
{
    return timeInternal(path, kModification);
}

#ifndef Q_OS_MACOS // where Foundation can set creation times too: RKFileTimesMac.mm

QDateTime timeInternal(const QString& path, int which)
{
    const QFileInfo file(path);
    return which == kModification ? file.lastModified() : file.birthTime();
}

void setCtimeInternal(const QString&, const QDateTime&)
{
}

void setMtimeInternal(const QString& path, const QDateTime& time)
{
    // Opened for reading only, so that a write-protected file of the user's own can be set too.
    QFile file(path);
    if (time.isValid() && file.open(QIODevice::ReadOnly))
        file.setFileTime(time, QFileDevice::FileModificationTime);
}

#endif
