#pragma once

#include "Ip/NatStatus.h"
#include "agent/switch/ScenarioModel.h"

/// The steps of SwitchState::become that concern the NAT configuration. `before` is what `status`
/// says, `after` what it is to say. A policy, match or action stays if the one of its name was
/// born in the same event.
namespace UmoAgent {

/// Makes actions that stay, but whose fields will change, incomplete.
void suspendChangedActions(Ip::Nat::Status &status, Named<PolicyState> const &before,
                           Named<PolicyState> const &after);

/// Removes what does not stay, from the egress interfaces up.
void removeNatConfig(Ip::Nat::Status &status, Named<PolicyState> const &before,
                     Named<PolicyState> const &after);

/// Adds what is new and sets all fields but the versions of actions.
void setNatConfig(Ip::Nat::Status &status, Named<PolicyState> const &policies);

/// Sets the versions; all else must have been set.
void setActionVersions(Ip::Nat::Status &status, Named<PolicyState> const &policies);

} // namespace UmoAgent
