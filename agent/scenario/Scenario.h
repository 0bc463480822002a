#pragma once

#include "Vyr/Clock.h"
#include "agent/switch/Changes.h"

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace UmoAgent {

/// What an event can have printed.
enum class Printout : std::uint8_t {
    tree,   // the hardware status tree
    chip,   // the contents of the switch chip
    groups, // matches with the groups they want and hold
    table,  // what the switch answers to showNatFlowActionHw
};

struct Event {
    Vyr::Time at{};                 // since the beginning of the scenario
    std::uint32_t refuseGroups = 0; // how many creations of groups the chip refuses from now on
    Changes changes;
    std::string note;
    std::vector<Printout> print;
};

struct Scenario {
    Changes initial;
    std::vector<Event> events;    // in the order of time
    std::optional<Vyr::Time> end; // not before the last event
};

} // namespace UmoAgent
