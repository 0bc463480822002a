#pragma once

#include "Ip/NatFlowType.h"
#include "agent/scenario/ScenarioErrors.h"
#include "agent/switch/ScenarioModel.h"

#include <cstddef>

namespace UmoAgent {

/// The kind of flow that an action of a match produces.
[[nodiscard]] Ip::Nat::NatFlowType flowTypeOf(MatchState const &match, ActionState const &action);

/// Adds an error for each next hop that lacks its MAC address although the flow is not multicast,
/// or was not always since the action was made, and thus needs one. Notes for later events which
/// actions need them now. Of `state` as it is after `event`, at the place in this event that made
/// it so; what an earlier event did was reported then.
void checkNextHops(SwitchModel &state, std::size_t event, ScenarioErrors &errors);

} // namespace UmoAgent
