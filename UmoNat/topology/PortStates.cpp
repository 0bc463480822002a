#include "UmoNat/topology/PortStates.h"

#include "Mox/Enter.h"
#include "UmoNat/topology/Trace.h"

namespace {
Mox::TraceHandle const &trace = topologySmTrace;
} // namespace

void UmoNatFlowMcastTopologySm::MoxTopoConfig::handleInitialized() {
    for (auto const &[intf, config] : followed().topoPortConfig()) {
        topoPortConfigIs(config);
    }
}

void UmoNatFlowMcastTopologySm::MoxTopoConfig::hasNotificationActiveIs(bool active) {
    NestedSm::hasNotificationActiveIs(active);
    moxTopoPortConfig_.hasNotificationActiveIs(active);
}

/// The ports first: removing a forwarding port notifies the VLANs of the list.
void UmoNatFlowMcastTopologySm::MoxTopoConfig::childrenDelAll() {
    topoPortConfigDelAll();
    vlanListDelAll();
}

void UmoNatFlowMcastTopologySm::MoxTopoConfig::dispatch(
    Pelo::ChangeOf<Bridging::Topology::TopoConfig> const &change) {
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

Mox::Ptr<UmoNatFlowMcastTopologySm::MoxTopoPortConfig>
UmoNatFlowMcastTopologySm::MoxTopoConfig::topoPortConfigIs(
    Mox::Ptr<Bridging::Topology::TopoPortConfig const> const &config) {
    return moxTopoPortConfig_.is(config->intf(), {.followed = config, .owner = this});
}

void UmoNatFlowMcastTopologySm::MoxTopoConfig::handleTopoPort(Nexo::IntfId intf) {
    Mox::enter<"UmoNatFlowMcastTopologySm::MoxTopoConfig::handleTopoPort intf %s">(
        trace, 3, "handleTopoPort", ", state changed for intf ", intf);
    notifyVlans();
    owner().notifyActionSmIntf(intf);
}

void UmoNatFlowMcastTopologySm::MoxTopoConfig::handleTopologyDel() {
    Mox::enter<"UmoNatFlowMcastTopologySm::MoxTopoConfig::handleTopologyDel topology %s">(
        trace, 3, "handleTopologyDel", ", topology: ", followed().name());
    notifyVlans();
}

void UmoNatFlowMcastTopologySm::MoxTopoConfig::notifyVlans() {
    for (Bridging::VlanId const vlan : vlanList()) {
        trace.at(3, "Updated vlan ", vlan);
        owner().notifyActionSmVlan(vlan.value());
    }
}

void UmoNatFlowMcastTopologySm::MoxTopoPortConfig::dispatch(
    Pelo::ChangeOf<Bridging::Topology::TopoPortConfig> const &change) {
    if (change.isOf(Bridging::Topology::TopoPortConfig::portStateAttribute)) {
        handlePortState();
    }
}

void UmoNatFlowMcastTopologySm::MoxTopoPortConfig::handlePortState() {
    bool const forwarding = followed().portState() == Bridging::Topology::PortState::forwarding;
    Mox::enter<"UmoNatFlowMcastTopologySm::MoxTopoPortConfig::handlePortState intf %s">(
        trace, 3, "handlePortState", ", intf: ", followed().intf(), ", fwd old: ", forwarding_,
        ", fwd new: ", forwarding, " (", followed().portState(), ")");
    if (forwarding != forwarding_) {
        forwarding_ = forwarding;
        owner().handleTopoPort(followed().intf());
    }
}

void UmoNatFlowMcastTopologySm::MoxTopoPortConfig::handleTopologyIntfDel() {
    Mox::enter<"UmoNatFlowMcastTopologySm::MoxTopoPortConfig::handleTopologyIntfDel intf %s">(
        trace, 3, "handleTopologyIntfDel", ", intf: ", followed().intf());
    if (forwarding_) {
        owner().handleTopoPort(followed().intf());
    }
}
