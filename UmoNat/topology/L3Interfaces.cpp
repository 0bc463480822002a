#include "Base/Assert.h"
#include "Mox/Enter.h"
#include "UmoNat/topology/IpState.h"
#include "UmoNat/topology/Recirculation.h"
#include "UmoNat/topology/Trace.h"

namespace {
Mox::TraceHandle const &trace = topologySmTrace;
} // namespace

void UmoNatFlowMcastTopologySm::handleL3Intf(Nexo::IntfId intf) {
    static constinit Skimtrace::Point entered("UmoNatFlowMcastTopologySm::handleL3Intf intf %s");
    entered.record({intf.stringValue()});
    std::uint16_t vlan = 0;
    if (auto const *l3Id = l3IdOf(intf)) {
        vlan = UmoL3Intf::l3IdToVlanId(*l3Id);
        trace.at(3, "handleL3Intf", ", add l3 intf ", intf, " for vlan ", vlan);
        intfL3IndexIs(intf, vlan);
        notifyActionSmVlan(vlan);
        // Offered without a check: the VLAN's other state may arrive in any order.
        recirculation_->offer("handleL3Intf", vlan);
    } else {
        std::uint16_t const *const mirrored = intfL3Index(intf);
        if (mirrored == nullptr) {
            return;
        }
        vlan = *mirrored;
        Base::assertThat(vlan != 0, "vlan");
        if (vlan == natFlowRecircVlan()) {
            setNewNatFlowRecircVlan(intf);
        }
        trace.at(3, "handleL3Intf", ", delete l3 intf ", intf, " for vlan ", vlan);
        intfL3IndexDel(intf);
        notifyActionSmVlan(vlan);
    }
    notifyMembers(vlan);
}

/// An action that uses a port of the VLAN depends on the VLAN's L3 interface too.
void UmoNatFlowMcastTopologySm::notifyMembers(std::uint16_t vlan) {
    if (auto const *const status = vlanStatusOf(vlan)) {
        for (auto const &[intf, portStatus] : status->vlanPortStatus()) {
            notifyActionSmIntf(intf);
        }
    }
}

void UmoNatFlowMcastTopologySm::initializeL3Intf() {
    if (inputs_.umoL3IntfTable) {
        for (auto const &[intf, l3Id] : inputs_.umoL3IntfTable->intfL3Index()) {
            intfL3IndexIs(intf, l3Id.value());
        }
    }
    // An interface that is up may have set a VLAN already. It is kept only if no VLAN is valid.
    recirculation_->choose();
}

Mox::Ptr<UmoNatFlowMcastTopologySm::NestedSm_IpIntfStatus>
UmoNatFlowMcastTopologySm::ipIntfStatusIs(Mox::Ptr<Ip::IpIntfStatus const> const &status) {
    return ipIntfStatus_.is(status->intf(), {.followed = status, .owner = this});
}

void UmoNatFlowMcastTopologySm::ipIntfStatusDel(Nexo::IntfId intf) {
    ipIntfStatus_.del(intf);
}

void UmoNatFlowMcastTopologySm::ipIntfStatusDelAll() {
    ipIntfStatus_.delAll();
}

void UmoNatFlowMcastTopologySm::NestedSm_IpIntfStatus::dispatch(
    Pelo::ChangeOf<Ip::IpIntfStatus> const &change) {
    if (change.isOf(Ip::IpIntfStatus::addrWithMaskAttribute) ||
        change.isOf(Ip::IpIntfStatus::routingAttribute)) {
        handleIpIntfStatus();
    }
}

void UmoNatFlowMcastTopologySm::NestedSm_IpIntfStatus::handleIpIntfStatus() {
    bool const up = l3IntfHindrance(followed()) == UmoNatFlowHindrance::none;
    Mox::enter<"UmoNatFlowMcastTopologySm::NestedSm_IpIntfStatus::handleIpIntfStatus intf %s">(
        trace, 3, "handleIpIntfStatus", ", intf: ", followed().intf(),
        ", routing: ", followed().routing(), ", addrMask: ", followed().addrWithMask(),
        ", up: ", up);
    auto const *l3Id = owner().l3IdOf(followed().intf());
    std::uint16_t const vlan = l3Id != nullptr ? l3Id->value() : std::uint16_t{0};
    if (vlan == 0) {
        trace.at(3, "No vlan found for the l3 intf");
        return;
    }
    owner().notifyActionSmVlan(vlan);
    owner().notifyMembers(vlan);
    if (up) {
        owner().recirculation_->offer("handleIpIntfStatus", vlan);
    } else if (vlan == owner().natFlowRecircVlan()) {
        owner().setNewNatFlowRecircVlan(followed().intf());
        owner().notifyActionSmRecirc(); // the second time; an action is queued only once
    }
}
