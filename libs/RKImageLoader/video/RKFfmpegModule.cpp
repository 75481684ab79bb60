#include "RKImageLoader/video/RKFfmpegModule_p.h"

#include <QDebug>
#include <QFile>
#include <QFileInfo>
#include <QLibrary>

#include <dlfcn.h>

namespace {

/// The folder that this library was loaded from, where the module lies, too.
QString ownFolder()
{
    static const char anchor = 0;
    Dl_info info{};
    if (dladdr(&anchor, &info) == 0)
        return {};
    return QFileInfo(QFile::decodeName(info.dli_fname)).absolutePath();
}

RKFfmpegModule::OpenVideo* load()
{
    // Stays loaded when this object goes.
    QLibrary module(ownFolder() + QStringLiteral("/" RK_FFMPEG_MODULE));
    const QFunctionPointer function = module.resolve(RKFfmpegModule::kOpenVideo);
    if (!function)
        qWarning().noquote() << "could not load the module for videos:" << module.errorString();
    return reinterpret_cast<RKFfmpegModule::OpenVideo*>(function);
}

} // namespace

std::unique_ptr<RKVideoFrames> RKFfmpegModule::open(const QString& path)
{
    static OpenVideo* const openVideo = load();
    return openVideo ? openVideo(path) : nullptr;
}
