#include "RKImageLoader/metadata/exiv2/RKExiv2Compat_p.h"
#include "RKImageLoader/metadata/exiv2/RKExiv2Version_p.h"

QString RKExiv2Version::running()
{
    return QString::fromStdString(Exiv2::versionString());
}
