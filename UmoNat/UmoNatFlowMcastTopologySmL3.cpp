#include "UmoNat/UmoNatFlowMcastTopologySmL3.h"

#include "Mox/Assert.h"
#include "Skimtrace/Skimtrace.h"

void UmoNatFlowMcastTopologySm::handleL3Intf(Nexo::IntfId intf) {
    static constinit Skimtrace::Point entered("UmoNatFlowMcastTopologySm::handleL3Intf intf %s");
    entered.record({intf.stringValue()});
    std::uint16_t vlan = 0;
    if (auto const *l3Id = l3IdOf(intf)) {
        vlan = UmoL3Intf::l3IdToVlanId(*l3Id);
        trace_.at(3, "handleL3Intf", ", add l3 intf ", intf, " for vlan ", vlan);
        intfL3IndexIs(intf, vlan);
        notifyActionSmVlan(vlan);
        if (natFlowRecircVlan() == 0) {
            // Taken as it is: an L3 interface comes before its address, and nothing better is
            // there to displace.
            recircVlanIs("handleL3Intf", vlan);
        }
    } else {
        std::uint16_t const *const mirrored = intfL3Index(intf);
        if (mirrored == nullptr) {
            return;
        }
        vlan = *mirrored;
        Mox::assertThat(vlan != 0, "vlan");
        if (vlan == natFlowRecircVlan()) {
            setNewNatFlowRecircVlan(intf);
        }
        trace_.at(3, "handleL3Intf", ", delete l3 intf ", intf, " for vlan ", vlan);
        intfL3IndexDel(intf);
        notifyActionSmVlan(vlan);
    }
    notifyMembers(vlan);
}

/// Whoever uses a port of the VLAN depends on the VLAN's L3 interface too.
void UmoNatFlowMcastTopologySm::notifyMembers(std::uint16_t vlan) {
    if (auto const *const status = vlanStatusOf(vlan)) {
        for (auto const &[intf, portStatus] : status->vlanPortStatus()) {
            notifyActionSmIntf(intf);
        }
    }
}

void UmoNatFlowMcastTopologySm::setNewNatFlowRecircVlan(Nexo::IntfId oldIntf) {
    // Told also when there is none: the old VLAN must not be used any more.
    recircVlanIs("setNewNatFlowRecircVlan", firstValidL3Vlan(oldIntf));
}

/// The VLAN that is found first, in the order in which the L3 interfaces came; 0 if none is
/// valid.
std::uint16_t UmoNatFlowMcastTopologySm::firstValidL3Vlan(Nexo::IntfId exceptIntf) const {
    for (auto const &[intf, vlan] : intfL3Index()) {
        if (intf != exceptIntf && vlan != 0 && validVlan(vlan)) {
            return vlan;
        }
    }
    return 0;
}

void UmoNatFlowMcastTopologySm::recircVlanIs(char const *function, std::uint16_t vlan) {
    trace_.at(5, function, ", set natFlowRecircVlan to ", vlan);
    natFlowRecircVlanIs(vlan);
    notifyActionSmRecirc();
}

void UmoNatFlowMcastTopologySm::initializeL3Intf() {
    if (inputs_.umoL3IntfTable) {
        for (auto const &[intf, l3Id] : inputs_.umoL3IntfTable->intfL3Index()) {
            intfL3IndexIs(intf, l3Id.value());
        }
    }
    // An interface that was up may have set it already. That VLAN is kept only if none is valid.
    if (std::uint16_t const vlan = firstValidL3Vlan(Nexo::IntfId()); vlan != 0) {
        recircVlanIs("handleInitialized", vlan);
    }
}

void UmoNatFlowMcastTopologySm::ipIntfStatusIs(Mox::Ptr<Ip::IpIntfStatus const> const &status) {
    ipIntfStatus_.is(status->intf(), {.followed = status, .owner = this});
}

void UmoNatFlowMcastTopologySm::ipIntfStatusDel(Nexo::IntfId intf) {
    ipIntfStatus_.del(intf);
}

void UmoNatFlowMcastTopologySm::ipIntfStatusDelAll() {
    ipIntfStatus_.delAll();
}

void UmoNatFlowMcastTopologySm::NestedSm_IpIntfStatus::dispatch(Pelo::Change const &change) {
    if (change.isOf(Ip::IpIntfStatus::addrWithMaskAttribute) ||
        change.isOf(Ip::IpIntfStatus::routingAttribute)) {
        handleIpIntfStatus();
    }
}

void UmoNatFlowMcastTopologySm::NestedSm_IpIntfStatus::handleIpIntfStatus() {
    bool const up = l3IntfUp(followed());
    trace_.at(3, "handleIpIntfStatus", ", intf: ", followed().intf(),
              ", routing: ", followed().routing(), ", addrMask: ", followed().addrWithMask(),
              ", up: ", up);
    static constinit Skimtrace::Point entered(
        "UmoNatFlowMcastTopologySm::handleIpIntfStatus intf %s");
    entered.record({followed().intf().stringValue()});
    auto const *l3Id = owner().l3IdOf(followed().intf());
    std::uint16_t const vlan = l3Id != nullptr ? l3Id->value() : std::uint16_t{0};
    if (vlan == 0) {
        trace_.at(3, "No vlan found for the l3 intf");
        return;
    }
    owner().notifyActionSmVlan(vlan);
    owner().notifyMembers(vlan);
    if (!up && vlan == owner().natFlowRecircVlan()) {
        owner().setNewNatFlowRecircVlan(followed().intf());
        owner().notifyActionSmRecirc(); // a second time; queueing twice is queueing once
    } else if (up && owner().natFlowRecircVlan() == 0) {
        owner().recircVlanIs("handleIpIntfStatus", vlan);
    }
}
