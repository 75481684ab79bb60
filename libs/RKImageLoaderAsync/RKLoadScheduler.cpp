#include "RKImageLoader/loading/RKMediaLoaderAbstract.h"
#include "RKImageLoader/media/RKLoadContext.h"
#include "RKImageLoader/metadata/RKMetaDataCache.h"
#include "RKImageLoaderAsync/RKLoadCost_p.h"
#include "RKImageLoaderAsync/RKLoadScheduler_p.h"

#include <QDateTime>
#include <QFileInfo>
#include <QMutexLocker>
#include <QThread>

#include <algorithm>
#include <new>

namespace {

constexpr int kMaxUsualThreads = 4;
constexpr qint64 kUsualBytes = 1LL << 30;
// Threads of some systems have 512 KiB, decoders expect what a main thread has.
constexpr uint kStackBytes = 8U << 20;
// To look at so many requests takes less time than any picture. Thousands are looked at only now
// and then.
constexpr qsizetype kFewRequests = 256;
constexpr qint64 kDroppingIntervalMs = 50;

/// What distinguishes states of a file, as far as loading is concerned.
struct FileState
{
    explicit FileState(const QString& path)
        : metaDataChanges(RKMetaDataCache::instance()->changeCount())
    {
        const QFileInfo file(path);
        size = file.size();
        modified = file.lastModified();
    }

    bool operator==(const FileState& other) const
    {
        return size == other.size && modified == other.modified
            && metaDataChanges == other.metaDataChanges;
    }

    qint64 size;
    QDateTime modified;
    quint64 metaDataChanges;
};

RKLoadResult failed(const RKLoadRequest& request, RKMediaErrorCode code)
{
    RKMediaError error(code);
    error.setFilePath(request.path);
    return {request.descriptor(), request.wanted, request.option, RKDrawable(), error};
}

RKLoadResult loaded(
    const RKMediaLoaderAbstract& loader, const RKLoadRequest& request, const RKLoadJob& job)
{
    try {
        const RKMediaDescriptor descriptor = request.descriptor();
        RKLoadContext context(RKCancellation::create([&job] { return job.isUnwanted(); }));
        const RKDrawable drawable
            = loader.drawable(descriptor, request.wanted, request.option, context);
        return {descriptor, request.wanted, request.option, drawable, context.error()};
    } catch (const std::bad_alloc&) {
        return failed(request, RKMediaErrorCode::OutOfMemory);
    }
}

} // namespace

RKLoadScheduler::RKLoadScheduler(const RKMediaLoaderAbstract& loader)
    : m_loader(loader)
    , m_maxThreads(std::clamp(QThread::idealThreadCount(), 1, kMaxUsualThreads))
    , m_maxBytes(kUsualBytes)
{
    m_pool.setMaxThreadCount(m_maxThreads);
    m_pool.setStackSize(kStackBytes);
    m_sinceDropping.start();
}

RKLoadScheduler::~RKLoadScheduler()
{
    {
        const QMutexLocker locker(&m_mutex);
        m_isClosing = true;
    }
    cancelAll();
    m_pool.waitForDone();
}

QFuture<RKLoadResult> RKLoadScheduler::add(
    const std::vector<RKLoadRequest>& requests, RKLoadPriority priority)
{
    const auto delivery = std::make_shared<RKLoadDelivery>(int(requests.size()));
    QMutexLocker locker(&m_mutex);
    if (m_isClosing) {
        locker.unlock();
        for (size_t i = 0; i < requests.size(); ++i)
            delivery->deliver(int(i), failed(requests[i], RKMediaErrorCode::Cancelled));
        return delivery->future();
    }
    for (size_t i = requests.size(); i > 0; --i)
        add(requests[i - 1], {delivery, int(i - 1)}, priority);
    startThreads();
    return delivery->future();
}

void RKLoadScheduler::add(
    const RKLoadRequest& request, const RKLoadJob::Waiter& waiter, RKLoadPriority priority)
{
    if (const Job taken = m_taken.value(request); taken && taken->join(waiter))
        return;
    if (const Job waiting = m_queue.find(request)) {
        // No job that waits has been given up.
        waiting->join(waiter);
        m_queue.renew(request, priority);
        return;
    }
    const auto job = std::make_shared<RKLoadJob>(request);
    job->join(waiter);
    m_queue.insert(job, priority);
}

void RKLoadScheduler::setVisible(const QList<RKMediaDescriptor>& visible)
{
    const QMutexLocker locker(&m_mutex);
    m_queue.setVisible(visible);
}

void RKLoadScheduler::setPriority(const RKMediaDescriptor& descriptor, RKLoadPriority priority)
{
    const QMutexLocker locker(&m_mutex);
    m_queue.setPriority(descriptor, priority);
}

void RKLoadScheduler::cancelAll()
{
    std::vector<Job> waiting;
    {
        const QMutexLocker locker(&m_mutex);
        waiting = m_queue.takeAll();
        for (const Job& job : std::as_const(m_taken))
            job->giveUp();
    }
    cancel(waiting);
}

int RKLoadScheduler::threadCount() const
{
    const QMutexLocker locker(&m_mutex);
    return m_maxThreads;
}

void RKLoadScheduler::setThreadCount(int count)
{
    const QMutexLocker locker(&m_mutex);
    m_maxThreads = std::max(count, 1);
    m_pool.setMaxThreadCount(m_maxThreads);
    startThreads();
}

qint64 RKLoadScheduler::maxBytes() const
{
    const QMutexLocker locker(&m_mutex);
    return m_maxBytes;
}

void RKLoadScheduler::setMaxBytes(qint64 bytes)
{
    const QMutexLocker locker(&m_mutex);
    m_maxBytes = std::max<qint64>(bytes, 0);
    startThreads();
}

void RKLoadScheduler::startThreads()
{
    const qsizetype useful = m_queue.size() + m_threads;
    for (; m_threads < std::min<qsizetype>(m_maxThreads, useful); ++m_threads)
        m_pool.start([this] { work(); });
}

void RKLoadScheduler::work()
{
    while (const std::optional<Entry> entry = next())
        load(*entry);
}

/// A job with its bytes reserved; none if the thread has nothing to do.
std::optional<RKLoadScheduler::Entry> RKLoadScheduler::next()
{
    dropUnwanted();
    std::optional<Entry> entry;
    {
        const QMutexLocker locker(&m_mutex);
        if (m_threads <= m_maxThreads)
            entry = m_queue.takeFirst();
        if (!entry) {
            --m_threads;
            return {};
        }
        m_taken.insert(entry->job->request(), entry->job);
    }
    if (!entry->bytes) {
        entry->bytes
            = entry->job->isUnwanted() ? 0 : RKLoadCost::estimate(m_loader, entry->job->request());
    }
    return reserve(*entry) ? entry : std::nullopt;
}

/// False if the job has to wait for memory; whoever gives some back takes it. Smaller ones don't
/// overtake it, or it might wait for ever.
bool RKLoadScheduler::reserve(Entry& entry)
{
    const QMutexLocker locker(&m_mutex);
    if (m_bytes > 0 && m_bytes + *entry.bytes > m_maxBytes && !entry.job->isUnwanted()) {
        m_taken.remove(entry.job->request());
        m_queue.putBack(entry);
        --m_threads;
        return false;
    }
    m_bytes += *entry.bytes;
    return true;
}

void RKLoadScheduler::load(const Entry& entry)
{
    const RKLoadRequest& request = entry.job->request();
    const FileState before(request.path);
    entry.job->start();
    RKLoadResult result;
    if (!entry.job->isUnwanted())
        result = loaded(m_loader, request, *entry.job);
    if (entry.job->isUnwanted())
        result = failed(request, RKMediaErrorCode::Cancelled);

    release(entry.job, *entry.bytes);
    std::vector<RKLoadJob::Waiter> waiters = entry.job->close();
    const auto late = std::stable_partition(
        waiters.begin(), waiters.end(), [](const auto& waiter) { return !waiter.isLate; });
    // Whoever asked after a change must not get what was read before it.
    if (late != waiters.end() && !(FileState(request.path) == before)) {
        const QMutexLocker locker(&m_mutex);
        if (!m_isClosing) {
            for (auto waiter = late; waiter != waiters.end(); ++waiter)
                add(request, *waiter, RKLoadPriority::Visible);
            waiters.erase(late, waiters.end());
        }
    }
    serve(waiters, result);
}

void RKLoadScheduler::release(const Job& job, qint64 bytes)
{
    const QMutexLocker locker(&m_mutex);
    m_bytes -= bytes;
    // If it was given up, there may be another one for the same request.
    if (m_taken.value(job->request()) == job)
        m_taken.remove(job->request());
    startThreads();
}

void RKLoadScheduler::serve(
    const std::vector<RKLoadJob::Waiter>& waiters, const RKLoadResult& result)
{
    for (const RKLoadJob::Waiter& waiter : waiters)
        waiter.delivery->deliver(waiter.index, result);
}

void RKLoadScheduler::cancel(const std::vector<Job>& jobs)
{
    for (const Job& job : jobs)
        serve(job->close(), failed(job->request(), RKMediaErrorCode::Cancelled));
}

void RKLoadScheduler::dropUnwanted()
{
    std::vector<Job> unwanted;
    {
        const QMutexLocker locker(&m_mutex);
        if (m_queue.size() > kFewRequests && m_sinceDropping.elapsed() < kDroppingIntervalMs)
            return;
        m_sinceDropping.start();
        unwanted = m_queue.takeUnwanted();
    }
    cancel(unwanted);
}
