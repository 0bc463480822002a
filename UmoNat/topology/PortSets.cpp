#include "Base/Assert.h"
#include "UmoNat/UmoNatFlowMcastTopologySm.h"
#include "UmoNat/topology/Trace.h"
#include "UmoNat/topology/Verdict.h"

namespace {

using Hindrance = UmoNatFlowHindrance;

Mox::TraceHandle const &trace = topologySmTrace;

/// The port set of `vlan` in `vps`, inserted if missing.
Mox::Ptr<Ip::Nat::NatFlowPortSet> portSetIs(Ip::Nat::NatFlowVlanPortSets &vps, std::uint16_t vlan,
                                            bool unicast) {
    auto ps = unicast ? vps.ucastPortSetIs(vlan) : vps.mcastPortSetIs(vlan);
    Base::assertThat(bool(ps), "ps");
    return ps;
}

} // namespace

/// Registers the VLAN and the host, not the VLAN's ports: port-state changes notify by VLAN.
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
    return sviPorts(vlan, mac, *vps, unicast, nullptr);
}

bool UmoNatFlowMcastTopologySm::sviPorts(std::uint16_t vlan, Nexo::EthAddr const &mac,
                                         Ip::Nat::NatFlowVlanPortSets &vps, bool unicast,
                                         UmoNatFlowVerdicts *verdicts) const {
    if (Hindrance const hindrance = vlanHindrance(vlan); hindrance != Hindrance::none) {
        report(verdicts, vlan, {}, unicast, hindrance);
        return false;
    }
    auto const *host = unicast ? hostOf(vlan, mac) : nullptr;
    return host != nullptr ? addHostPort(vlan, host->intf, mac, vps, verdicts)
                           : floodSviPorts(vlan, mac, vps, unicast, verdicts);
}

/// Adds the host's port or none: a copy for a host behind an unusable port would not reach it
/// through another port.
bool UmoNatFlowMcastTopologySm::addHostPort(std::uint16_t vlan, Nexo::IntfId intf,
                                            Nexo::EthAddr const &mac,
                                            Ip::Nat::NatFlowVlanPortSets &vps,
                                            UmoNatFlowVerdicts *verdicts) const {
    Hindrance hindrance = sviPortHindrance(vlan, intf);
    if (hindrance == Hindrance::none) {
        trace.at(6, "Added intf ", intf, " in port set of vlan ", vlan);
        auto const ps = portSetIs(vps, vlan, true);
        if (!ps->dmac().isZero() && ps->dmac() != mac) {
            trace.at(2, "Different mac already found in the vlan (", ps->dmac(), "), skip intf");
            hindrance = Hindrance::otherMac;
        } else {
            ps->intfIs(intf);
            ps->dmacIs(mac);
        }
    }
    report(verdicts, vlan, intf, true, hindrance);
    if (verdicts != nullptr) {
        for (auto const &[other, status] : vlanStatusOf(vlan)->vlanPortStatus()) {
            if (other != intf) {
                report(verdicts, vlan, other, true, Hindrance::hostElsewhere);
            }
        }
    }
    return hindrance == Hindrance::none;
}

/// Sets the port set's MAC without comparing it, unlike addHostPort: all flooded ports get the same
/// copies, but a known host must not redirect the copies of another.
bool UmoNatFlowMcastTopologySm::floodSviPorts(std::uint16_t vlan, Nexo::EthAddr const &mac,
                                              Ip::Nat::NatFlowVlanPortSets &vps, bool unicast,
                                              UmoNatFlowVerdicts *verdicts) const {
    auto const *const status = vlanStatusOf(vlan);
    if (status == nullptr) {
        return false;
    }
    if (status->vlanPortStatus().empty()) {
        report(verdicts, vlan, {}, unicast, Hindrance::notAMember);
    }
    Mox::Ptr<Ip::Nat::NatFlowPortSet> ps;
    for (auto const &[intf, portStatus] : status->vlanPortStatus()) {
        Hindrance const hindrance = sviPortHindrance(vlan, intf);
        report(verdicts, vlan, intf, unicast, hindrance);
        if (hindrance != Hindrance::none) {
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

/// A routed interface is not a member of a VLAN.
Hindrance UmoNatFlowMcastTopologySm::sviPortHindrance(std::uint16_t vlan, Nexo::IntfId intf) const {
    Hindrance const hindrance = portHindrance(vlan, intf);
    return hindrance != Hindrance::none ? hindrance : carriedVlan(vlan, intf, true).hindrance;
}

std::uint16_t UmoNatFlowMcastTopologySm::addPhysicalPort(Nexo::IntfId intf, std::uint16_t vlan,
                                                         UmoNatFlowActionSm *actionSm) {
    // The semicolon after "intf" is kept as it is.
    trace.at(6, "UmoNatFlowMcastTopologySm::", "addPhysicalPort", ", intf; ", intf,
             ", vlan: ", vlan);
    addActionSmIntf(intf, actionSm);
    if (vlan != 0) {
        // The VLAN of the interface's settings is not registered: a change of the settings notifies
        // by interface.
        addActionSmVlan(vlan, actionSm);
    }
    CarriedVlan const carried = physicalPort(intf, vlan);
    return carried.hindrance == Hindrance::none ? carried.vlan : std::uint16_t{0};
}

UmoNatFlowMcastTopologySm::CarriedVlan
UmoNatFlowMcastTopologySm::physicalPort(Nexo::IntfId intf, std::uint16_t vlan) const {
    CarriedVlan carried = carriedVlan(vlan, intf, false);
    if (carried.hindrance == Hindrance::none) {
        carried.hindrance = vlanHindrance(carried.vlan);
    }
    if (carried.hindrance == Hindrance::none) {
        carried.hindrance = portHindrance(carried.vlan, intf);
    }
    return carried;
}
