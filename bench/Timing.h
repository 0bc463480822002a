#pragma once

#include <benchmark/benchmark.h>

#include <chrono>

namespace Bench {

/// Does `work` and sets its duration as that of the benchmark's iteration: what stands around it
/// goes unmeasured. For benchmarks that use manual time.
template <class Work>
void timed(benchmark::State &state, Work const &work) {
    auto const begin = std::chrono::steady_clock::now();
    work();
    state.SetIterationTime(
        std::chrono::duration<double>(std::chrono::steady_clock::now() - begin).count());
}

/// Has the report divide the times by `elements`.
inline void elementsAre(benchmark::State &state, std::size_t elements) {
    state.counters["elements"] = static_cast<double>(elements);
}

} // namespace Bench
