#pragma once

#include <cstddef>
#include <cstdint>

namespace Sim {

/// A stream of random numbers determined by a seed, the same with every compiler and library. Gives
/// only small integers, evenly enough for a simulation.
class Random {
  public:
    explicit Random(std::uint64_t seed) : state_(seed) {}

    /// From 0 to `bound` - 1; `bound` is not 0.
    std::size_t below(std::size_t bound) { return (next() >> 32) * bound >> 32; }

    bool chance(unsigned percent) { return below(100) < percent; }

    template <class Values>
    auto pick(Values const &values) {
        return *(values.begin() + static_cast<std::ptrdiff_t>(below(values.size())));
    }

  private:
    /// SplitMix64: a counter, and a mixer of its bits.
    std::uint64_t next() {
        std::uint64_t mixed = state_ += 0x9e3779b97f4a7c15U;
        mixed = (mixed ^ mixed >> 30) * 0xbf58476d1ce4e5b9U;
        mixed = (mixed ^ mixed >> 27) * 0x94d049bb133111ebU;
        return mixed ^ mixed >> 31;
    }

    std::uint64_t state_;
};

} // namespace Sim
