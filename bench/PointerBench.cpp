#include "Mox/Ptr.h"

#include <benchmark/benchmark.h>
#include <boost/smart_ptr/intrusive_ptr.hpp>
#include <boost/smart_ptr/intrusive_ref_counter.hpp>

#include <array>

/// Copying and releasing a counted pointer, against another intrusive one with a plain count.
namespace {

class Counted final : public Mox::PtrInterface {};

struct Peer : boost::intrusive_ref_counter<Peer, boost::thread_unsafe_counter> {
    virtual ~Peer() = default;
};

/// Copies eight pointers and releases the copies, so that one object's count is not waited for.
template <class Pointer>
void copyAndRelease(benchmark::State &state, Pointer (*make)()) {
    std::array<Pointer, 8> pointers;
    for (Pointer &pointer : pointers) {
        pointer = make();
    }
    for (auto _ : state) {
        for (Pointer const &pointer : pointers) {
            Pointer copy = pointer;
            benchmark::DoNotOptimize(copy);
        }
    }
    state.counters["elements"] = static_cast<double>(pointers.size());
}

void mox(benchmark::State &state) {
    copyAndRelease<Mox::Ptr<Counted>>(state, [] { return Mox::make<Counted>(); });
}
BENCHMARK(mox)->Name("pointer/Mox");

void boostIntrusive(benchmark::State &state) {
    copyAndRelease<boost::intrusive_ptr<Peer>>(state,
                                               [] { return boost::intrusive_ptr<Peer>(new Peer); });
}
BENCHMARK(boostIntrusive)->Name("pointer/boost");

} // namespace
