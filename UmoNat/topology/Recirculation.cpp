#include "UmoNat/topology/Recirculation.h"

#include "UmoNat/topology/Trace.h"

void UmoNatFlowMcastTopologySm::Recirculation::choose() {
    if (std::uint16_t const vlan = firstValidVlan(Nexo::IntfId()); vlan != 0) {
        take("handleInitialized", vlan);
    }
}

void UmoNatFlowMcastTopologySm::Recirculation::offer(char const *function, std::uint16_t vlan) {
    if (topologySm_.natFlowRecircVlan() == 0) {
        take(function, vlan);
    }
}

void UmoNatFlowMcastTopologySm::Recirculation::replace(Nexo::IntfId oldIntf) {
    // Notifies even if there is none: the old VLAN must no longer be used.
    take("setNewNatFlowRecircVlan", firstValidVlan(oldIntf));
}

/// In the order in which the L3 interfaces were added; 0 if no VLAN is valid.
std::uint16_t
UmoNatFlowMcastTopologySm::Recirculation::firstValidVlan(Nexo::IntfId exceptIntf) const {
    for (auto const &[intf, vlan] : topologySm_.intfL3Index()) {
        if (intf != exceptIntf && vlan != 0 && topologySm_.validVlan(vlan)) {
            return vlan;
        }
    }
    return 0;
}

void UmoNatFlowMcastTopologySm::Recirculation::take(char const *function, std::uint16_t vlan) {
    topologySmTrace.at(5, function, ", set natFlowRecircVlan to ", vlan);
    topologySm_.natFlowRecircVlanIs(vlan);
    topologySm_.notifyActionSmRecirc();
}
