#include "RKImageLoader/video/RKFfmpegLog_p.h"

extern "C" {
#include <libavutil/log.h>
}

#include <array>
#include <cstdarg>
#include <mutex>

Q_LOGGING_CATEGORY(rkFfmpeg, "rk.ffmpeg", QtWarningMsg)

namespace {

// The bits above are colours.
constexpr int kLevelMask = 0xff;

void logMessage(void* object, int level, const char* format, std::va_list arguments)
{
    if ((level & kLevelMask) > AV_LOG_WARNING || !rkFfmpeg().isDebugEnabled())
        return;
    // FFmpeg gives long lines in pieces, all of them on one thread.
    thread_local int isLineStart = 1;
    std::array<char, 1024> text{};
    av_log_format_line2(
        object, level, format, arguments, text.data(), int(text.size()), &isLineStart);
    QString line = QString::fromUtf8(text.data());
    if (line.endsWith(u'\n'))
        line.chop(1);
    qCDebug(rkFfmpeg).noquote() << line;
}

} // namespace

void RKFfmpegLog::install()
{
    static std::once_flag isInstalled;
    std::call_once(isInstalled, [] { av_log_set_callback(logMessage); });
}
