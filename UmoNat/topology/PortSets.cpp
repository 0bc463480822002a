#include "Base/Assert.h"
#include "UmoNat/UmoNatFlowMcastTopologySm.h"
#include "UmoNat/topology/Trace.h"

namespace {

Mox::TraceHandle const &trace = topologySmTrace;

/// The port set of `vlan` in `vps`, made if it is not there.
Mox::Ptr<Ip::Nat::NatFlowPortSet> portSetIs(Ip::Nat::NatFlowVlanPortSets &vps, std::uint16_t vlan,
                                            bool unicast) {
    auto ps = unicast ? vps.ucastPortSetIs(vlan) : vps.mcastPortSetIs(vlan);
    Base::assertThat(bool(ps), "ps");
    return ps;
}

} // namespace

/// The VLAN and the host are registered, and not the VLAN's ports: the VLAN is notified of its
/// ports' states.
bool UmoNatFlowMcastTopologySm::addSviPorts(std::uint16_t vlan, Nexo::EthAddr const &mac,
                                            Ip::Nat::NatFlowVlanPortSets *vps, bool unicast,
                                            UmoNatFlowActionSm *actionSm) {
    trace.at(6, "UmoNatFlowMcastTopologySm::", "addSviPorts", ", vlan: ", vlan, ", mac: ", mac,
             ", unicast: ", unicast);
    addActionSmVlan(vlan, actionSm);
    if (unicast) {
        Base::assertThat(!mac.isZero(), "mac != Nexo::EthAddr::ethAddrZero()");
        addActionSmMac(mac, actionSm);
    }
    if (!validVlan(vlan)) {
        return false;
    }
    auto const *host = unicast ? hostOf(vlan, mac) : nullptr;
    return host != nullptr ? addHostPort(vlan, host->intf, mac, *vps)
                           : floodSviPorts(vlan, mac, *vps, unicast);
}

/// The host's port is all or nothing: a copy for a host behind an unusable port would not reach
/// it through another.
bool UmoNatFlowMcastTopologySm::addHostPort(std::uint16_t vlan, Nexo::IntfId intf,
                                            Nexo::EthAddr const &mac,
                                            Ip::Nat::NatFlowVlanPortSets &vps) const {
    if (!usableSviPort(vlan, intf)) {
        return false;
    }
    trace.at(6, "Added intf ", intf, " in port set of vlan ", vlan);
    auto const ps = portSetIs(vps, vlan, true);
    if (!ps->dmac().isZero() && ps->dmac() != mac) {
        trace.at(2, "Different mac already found in the vlan (", ps->dmac(), "), skip intf");
        return false;
    }
    ps->intfIs(intf);
    ps->dmacIs(mac);
    return true;
}

/// Gives the port set the MAC without a look at the one that is there, which only the host's
/// port has to agree with.
bool UmoNatFlowMcastTopologySm::floodSviPorts(std::uint16_t vlan, Nexo::EthAddr const &mac,
                                              Ip::Nat::NatFlowVlanPortSets &vps,
                                              bool unicast) const {
    auto const *const status = vlanStatusOf(vlan);
    if (status == nullptr) {
        return false;
    }
    Mox::Ptr<Ip::Nat::NatFlowPortSet> ps;
    for (auto const &[intf, portStatus] : status->vlanPortStatus()) {
        if (!usableSviPort(vlan, intf)) {
            continue;
        }
        trace.at(6, "Added intf ", intf, " in port set of vlan ", vlan);
        if (!ps) {
            ps = portSetIs(vps, vlan, unicast);
        }
        ps->intfIs(intf);
        ps->dmacIs(mac);
    }
    return bool(ps);
}

/// A routed interface is no member of a VLAN's port set.
bool UmoNatFlowMcastTopologySm::usableSviPort(std::uint16_t vlan, Nexo::IntfId intf) const {
    return validPort(vlan, intf) && validSwitchIntf(vlan, intf, true) != 0;
}

std::uint16_t UmoNatFlowMcastTopologySm::addPhysicalPort(Nexo::IntfId intf, std::uint16_t vlan,
                                                         UmoNatFlowActionSm *actionSm) {
    // The semicolon after "intf" has always been there.
    trace.at(6, "UmoNatFlowMcastTopologySm::", "addPhysicalPort", ", intf; ", intf,
             ", vlan: ", vlan);
    addActionSmIntf(intf, actionSm);
    if (vlan != 0) {
        // A VLAN that only follows from the interface's configuration is not registered: the
        // interface is notified of whatever changes that.
        addActionSmVlan(vlan, actionSm);
    }
    std::uint16_t const carried = validSwitchIntf(vlan, intf, false);
    bool const usable = carried != 0 && validVlan(carried) && validPort(carried, intf);
    return usable ? carried : std::uint16_t{0};
}
