#pragma once

#include "Interruption.h"

#include <algorithm>
#include <atomic>
#include <cstddef>
#include <exception>
#include <thread>
#include <vector>

/// Calls work(0) to work(count - 1), each once and in about this order, in several threads, of
/// which the caller's is one. Begins no more of them after an interruption.
template <typename Work>
void runInParallel(size_t count, int threadCount, Work work)
{
    std::atomic<size_t> next = 0;
    const auto run = [&] {
        for (size_t i = next++; i < count && !Interruption::isRequested(); i = next++)
            work(i);
    };
    std::vector<std::thread> threads;
    try {
        while (threads.size() + 1 < std::min(size_t(threadCount), count))
            threads.emplace_back(run);
    } catch (const std::exception&) {
        // The system gives no more threads or memory; those that there are do it, too.
    }
    run();
    for (std::thread& thread : threads)
        thread.join();
}
