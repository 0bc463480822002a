#pragma once

#include "Nexo/IntfId.h"

#include <cstdint>
#include <vector>

/// Why an action sends no copies to an interface: the first check that fails, in the order in which
/// they are made. The yes or no by which port sets are built is taken from it.
enum class UmoNatFlowHindrance : std::uint8_t {
    none,
    // of the VLAN
    noVlan,        // the name of the VLAN interface has no usable VLAN number
    noVlanStatus,  // the switch does not have the VLAN
    noTopology,    // no topology has the VLAN
    noL3Interface, // the L3 table has no interface for the VLAN
    noIpStatus,    // its interface has no IP state
    notRouting,    // its interface does not route
    noAddress,     // its interface has no address
    // of the port
    noSwitchport,  // it has no switchport settings
    noNativeVlan,  // its native VLAN is unusable
    routed,        // it is routed, so it is not a member of a VLAN
    otherVlan,     // it carries its native VLAN only, which is another
    notAMember,    // it is not a member of the VLAN
    notInTopology, // the VLAN's topology does not have it
    notForwarding, // its state in the topology is another
    // of the copies
    hostElsewhere,   // the next hop was learned behind another port
    otherMac,        // the VLAN's unicast copies go to the MAC of an earlier next hop
    nothingUnicast,  // nothing was added for unicast copies, so multicast was not tried
    notForMulticast, // multicast copies are not recirculated
};

/// What the computation of an action's port sets found for one interface.
struct UmoNatFlowVerdict {
    Nexo::IntfId egress{}; // as the action names it; empty: recirculation
    Nexo::IntfId port{};   // behind the VLAN interface `egress`, or `egress`; empty: the whole VLAN
    std::uint16_t vlan = 0; // of the port set; 0 if there is none
    bool unicast = false;   // whether it is about unicast copies
    UmoNatFlowHindrance hindrance = UmoNatFlowHindrance::none; // none: the port set has the port
};

/// In the order in which they were found.
using UmoNatFlowVerdicts = std::vector<UmoNatFlowVerdict>;
