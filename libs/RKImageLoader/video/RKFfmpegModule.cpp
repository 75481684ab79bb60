#include "RKImageLoader/files/RKLibraryFolder_p.h"
#include "RKImageLoader/media/RKLogCategories_p.h"
#include "RKImageLoader/media/RKMemoryShortage_p.h"
#include "RKImageLoader/video/RKFfmpegModule_p.h"

#include <QDebug>
#include <QLibrary>
#include <QMutex>
#include <QMutexLocker>

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

/// The module's function, which is looked up once, unless memory was short for that.
class Entry
{
public:
    /// Null with the reason if there is none.
    RKFfmpegModule::OpenVideo* function(RKVideoFailure* failure)
    {
        const QMutexLocker locker(&m_mutex);
        if (!m_function && !m_isMissing) {
            m_function = load<RKFfmpegModule::OpenVideo>(RKFfmpegModule::kOpenVideo);
            m_isMissing = !m_function && !RKMemory::isShortOf(kBytesOfLibraries);
        }
        if (!m_function)
            *failure = m_isMissing ? RKVideoFailure::NoFfmpeg : RKVideoFailure::OutOfMemory;
        return m_function;
    }

private:
    // What FFmpeg's libraries and theirs take of the address space.
    static constexpr qint64 kBytesOfLibraries = 256 << 20;

    // Guards the others. Nothing else is locked while it is held.
    QMutex m_mutex;
    RKFfmpegModule::OpenVideo* m_function = nullptr;
    bool m_isMissing = false;
};

} // namespace

std::unique_ptr<RKVideoFrames> RKFfmpegModule::open(
    const QString& path, RKVideoFailure* failure, const RKCancellation& cancellation)
{
    static Entry entry;
    OpenVideo* const openVideo = entry.function(failure);
    return openVideo ? openVideo(path, failure, cancellation) : nullptr;
}

RKFfmpegModule::Description RKFfmpegModule::description()
{
    Describe* const describe = load<Describe>(kDescribe);
    return describe ? describe() : Description();
}
