#include "UmoNat/UmoNatFlowActionSm.h"
#include "UmoNat/UmoNatFlowMcastTopologySm.h"

#include <ostream>

namespace {

/// The action's names, as every line of the index shows them.
struct Names {
    UmoNatFlowActionSm const &actionSm;
};

std::ostream &operator<<(std::ostream &out, Names const &names) {
    return out << ", policy: " << names.actionSm.policy() << ", match: " << names.actionSm.match()
               << ", action: " << names.actionSm.action();
}

/// Takes the machine out of all entries of one kind. `remove` is given the key of each entry
/// that is left without machines.
template <class Index, class Remove>
void withdrawFrom(Index const &index, UmoNatFlowActionSm *actionSm, Remove const &remove) {
    for (auto const &[key, entry] : index) {
        if (entry->actionSm().contains(actionSm)) {
            entry->actionSmDel(actionSm);
            if (entry->actionSm().empty()) {
                remove(key);
            }
        }
    }
}

} // namespace

void UmoNatFlowMcastTopologySm::addActionSmIntf(Nexo::IntfId intf, UmoNatFlowActionSm *actionSm) {
    trace_.at(4, "addActionSmIntf", Names{*actionSm}, ", intf: ", intf);
    actionIntfIs(intf)->actionSmIs(actionSm);
}

void UmoNatFlowMcastTopologySm::addActionSmVlan(std::uint16_t vlan, UmoNatFlowActionSm *actionSm) {
    trace_.at(4, "addActionSmVlan", Names{*actionSm}, ", vlan: ", vlan);
    actionVlanIs(vlan)->actionSmIs(actionSm);
}

void UmoNatFlowMcastTopologySm::addActionSmMac(Nexo::EthAddr const &mac,
                                               UmoNatFlowActionSm *actionSm) {
    trace_.at(4, "addActionSmMac", Names{*actionSm}, ", mac: ", mac);
    actionMacIs(mac)->actionSmIs(actionSm);
}

void UmoNatFlowMcastTopologySm::addActionSmRecirc(UmoNatFlowActionSm *actionSm) {
    trace_.at(4, "addActionSmRecirc", Names{*actionSm});
    actionRecircIs(actionSm);
}

/// A queued action stays queued: it withdraws in order to register anew, and what it was queued
/// for is still to be evaluated.
void UmoNatFlowMcastTopologySm::delActionSm(UmoNatFlowActionSm *actionSm) {
    trace_.at(4, "delActionSm", Names{*actionSm});
    withdraw(actionSm, true);
}

void UmoNatFlowMcastTopologySm::actionSmGone(UmoNatFlowActionSm *actionSm) {
    withdraw(actionSm, false);
    actionSmUpdateBacklogDel(actionSm);
}

void UmoNatFlowMcastTopologySm::withdraw(UmoNatFlowActionSm *actionSm, bool traced) {
    auto const removed = [traced](char const *text, auto const &key) {
        if (traced) {
            trace_.at(4, text, key);
        }
    };
    withdrawFrom(actionIntf_, actionSm, [&](Nexo::IntfId intf) {
        removed("Removed actionIntf for intf ", intf);
        actionIntfDel(intf);
    });
    withdrawFrom(actionVlan_, actionSm, [&](std::uint16_t vlan) {
        removed("Removed actionVlan for vlan ", vlan);
        actionVlanDel(vlan);
    });
    withdrawFrom(actionMac_, actionSm, [&](Nexo::EthAddr mac) {
        removed("Removed actionMac for mac ", mac);
        actionMacDel(mac);
    });
    actionRecircDel(actionSm);
}

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
