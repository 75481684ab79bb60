#pragma once

#include "RKImageLoaderAsync/RKLoadResult.h"

#include <QFuture>
#include <QPromise>

#include <atomic>

/// A caller's future and how many results it still waits for. Thread-safe, but for one result's
/// place only once.
class RKLoadDelivery
{
public:
    explicit RKLoadDelivery(int count);

    QFuture<RKLoadResult> future() const;
    /// The caller has cancelled it.
    bool isCancelled() const;

    /// The last result finishes the future. It is cancelled, too, if a result says so.
    void deliver(int index, const RKLoadResult& result);

private:
    const int m_count;
    std::atomic<int> m_left;
    std::atomic<bool> m_hasCancelled = false;
    QPromise<RKLoadResult> m_promise;
};
