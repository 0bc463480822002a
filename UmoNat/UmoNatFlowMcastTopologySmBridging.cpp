#include "UmoNat/UmoNatFlowMcastTopologySmBridging.h"

#include "Skimtrace/Skimtrace.h"

void UmoNatFlowMcastTopologySm::switchIntfConfigIs(
    Mox::Ptr<Bridging::SwitchIntfConfig const> const &config) {
    switchIntfConfig_.is(config->intf(), {.followed = config, .owner = this});
}

void UmoNatFlowMcastTopologySm::switchIntfConfigDel(Nexo::IntfId intf) {
    switchIntfConfig_.del(intf);
}

void UmoNatFlowMcastTopologySm::switchIntfConfigDelAll() {
    switchIntfConfig_.delAll();
}

void UmoNatFlowMcastTopologySm::vlanStatusIs(Mox::Ptr<Bridging::VlanStatus const> const &status) {
    vlanStatus_.is(status->vlanId(), {.followed = status, .owner = this});
}

void UmoNatFlowMcastTopologySm::vlanStatusDel(Bridging::VlanId vlan) {
    vlanStatus_.del(vlan);
}

void UmoNatFlowMcastTopologySm::vlanStatusDelAll() {
    vlanStatus_.delAll();
}

void UmoNatFlowMcastTopologySm::fdbStatusIs(Mox::Ptr<Bridging::FdbStatus const> const &status) {
    fdbStatus_.is(status->fid(), {.followed = status, .owner = this});
}

void UmoNatFlowMcastTopologySm::fdbStatusDel(Bridging::Fid fid) {
    fdbStatus_.del(fid);
}

void UmoNatFlowMcastTopologySm::fdbStatusDelAll() {
    fdbStatus_.delAll();
}

void UmoNatFlowMcastTopologySm::handleVlanStatus(Bridging::VlanId vlan) {
    trace_.at(3, "handleVlanStatus",
              vlanStatusOf(vlan.value()) != nullptr ? ", add vlan " : ", delete vlan ", vlan);
    static constinit Skimtrace::Point entered(
        "UmoNatFlowMcastTopologySm::handleVlanStatus vlan %u");
    entered.record({}, vlan.value());
    notifyActionSmVlan(vlan.value());
}

void UmoNatFlowMcastTopologySm::handleFdbStatus(Bridging::Fid fid) {
    bool const present =
        inputs_.bridgingStatus && inputs_.bridgingStatus->fdbStatus().find(fid) != nullptr;
    trace_.at(3, "handleFdbStatus",
              present ? ", add mac table for vlan " : ", del mac table for vlan ", fid);
    static constinit Skimtrace::Point entered("UmoNatFlowMcastTopologySm::handleFdbStatus vlan %u");
    entered.record({}, fid.value());
    notifyActionSmVlan(fid.value()); // the database of a VLAN has the VLAN's number
}

void UmoNatFlowMcastTopologySm::NestedSm_SwitchIntfConfig::dispatch(Pelo::Change const &change) {
    if (change.isOf(Bridging::SwitchIntfConfig::switchportModeAndNativeVlanAttribute)) {
        handleSwitchportModeAndNativeVlan();
    }
}

void UmoNatFlowMcastTopologySm::NestedSm_SwitchIntfConfig::handleInitialized() {
    handleConfig("handleInitialized");
}

void UmoNatFlowMcastTopologySm::NestedSm_SwitchIntfConfig::handleSwitchportModeAndNativeVlan() {
    handleConfig("handleSwitchportModeAndNativeVlan");
}

void UmoNatFlowMcastTopologySm::NestedSm_SwitchIntfConfig::handleConfig(char const *function) {
    auto const &[mode, nativeVlan] = followed().switchportModeAndNativeVlan();
    trace_.at(3, "MoxSwitchIntfConfig::", function, ", intf: ", followed().intf(), ", mode: ", mode,
              ", native vlan: ", nativeVlan);
    static constinit Skimtrace::Point entered(
        "UmoNatFlowMcastTopologySm::handleSwitchIntfConfig intf %s");
    entered.record({followed().intf().stringValue()});
    owner().notifyActionSmIntf(followed().intf());
}

void UmoNatFlowMcastTopologySm::NestedSm_SwitchIntfConfig::handleSwitchIntfConfigDel() {
    trace_.at(3, "MoxSwitchIntfConfig::", "handleSwitchIntfConfigDel",
              ", intf: ", followed().intf());
    static constinit Skimtrace::Point entered(
        "UmoNatFlowMcastTopologySm::handleSwitchIntfConfigDel intf %s");
    entered.record({followed().intf().stringValue()});
    owner().notifyActionSmIntf(followed().intf());
}

void UmoNatFlowMcastTopologySm::NestedSm_VlanStatus::dispatch(Pelo::Change const &change) {
    if (auto const *intf = change.keyOf(Bridging::VlanStatus::vlanPortStatusAttribute)) {
        handleVlanPortStatus(*intf);
    }
}

/// Whoever uses the interface is told, on whatever VLAN.
void UmoNatFlowMcastTopologySm::NestedSm_VlanStatus::handleVlanPortStatus(Nexo::IntfId intf) {
    bool const member = followed().vlanPortStatus(intf) != nullptr;
    trace_.at(3, "handleVlanPortStatus", ", vlan: ", followed().vlanId(),
              member ? ", add/modify intf " : ", delete intf ", intf);
    static constinit Skimtrace::Point entered(
        "UmoNatFlowMcastTopologySm::handleVlanPortStatus intf %s vlan %u");
    entered.record({intf.stringValue()}, followed().vlanId().value());
    owner().notifyActionSmIntf(intf);
}

void UmoNatFlowMcastTopologySm::NestedSm_FdbStatus::dispatch(Pelo::Change const &change) {
    if (auto const *mac = change.keyOf(Bridging::FdbStatus::learnedHostAttribute)) {
        handleLearnedHost(*mac);
    }
}

/// Told by address alone: the actions for that address in other VLANs are woken too.
void UmoNatFlowMcastTopologySm::NestedSm_FdbStatus::handleLearnedHost(Nexo::EthAddr const &mac) {
    trace_.at(3, "handleLearnedHost", ", vlan: ", followed().fid(), ", mac: ", mac);
    static constinit Skimtrace::Point entered(
        "UmoNatFlowMcastTopologySm::handleLearnedHost vlan %u");
    entered.record({}, followed().fid().value());
    if (auto const *host = followed().learnedHost(mac)) {
        trace_.at(3, "Add mac address, intf: ", host->intf);
    } else {
        trace_.at(3, "Del mac address");
    }
    owner().notifyActionSmMac(mac);
}
