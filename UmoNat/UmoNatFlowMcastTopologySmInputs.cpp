#include "UmoNat/UmoNatFlowMcastTopologySmInputs.h"

// Whether an element was added or removed is decided by what the input holds now.

void UmoNatFlowMcastTopologySm::MoxBridgingConfig::load() {
    for (auto const &[intf, config] : followed().switchIntfConfig()) {
        owner().switchIntfConfigIs(config);
    }
}

void UmoNatFlowMcastTopologySm::MoxBridgingConfig::dispatch(Pelo::Change const &change) {
    auto const *intf = change.keyOf(Bridging::Config::switchIntfConfigAttribute);
    if (intf == nullptr) {
        return;
    }
    if (auto const config = followed().switchIntfConfig(*intf)) {
        owner().switchIntfConfigIs(config);
    } else {
        owner().switchIntfConfigDel(*intf);
    }
}

void UmoNatFlowMcastTopologySm::MoxVlanStatusDir::load() {
    for (auto const &[vlan, status] : followed().vlanStatus()) {
        owner().vlanStatusIs(status);
    }
}

void UmoNatFlowMcastTopologySm::MoxVlanStatusDir::dispatch(Pelo::Change const &change) {
    auto const *vlan = change.keyOf(Bridging::VlanStatusDir::vlanStatusAttribute);
    if (vlan == nullptr) {
        return;
    }
    if (auto const status = followed().vlanStatus(*vlan)) {
        owner().vlanStatusIs(status);
    } else {
        owner().vlanStatusDel(*vlan);
    }
}

void UmoNatFlowMcastTopologySm::MoxBridgingStatus::load() {
    for (auto const &[fid, status] : followed().fdbStatus()) {
        owner().fdbStatusIs(status);
    }
}

void UmoNatFlowMcastTopologySm::MoxBridgingStatus::dispatch(Pelo::Change const &change) {
    auto const *fid = change.keyOf(Bridging::Status::fdbStatusAttribute);
    if (fid == nullptr) {
        return;
    }
    if (auto const status = followed().fdbStatus(*fid)) {
        owner().fdbStatusIs(status);
    } else {
        owner().fdbStatusDel(*fid);
    }
}

void UmoNatFlowMcastTopologySm::MoxIpStatus::load() {
    for (auto const &[intf, status] : followed().ipIntfStatus()) {
        owner().ipIntfStatusIs(status);
    }
}

void UmoNatFlowMcastTopologySm::MoxIpStatus::dispatch(Pelo::Change const &change) {
    auto const *intf = change.keyOf(Ip::Status::ipIntfStatusAttribute);
    if (intf == nullptr) {
        return;
    }
    if (auto const status = followed().ipIntfStatus(*intf)) {
        owner().ipIntfStatusIs(status);
    } else {
        owner().ipIntfStatusDel(*intf);
    }
}
