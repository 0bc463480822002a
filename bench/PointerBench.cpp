#include "Mox/Ptr.h"
#include "Timing.h"

#include <benchmark/benchmark.h>
#include <boost/smart_ptr/intrusive_ptr.hpp>
#include <boost/smart_ptr/intrusive_ref_counter.hpp>

#include <vector>

/// Copying and releasing a counted pointer, against another intrusive one with a plain count.
namespace {

class Counted final : public Mox::PtrInterface {};

struct Peer : boost::intrusive_ref_counter<Peer, boost::thread_unsafe_counter> {
    virtual ~Peer() = default;
};

/// Copies pointers to several objects and releases the copies. With one object each step waits for
/// its count; with eight the processor works on several at once.
template <class Pointer>
void copyAndRelease(benchmark::State &state, Pointer (*make)()) {
    std::vector<Pointer> pointers;
    for (std::int64_t i = 0; i < state.range(0); ++i) {
        pointers.push_back(make());
    }
    for (auto _ : state) {
        for (Pointer const &pointer : pointers) {
            Pointer copy = pointer;
            benchmark::DoNotOptimize(copy);
        }
    }
    Bench::elementsAre(state, pointers.size());
}

void mox(benchmark::State &state) {
    copyAndRelease<Mox::Ptr<Counted>>(state, [] { return Mox::make<Counted>(); });
}
BENCHMARK(mox)->Name("pointer/Mox")->Arg(1)->Arg(8);

void boostIntrusive(benchmark::State &state) {
    copyAndRelease<boost::intrusive_ptr<Peer>>(state,
                                               [] { return boost::intrusive_ptr<Peer>(new Peer); });
}
BENCHMARK(boostIntrusive)->Name("pointer/boost")->Arg(1)->Arg(8);

} // namespace
