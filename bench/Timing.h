#pragma once

#include <benchmark/benchmark.h>

#include <ctime>

namespace Bench {

/// The processor time of the calling thread in seconds: what other programs take meanwhile does
/// not count.
inline double threadSeconds() {
    timespec time{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time);
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) * 1e-9;
}

/// Does `work` and sets its time as that of the benchmark's iteration: what stands around it goes
/// unmeasured. For benchmarks that use manual time.
template <class Work>
void timed(benchmark::State &state, Work const &work) {
    double const begin = threadSeconds();
    work();
    state.SetIterationTime(threadSeconds() - begin);
}

/// Has the report divide the times by `elements`.
inline void elementsAre(benchmark::State &state, std::size_t elements) {
    state.counters["elements"] = static_cast<double>(elements);
}

} // namespace Bench
