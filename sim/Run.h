#pragma once

#include "sim/Plain.h"
#include "sim/Step.h"

#include <cstdint>
#include <functional>
#include <optional>
#include <string>

namespace Sim {

struct Figures {
    std::uint64_t calls = 0;                  // calls of the chip
    std::uint64_t packets = 0;                // with copies that were compared
    std::uint64_t hash = 0xcbf29ce484222325U; // FNV-1a of all texts, calls, copies and final states
};

/// The next step for the mounted state, which `now` gives as plain values; none at the end.
using NextStep = std::function<std::optional<Step>(UmoAgent::SwitchState const &mounted,
                                                   PlainSwitch const &now)>;

/// Runs an agent through a scenario in virtual time. After every step it checks the agent and sends
/// a packet. At the end either all policies are removed first, or everything at once. Throws Broken
/// for a broken invariant, and Rejected for an invalid initial state.
Figures run(std::string const &initial, NextStep const &next);

} // namespace Sim
