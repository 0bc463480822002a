#include "UmoNat/UmoNatFlowMcastTopologySmMapping.h"

#include "Mox/Assert.h"
#include "Skimtrace/Skimtrace.h"

void UmoNatFlowMcastTopologySm::initializeVidToTopoMap() {
    trace_.at(1, "initializeVidToTopoMap");
    if (!inputs_.bridgingTopo) {
        return;
    }
    for (auto const &[vlan, topology] : inputs_.bridgingTopo->vidToTopoMap()) {
        handleVidToTopoMap(vlan);
    }
}

void UmoNatFlowMcastTopologySm::handleVidToTopoMap(Bridging::VlanId vlan) {
    trace_.at(3, "handleVidToTopoMap", ", vlan: ", vlan);
    static constinit Skimtrace::Point entered(
        "UmoNatFlowMcastTopologySm::handleVidToTopoMap vlan %u");
    entered.record({}, vlan.value());
    removeVidToTopoMap(vlan);
    if (auto const topology = topologyOf(vlan)) {
        trace_.at(3, "New vlan topology: ", topology->name());
        if (moxTopoConfig().find(topology->name()) == nullptr) {
            trace_.at(3, "Creating topology");
            topoConfigIs(topology);
        }
        (*moxTopoConfig().find(topology->name()))->vlanListIs(vlan);
        vlanToTopoMapIs(vlan, topology->name());
    }
    notifyActionSmVlan(vlan.value());
}

/// The VLAN leaves the list before the reactor of an emptied topology goes, so that the VLAN is
/// notified once, by the caller.
void UmoNatFlowMcastTopologySm::removeVidToTopoMap(Bridging::VlanId vlan) {
    Pelo::String const *const mapped = vlanToTopoMap(vlan);
    if (mapped == nullptr) {
        return;
    }
    Pelo::String const name = *mapped;
    trace_.at(3, "Old vlan topology: ", name);
    auto const *ttc = moxTopoConfig().find(name);
    Mox::assertThat(ttc != nullptr, "ttc");
    (*ttc)->vlanListDel(vlan);
    if ((*ttc)->vlanList().empty()) {
        trace_.at(3, "Empty vlan list, deleting topology");
        topoConfigDel(name);
    }
    vlanToTopoMapDel(vlan);
}

void UmoNatFlowMcastTopologySm::topoConfigIs(
    Mox::Ptr<Bridging::Topology::TopoConfig const> const &topology) {
    moxTopoConfig_.is(topology->name(), {.followed = topology, .owner = this});
}

void UmoNatFlowMcastTopologySm::topoConfigDel(Pelo::String const &name) {
    moxTopoConfig_.del(name);
}

void UmoNatFlowMcastTopologySm::topoConfigDelAll() {
    moxTopoConfig_.delAll();
}

void UmoNatFlowMcastTopologySm::MoxTopoConfig::handleInitialized() {
    for (auto const &[intf, config] : followed().topoPortConfig()) {
        topoPortConfigIs(config);
    }
}

void UmoNatFlowMcastTopologySm::MoxTopoConfig::hasNotificationActiveIs(bool active) {
    NestedSm::hasNotificationActiveIs(active);
    moxTopoPortConfig_.hasNotificationActiveIs(active);
}

void UmoNatFlowMcastTopologySm::MoxTopoConfig::childrenDelAll() {
    vlanListDelAll();
    topoPortConfigDelAll();
}

void UmoNatFlowMcastTopologySm::MoxTopoConfig::dispatch(Pelo::Change const &change) {
    auto const *intf = change.keyOf(Bridging::Topology::TopoConfig::topoPortConfigAttribute);
    if (intf == nullptr) {
        return;
    }
    if (auto const config = followed().topoPortConfig(*intf)) {
        topoPortConfigIs(config);
    } else {
        topoPortConfigDel(*intf);
    }
}

void UmoNatFlowMcastTopologySm::MoxTopoConfig::topoPortConfigIs(
    Mox::Ptr<Bridging::Topology::TopoPortConfig const> const &config) {
    moxTopoPortConfig_.is(config->intf(), {.followed = config, .owner = this});
}

void UmoNatFlowMcastTopologySm::MoxTopoConfig::handleTopoPort(Nexo::IntfId intf) {
    trace_.at(3, "handleTopoPort", ", state changed for intf ", intf);
    static constinit Skimtrace::Point entered("UmoNatFlowMcastTopologySm::handleTopoPort intf %s");
    entered.record({intf.stringValue()});
    notifyVlans();
    owner().notifyActionSmIntf(intf);
}

void UmoNatFlowMcastTopologySm::MoxTopoConfig::handleTopologyDel() {
    trace_.at(3, "handleTopologyDel", ", topology: ", followed().name());
    static constinit Skimtrace::Point entered(
        "UmoNatFlowMcastTopologySm::handleTopologyDel topology %s");
    entered.record({followed().name()});
    notifyVlans();
}

void UmoNatFlowMcastTopologySm::MoxTopoConfig::notifyVlans() {
    for (Bridging::VlanId const vlan : vlanList()) {
        trace_.at(3, "Updated vlan ", vlan);
        owner().notifyActionSmVlan(vlan.value());
    }
}

void UmoNatFlowMcastTopologySm::MoxTopoPortConfig::dispatch(Pelo::Change const &change) {
    if (change.isOf(Bridging::Topology::TopoPortConfig::portStateAttribute)) {
        handlePortState();
    }
}

void UmoNatFlowMcastTopologySm::MoxTopoPortConfig::handlePortState() {
    bool const forwarding = followed().portState() == Bridging::Topology::PortState::forwarding;
    trace_.at(3, "handlePortState", ", intf: ", followed().intf(), ", fwd old: ", forwarding_,
              ", fwd new: ", forwarding, " (", followed().portState(), ")");
    static constinit Skimtrace::Point entered("UmoNatFlowMcastTopologySm::handlePortState intf %s");
    entered.record({followed().intf().stringValue()});
    if (forwarding != forwarding_) {
        forwarding_ = forwarding;
        owner().handleTopoPort(followed().intf());
    }
}

/// A port that leaves without forwarding was in no port set.
void UmoNatFlowMcastTopologySm::MoxTopoPortConfig::handleTopologyIntfDel() {
    trace_.at(3, "handleTopologyIntfDel", ", intf: ", followed().intf());
    static constinit Skimtrace::Point entered(
        "UmoNatFlowMcastTopologySm::handleTopologyIntfDel intf %s");
    entered.record({followed().intf().stringValue()});
    if (forwarding_) {
        owner().handleTopoPort(followed().intf());
    }
}
