#include "RKImageLoader/media/RKMemory_p.h"
#include "RKImageLoader/media/RKPoolThreads_p.h"

#include <QDeadlineTimer>
#include <QSemaphore>
#include <QThreadPool>

#include <sys/resource.h>

#include <atomic>
#include <memory>

namespace {

bool isMemoryLimited()
{
    rlimit limit{};
    return ::getrlimit(RLIMIT_AS, &limit) == 0 && limit.rlim_cur != RLIM_INFINITY;
}

} // namespace

bool RKPoolThreads::areReady()
{
    // Until when the threads wait for work at least.
    static std::atomic<qint64> readyUntil = 0;
    const qint64 now = QDeadlineTimer::current().deadline();
    if (!isMemoryLimited() || now < readyUntil)
        return true;
    // A usual stack, and what the thread keeps apart from it.
    constexpr qint64 kBytesPerThread = 9 << 20;
    QThreadPool& pool = *QThreadPool::globalInstance();
    const int threads = pool.maxThreadCount() - pool.activeThreadCount();
    if (threads > 0 && RKMemory::isShortOf(threads * kBytesPerThread))
        return false;
    // Each of them waits, so that the next one needs another thread.
    const auto end = std::make_shared<QSemaphore>();
    int started = 0;
    while (started < threads && pool.tryStart([end] { end->acquire(); }))
        ++started;
    end->release(started);
    // Those without a limit of time are looked for now and then, too.
    constexpr qint64 kUsualExpiry = 30'000;
    readyUntil = now + (pool.expiryTimeout() < 0 ? kUsualExpiry : pool.expiryTimeout()) / 2;
    return true;
}
