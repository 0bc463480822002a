#pragma once

#include <benchmark/benchmark.h>

#include <ctime>

namespace Bench {

/// The processor time of the calling thread in seconds, which excludes other programs.
inline double threadSeconds() {
    timespec time{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time);
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) * 1e-9;
}

/// Does `work` and sets its time as the benchmark iteration's, so that the code around it is not
/// measured. For benchmarks that use manual time.
template <class Work>
void timed(benchmark::State &state, Work const &work) {
    double const begin = threadSeconds();
    work();
    state.SetIterationTime(threadSeconds() - begin);
}

/// Makes the report divide the times by `elements`.
inline void elementsAre(benchmark::State &state, std::size_t elements) {
    state.counters["elements"] = static_cast<double>(elements);
}

} // namespace Bench
