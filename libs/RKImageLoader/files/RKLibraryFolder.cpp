#include "RKImageLoader/files/RKLibraryFolder_p.h"

#include <QFile>
#include <QFileInfo>

#include <dlfcn.h>

QString RKLibraryFolder::path()
{
    static const char anchor = 0;
    Dl_info info{};
    if (dladdr(&anchor, &info) == 0)
        return {};
    return QFileInfo(QFile::decodeName(info.dli_fname)).absolutePath();
}
