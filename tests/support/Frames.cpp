#include "tests/support/Frames.h"

#include <tins/dot1q.h>
#include <tins/ethernetII.h>

#include <algorithm>
#include <iomanip>
#include <regex>
#include <sstream>

namespace TestSupport {

std::string const flows = R"(
  one: {flow: {destination: 239.1.1.2},
    actions: {a: {source: 10.9.9.9, destination: "239.2.2.2:8", egress: [Et5]}}},
  all: {flow: {source: 10.1.0.0/16, source-port: 1, destination: 239.1.1.1}, actions: {a: {
    source: "10.9.9.9:7", destination: "239.130.2.3:8", egress: [Vlan20, Vlan10, Et5]}}},
  vlan: {flow: {destination: 239.1.1.8}, actions: {a: {source: 10.9.9.9, egress: [Vlan20]}}},
  port: {flow: {destination: 239.1.1.9, destination-port: 2}, actions: {a: {egress: [Et5]}}},
  mixed: {flow: {destination: 239.1.1.5}, actions: {a: {egress: [Vlan10]},
    b: {destination: 10.0.2.7, egress: {Vlan20: {mac: "02:00:00:00:14:01"}}}}},
  unicast: {flow: {destination: 10.5.0.0/16}, actions: {
    a: {egress: {Vlan10: {mac: "02:00:00:00:0a:01"}, Et5: {mac: "02:00:00:00:00:55"}}},
    b: {destination: "10.8.8.8:9", egress: {Vlan20: {mac: "02:00:00:00:14:01"}}}}},
  any: {flow: {source: 10.2.0.0/16}, actions: {b: {destination: 239.2.2.3, egress: [Et5]},
    a: {source: 10.9.9.9, egress: {Vlan10: {mac: "02:00:00:00:0a:01"}}}}},
  again: {flow: {destination: 239.1.1.6},
    actions: {a: {source: 10.9.9.9, destination: "10.7.7.7:7"}}},
  hit: {flow: {destination: 10.7.7.7, destination-port: 7},
    actions: {a: {destination: 239.8.8.8, egress: {Et4: {vlan: 20}}}}},
  group: {flow: {destination: 239.1.1.4}, actions: {a: {source: 10.9.9.9}}},
  miss: {flow: {destination: 239.1.1.7}, actions: {a: {destination: 10.7.7.7}}},
  twice: {flow: {destination: 10.1.1.3}, actions: {a: {destination: 10.1.1.4}}},
  then: {flow: {destination: 10.1.1.4}, actions: {a: {destination: "10.7.7.7:7"}}}
)";

std::string const orderedFlows =
    std::regex_replace(R"(
8: {destination: 239.1.1.1, source: 10.1.1.0/24, destination-port: 2}
1: {destination: 239.1.0.0/16, source: 10.1.1.1, source-port: 1, destination-port: 2}
2: {destination: 239.1.1.0/24}
3: {destination: 239.1.1.1, source-port: 5, destination-port: 2}
4: {destination: 239.1.1.1, source: 10.1.0.0/16}
5: {destination: 239.1.1.1, source: 10.1.1.0/24, destination-port: 2}
6: {destination: 239.1.1.1, source: 10.1.1.0/24, source-port: 1, destination-port: 2}
7: {destination: 239.1.1.1, source: 10.1.1.0/24, source-port: 3}
9: {source: 10.2.0.0/15, destination-port: 9})",
                       std::regex("(.): (.*)"),
                       "$1: {flow: $2, actions: {a: {source: 10.9.9.$1, egress: {Et5: {mac: "
                       "'02:00:00:00:00:55'}}}}},");
std::vector<OrderedPacket> const orderedPackets{
    {1, "10.1.1.1:1", "239.1.7.7:2"}, {2, "10.1.1.1:1", "239.1.1.7:2"},
    {2, "10.3.1.1:9", "239.1.1.1:9"}, {3, "10.3.1.1:5", "239.1.1.1:2"},
    {4, "10.1.7.1:5", "239.1.1.1:2"}, {4, "10.1.1.1:9", "239.1.1.1:9"},
    {5, "10.1.1.1:3", "239.1.1.1:2"}, {6, "10.1.1.1:1", "239.1.1.1:2"},
    {7, "10.1.1.1:3", "239.1.1.1:9"}, {9, "10.3.1.1:7", "239.5.5.5:9"}};

Tins::RawPDU const payload("a payload of an odd number of bytes, 51 of them ...");

Tins::IP ip(std::string const &to, std::string const &from, int ttl) {
    Tins::IP packet(to, from);
    packet.tos(0xb9); // DSCP and ECN
    packet.id(0x1234);
    packet.flags(Tins::IP::DONT_FRAGMENT);
    packet.ttl(static_cast<std::uint8_t>(ttl));
    return packet;
}

Tins::IP fragment(Tins::IP whole, std::size_t from, std::size_t to, bool dontFragment) {
    Bytes const bytes = whole.serialize();
    auto const at = [&](std::size_t i) { return bytes.data() + std::min(bytes.size(), 20 + i); };
    int const flags = (dontFragment ? 2 : 0) | (20 + to < bytes.size() ? 1 : 0);
    Tins::IP part = ip(whole.dst_addr().to_string(), whole.src_addr().to_string(), whole.ttl());
    part.protocol(bytes[9]);
    part.fragment_offset(static_cast<std::uint16_t>(from / 8));
    part.flags(static_cast<Tins::IP::Flags>(flags));
    return part / Tins::RawPDU(at(from), at(to));
}

Bytes framed(Tins::PDU const &packet, std::optional<Tag> tag, std::string const &to,
             std::string const &from) {
    Tins::EthernetII frame(to, from);
    if (tag) {
        Tins::Dot1Q header(tag->vlan);
        header.priority(tag->priority);
        header.cfi(tag->dropEligible);
        frame /= header;
    }
    return (frame / packet).serialize();
}

unsigned word(Bytes const &frame, std::size_t at) {
    return static_cast<unsigned>(frame.at(at) << 8 | frame.at(at + 1));
}
Bytes with(Bytes frame, std::size_t at, unsigned value) {
    frame.at(at) = static_cast<std::uint8_t>(value >> 8);
    frame.at(at + 1) = static_cast<std::uint8_t>(value);
    return frame;
}
Bytes adding(unsigned value, Bytes const &frame, std::size_t at) {
    return with(frame, at, (word(frame, at) + value) % 0xffff);
}
Bytes withHeader(std::size_t at, unsigned value, Bytes const &frame) {
    return adding(word(frame, kIp + at) + 0xffff - value, with(frame, kIp + at, value), kIp + 10);
}

std::string lineOf(Nexo::IntfId intf, std::span<std::uint8_t const> frame) {
    std::ostringstream out;
    out << intf << ": " << std::hex << std::setfill('0');
    for (unsigned const byte : frame) {
        out << std::setw(2) << byte;
    }
    return out.str();
}

} // namespace TestSupport
