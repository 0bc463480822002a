#include "sim/PlainPacket.h"

#include <tins/dot1q.h>
#include <tins/ethernetII.h>
#include <tins/ip.h>
#include <tins/rawpdu.h>
#include <tins/tcp.h>
#include <tins/udp.h>

#include <array>
#include <string>

namespace Sim {

namespace {

constexpr std::size_t kEthernetHeader = 14;
constexpr std::size_t kIpHeader = 20;
constexpr std::size_t kFragment = 40; // bytes of the first one

Tins::IP ipHeader(PlainPacket const &packet) {
    Tins::IP ip(packet.destination.addr().stringValue(), packet.source.addr().stringValue());
    ip.ttl(packet.ttl);
    ip.protocol(packet.protocol);
    return ip;
}

/// What the IPv4 header of a whole datagram is followed by.
std::vector<std::uint8_t> transportOf(PlainPacket const &packet) {
    Tins::EthernetII frame;
    frame /= ipHeader(packet);
    if (packet.protocol == PlainPacket::kUdp) {
        frame /= Tins::UDP(packet.destination.port(), packet.source.port());
    } else if (packet.protocol == PlainPacket::kTcp) {
        frame /= Tins::TCP(packet.destination.port(), packet.source.port());
    }
    frame /= Tins::RawPDU(std::string(61, '.'));
    auto const bytes = frame.serialize();
    return {bytes.begin() + kEthernetHeader + kIpHeader, bytes.end()};
}

/// The address and port of a flow where it has one.
Nexo::IpAndPort within(Ip::Nat::NatFlowEnd const &end, Nexo::IpAndPort const &other) {
    return {end.addr.isZero() ? other.addr() : end.addr, end.port == 0 ? other.port() : end.port};
}

} // namespace

std::vector<std::uint8_t> frameOf(PlainPacket const &packet) {
    Tins::EthernetII frame(packet.destinationMac.stringValue(), packet.sourceMac.stringValue());
    if (packet.tag) {
        Tins::Dot1Q tag(*packet.tag);
        tag.priority(packet.priority);
        frame /= tag;
    }
    Tins::IP ip = ipHeader(packet);
    auto transport = transportOf(packet);
    if (packet.piece == PlainPacket::Piece::firstFragment) {
        ip.flags(Tins::IP::MORE_FRAGMENTS);
        transport.resize(kFragment);
    } else if (packet.piece == PlainPacket::Piece::laterFragment) {
        ip.fragment_offset(kFragment / 8);
        transport.erase(transport.begin(), transport.begin() + kFragment);
    }
    frame /= ip;
    frame /= Tins::RawPDU(transport);
    return frame.serialize();
}

PlainPacket randomPacket(Random &random, PlainSwitch const &model) {
    static constexpr std::array kInterfaces{"Ethernet1", "Ethernet2",     "Ethernet3", "Ethernet5",
                                            "Ethernet7", "Port-Channel1", "Ethernet9"};
    static constexpr std::array kSources{"10.1.0.1", "10.1.5.1", "10.2.0.1", "10.3.0.1"};
    static constexpr std::array kDestinations{"239.1.1.1", "239.1.1.9", "10.5.0.1",
                                              "10.5.0.2",  "239.2.2.2", "10.8.0.1"};
    static constexpr std::array<std::uint16_t, 3> kSourcePorts{5000, 5001, 5002};
    static constexpr std::array<std::uint16_t, 2> kDestinationPorts{6000, 7000};
    static constexpr std::array<std::uint16_t, 3> kTags{0, 10, 20};
    using Piece = PlainPacket::Piece;

    PlainPacket packet; // one draw per statement: the order is the same for all compilers
    packet.intf = Nexo::IntfId(random.pick(kInterfaces));
    if (random.chance(30)) {
        packet.tag = random.pick(kTags);
        packet.priority = static_cast<std::uint8_t>(random.below(8));
    }
    if (random.chance(20)) {
        packet.protocol = random.chance(50) ? PlainPacket::kTcp : PlainPacket::kIcmp;
    }
    auto const address = [&](auto const &addresses) {
        return Nexo::IpAddr::parse(random.pick(addresses));
    };
    Nexo::IpAddr const source = address(kSources);
    Nexo::IpAddr const destination = address(kDestinations);
    std::uint16_t const sourcePort = random.pick(kSourcePorts);
    packet.source = {source, sourcePort};
    packet.destination = {destination, random.pick(kDestinationPorts)};
    std::vector<Ip::Nat::NatFlow> flows;
    for (auto const &[policyName, policy] : model.policies) {
        for (auto const &[name, match] : policy.matches) {
            flows.push_back(match.flow);
        }
    }
    if (!flows.empty() && random.chance(75)) {
        auto const flow = random.pick(flows);
        packet.source = within(flow.source, packet.source);
        packet.destination = within(flow.destination, packet.destination);
    }
    packet.ttl = static_cast<std::uint8_t>(random.chance(10) ? random.below(4) : 64);
    if (random.chance(10)) {
        packet.piece = random.chance(50) ? Piece::firstFragment : Piece::laterFragment;
    }
    return packet;
}

} // namespace Sim
