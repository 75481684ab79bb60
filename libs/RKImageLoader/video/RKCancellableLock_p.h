#pragma once

#include "RKImageLoader/media/RKCancellation.h"

#include <chrono>
#include <mutex>
#include <thread>

/// Waits until the mutex is free or the request is cancelled, and owns the mutex in the first case
/// only.
template <typename Mutex>
std::unique_lock<Mutex> rkLockUnlessCancelled(Mutex& mutex, const RKCancellation& cancellation)
{
    constexpr std::chrono::milliseconds kPause{1};
    if (!cancellation.isPossible())
        return std::unique_lock(mutex);
    std::unique_lock lock(mutex, std::try_to_lock);
    while (!lock.owns_lock() && !cancellation.isCancelled()) {
        std::this_thread::sleep_for(kPause);
        lock = std::unique_lock(mutex, std::try_to_lock);
    }
    return lock;
}
