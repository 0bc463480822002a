#pragma once

#include "Nexo/EthAddr.h"
#include "Nexo/IpAddr.h"

namespace UmoAgent {

/// The MAC address to which an IPv4 multicast group is sent: its low 23 bits are the group's.
constexpr Nexo::EthAddr groupMac(Nexo::IpAddr group) {
    return Nexo::EthAddr(0x01005e000000U | (group.value() & 0x7fffffU));
}

} // namespace UmoAgent
