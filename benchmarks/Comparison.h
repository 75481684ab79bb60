#pragma once

#include <benchmark/benchmark.h>

#include <algorithm>
#include <ctime>
#include <limits>

/// Runs a reference and our code by turns and reports the best time of each, in milliseconds, and
/// how many times as fast ours is. Ratios of one run hold on any machine; times don't. What counts
/// is the time on the processor, so that other programs and additional threads change nothing.
template <typename Reference, typename Ours>
void compare(benchmark::State& state, const Reference& reference, const Ours& ours)
{
    const auto milliseconds = [](const auto& function) {
        const std::clock_t start = std::clock();
        benchmark::DoNotOptimize(function());
        return 1000.0 * double(std::clock() - start) / CLOCKS_PER_SEC;
    };

    double referenceTime = std::numeric_limits<double>::max();
    double ourTime = referenceTime;
    for ([[maybe_unused]] auto iteration : state) {
        referenceTime = std::min(referenceTime, milliseconds(reference));
        ourTime = std::min(ourTime, milliseconds(ours));
    }
    state.counters["reference_ms"] = referenceTime;
    state.counters["ours_ms"] = ourTime;
    state.counters["ratio"] = referenceTime / ourTime;
}
