#include "Pelo/Publisher.h"

#include <benchmark/benchmark.h>
#include <boost/signals2/signal.hpp>

#include <cstdint>
#include <memory>
#include <vector>

/// Publishing one change to all subscribers, against a signal library and against calling function
/// pointers from a vector. Each subscriber counts the changes it receives.
namespace {

constexpr Pelo::ScalarAttribute<Pelo::attributeId("level")> kAttribute;

void hear(void *heard, Pelo::Change const &change) {
    *static_cast<std::uint64_t *>(heard) += change.attribute() == kAttribute.id ? 1 : 0;
}

std::size_t subscriberCount(benchmark::State const &state) {
    return static_cast<std::size_t>(state.range(0));
}

void pelo(benchmark::State &state) {
    std::vector<std::uint64_t> heard(subscriberCount(state));
    Pelo::Publisher publisher;
    std::vector<std::unique_ptr<Pelo::Subscriber>> subscribers;
    for (std::uint64_t &counter : heard) {
        subscribers.push_back(std::make_unique<Pelo::Subscriber>(&hear, &counter));
        publisher.subscriberAdd(*subscribers.back());
    }
    for (auto _ : state) {
        publisher.publishChange(Pelo::Change(kAttribute));
        benchmark::ClobberMemory();
    }
}
BENCHMARK(pelo)->Name("publish/Pelo")->Arg(1)->Arg(4)->Arg(64);

void signals(benchmark::State &state) {
    std::vector<std::uint64_t> heard(subscriberCount(state));
    boost::signals2::signal<void(Pelo::Change const &)> signal;
    for (std::uint64_t &counter : heard) {
        signal.connect([&counter](Pelo::Change const &change) { hear(&counter, change); });
    }
    for (auto _ : state) {
        signal(Pelo::Change(kAttribute));
        benchmark::ClobberMemory();
    }
}
BENCHMARK(signals)->Name("publish/signals2")->Arg(1)->Arg(4)->Arg(64);

void functionPointers(benchmark::State &state) {
    std::vector<std::uint64_t> heard(subscriberCount(state));
    struct Call {
        void (*function)(void *, Pelo::Change const &);
        void *context;
    };
    std::vector<Call> calls;
    for (std::uint64_t &counter : heard) {
        calls.push_back({&hear, &counter});
    }
    for (auto _ : state) {
        Pelo::Change const change(kAttribute);
        benchmark::DoNotOptimize(calls.data());
        for (Call const &call : calls) {
            call.function(call.context, change);
        }
        benchmark::ClobberMemory();
    }
}
BENCHMARK(functionPointers)->Name("publish/vector")->Arg(1)->Arg(4)->Arg(64);

} // namespace
