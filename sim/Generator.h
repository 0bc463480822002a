#pragma once

#include "sim/Grammar.h"
#include "sim/Plain.h"
#include "sim/Random.h"
#include "sim/Step.h"

#include <cstddef>
#include <cstdint>
#include <string>

namespace Sim {

/// Makes the scenario of a seed: a small switch, so that events keep hitting the same names, and an
/// endless stream of events as texts that umo-agent can play. Names are random; names to remove
/// come mostly from an existing action. An event that the agent's reader rejects is replaced by
/// another.
class Generator {
  public:
    /// With `faults`, the chip's capacity varies, and it refuses groups.
    Generator(std::uint64_t seed, bool faults) : random_(seed), faults_(faults) {}

    /// The initial state of the switch, as the keys of a scenario.
    std::string initial();

    /// The next event, one line, for the mounted state, which `now` gives as plain values. Some
    /// events only have all complete actions evaluated again.
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
    std::size_t burst_ = 0; // events left in it, all at one time
    std::size_t flaps_ = 0; // state changes left, at short intervals
    std::string flapping_;  // the text up to the port's state
};

} // namespace Sim
