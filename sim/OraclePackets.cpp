#include "agent/base/Find.h"
#include "sim/Oracle.h"

#include <tuple>

namespace Sim {

using UmoAgent::findIn;

namespace {

bool onSeveralVlans(Bridging::SwitchportMode mode) {
    return mode == Bridging::SwitchportMode::trunk || mode == Bridging::SwitchportMode::dot1qTunnel;
}

bool comesIn(PlainSwitch const &model, PlainPacket const &packet) {
    auto const *const settings = findIn(model.interfaces, packet.intf);
    if (settings == nullptr) {
        return false;
    }
    std::uint16_t const tag = packet.tag.value_or(0);
    std::uint16_t const native = settings->nativeVlan.value();
    switch (settings->mode) {
    case Bridging::SwitchportMode::routed:
        return tag == 0;
    case Bridging::SwitchportMode::access:
        return native != 0 && (tag == 0 || tag == native);
    default:
        return tag != 0 || native != 0;
    }
}

bool inPrefix(Nexo::IpAddr address, Ip::Nat::NatFlowEnd const &end) {
    std::uint32_t const host = end.prefixLength == 0 ? ~0U : ~0U >> 1 >> (end.prefixLength - 1);
    return end.addr.isZero() || (address.value() | host) == (end.addr.value() | host);
}

bool fits(PlainPacket const &packet, Nexo::IpAndPort const &own, Ip::Nat::NatFlowEnd const &end) {
    bool const port =
        packet.hasPorts() && (packet.piece != PlainPacket::Piece::whole || own.port() == end.port);
    return inPrefix(own.addr(), end) && (end.port == 0 || port);
}

/// Larger is better, and of equal ones the first by name.
auto specificity(Ip::Nat::NatFlow const &flow) {
    int const ports = (flow.source.port != 0 ? 1 : 0) + (flow.destination.port != 0 ? 1 : 0);
    return std::tuple(flow.destination.prefixLength, flow.source.prefixLength, ports);
}

std::optional<MatchName> matchOf(PlainSwitch const &model, PlainPacket const &packet) {
    std::optional<MatchName> best;
    std::tuple<std::uint32_t, std::uint32_t, int> bestSo{};
    for (auto const &[policyName, policy] : model.policies) {
        for (auto const &[name, match] : policy.matches) {
            if (!fits(packet, packet.source, match.flow.source) ||
                !fits(packet, packet.destination, match.flow.destination)) {
                continue;
            }
            MatchName const here{policyName, name};
            auto const so = specificity(match.flow);
            if (!best || so > bestSo || (so == bestSo && here < *best)) {
                best = here;
                bestSo = so;
            }
        }
    }
    return best;
}

/// Sets an address, and a port if there is one. A fragment has no port to be set.
bool translate(PlainPacket &copy, Nexo::IpAndPort PlainPacket::*end, Nexo::IpAndPort const &to) {
    if (to.addr().isZero()) {
        return true;
    }
    if (to.port() != 0 && copy.hasPorts() && copy.piece != PlainPacket::Piece::whole) {
        return false;
    }
    copy.*end = {to.addr(), to.port() != 0 ? to.port() : (copy.*end).port()};
    return true;
}

void leave(PlainSwitch const &model, std::uint16_t vlan, Nexo::EthAddr mac, Nexo::IntfId intf,
           PlainPacket copy, std::vector<PlainPacket> &copies) {
    auto const &settings = model.interfaces.at(intf);
    std::uint32_t const group = copy.destination.addr().value();
    copy.intf = intf;
    copy.sourceMac = model.bridgeMac;
    copy.destinationMac =
        group >> 28 == 14 ? Nexo::EthAddr(0x01005e000000U + group % 0x800000U) : mac;
    bool const tagged = onSeveralVlans(settings.mode) && settings.nativeVlan.value() != vlan;
    copy.tag = tagged ? std::optional(vlan) : std::nullopt;
    copies.push_back(copy);
}

} // namespace

Delivery expectedDelivery(PlainSwitch const &model, std::uint16_t recircVlan,
                          PlainPacket const &packet, bool recirculated) {
    Delivery delivery;
    if (!recirculated && !comesIn(model, packet)) {
        return delivery;
    }
    auto const hit = matchOf(model, packet);
    if (!hit) {
        return delivery;
    }
    delivery.hits.push_back(*hit);
    PlainMatch const &match = *model.policies.find(hit->first)->matches.find(hit->second);
    bool const needsPorts = match.flow.source.port != 0 || match.flow.destination.port != 0;
    if (packet.ttl <= 1 || (needsPorts && packet.piece != PlainPacket::Piece::whole)) {
        return delivery;
    }
    for (auto const &[name, action] : match.actions) {
        auto const type = expectedFlowType(match, action);
        bool const toGroup = packet.destination.addr().value() >> 28 == 14;
        bool const unicast =
            type == Ip::Nat::natFlowTypeUnicast || (type == Ip::Nat::natFlowTypeNone && !toGroup);
        PlainPacket copy = packet;
        copy.ttl -= 1;
        if (!translate(copy, &PlainPacket::source, action.source) ||
            !translate(copy, &PlainPacket::destination, action.destination)) {
            continue;
        }
        for (auto const &[key, ports] : expectedPorts(model, type, action, recircVlan)) {
            if (key.first != unicast) {
                continue;
            }
            for (Nexo::IntfId const intf : ports.interfaces) {
                if (!intf.empty()) {
                    leave(model, key.second, ports.dmac, intf, copy, delivery.copies);
                } else if (!recirculated) {
                    auto const again = expectedDelivery(model, recircVlan, copy, true);
                    delivery.hits.insert(delivery.hits.end(), again.hits.begin(), again.hits.end());
                    delivery.copies.insert(delivery.copies.end(), again.copies.begin(),
                                           again.copies.end());
                }
            }
        }
    }
    return delivery;
}

} // namespace Sim
