#include "UmoNat/UmoNatFlowActionSm.h"
#include "UmoNat/UmoNatflowActionSmIndex.h"

#include <vector>

UmoNatflowActionSmEntry::~UmoNatflowActionSmEntry() {
    while (UmoNatFlowActionSm *const actionSm = actionSm_.first()) {
        actionSm->indexEntries().memberships_.take(&actionSm_);
    }
}

void UmoNatflowActionSmEntry::actionSmIs(UmoNatFlowActionSm *actionSm) {
    auto &memberships = actionSm->indexEntries().memberships_;
    if (memberships.find(&actionSm_) == nullptr) {
        memberships.append({actionSm_, *actionSm});
        publishChange(actionSmAttribute, actionSm);
    }
}

void UmoNatflowActionSmEntry::actionSmDel(UmoNatFlowActionSm *actionSm) {
    if (actionSm->indexEntries().memberships_.take(&actionSm_)) {
        publishChange(actionSmAttribute, actionSm);
    }
}

void UmoNatflowActionSmEntry::actionSmDelAll() {
    std::vector<UmoNatFlowActionSm *> taken;
    taken.reserve(actionSm_.size());
    while (UmoNatFlowActionSm *const actionSm = actionSm_.first()) {
        actionSm->indexEntries().memberships_.take(&actionSm_);
        taken.push_back(actionSm);
    }
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
