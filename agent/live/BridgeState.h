#pragma once

#include "Bridging/Config.h"
#include "Bridging/Topology.h"
#include "Bridging/VlanId.h"
#include "Nexo/EthAddr.h"
#include "Nexo/IntfId.h"
#include "Nexo/IpAddrWithMask.h"
#include "agent/switch/Changes.h"

#include <cstdint>
#include <map>
#include <set>

namespace UmoAgent {

/// A port of a real switch's bridge.
struct LivePort {
    Bridging::SwitchportModeAndNativeVlan settings;
    std::set<Bridging::VlanId> vlans; // that it carries
    /// Forwarding only if the link is up and the spanning tree, if one runs, forwards.
    Bridging::Topology::PortState state = Bridging::Topology::PortState::disabled;
    std::uint32_t number = 0; // its OpenFlow port; 0: none at present

    bool operator==(LivePort const &) const = default;
};

/// MAC addresses by VLAN, and the port on which each was learned. A VLAN without any is not in it.
using LearnedMacs = std::map<Bridging::VlanId, std::map<Nexo::EthAddr, Nexo::IntfId>>;

/// What the NAT library follows of a real switch's bridge. Its VLANs are those of ports and VLAN
/// interfaces.
struct BridgeState {
    Nexo::EthAddr mac{};
    bool inKernel = true; // copies are made by the kernel, not by ovs-vswitchd; in no table
    std::map<Nexo::IntfId, LivePort> ports;
    std::set<Bridging::VlanId> vlanInterfaces;
    std::map<Nexo::IntfId, Nexo::IpAddrWithMask> addresses; // of VLAN interfaces
    LearnedMacs learnedMacs;

    bool operator==(BridgeState const &) const = default;
};

/// The changes that make a switch of state `from` one of state `to`: valid if the mounted switch
/// is `from`, where the default is a switch without rows. OpenFlow port numbers are in no table.
Changes difference(BridgeState const &from, BridgeState const &to);

} // namespace UmoAgent
