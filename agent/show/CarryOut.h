#pragma once

#include "agent/scenario/Scenario.h"
#include "agent/switch/ForwardingAgent.h"

#include <iosfwd>

namespace UmoAgent {

/// Carries out an event on the agent: makes its changes, which must be valid, and prints its
/// heading and printouts to `out`. The caller does the timing.
void carryOut(ForwardingAgent &agent, Event const &event, std::ostream &out);

} // namespace UmoAgent
