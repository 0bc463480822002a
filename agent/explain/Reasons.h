#pragma once

#include "UmoNat/UmoNatFlowHindrance.h"
#include "agent/switch/ForwardingAgent.h"

#include <string>

namespace UmoAgent {

/// Why an action sends no copies to an interface, and what would change that, for a network
/// engineer. Both are printable, and empty without a hindrance.
struct Reason {
    std::string text;   // `Ethernet4: native VLAN 30 is not 20`
    std::string remedy; // `give it that native VLAN, or make it a trunk`
};

/// `action` has the egress interface of the verdict, and `computed` are the port sets that the
/// verdict belongs to.
Reason reasonOf(UmoNatFlowVerdict const &verdict, Ip::Nat::NatFlowActionStatus const &action,
                Ip::Nat::NatFlowVlanPortSets const &computed, SwitchState const &state);

} // namespace UmoAgent
