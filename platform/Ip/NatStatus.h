#pragma once

#include "Base/Export.h"
#include "Ip/NatFlow.h"
#include "Mox/Attributes.h"
#include "Nexo/EthAddr.h"
#include "Nexo/IntfId.h"
#include "Nexo/IpAndPort.h"
#include "Pelo/String.h"

#include <cstdint>

/// The resolved NAT configuration: policies, their matches, and each match's actions. The agent's
/// NAT resolution writes it; the library only reads it.
namespace Ip::Nat {

/// The next hop of the copies that leave by one egress interface.
struct NatFlowNextHop {
    std::uint16_t vlan = 0; // on a physical or aggregate interface; 0: the interface's own
    Nexo::EthAddr mac{};    // never zero for a unicast next hop on a physical interface

    bool operator==(NatFlowNextHop const &) const = default;
};

class PLATFORM_API NatFlowActionStatus final : public Mox::Entity {
    MOX_KEY(NatFlowActionStatus, Pelo::String, name)
    MOX_ATTRIBUTE(Nexo::IpAndPort, src)   // translated source; address 0: none
    MOX_ATTRIBUTE(Nexo::IpAndPort, dst)   // translated destination; address 0: none
    MOX_ATTRIBUTE(std::uint32_t, version) // 0 while incomplete; changes after everything else
    MOX_VALUES(Nexo::IntfId, NatFlowNextHop, intf) // egress; empty: recirculation
};

class PLATFORM_API NatFlowMatchStatus final : public Mox::Entity {
    MOX_KEY(NatFlowMatchStatus, Pelo::String, name)
    MOX_ATTRIBUTE(NatFlow, flow)
    MOX_CHILDREN(Pelo::String, NatFlowActionStatus, action)
};

class PLATFORM_API NatFlowPolicyStatus final : public Mox::Entity {
    MOX_KEY(NatFlowPolicyStatus, Pelo::String, name)
    MOX_CHILDREN(Pelo::String, NatFlowMatchStatus, match)
};

class PLATFORM_API Status final : public Mox::Entity {
    MOX_CHILDREN(Pelo::String, NatFlowPolicyStatus, natFlow)
};

} // namespace Ip::Nat
