#pragma once

#include "sim/Grammar.h"
#include "sim/Plain.h"
#include "sim/Random.h"
#include "sim/Step.h"

#include <cstddef>
#include <cstdint>
#include <string>

namespace Sim {

/// Makes the scenario of a seed: a small switch, so that names meet again all the time, and an
/// endless stream of events to it, as texts that umo-agent plays. Names are chosen by chance, those
/// of what may be removed mostly from an action that is there; what the agent's reader does not
/// accept gives way to another event.
class Generator {
  public:
    /// With `faults`, the chip's capacity comes and goes, and it refuses groups.
    Generator(std::uint64_t seed, bool faults) : random_(seed), faults_(faults) {}

    /// The state of the switch at the beginning, as the keys of a scenario.
    std::string initial();

    /// The next event, one line, on what is mounted, which `now` tells in plain values. Every now
    /// and then one that only has all complete actions evaluated anew.
    Step step(UmoAgent::SwitchState const &mounted, PlainSwitch const &now);

  private:
    std::string time();
    Step change(std::string const &begin, UmoAgent::SwitchState const &mounted,
                PlainSwitch const &now);
    void namesAnew(PlainSwitch const &now);

    Random random_;
    Grammar grammar_{random_};
    bool faults_;
    std::uint64_t now_ = 0; // in milliseconds
    std::size_t events_ = 0;
    std::size_t burst_ = 0; // events left of it, all at one time
    std::size_t flaps_ = 0; // of one port, at short intervals
    std::string flapping_;  // that port, as far as its state
};

} // namespace Sim
