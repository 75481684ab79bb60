#pragma once

#include "Interruption.h"

#include <algorithm>
#include <atomic>
#include <cstddef>
#include <thread>
#include <vector>

/// Calls work(0) to work(count - 1), each once and in about this order, in several threads. Begins
/// no more of them after an interruption.
template <typename Work>
void runInParallel(size_t count, int threadCount, Work work)
{
    std::atomic<size_t> next = 0;
    const auto run = [&] {
        for (size_t i = next++; i < count && !Interruption::isRequested(); i = next++)
            work(i);
    };
    std::vector<std::thread> threads;
    while (threads.size() < std::min(size_t(threadCount), count))
        threads.emplace_back(run);
    for (std::thread& thread : threads)
        thread.join();
}
