#pragma once

#include "agent/scenario/Scenario.h"
#include "agent/switch/SwitchState.h"

#include <stdexcept>
#include <string>

namespace Sim {

/// A text that the agent's reader rejects.
class Rejected : public std::runtime_error {
    using std::runtime_error::runtime_error;
};

/// A step of a simulation: the text of an event, and the event that the agent's reader makes of it.
struct Step {
    std::string text;
    UmoAgent::Event event;
};

/// Reads an event to be carried out on the mounted state. Throws Rejected.
Step readStep(std::string const &text, UmoAgent::SwitchState const &mounted);

/// Reads an initial state. Throws Rejected.
UmoAgent::Changes readInitial(std::string const &text);

} // namespace Sim
