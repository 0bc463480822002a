#include "Base/Assert.h"
#include "UmoNat/UmoNatFlowMcastTopologySm.h"
#include "UmoNat/topology/PortStates.h"
#include "UmoNat/topology/Trace.h"

namespace {
Mox::TraceHandle const &trace = topologySmTrace;
} // namespace

using Hindrance = UmoNatFlowHindrance;

/// Up: routing is on, and there is an address.
Hindrance UmoNatFlowMcastTopologySm::l3IntfHindrance(Ip::IpIntfStatus const &status) {
    if (!status.routing()) {
        return Hindrance::notRouting;
    }
    return status.addrWithMask() == Nexo::IpAddrWithMask() ? Hindrance::noAddress : Hindrance::none;
}

Hindrance UmoNatFlowMcastTopologySm::vlanHindrance(std::uint16_t vlan) const {
    trace.at(6, "UmoNatFlowMcastTopologySm::", "validVlan", ", vlan: ", vlan);
    if (vlanStatusOf(vlan) == nullptr) {
        trace.at(6, "Vlan status not found for vlan ", vlan);
        return Hindrance::noVlanStatus;
    }
    Pelo::String const *const topology = vlanToTopoMap(Bridging::VlanId(vlan));
    if (topology == nullptr) {
        trace.at(6, "No bridging topology for vlan ", vlan);
        return Hindrance::noTopology;
    }
    if (moxTopoConfig().find(*topology) == nullptr) {
        trace.at(6, "No moxTopo config for vlan ", vlan);
        return Hindrance::noTopology;
    }
    Nexo::IntfId const *const svi = sviOf(vlan);
    if (svi == nullptr) {
        trace.at(6, "Vlan not found in the l3 intf table");
        return Hindrance::noL3Interface;
    }
    auto const status = ipIntfStatusOf(*svi);
    if (!status) {
        trace.at(6, "No ipIntfStatus found for the vlan");
        return Hindrance::noIpStatus;
    }
    Hindrance const hindrance = l3IntfHindrance(*status);
    if (hindrance != Hindrance::none) {
        trace.at(6, "L3 intf disabled");
    }
    return hindrance;
}

Hindrance UmoNatFlowMcastTopologySm::portHindrance(std::uint16_t vlan, Nexo::IntfId intf) const {
    trace.at(6, "UmoNatFlowMcastTopologySm::", "validPort", ", vlan: ", vlan, ", intf: ", intf);
    if (switchIntfConfigOf(intf) == nullptr) {
        trace.at(6, "Intf ", intf, " not found in switchIntfConfig");
        return Hindrance::noSwitchport;
    }
    auto const *const vlanStatus = vlanStatusOf(vlan);
    Base::assertThat(vlanStatus != nullptr, "vlanStatus"); // by validVlan, like the topology below
    if (vlanStatus->vlanPortStatus(intf) == nullptr) {
        trace.at(6, "Intf ", intf, " not found in vlan port status ", vlan);
        return Hindrance::notAMember;
    }
    Pelo::String const *const topology = vlanToTopoMap(Bridging::VlanId(vlan));
    auto const *ttc = moxTopoConfig().find(topology != nullptr ? *topology : Pelo::String());
    Base::assertThat(ttc != nullptr, "ttc");
    auto const *port = (*ttc)->moxTopoPortConfig().find(intf);
    if (port == nullptr) {
        trace.at(6, "Intf ", intf, " not found in the topology");
        return Hindrance::notInTopology;
    }
    if (!(*port)->forwarding()) {
        trace.at(6, "Intf ", intf, " not in forwarding state");
        return Hindrance::notForwarding;
    }
    return Hindrance::none;
}

UmoNatFlowMcastTopologySm::CarriedVlan
UmoNatFlowMcastTopologySm::carriedVlan(std::uint16_t vlan, Nexo::IntfId intf,
                                       bool rejectRouted) const {
    trace.at(6, "UmoNatFlowMcastTopologySm::", "validSwitchIntf", ", vlan: ", vlan,
             ", intf: ", intf);
    auto const *const config = switchIntfConfigOf(intf);
    if (config == nullptr) {
        trace.at(6, "Intf ", intf, " not found in switchIntfConfig");
        return {0, Hindrance::noSwitchport};
    }
    auto const [mode, nativeVlan] = config->switchportModeAndNativeVlan();
    trace.at(6, "Switchport mode: ", mode, ", native vlan: ", nativeVlan);
    if (!nativeVlan.usable()) {
        trace.at(6, "Invalid vlan");
        return {0, Hindrance::noNativeVlan};
    }
    if (rejectRouted && mode == Bridging::SwitchportMode::routed) {
        trace.at(6, "Intf in routed mode");
        return {0, Hindrance::routed};
    }
    if (Bridging::carriesSeveralVlans(mode)) { // validPort checks whether this is one of them
        return {vlan != 0 ? vlan : nativeVlan.value(), Hindrance::none};
    }
    if (vlan != 0 && vlan != nativeVlan.value()) {
        trace.at(6, "Native vlan different from configured vlan");
        return {0, Hindrance::otherVlan};
    }
    return {nativeVlan.value(), Hindrance::none};
}
