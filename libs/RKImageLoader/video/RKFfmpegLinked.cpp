// In place of RKFfmpegModule.cpp where the code of the module is a part of the program.
#include "RKImageLoader/video/RKFfmpegModule_p.h"

#ifdef __clang__
#    pragma clang diagnostic ignored "-Wreturn-type-c-linkage"
#endif

extern "C" RKFfmpegModule::OpenVideo rkOpenVideo;
extern "C" RKFfmpegModule::Describe rkDescribeFfmpeg;

std::unique_ptr<RKVideoFrames> RKFfmpegModule::open(
    const QString& path, RKVideoFailure* failure, const RKCancellation& cancellation)
{
    return rkOpenVideo(path, failure, cancellation);
}

RKFfmpegModule::Description RKFfmpegModule::description()
{
    return rkDescribeFfmpeg();
}
