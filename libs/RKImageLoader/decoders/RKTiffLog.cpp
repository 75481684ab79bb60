#include "RKImageLoader/decoders/RKTiffLog_p.h"
#include "RKImageLoader/media/RKLogCategories_p.h"

#include <QString>

#include <tiffio.h>

#include <cstdarg>

namespace {

void logMessage(const char* module, const char* format, va_list arguments)
    Q_ATTRIBUTE_FORMAT_PRINTF(2, 0);

void logMessage(const char* module, const char* format, va_list arguments)
{
    qCDebug(rkLoad).noquote() << (module ? module : "libtiff")
                              << QString::vasprintf(format, arguments);
}

} // namespace

void RKTiffLog::redirect()
{
    TIFFSetWarningHandler(logMessage);
    TIFFSetErrorHandler(logMessage);
}
