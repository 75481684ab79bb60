#pragma once

#include <atomic>
#include <functional>
#include <memory>
#include <utility>

/// Cancels a request. Copies share one state: whoever keeps a copy can cancel the work that was
/// given another one. Thread-safe.
class RKCancellation
{
public:
    /// For what can't be cancelled; costs nothing.
    RKCancellation() = default;

    /// For what can be cancelled, with a state of its own.
    static RKCancellation create()
    {
        return create({});
    }

    /// The same, also cancelled as soon as the function returns true. Until then it is called
    /// often, from any thread and from several at once.
    static RKCancellation create(std::function<bool()> isTakenBack)
    {
        RKCancellation cancellation;
        cancellation.m_state = std::make_shared<State>(std::move(isTakenBack));
        return cancellation;
    }

    /// Cancels for good, and for all copies.
    void cancel() const
    {
        if (m_state)
            m_state->isCancelled.store(true, std::memory_order_relaxed);
    }

    /// False for what can't be cancelled, so that there is no need to ask isCancelled().
    bool isPossible() const
    {
        return m_state != nullptr;
    }

    /// Whether any copy was cancelled; costs as much as reading a number, or calling the function.
    bool isCancelled() const
    {
        if (!m_state)
            return false;
        if (!m_state->isCancelled.load(std::memory_order_relaxed) && m_state->isTakenBack
            && m_state->isTakenBack())
            cancel();
        return m_state->isCancelled.load(std::memory_order_relaxed);
    }

private:
    struct State
    {
        explicit State(std::function<bool()> question)
            : isTakenBack(std::move(question))
        {
        }

        std::atomic<bool> isCancelled = false;
        const std::function<bool()> isTakenBack;
    };

    // Null if it can't be cancelled.
    std::shared_ptr<State> m_state;
};
