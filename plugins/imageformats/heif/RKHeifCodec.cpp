#include "imageformats/heif/RKHeifCodec.h"

#include <QDebug>
#include <QFile>
#include <QFileInfo>
#include <QLibrary>

#include <dlfcn.h>

namespace {

RKHeifCodec::Open* load()
{
    static const char anchor = 0;
    Dl_info plugin{};
    if (dladdr(&anchor, &plugin) == 0)
        return nullptr;
    const QString folder = QFileInfo(QFile::decodeName(plugin.dli_fname)).absolutePath();
    // Stays loaded when this object goes.
    QLibrary module(folder + QStringLiteral("/../" RK_CODECS "/RKHeifCodec"));
    const QFunctionPointer function = module.resolve(RKHeifCodec::kOpen);
    if (!function)
        qWarning().noquote() << "could not load the module for HEIF:" << module.errorString();
    return reinterpret_cast<RKHeifCodec::Open*>(function);
}

} // namespace

std::unique_ptr<RKOpenPicture> RKHeifCodec::open(const QByteArray& file, QByteArray* undecodable)
{
    static Open* const openFile = load();
    if (openFile)
        return openFile(file, undecodable);
    *undecodable = kHevc;
    return nullptr;
}
