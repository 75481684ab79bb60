#pragma once

#include <atomic>
#include <memory>

/// Takes a request back. Copies share one flag, so that whoever keeps a copy can cancel what was
/// given another one. Thread-safe.
class RKCancellation
{
public:
    /// What can't be cancelled; costs nothing.
    RKCancellation() = default;

    /// What can be cancelled, with a flag of its own.
    static RKCancellation create()
    {
        RKCancellation cancellation;
        cancellation.m_flag = std::make_shared<std::atomic<bool>>(false);
        return cancellation;
    }

    /// For good, and for all copies.
    void cancel() const
    {
        if (m_flag)
            m_flag->store(true, std::memory_order_relaxed);
    }

    /// Whether any copy was cancelled; costs as much as reading a number.
    bool isCancelled() const
    {
        return m_flag && m_flag->load(std::memory_order_relaxed);
    }

private:
    // Null if it can't be cancelled.
    std::shared_ptr<std::atomic<bool>> m_flag;
};
