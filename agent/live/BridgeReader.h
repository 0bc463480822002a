#pragma once

#include "agent/live/BridgeState.h"
#include "agent/live/OvsRows.h"

#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace UmoAgent {

/// What a bridge in the database is for the agent.
struct BridgeReading {
    Ovs::Uuid bridge; // differs after the bridge was deleted and added again
    BridgeState state;
    /// ovs-vswitchd has not said of every port it has whether its link is up. It says so of all at
    /// once, some time after a restart of either process. Those ports count as disabled.
    bool linksUnknown = false;
    std::vector<std::string> leftOut; // what cannot be rendered, one line each
};

/// Addresses by the name of the kernel's interface.
using KernelAddresses = std::map<std::string, Nexo::IpAddrWithMask>;

/// Reads all of the bridge except the learned MAC addresses; none if there is no such bridge.
/// VLAN 0 of Open vSwitch, which is untagged, is VLAN 1 for the agent.
std::optional<BridgeReading> readBridge(Ovs::Rows const &rows, std::string_view name,
                                        KernelAddresses const &addresses);

/// Reads the MAC addresses that were learned on `ports` from the text of `fdb/show`.
LearnedMacs readLearnedMacs(std::string_view fdb, std::map<Nexo::IntfId, LivePort> const &ports);

} // namespace UmoAgent
