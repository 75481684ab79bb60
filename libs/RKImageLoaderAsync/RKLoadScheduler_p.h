#pragma once

#include "RKImageLoaderAsync/RKLoadQueue_p.h"

#include <QElapsedTimer>
#include <QHash>
#include <QThreadPool>

#include <memory>
#include <mutex>
#include <optional>
#include <vector>

class RKMediaLoaderAbstract;

/// Hands waiting jobs to threads, as many at a time as the limits of threads and of bytes allow.
///
/// Futures are finished, and so continuations run, while nothing is locked. Thread-safe.
class RKLoadScheduler
{
public:
    explicit RKLoadScheduler(const RKMediaLoaderAbstract& loader);
    /// See RKAsyncLoader.
    ~RKLoadScheduler();

    RKLoadScheduler(const RKLoadScheduler&) = delete;
    RKLoadScheduler& operator=(const RKLoadScheduler&) = delete;

    /// The first one of the list comes first.
    QFuture<RKLoadResult> add(const std::vector<RKLoadRequest>& requests, RKLoadPriority priority);
    void setVisible(const QList<RKMediaDescriptor>& visible);
    void setPriority(const RKMediaDescriptor& descriptor, RKLoadPriority priority);
    void cancelAll();

    int threadCount() const;
    void setThreadCount(int count);
    qint64 maxBytes() const;
    void setMaxBytes(qint64 bytes);

private:
    using Job = RKLoadQueue::Job;
    using Entry = RKLoadQueue::Entry;

    // The caller holds the lock.
    void add(
        const RKLoadRequest& request, const RKLoadJob::Waiter& waiter, RKLoadPriority priority);
    void startThreads();

    // What threads do.
    void work();
    std::optional<Entry> next();
    bool reserve(Entry& entry);
    void load(const Entry& entry);
    void release(const Job& job, qint64 bytes);
    void serve(const std::vector<RKLoadJob::Waiter>& waiters, const RKLoadResult& result);
    void cancel(const std::vector<Job>& jobs);
    void dropUnwanted();

    const RKMediaLoaderAbstract& m_loader;

    // Guards all but the loader and the pool. A job's own may be taken after it.
    mutable std::mutex m_mutex;
    RKLoadQueue m_queue;
    // Those that a thread has taken.
    QHash<RKLoadRequest, Job> m_taken;
    int m_maxThreads;
    int m_threads = 0;
    qint64 m_maxBytes;
    // What the jobs that are being loaded take.
    qint64 m_bytes = 0;
    bool m_isClosing = false;
    QElapsedTimer m_sinceDropping;

    QThreadPool m_pool;
};
