#include "RKImageLoader/RKImageLoaderExport.h"
#include "RKImageLoader/files/RKLibraryFolder_p.h"

#include <QCoreApplication>
#include <QFile>
#include <QFileInfo>

#include <dlfcn.h>

QString RKLibraryFolder::path()
{
#ifdef RKIMAGELOADER_STATIC_DEFINE
    // The system knows a program by the name that it was called with, which may lack the folder.
    return QCoreApplication::applicationDirPath();
#else
    static const char anchor = 0;
    Dl_info info{};
    if (dladdr(&anchor, &info) == 0)
        return {};
    return QFileInfo(QFile::decodeName(info.dli_fname)).absolutePath();
#endif
}
