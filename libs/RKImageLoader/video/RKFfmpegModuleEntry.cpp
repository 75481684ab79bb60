#include "RKImageLoader/video/RKFfmpegLog_p.h"
#include "RKImageLoader/video/RKFfmpegModule_p.h"
#include "RKImageLoader/video/RKFrameSeeker_p.h"

#include <QtGlobal>

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavutil/avutil.h>
}

// The symbols are looked up by their names, so that C++ may not decorate them. Whoever calls them
// is C++.
#ifdef __clang__
#    pragma clang diagnostic ignored "-Wreturn-type-c-linkage"
#endif

extern "C" Q_DECL_EXPORT std::unique_ptr<RKVideoFrames> rkOpenVideo(
    const QString& path, RKVideoFailure* failure, const RKCancellation& cancellation)
{
    RKFfmpegLog::install();
    std::unique_ptr<RKFfmpegFile> file = RKFfmpegFile::open(path, failure, cancellation);
    if (!file)
        return nullptr;
    std::unique_ptr<RKVideoFrames> frames = RKFrameSeeker::create(std::move(file));
    if (!frames)
        *failure = RKVideoFailure::OutOfMemory;
    return frames;
}

static_assert(std::is_same_v<decltype(rkOpenVideo), RKFfmpegModule::OpenVideo>);

extern "C" Q_DECL_EXPORT RKFfmpegModule::Description rkDescribeFfmpeg()
{
    return {QString::fromUtf8(av_version_info()), QString::fromUtf8(avcodec_license())};
}

static_assert(std::is_same_v<decltype(rkDescribeFfmpeg), RKFfmpegModule::Describe>);
