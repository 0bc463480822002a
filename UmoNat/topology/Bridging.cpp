#include "UmoNat/topology/Bridging.h"

#include "Mox/Enter.h"
#include "UmoNat/topology/Trace.h"

namespace {
Mox::TraceHandle const &trace = topologySmTrace;
} // namespace

Mox::Ptr<UmoNatFlowMcastTopologySm::NestedSm_SwitchIntfConfig>
UmoNatFlowMcastTopologySm::switchIntfConfigIs(
    Mox::Ptr<Bridging::SwitchIntfConfig const> const &config) {
    return switchIntfConfig_.is(config->intf(), {.followed = config, .owner = this});
}

void UmoNatFlowMcastTopologySm::switchIntfConfigDel(Nexo::IntfId intf) {
    switchIntfConfig_.del(intf);
}

void UmoNatFlowMcastTopologySm::switchIntfConfigDelAll() {
    switchIntfConfig_.delAll();
}

Mox::Ptr<UmoNatFlowMcastTopologySm::NestedSm_VlanStatus>
UmoNatFlowMcastTopologySm::vlanStatusIs(Mox::Ptr<Bridging::VlanStatus const> const &status) {
    return vlanStatus_.is(status->vlanId(), {.followed = status, .owner = this});
}

void UmoNatFlowMcastTopologySm::vlanStatusDel(Bridging::VlanId vlan) {
    vlanStatus_.del(vlan);
}

void UmoNatFlowMcastTopologySm::vlanStatusDelAll() {
    vlanStatus_.delAll();
}

Mox::Ptr<UmoNatFlowMcastTopologySm::NestedSm_FdbStatus>
UmoNatFlowMcastTopologySm::fdbStatusIs(Mox::Ptr<Bridging::FdbStatus const> const &status) {
    return fdbStatus_.is(status->fid(), {.followed = status, .owner = this});
}

void UmoNatFlowMcastTopologySm::fdbStatusDel(Bridging::Fid fid) {
    fdbStatus_.del(fid);
}

void UmoNatFlowMcastTopologySm::fdbStatusDelAll() {
    fdbStatus_.delAll();
}

void UmoNatFlowMcastTopologySm::handleVlanStatus(Bridging::VlanId vlan) {
    bool const present = vlanStatusOf(vlan.value()) != nullptr;
    Mox::enter<"UmoNatFlowMcastTopologySm::handleVlanStatus vlan %u">(
        trace, 3, "handleVlanStatus", present ? ", add vlan " : ", delete vlan ", vlan);
    notifyActionSmVlan(vlan.value());
}

void UmoNatFlowMcastTopologySm::handleFdbStatus(Bridging::Fid fid) {
    bool const present =
        inputs_.bridgingStatus && inputs_.bridgingStatus->fdbStatus().find(fid) != nullptr;
    Mox::enter<"UmoNatFlowMcastTopologySm::handleFdbStatus vlan %u">(
        trace, 3, "handleFdbStatus",
        present ? ", add mac table for vlan " : ", del mac table for vlan ", fid);
    notifyActionSmVlan(fid.value()); // the id of a VLAN's database is the VLAN's number
}

void UmoNatFlowMcastTopologySm::NestedSm_SwitchIntfConfig::dispatch(
    Pelo::ChangeOf<Bridging::SwitchIntfConfig> const &change) {
    if (change.isOf(Bridging::SwitchIntfConfig::switchportModeAndNativeVlanAttribute)) {
        handleSwitchportModeAndNativeVlan();
    }
}

void UmoNatFlowMcastTopologySm::NestedSm_SwitchIntfConfig::handleInitialized() {
    enterHandler<"handleInitialized">();
    owner().notifyActionSmIntf(followed().intf());
}

void UmoNatFlowMcastTopologySm::NestedSm_SwitchIntfConfig::handleSwitchportModeAndNativeVlan() {
    enterHandler<"handleSwitchportModeAndNativeVlan">();
    owner().notifyActionSmIntf(followed().intf());
}

template <Mox::Text Handler>
void UmoNatFlowMcastTopologySm::NestedSm_SwitchIntfConfig::enterHandler() const {
    auto const &[mode, nativeVlan] = followed().switchportModeAndNativeVlan();
    Mox::enter<Mox::Text("UmoNatFlowMcastTopologySm::NestedSm_SwitchIntfConfig::") + Handler +
               " intf %s">(trace, 3, "MoxSwitchIntfConfig::", Handler.chars,
                           ", intf: ", followed().intf(), ", mode: ", mode,
                           ", native vlan: ", nativeVlan);
}

void UmoNatFlowMcastTopologySm::NestedSm_SwitchIntfConfig::handleSwitchIntfConfigDel() {
    Mox::enter<"UmoNatFlowMcastTopologySm::NestedSm_SwitchIntfConfig::handleSwitchIntfConfigDel"
               " intf %s">(trace, 3, "MoxSwitchIntfConfig::", "handleSwitchIntfConfigDel",
                           ", intf: ", followed().intf());
    owner().notifyActionSmIntf(followed().intf());
}

void UmoNatFlowMcastTopologySm::NestedSm_VlanStatus::dispatch(
    Pelo::ChangeOf<Bridging::VlanStatus> const &change) {
    if (auto const *intf = change.keyOf(Bridging::VlanStatus::vlanPortStatusAttribute)) {
        handleVlanPortStatus(*intf);
    }
}

/// Notifies all users of the interface, on whatever VLAN.
void UmoNatFlowMcastTopologySm::NestedSm_VlanStatus::handleVlanPortStatus(Nexo::IntfId intf) {
    bool const member = followed().vlanPortStatus(intf) != nullptr;
    Mox::enter<"UmoNatFlowMcastTopologySm::NestedSm_VlanStatus::handleVlanPortStatus"
               " intf %s vlan %u">(trace, 3, "handleVlanPortStatus",
                                   ", vlan: ", followed().vlanId(),
                                   member ? ", add/modify intf " : ", delete intf ", intf);
    owner().notifyActionSmIntf(intf);
}

void UmoNatFlowMcastTopologySm::NestedSm_FdbStatus::dispatch(
    Pelo::ChangeOf<Bridging::FdbStatus> const &change) {
    if (auto const *mac = change.keyOf(Bridging::FdbStatus::learnedHostAttribute)) {
        handleLearnedHost(*mac);
    }
}

/// Notifies by address alone: the actions for that address in other VLANs are queued too.
void UmoNatFlowMcastTopologySm::NestedSm_FdbStatus::handleLearnedHost(Nexo::EthAddr const &mac) {
    Mox::enter<"UmoNatFlowMcastTopologySm::NestedSm_FdbStatus::handleLearnedHost vlan %u">(
        trace, 3, "handleLearnedHost", ", vlan: ", followed().fid(), ", mac: ", mac);
    if (auto const *host = followed().learnedHost(mac)) {
        trace.at(3, "Add mac address, intf: ", host->intf);
    } else {
        trace.at(3, "Del mac address");
    }
    owner().notifyActionSmMac(mac);
}
