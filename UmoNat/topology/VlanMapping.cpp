#include "UmoNat/topology/PortStates.h"

#include "Base/Assert.h"
#include "Mox/Enter.h"
#include "UmoNat/topology/Trace.h"

namespace {
Mox::TraceHandle const &trace = topologySmTrace;
} // namespace

void UmoNatFlowMcastTopologySm::initializeVidToTopoMap() {
    trace.at(1, "initializeVidToTopoMap");
    if (!inputs_.bridgingTopo) {
        return;
    }
    for (auto const &[vlan, topology] : inputs_.bridgingTopo->vidToTopoMap()) {
        handleVidToTopoMap(vlan);
    }
}

void UmoNatFlowMcastTopologySm::handleVidToTopoMap(Bridging::VlanId vlan) {
    Mox::enter<"UmoNatFlowMcastTopologySm::handleVidToTopoMap vlan %u">(
        trace, 3, "handleVidToTopoMap", ", vlan: ", vlan);
    removeVidToTopoMap(vlan);
    if (auto const topology = topologyOf(vlan)) {
        trace.at(3, "New vlan topology: ", topology->name());
        if (moxTopoConfig().find(topology->name()) == nullptr) {
            trace.at(3, "Creating topology");
            topoConfigIs(topology);
        }
        (*moxTopoConfig().find(topology->name()))->vlanListIs(vlan);
        vlanToTopoMapIs(vlan, topology->name());
    }
    notifyActionSmVlan(vlan.value());
}

/// Removes the VLAN from the list before it removes an empty topology's reactor, so that only the
/// caller notifies the VLAN.
void UmoNatFlowMcastTopologySm::removeVidToTopoMap(Bridging::VlanId vlan) {
    Pelo::String const *const mapped = vlanToTopoMap(vlan);
    if (mapped == nullptr) {
        return;
    }
    Pelo::String const name = *mapped;
    trace.at(3, "Old vlan topology: ", name);
    auto const *ttc = moxTopoConfig().find(name);
    Base::assertThat(ttc != nullptr, "ttc");
    (*ttc)->vlanListDel(vlan);
    if ((*ttc)->vlanList().empty()) {
        trace.at(3, "Empty vlan list, deleting topology");
        topoConfigDel(name);
    }
    vlanToTopoMapDel(vlan);
}

Mox::Ptr<UmoNatFlowMcastTopologySm::MoxTopoConfig> UmoNatFlowMcastTopologySm::topoConfigIs(
    Mox::Ptr<Bridging::Topology::TopoConfig const> const &topology) {
    return moxTopoConfig_.is(topology->name(), {.followed = topology, .owner = this});
}

void UmoNatFlowMcastTopologySm::topoConfigDel(Pelo::String const &name) {
    moxTopoConfig_.del(name);
}

void UmoNatFlowMcastTopologySm::topoConfigDelAll() {
    moxTopoConfig_.delAll();
}
