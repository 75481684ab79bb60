#pragma once

#include "RKImageLoaderAsync/RKLoadDelivery_p.h"
#include "RKImageLoaderAsync/RKLoadRequest_p.h"

#include <memory>
#include <mutex>
#include <vector>

/// One load and all who wait for it. Thread-safe.
class RKLoadJob
{
public:
    struct Waiter
    {
        std::shared_ptr<RKLoadDelivery> delivery;
        int index = 0;
        /// Came when the file may have been read already.
        bool isLate = false;
    };

    explicit RKLoadJob(const RKLoadRequest& request);

    const RKLoadRequest& request() const;

    /// False if it was given up or has ended; somebody who still wants the picture needs a new job.
    bool join(Waiter waiter);
    /// The file is read from now on.
    void start();
    /// Nobody waits for it any longer, for good: it can't be joined once this was said.
    bool isUnwanted() const;
    /// Those who wait must be informed that it was cancelled.
    void giveUp();
    /// Ends it; the waiters are the caller's to serve.
    std::vector<Waiter> close();

private:
    const RKLoadRequest m_request;
    // Guards all that follows. Nothing is locked under it, the scheduler's may be held before.
    mutable std::mutex m_mutex;
    std::vector<Waiter> m_waiters;
    bool m_isStarted = false;
    bool m_isClosed = false;
    mutable bool m_isUnwanted = false;
};
