#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string_view>

namespace UmoAgent {

/// Why the chip forwards no copy of a packet, or leaves out one of its copies.
enum class DropReason : std::uint8_t {
    noInterface, // of ingress or egress: the switch has no such interface
    wrongVlan,   // the ingress interface does not carry the frame's VLAN
    truncated,   // the frame ends before its packet does
    notIp,       // neither IPv4 nor IPv6, or below more than one VLAN tag
    ipv6,
    badHeader,         // malformed IPv4 header, or its checksum is wrong
    noMatch,           // no flow selects the packet
    noGroup,           // the match has no group for the packet
    noPortSet,         // the group has no port set
    expired,           // TTL 1 or 0
    fragment,          // its flow or a translation needs ports that fragments do not have
    recirculatedTwice, // a recirculated copy would recirculate again
};
inline constexpr std::size_t kDropReasons = 12;

/// In the order of their values.
inline constexpr auto kAllDropReasons = [] {
    std::array<DropReason, kDropReasons> reasons{};
    for (std::size_t i = 0; i < reasons.size(); ++i) {
        reasons.at(i) = static_cast<DropReason>(i);
    }
    return reasons;
}();

/// For people, such as "no match".
constexpr std::string_view textOf(DropReason reason) {
    constexpr std::array<std::string_view, kDropReasons> kTexts{
        "interface not in the scenario",
        "VLAN not carried by the interface",
        "truncated frame",
        "not IP",
        "IPv6",
        "bad IPv4 header or checksum",
        "no match",
        "match without groups",
        "group without copies",
        "TTL 1 or 0",
        "fragment without the ports it needs",
        "recirculated twice",
    };
    return kTexts.at(static_cast<std::size_t>(reason));
}

} // namespace UmoAgent
