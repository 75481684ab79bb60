#pragma once

#include "RKImageLoader/media/RKLogCategories_p.h"

#include <QString>

/// What FFmpeg says, and when files are searched: debug messages, silent by default.
Q_DECLARE_LOGGING_CATEGORY(rkFfmpeg)

namespace RKFfmpegLog {

/// Sends FFmpeg's warnings and errors to the category from now on, instead of to the standard error
/// output. Holds for the whole process; calls after the first do nothing. Thread-safe.
void install();

/// A line about a file in the debug log.
inline void write(const QString& path, const QString& message)
{
    qCDebug(rkVideo) << "FFmpegBridge: file" << path << ":" << message;
}

} // namespace RKFfmpegLog
