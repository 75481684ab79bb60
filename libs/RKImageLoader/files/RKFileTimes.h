#pragma once

#include "RKImageLoader/RKImageLoaderExport.h"

#include <QDateTime>
#include <QString>

// Creation and modification times of files. Times are exact to the millisecond. All of it is
// thread-safe; errors are not reported.

/// The file's modification time if `which` is 1, else its creation time; invalid without one.
RKIMAGELOADER_EXPORT QDateTime timeInternal(const QString& path, int which);

/// The file's creation time; invalid where there is none or the file system does not record it.
RKIMAGELOADER_EXPORT QDateTime ctimeInternal(const QString& path);

/// The file's modification time; invalid without a file.
RKIMAGELOADER_EXPORT QDateTime mtimeInternal(const QString& path);

/// Sets the creation time. Does nothing for an invalid time, and on platforms where it cannot be
/// set (all but macOS).
RKIMAGELOADER_EXPORT void setCtimeInternal(const QString& path, const QDateTime& time);

/// Sets the modification time. Does nothing for an invalid time.
RKIMAGELOADER_EXPORT void setMtimeInternal(const QString& path, const QDateTime& time);
