#pragma once

#include "Vyr/Clock.h"
#include "agent/switch/Changes.h"

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace UmoAgent {

/// What an event can print, and in which form.
struct Printout {
    enum class What : std::uint8_t {
        tree,    // the hardware status tree
        chip,    // the contents of the switch chip
        groups,  // matches with the groups they want and hold
        table,   // the answer to showNatFlowActionHw
        packets, // the copies that were sent
    };
    What what = What::tree;
    bool json = false;
};

struct Event {
    Vyr::Time at{};                 // since the start of the scenario
    std::uint32_t refuseGroups = 0; // how many of the next group creations the chip refuses
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
