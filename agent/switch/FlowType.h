#pragma once

#include "Ip/NatFlow.h"
#include "Ip/NatFlowType.h"
#include "Nexo/IpAndPort.h"

namespace UmoAgent {

/// The type of flow that an action makes of its match's flow: by its own destination, or else by
/// the flow's.
[[nodiscard]] inline Ip::Nat::NatFlowType flowTypeOf(Ip::Nat::NatFlow const &flow,
                                                     Nexo::IpAndPort const &destination = {}) {
    Nexo::IpAddr const own = destination.addr();
    Nexo::IpAddr const address = own.isZero() ? flow.destination.addr : own;
    if (address.isZero()) {
        return Ip::Nat::natFlowTypeNone;
    }
    return address.isMulticast() ? Ip::Nat::natFlowTypeMulticast : Ip::Nat::natFlowTypeUnicast;
}

} // namespace UmoAgent
