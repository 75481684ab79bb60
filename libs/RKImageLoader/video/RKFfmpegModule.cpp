#include "RKImageLoader/files/RKLibraryFolder_p.h"
#include "RKImageLoader/media/RKLogCategories_p.h"
#include "RKImageLoader/video/RKFfmpegModule_p.h"

#include <QDebug>
#include <QLibrary>

namespace {

template <typename Function>
Function* load(const char* name)
{
    // Stays loaded when this object goes.
    QLibrary module(RKLibraryFolder::path() + QStringLiteral("/" RK_FFMPEG_MODULE));
    const QFunctionPointer function = module.resolve(name);
    if (!function)
        qCWarning(rkVideo).noquote()
            << "could not load the module for videos:" << module.errorString();
    return reinterpret_cast<Function*>(function);
}

} // namespace

std::unique_ptr<RKVideoFrames> RKFfmpegModule::open(
    const QString& path, RKVideoFailure* failure, const RKCancellation& cancellation)
{
    static OpenVideo* const openVideo = load<OpenVideo>(kOpenVideo);
    if (openVideo)
        return openVideo(path, failure, cancellation);
    *failure = RKVideoFailure::NoFfmpeg;
    return nullptr;
}

RKFfmpegModule::Description RKFfmpegModule::description()
{
    Describe* const describe = load<Describe>(kDescribe);
    return describe ? describe() : Description();
}
