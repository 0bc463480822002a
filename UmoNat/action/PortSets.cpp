#include "UmoNat/UmoNatFlowActionSm.h"

#include "Base/Assert.h"
#include "Nexo/VlanIntfId.h"
#include "UmoNat/UmoNatFlowMcastTopologySm.h"
#include "UmoNat/action/GroupUse.h"
#include "UmoNat/action/Trace.h"
#include "UmoNat/topology/Verdict.h"

#include <cstddef>

namespace {

Mox::TraceHandle const &trace = actionSmTrace;

/// The destination MAC in the port sets of multicast copies: the chip fills in the group's bits.
constexpr Nexo::EthAddr kMulticastMac(0x01005e000000U);

/// Whether two port sets of a VLAN have the same interfaces, in any order.
bool sameInterfaces(Ip::Nat::NatFlowPortSet const &a, Ip::Nat::NatFlowPortSet const &b) {
    if (a.intf().size() != b.intf().size()) {
        return false;
    }
    for (Nexo::IntfId const intf : a.intf()) {
        if (!b.intf().contains(intf)) {
            return false;
        }
    }
    return true;
}

} // namespace

void UmoNatFlowActionSm::updateSwPortSet(Mox::Ptr<Ip::Nat::NatFlowVlanPortSets> const &vps) {
    trace.at(2, ActionSmEntry{"updateSwPortSet", *this}, ", ft: ", recordedFlowType());
    Base::assertThat(initialized_, "initialized()");
    Base::assertThat(version() != 0, "actionStatus()->version()");
    // The computation below registers the machine again for what it depends on.
    ofMatch().topologySm->delActionSm(this);
    collectPorts(
        {.vps = *vps, .type = recordedFlowType(), .registrant = this, .verdicts = nullptr});
}

void UmoNatFlowActionSm::explainPortSets(Ip::Nat::NatFlowVlanPortSets &vps,
                                         UmoNatFlowVerdicts &verdicts) const {
    if (complete()) {
        collectPorts(
            {.vps = vps, .type = getFlowType(), .registrant = nullptr, .verdicts = &verdicts});
    }
}

void UmoNatFlowActionSm::collectPorts(PortSetPass const &pass) const {
    auto const &egress = inputs_.actionStatus->intf();
    if (egress.empty()) {
        addRecirculation(pass);
    }
    for (auto const &[intf, nextHop] : egress) { // in order of insertion: the first MAC stays
        trace.at(2, "Intf: ", intf, ", vlan: ", nextHop.vlan, ", mac: ", nextHop.mac);
        std::size_t const earlier = pass.verdicts != nullptr ? pass.verdicts->size() : 0;
        if (Nexo::VlanIntfId::isVlanIntfId(intf)) {
            addSvi(Nexo::VlanIntfId::vlanId(intf), nextHop.mac, pass);
        } else {
            addPort(intf, nextHop, pass);
        }
        for (std::size_t i = earlier; pass.verdicts != nullptr && i < pass.verdicts->size(); ++i) {
            (*pass.verdicts)[i].egress = intf;
        }
    }
}

/// Neither unicast nor multicast copies go to the port, if the pass is about both.
void UmoNatFlowActionSm::reportForAllKinds(PortSetPass const &pass, std::uint16_t vlan,
                                           Nexo::IntfId port, UmoNatFlowHindrance hindrance) {
    if (pass.wantsUnicast()) {
        report(pass.verdicts, vlan, port, true, hindrance);
    }
    if (pass.wantsMulticast()) {
        report(pass.verdicts, vlan, port, false, hindrance);
    }
}

/// Recirculated copies are unicast copies to the switch itself, whatever the flow type.
void UmoNatFlowActionSm::addRecirculation(PortSetPass const &pass) const {
    std::uint16_t const vlan = ofMatch().topologySm->natFlowRecircVlan();
    trace.at(2, "Intf: recirc, vlan: ", vlan);
    auto const ps = pass.vps.ucastPortSetIs(vlan);
    Base::assertThat(bool(ps), "ps");
    ps->intfIs(Nexo::IntfId());
    ps->dmacIs(ofMatch().bridgingConfig ? ofMatch().bridgingConfig->bridgeMacAddr()
                                        : Nexo::EthAddr::ethAddrZero());
    if (pass.registrant != nullptr) {
        ofMatch().topologySm->addActionSmRecirc(pass.registrant);
    }
    report(pass.verdicts, vlan, {}, true,
           pass.wantsUnicast() ? UmoNatFlowHindrance::none : UmoNatFlowHindrance::notForMulticast);
}

void UmoNatFlowActionSm::addSvi(std::uint16_t vlan, Nexo::EthAddr const &mac,
                                PortSetPass const &pass) const {
    if (!Bridging::VlanIdOrNone(vlan).usable()) {
        trace.at(2, "Invalid vlan");
        reportForAllKinds(pass, 0, {}, UmoNatFlowHindrance::noVlan);
        return;
    }
    auto const add = [&](Nexo::EthAddr const &dmac, bool unicast) {
        auto &topologySm = *ofMatch().topologySm;
        return pass.registrant != nullptr
                   ? topologySm.addSviPorts(vlan, dmac, &pass.vps, unicast, pass.registrant)
                   : topologySm.sviPorts(vlan, dmac, pass.vps, unicast, pass.verdicts);
    };
    if (pass.wantsUnicast() && !add(mac, true)) {
        trace.at(2, "Invalid or empty vlan");
        if (pass.wantsMulticast()) {
            report(pass.verdicts, vlan, {}, false, UmoNatFlowHindrance::nothingUnicast);
        }
        return;
    }
    if (pass.wantsMulticast() && !add(kMulticastMac, false)) {
        trace.at(2, "Invalid or empty vlan");
    }
}

void UmoNatFlowActionSm::addPort(Nexo::IntfId intf, Ip::Nat::NatFlowNextHop const &nextHop,
                                 PortSetPass const &pass) const {
    auto &topologySm = *ofMatch().topologySm;
    std::uint16_t vlan = 0;
    if (pass.registrant != nullptr) {
        vlan = topologySm.addPhysicalPort(intf, nextHop.vlan, pass.registrant);
    } else {
        auto const carried = topologySm.physicalPort(intf, nextHop.vlan);
        bool const usable = carried.hindrance == UmoNatFlowHindrance::none;
        vlan = usable ? carried.vlan : std::uint16_t{0};
        if (!usable) {
            reportForAllKinds(pass, carried.vlan, intf, carried.hindrance);
        }
    }
    if (vlan == 0) {
        trace.at(2, "Invalid vlan or port state");
        return;
    }
    trace.at(2, "PortSet intf: ", intf, ", vlan: ", vlan);
    if (pass.wantsUnicast()) {
        auto const ps = pass.vps.ucastPortSetIs(vlan);
        Base::assertThat(bool(ps), "ps");
        Base::assertThat(!nextHop.mac.isZero(), "iter->mac() != Nexo::EthAddr::ethAddrZero()");
        if (!ps->dmac().isZero() && ps->dmac() != nextHop.mac) {
            trace.at(2, "Different mac (", ps->dmac(), ") already found in the vlan, skip intf");
            reportForAllKinds(pass, vlan, intf, UmoNatFlowHindrance::otherMac);
            return;
        }
        ps->intfIs(intf);
        ps->dmacIs(nextHop.mac);
        report(pass.verdicts, vlan, intf, true, UmoNatFlowHindrance::none);
    }
    if (pass.wantsMulticast()) {
        auto const ps = pass.vps.mcastPortSetIs(vlan);
        Base::assertThat(bool(ps), "ps");
        ps->intfIs(intf);
        ps->dmacIs(kMulticastMac);
        report(pass.verdicts, vlan, intf, false, UmoNatFlowHindrance::none);
    }
}

void UmoNatFlowActionSm::updateHwPortSet(Mox::Ptr<Ip::Nat::NatFlowVlanPortSets> const &vps) {
    trace.at(2, ActionSmEntry{"updateHwPortSet", *this}, ", ft: ", recordedFlowType());
    if (!programmable()) {
        return;
    }
    Base::assertThat(ofMatch().matchSmStatus->groupNum() != 0, "matchSmStatus()->groupNum()");
    for (NatFlowGroupUse const &use : groupUses()) {
        updateHwPortSetGroup(vps, use.group, use.unicast, use.portSetId2);
    }
}

void UmoNatFlowActionSm::updateHwPortSetGroup(Mox::Ptr<Ip::Nat::NatFlowVlanPortSets> const &vps,
                                              std::uint32_t group, bool unicast, bool portSetId2) {
    trace.at(2, "UmoNatFlowActionSm::", "updateHwPortSetGroup", ", group: ", group,
             ", unicast: ", unicast, ", portSetId2: ", portSetId2);
    if (!programmable() || group == 0) {
        return;
    }
    NatFlowGroupUse const use{group, unicast, portSetId2};
    if (auto const &old = hwActionStatus_->vlanPortSets()) {
        for (auto const &[vlan, portSet] : use.portSets(*old)) {
            std::uint32_t const id = use.identifier(*portSet);
            if (id != 0 && (!vps || !use.portSet(*vps, vlan))) {
                deletePortSet(use, id);
            }
        }
    }
    if (!vps) {
        return;
    }
    for (auto const &[vlan, portSet] : use.portSets(*vps)) {
        programPortSet(use, portSet);
    }
}

/// Deletes a port set of a group and its translations. The destination translation of a unicast
/// port set carries its MAC, so it is always deleted; that of a multicast one only if it is
/// recorded.
void UmoNatFlowActionSm::deletePortSet(NatFlowGroupUse const &use, std::uint32_t id) {
    auto &helper = *ofMatch().helper;
    helper.deleteNatFlowVlanPortSet(use.group, id);
    if (!hwActionStatus_->srcNat().addr().isZero()) {
        helper.deleteNatFlowSrcTranslation(use.group, id);
    }
    if (use.unicast || !hwActionStatus_->dstNat().addr().isZero()) {
        helper.deleteNatFlowDstTranslation(use.group, id);
    }
}

void UmoNatFlowActionSm::programPortSet(NatFlowGroupUse const &use,
                                        Mox::Ptr<Ip::Nat::NatFlowPortSet> const &portSet) {
    bool change = true;
    bool dmacChange = false;
    bool newVlan = false;
    std::uint32_t id = 0;
    // Without recorded port sets no translation is recorded either, so no port set counts as new
    // here. The translation step programs each address that differs from the record, for all port
    // sets.
    if (auto const &old = hwActionStatus_->vlanPortSets()) {
        auto const oldPortSet = use.portSet(*old, portSet->vlan());
        newVlan = !oldPortSet;
        if (oldPortSet) {
            id = use.identifier(*oldPortSet);
            change = !sameInterfaces(*portSet, *oldPortSet);
            dmacChange = use.unicast && portSet->dmac() != oldPortSet->dmac();
        }
    }
    if (use.unicast) {
        trace.at(2, "Update ucast portSet, group: ", use.group, ", portSetId: ", id,
                 ", vlan: ", portSet->vlan(), ", change: ", change, ", dmacChange: ", dmacChange,
                 ", newVlan: ", newVlan);
    } else {
        trace.at(2, "Update mcast portSet, group: ", use.group, ", portSetId: ", id,
                 ", vlan: ", portSet->vlan(), ", change: ", change, ", newVlan: ", newVlan);
    }
    if (change) {
        id = ofMatch().helper->updateNatFlowVlanPortSet(use.group, id, portSet);
        trace.at(2, "New portSetId: ", id);
    }
    use.identifierIs(*portSet, id);
    if (use.unicast ? newVlan || dmacChange : newVlan && !dst().addr().isZero()) {
        updateRecordedDst(use, *portSet);
    }
    if (newVlan && !src().addr().isZero()) {
        updateRecordedSrc(use, *portSet);
    }
}

// A port set that joins others gets the recorded translations. If the addresses have changed too,
// the translation step then programs all port sets.

void UmoNatFlowActionSm::updateRecordedDst(NatFlowGroupUse const &use,
                                           Ip::Nat::NatFlowPortSet const &portSet) {
    trace.at(2, "Update dst translation");
    ofMatch().helper->updateNatFlowDstTranslation(
        use.group, use.identifier(portSet), portSet.vlan(), hwActionStatus_->dstNat(),
        hwActionStatus_->dstFlow(), hwActionStatus_->dstLen(), portSet.dmac());
}

void UmoNatFlowActionSm::updateRecordedSrc(NatFlowGroupUse const &use,
                                           Ip::Nat::NatFlowPortSet const &portSet) {
    trace.at(2, "Update src translation");
    ofMatch().helper->updateNatFlowSrcTranslation(
        use.group, use.identifier(portSet), portSet.vlan(), hwActionStatus_->srcNat(),
        hwActionStatus_->srcFlow(), hwActionStatus_->srcLen());
}
