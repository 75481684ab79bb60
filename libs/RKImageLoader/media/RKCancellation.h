#pragma once

#include <atomic>
#include <functional>
#include <memory>
#include <utility>

/// Takes a request back. Copies share one state, so that whoever keeps a copy can cancel what was
/// given another one. Thread-safe.
class RKCancellation
{
public:
    /// What can't be cancelled; costs nothing.
    RKCancellation() = default;

    /// What can be cancelled, with a state of its own.
    static RKCancellation create()
    {
        return create({});
    }

    /// What is taken back by somebody who has to be asked. The question comes often, from any
    /// thread, until the answer is yes.
    static RKCancellation create(std::function<bool()> isTakenBack)
    {
        RKCancellation cancellation;
        cancellation.m_state = std::make_shared<State>(std::move(isTakenBack));
        return cancellation;
    }

    /// For good, and for all copies.
    void cancel() const
    {
        if (m_state)
            m_state->isCancelled.store(true, std::memory_order_relaxed);
    }

    /// False for what can't be cancelled, so that nobody needs to ask again.
    bool isPossible() const
    {
        return m_state != nullptr;
    }

    /// Whether any copy was cancelled; costs as much as reading a number.
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
