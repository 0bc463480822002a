#include "Mox/Trace.h"
#include "Skimtrace/Skimtrace.h"

#include <benchmark/benchmark.h>

#include <array>
#include <cstring>
#include <string>

/// The cost of tracing that is not read: a message whose level is off, against an empty loop; a
/// record in the fast ring, against copying 64 bytes into a ring of the same size.
namespace {

Mox::TraceHandle const trace("Bench");

void traceOff(benchmark::State &state) {
    std::string policy = "market-data", match = "feed-a";
    for (auto _ : state) {
        benchmark::DoNotOptimize(policy);
        trace.at(2, "Bench::", "traceOff", ", policy: ", policy, ", match: ", match);
    }
}
BENCHMARK(traceOff)->Name("trace-off/Mox");

void emptyLoop(benchmark::State &state) {
    std::string policy = "market-data";
    for (auto _ : state) {
        benchmark::DoNotOptimize(policy);
    }
}
BENCHMARK(emptyLoop)->Name("trace-off/empty");

void skimtrace(benchmark::State &state) {
    std::string policy = "market-data", match = "feed-a", action = "customer-17";
    static constinit Skimtrace::Point entered(
        "Bench::skimtrace policy %s match %s action %s version %u");
    for (auto _ : state) {
        benchmark::DoNotOptimize(policy);
        benchmark::DoNotOptimize(match);
        benchmark::DoNotOptimize(action);
        entered.record({policy, match, action}, 7);
        benchmark::ClobberMemory();
    }
}
BENCHMARK(skimtrace)->Name("skimtrace/Skimtrace");

void memcpy64(benchmark::State &state) {
    using Record = std::array<char, 64>;
    static std::array<Record, Skimtrace::kCapacity> ring;
    Record source{};
    std::uint64_t recorded = 0;
    for (auto _ : state) {
        benchmark::DoNotOptimize(source);
        std::memcpy(&ring[recorded++ % ring.size()], &source, sizeof source);
        benchmark::ClobberMemory();
    }
}
BENCHMARK(memcpy64)->Name("skimtrace/memcpy");

} // namespace
