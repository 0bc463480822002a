#include "BenchSwitch.h"
#include "ForgetfulChip.h"
#include "HeapCount.h"
#include "StrictChip.h"
#include "Timing.h"

#include <benchmark/benchmark.h>

#include <cstdlib>
#include <iostream>
#include <jemalloc/jemalloc.h>
#include <limits>
#include <map>
#include <memory>
#include <string>

/// Bringing up and removing N actions: on the strict software chip, against making the same calls
/// of that chip alone; and on a chip of no cost, for the library's own part.
namespace {

Mox::Ptr<Bench::ForgetfulChip> forgetfulChip() {
    return Mox::make<Bench::ForgetfulChip>();
}

/// The inputs are made once for each size.
Bench::BenchSwitch &inputs(benchmark::State const &state) {
    // Never destroyed: at process exit the scheduler is destroyed first.
    static auto &made = *new std::map<std::int64_t, std::unique_ptr<Bench::BenchSwitch>>;
    auto &found = made[state.range(0)];
    if (!found) {
        found = std::make_unique<Bench::BenchSwitch>(static_cast<std::size_t>(state.range(0)));
    }
    return *found;
}

/// A switch starts in a new process, so each run gets a heap whose free pages were returned to the
/// system.
void freshHeap() {
    std::string const everyArena = "arena." + std::to_string(MALLCTL_ARENAS_ALL) + ".purge";
    if (mallctl(everyArena.c_str(), nullptr, nullptr, nullptr, 0) != 0) {
        std::abort();
    }
}

std::size_t actionsOf(Bench::BenchSwitch const &sw) {
    return sw.actionCount() + Bench::BenchSwitch::kFlapActions;
}

template <class MakeChip>
void bringUp(benchmark::State &state, MakeChip const &makeChip) {
    Bench::BenchSwitch &sw = inputs(state);
    std::size_t allocations = 0;
    for (auto _ : state) {
        freshHeap();
        auto const chip = makeChip();
        std::size_t const before = Bench::allocations();
        Bench::timed(state, [&] { sw.start(chip); });
        allocations = Bench::allocations() - before;
        sw.stop();
    }
    Bench::elementsAre(state, actionsOf(sw));
    state.counters["allocations"] =
        static_cast<double>(allocations) / static_cast<double>(actionsOf(sw));
}

template <class MakeChip>
void tearDown(benchmark::State &state, MakeChip const &makeChip) {
    Bench::BenchSwitch &sw = inputs(state);
    for (auto _ : state) {
        freshHeap();
        sw.start(makeChip());
        Bench::timed(state, [&] { sw.stop(); });
    }
    Bench::elementsAre(state, actionsOf(sw));
}

void replay(benchmark::State &state) {
    Bench::BenchSwitch &sw = inputs(state);
    std::vector<UmoHelper::Call> calls;
    auto const recorder = Bench::strictChip();
    recorder->logIs(
        [&](UmoHelper::CheckedHelper::Logged const &logged) { calls.push_back(logged.call); });
    sw.start(recorder);
    recorder->logIs(nullptr);
    sw.stop();
    for (auto _ : state) {
        freshHeap();
        auto const chip = Bench::strictChip();
        Bench::timed(state, [&] {
            for (auto const &call : calls) {
                call.on(*chip);
            }
        });
    }
    Bench::elementsAre(state, actionsOf(sw));
    state.counters["calls"] = static_cast<double>(calls.size());
}

/// In a match of that many actions whose flow names no destination: for each of its actions.
Bench::BenchSwitch &oneMatch(benchmark::State const &state) {
    static auto &made = *new std::map<std::int64_t, std::unique_ptr<Bench::BenchSwitch>>;
    auto &found = made[state.range(0)];
    if (!found) {
        found = std::make_unique<Bench::BenchSwitch>(static_cast<std::size_t>(state.range(0)),
                                                     Bench::BenchSwitch::Kind::oneMatch);
    }
    return *found;
}

void bringUpOneMatch(benchmark::State &state) {
    Bench::BenchSwitch &sw = oneMatch(state);
    for (auto _ : state) {
        freshHeap();
        auto const chip = forgetfulChip();
        Bench::timed(state, [&] { sw.start(chip); });
        sw.stop();
    }
    Bench::elementsAre(state, sw.actionCount());
}

void changeVersions(benchmark::State &state) {
    Bench::BenchSwitch &sw = oneMatch(state);
    auto const actions = sw.actionsOfMatch(0);
    sw.start(forgetfulChip());
    for (auto _ : state) {
        Bench::timed(state, [&] {
            for (auto const &action : actions) {
                action->versionIs(action->version() + 1);
            }
        });
    }
    sw.stop();
    Bench::elementsAre(state, sw.actionCount());
}

void sizes(benchmark::internal::Benchmark *bench) {
    bench->RangeMultiplier(10)->Range(1000, 100000)->UseManualTime();
}
BENCHMARK_CAPTURE(bringUp, strict, &Bench::strictChip)->Name("bring-up/strict")->Apply(sizes);
BENCHMARK_CAPTURE(bringUp, own, &forgetfulChip)->Name("bring-up/own")->Apply(sizes);
BENCHMARK(bringUpOneMatch)->Name("bring-up/one-match")->Apply(sizes);
BENCHMARK(changeVersions)->Name("versions/one-match")->Apply(sizes);
BENCHMARK(replay)->Name("bring-up/replay")->Apply(sizes);
BENCHMARK_CAPTURE(tearDown, strict, &Bench::strictChip)->Name("teardown/strict")->Apply(sizes);
BENCHMARK_CAPTURE(tearDown, own, &forgetfulChip)->Name("teardown/own")->Apply(sizes);

} // namespace
