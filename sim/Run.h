#pragma once

#include "sim/Plain.h"
#include "sim/Step.h"

#include <cstdint>
#include <functional>
#include <optional>
#include <string>

namespace Sim {

struct Figures {
    std::uint64_t calls = 0;                  // of the chip
    std::uint64_t hash = 0xcbf29ce484222325U; // of them with all texts and final states: FNV-1a
};

/// The next step, on what is mounted, which `now` tells in plain values; none at the end.
using NextStep = std::function<std::optional<Step>(UmoAgent::SwitchState const &mounted,
                                                   PlainSwitch const &now)>;

/// Leads an agent in virtual time through a scenario, and looks at it after every step. At the end
/// all policies are removed first, or everything at once. Throws Broken for an invariant that does
/// not hold, and Rejected for an initial state that is none.
Figures run(std::string const &initial, NextStep const &next);

} // namespace Sim
