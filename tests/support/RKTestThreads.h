#pragma once

#include <functional>
#include <thread>
#include <vector>

namespace RKTestThreads {

/// Does the work in several threads at once, each of which is told its number, and waits for all.
inline void run(int count, const std::function<void(int)>& work)
{
    std::vector<std::thread> threads;
    threads.reserve(size_t(count));
    for (int i = 0; i < count; ++i)
        threads.emplace_back(work, i);
    for (std::thread& thread : threads)
        thread.join();
}

} // namespace RKTestThreads
