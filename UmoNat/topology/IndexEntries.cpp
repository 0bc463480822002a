#include "UmoNat/UmoNatFlowActionSm.h"
#include "UmoNat/UmoNatflowActionSmIndex.h"

UmoNatflowActionSmEntry::~UmoNatflowActionSmEntry() {
    forgottenBy(actionSm_);
}

void UmoNatflowActionSmEntry::forgottenBy(UmoNatFlowActionSms const &actionSms) {
    for (UmoNatFlowActionSm *const actionSm : actionSms) {
        actionSm->indexEntries().entries_.remove(this);
    }
}

void UmoNatflowActionSmEntry::actionSmIs(UmoNatFlowActionSm *actionSm) {
    if (actionSm_.insert(actionSm)) {
        actionSm->indexEntries().entries_.insert(this);
        publishChange(actionSmAttribute, actionSm);
    }
}

void UmoNatflowActionSmEntry::actionSmDel(UmoNatFlowActionSm *actionSm) {
    if (actionSm_.remove(actionSm)) {
        actionSm->indexEntries().entries_.remove(this);
        publishChange(actionSmAttribute, actionSm);
    }
}

void UmoNatflowActionSmEntry::actionSmDelAll() {
    UmoNatFlowActionSms taken;
    taken.takeAll(actionSm_);
    forgottenBy(taken);
    for (UmoNatFlowActionSm *const actionSm : taken) {
        publishChange(actionSmAttribute, actionSm);
    }
}

UmoNatflowActionSmIntf::~UmoNatflowActionSmIntf() = default;
UmoNatflowActionSmVlan::~UmoNatflowActionSmVlan() = default;
UmoNatflowActionSmMac::~UmoNatflowActionSmMac() = default;

Mox::Ptr<UmoNatflowActionSmIntf> UmoNatflowActionSmIntfIs(Nexo::IntfId intf) {
    return Mox::make<UmoNatflowActionSmIntf>(intf);
}

Mox::Ptr<UmoNatflowActionSmVlan> UmoNatflowActionSmVlanIs(std::uint16_t vlan) {
    return Mox::make<UmoNatflowActionSmVlan>(vlan);
}

Mox::Ptr<UmoNatflowActionSmMac> UmoNatflowActionSmMacIs(Nexo::EthAddr const &mac) {
    return Mox::make<UmoNatflowActionSmMac>(mac);
}

Mox::Ptr<UmoNatflowActionSmIntf> umoNatflowActionSmIntfFactory(Nexo::IntfId intf) {
    return UmoNatflowActionSmIntfIs(intf);
}

Mox::Ptr<UmoNatflowActionSmVlan> umoNatflowActionSmVlanFactory(std::uint16_t vlan) {
    return UmoNatflowActionSmVlanIs(vlan);
}

Mox::Ptr<UmoNatflowActionSmMac> umoNatflowActionSmMacFactory(Nexo::EthAddr const &mac) {
    return UmoNatflowActionSmMacIs(mac);
}
