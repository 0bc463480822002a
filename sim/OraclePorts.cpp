#include "Nexo/VlanIntfId.h"
#include "agent/base/Find.h"
#include "sim/Oracle.h"

#include <algorithm>

namespace Sim {

using Ip::Nat::NatFlowType;
using Nexo::EthAddr;
using Nexo::IntfId;
using UmoAgent::findIn;

namespace {

constexpr EthAddr kGroupMac(0x01005e000000U);

/// The VLAN that `intf` would carry for a request for `vlan`, or 0.
std::uint16_t vlanOnInterface(PlainSwitch const &model, std::uint16_t vlan, IntfId intf) {
    auto const *const settings = findIn(model.interfaces, intf);
    std::uint16_t const native = settings == nullptr ? 0 : settings->nativeVlan.value();
    if (native == 0 || native == 4095) {
        return 0;
    }
    bool const carriesMany = settings->mode != Bridging::SwitchportMode::access &&
                             settings->mode != Bridging::SwitchportMode::routed;
    return vlan == 0 || vlan == native ? native : carriesMany ? vlan : std::uint16_t{0};
}

/// The L3 interface of a VLAN, or none.
IntfId l3InterfaceOf(PlainSwitch const &model, std::uint16_t vlan) {
    for (auto const &[intf, id] : model.l3Interfaces) {
        if (id == vlan) {
            return intf;
        }
    }
    return {};
}

/// Whether `intf` is a forwarding member of the usable VLAN `vlan`.
bool portUsable(PlainSwitch const &model, std::uint16_t vlan, IntfId intf) {
    auto const &ports = model.topologies.at(model.topologyOfVlan.at(vlan));
    auto const *const state = findIn(ports, intf);
    return model.interfaces.count(intf) != 0 && model.vlans.at(vlan).count(intf) != 0 &&
           state != nullptr && *state == Bridging::Topology::PortState::forwarding;
}

bool reachableBehindSvi(PlainSwitch const &model, std::uint16_t vlan, IntfId intf) {
    return portUsable(model, vlan, intf) && vlanOnInterface(model, vlan, intf) != 0 &&
           model.interfaces.at(intf).mode != Bridging::SwitchportMode::routed;
}

/// Adds the ports behind a VLAN interface to `sets`; returns whether there were any.
bool addSvi(PlainSwitch const &model, std::uint16_t vlan, EthAddr mac, bool unicast,
            PortSets &sets) {
    if (!vlanUsable(model, vlan)) {
        return false;
    }
    std::set<IntfId> members = model.vlans.at(vlan);
    auto const *const hosts = unicast ? findIn(model.learnedMacs, vlan) : nullptr;
    if (auto const *const known = hosts != nullptr ? findIn(*hosts, mac) : nullptr) {
        auto const *const taken = findIn(sets, std::pair(unicast, vlan));
        if (taken != nullptr && !taken->dmac.isZero() && taken->dmac != mac) {
            return false;
        }
        members = {*known};
    }
    bool any = false;
    for (IntfId const intf : members) {
        if (reachableBehindSvi(model, vlan, intf)) {
            Ports &ports = sets[{unicast, vlan}];
            ports.interfaces.insert(intf);
            ports.dmac = mac;
            any = true;
        }
    }
    return any;
}

void addPort(PlainSwitch const &model, NatFlowType type, IntfId intf,
             Ip::Nat::NatFlowNextHop const &hop, PortSets &sets) {
    std::uint16_t const vlan = vlanOnInterface(model, hop.vlan, intf);
    if (vlan == 0 || !vlanUsable(model, vlan) || !portUsable(model, vlan, intf)) {
        return;
    }
    if (type != Ip::Nat::natFlowTypeMulticast) {
        Ports &ports = sets[{true, vlan}];
        if (!ports.dmac.isZero() && ports.dmac != hop.mac) {
            return; // the first MAC address in a VLAN wins
        }
        ports.interfaces.insert(intf);
        ports.dmac = hop.mac;
    }
    if (type != Ip::Nat::natFlowTypeUnicast) {
        Ports &ports = sets[{false, vlan}];
        ports.interfaces.insert(intf);
        ports.dmac = kGroupMac;
    }
}

/// Whether a VLAN loses its L3 interface without a notification.
bool losesL3Silently(PlainSwitch const &before, PlainSwitch const &after, std::uint16_t vlan) {
    IntfId const intf = l3InterfaceOf(before, vlan);
    bool const ipGoes = before.ipInterfaces.count(intf) != 0 && after.ipInterfaces.count(intf) == 0;
    auto const *const id = findIn(after.l3Interfaces, intf);
    return id != nullptr && (ipGoes || *id != vlan);
}

template <class Map, class Key>
bool differ(Map const &before, Map const &after, Key const &key) {
    auto const *const was = findIn(before, key);
    auto const *const is = findIn(after, key);
    return was == nullptr || is == nullptr ? was != is : !(*was == *is);
}

} // namespace

bool interfaceUp(PlainSwitch const &model, IntfId intf) {
    auto const *const ip = findIn(model.ipInterfaces, intf);
    return ip != nullptr && ip->routing && ip->address != Nexo::IpAddrWithMask();
}

bool vlanUsable(PlainSwitch const &model, std::uint16_t vlan) {
    return model.vlans.count(vlan) != 0 && model.topologyOfVlan.count(vlan) != 0 &&
           interfaceUp(model, l3InterfaceOf(model, vlan));
}

NatFlowType expectedFlowType(PlainMatch const &match, PlainAction const &action) {
    std::uint32_t const own = action.destination.addr().value();
    std::uint32_t const address = own != 0 ? own : match.flow.destination.addr.value();
    return address == 0          ? Ip::Nat::natFlowTypeNone
           : address >> 28 == 14 ? Ip::Nat::natFlowTypeMulticast // 224.0.0.0/4
                                 : Ip::Nat::natFlowTypeUnicast;
}

std::uint32_t expectedGroups(PlainMatch const &match) {
    bool const split =
        std::any_of(match.actions.begin(), match.actions.end(), [&](auto const &action) {
            return expectedFlowType(match, action.second) == Ip::Nat::natFlowTypeNone;
        });
    return match.actions.empty() ? 0 : split ? 2 : 1;
}

PortSets expectedPorts(PlainSwitch const &model, NatFlowType type, PlainAction const &action,
                       std::uint16_t recircVlan) {
    PortSets sets;
    if (action.egress.empty()) {
        sets[{true, recircVlan}] = Ports{{IntfId()}, model.bridgeMac};
    }
    for (auto const &[intf, hop] : action.egress) {
        if (!Nexo::VlanIntfId::isVlanIntfId(intf)) {
            addPort(model, type, intf, hop, sets);
            continue;
        }
        std::uint16_t const vlan = Nexo::VlanIntfId::vlanId(intf);
        bool const refused =
            type != Ip::Nat::natFlowTypeMulticast && !addSvi(model, vlan, hop.mac, true, sets);
        if (!refused && type != Ip::Nat::natFlowTypeUnicast) {
            addSvi(model, vlan, kGroupMac, false, sets);
        }
    }
    return sets;
}

bool changesSilently(PlainSwitch const &before, PlainSwitch const &after,
                     PlainAction const &action) {
    if (action.egress.empty()) {
        return before.bridgeMac != after.bridgeMac;
    }
    for (auto const &[intf, hop] : action.egress) {
        std::uint16_t const svi = Nexo::VlanIntfId::vlanId(intf);
        std::uint16_t const named = hop.vlan;
        std::uint16_t const vlan = svi != 0 ? svi : vlanOnInterface(before, named, intf);
        // A port named without a VLAN is not notified of changes of the VLAN in its settings.
        bool const vlanUnheard = svi == 0 && named == 0 &&
                                 (before.vlans.count(vlan) != after.vlans.count(vlan) ||
                                  differ(before.topologyOfVlan, after.topologyOfVlan, vlan));
        // A VLAN interface is not notified of changes of its members and their settings.
        bool const vlanStays = before.vlans.count(vlan) != 0 && after.vlans.count(vlan) != 0;
        bool const membersUnheard =
            svi != 0 && (before.interfaces != after.interfaces ||
                         (vlanStays && before.vlans.at(vlan) != after.vlans.at(vlan)));
        if (vlanUnheard || membersUnheard || losesL3Silently(before, after, vlan)) {
            return true;
        }
    }
    return false;
}

} // namespace Sim
