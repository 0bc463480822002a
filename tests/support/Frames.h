#pragma once

#include "Nexo/IntfId.h"
#include "Nexo/IpAndPort.h"

#include <tins/icmp.h>
#include <tins/ip.h>
#include <tins/rawpdu.h>
#include <tins/tcp.h>
#include <tins/udp.h>

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

/// Packets and frames byte by byte, and flows that select them, for whatever forwards them.
namespace TestSupport {

using Bytes = std::vector<std::uint8_t>;
using Tins::TCP;
using Tins::UDP;

// Flows, as the matches of a policy. Their interfaces are Et4, Et5, Vlan10 and Vlan20.

/// They differ by destination. Most packets go to 239.1.1.2.
extern std::string const flows;
/// Several select a packet. Match 7 of them writes 10.9.9.7 into the source of its copies.
extern std::string const orderedFlows;
struct OrderedPacket {
    int match; // that has it
    std::string from, to;
};
extern std::vector<OrderedPacket> const orderedPackets;
constexpr char kHostA[] = "02:00:00:00:0a:01"; // the next hop in VLAN 10
constexpr char kHostB[] = "02:00:00:00:14:01"; // in VLAN 20

// Packets. Fields that copies keep are not 0.

extern Tins::RawPDU const payload;
constexpr char kTo[] = "239.1.1.2:2", kFrom[] = "10.1.7.8:1";

Tins::IP ip(std::string const &to, std::string const &from, int ttl = 64);

template <class Transport = UDP>
Tins::IP packet(std::string const &to = kTo, std::string const &from = kFrom, int ttl = 64,
                Tins::RawPDU const &data = payload) {
    auto const end = Nexo::IpAndPort::parse(to), start = Nexo::IpAndPort::parse(from);
    return ip(end.addr().stringValue(), start.addr().stringValue(), ttl) /
           Transport(end.port(), start.port()) / data;
}
/// Bytes `from` to `to` of what the packet carries, as a fragment of it.
Tins::IP fragment(Tins::IP whole, std::size_t from, std::size_t to, bool dontFragment = false);

// Frames.

struct Tag {
    std::uint16_t vlan;
    std::uint8_t priority = 0, dropEligible = 0;
};

Bytes framed(Tins::PDU const &packet, std::optional<Tag> tag = {},
             std::string const &to = "02:00:00:00:00:01",
             std::string const &from = "02:00:00:00:00:99");

constexpr std::size_t kIp = 14; // where the packet starts in an untagged frame
constexpr std::size_t kUdpChecksum = kIp + 26, kTcpChecksum = kIp + 36;

unsigned word(Bytes const &frame, std::size_t at);
Bytes with(Bytes frame, std::size_t at, unsigned value);
/// In ones' complement.
Bytes adding(unsigned value, Bytes const &frame, std::size_t at);
/// With another word in the IPv4 header, whose checksum stays right.
Bytes withHeader(std::size_t at, unsigned value, Bytes const &frame);

/// In hexadecimal digits.
std::string lineOf(Nexo::IntfId intf, std::span<std::uint8_t const> frame);

} // namespace TestSupport
