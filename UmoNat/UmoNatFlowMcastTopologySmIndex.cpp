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

/// Takes the machine out of those of its entries that stand in `index` under `keyOf` them, and
/// hands each key whose entry is left without machines to `remove`.
template <class Entries, class Key, class Entry, class Remove>
void withdrawFrom(Mox::Collection<Key, Mox::Ptr<Entry>> const &index, Entries const &entries,
                  UmoNatflowActionSmEntry::Kind kind, Key const &(Entry::*keyOf)() const noexcept,
                  UmoNatFlowActionSm *actionSm, Remove const &remove) {
    for (UmoNatflowActionSmEntry *const candidate : entries) {
        if (candidate->kind() != kind) {
            continue;
        }
        auto *const entry = static_cast<Entry *>(candidate);
        Key const key = (entry->*keyOf)();
        auto const *const indexed = index.find(key);
        if (indexed == nullptr || indexed->ptr() != entry) {
            continue; // somebody holds an entry that is not in the index
        }
        Mox::Ptr<Entry> const held = *indexed;
        held->actionSmDel(actionSm);
        if (held->actionSm().empty()) {
            remove(key);
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
    using Kind = UmoNatflowActionSmEntry::Kind;
    auto const &entries = actionSm->indexEntries_;
    withdrawFrom(actionIntf_, entries, Kind::intf, &UmoNatflowActionSmIntf::intf, actionSm,
                 [&](Nexo::IntfId intf) {
                     removed("Removed actionIntf for intf ", intf);
                     actionIntfDel(intf);
                 });
    withdrawFrom(actionVlan_, entries, Kind::vlan, &UmoNatflowActionSmVlan::vlan, actionSm,
                 [&](std::uint16_t vlan) {
                     removed("Removed actionVlan for vlan ", vlan);
                     actionVlanDel(vlan);
                 });
    withdrawFrom(actionMac_, entries, Kind::mac, &UmoNatflowActionSmMac::mac, actionSm,
                 [&](Nexo::EthAddr const &mac) {
                     removed("Removed actionMac for mac ", mac);
                     actionMacDel(mac);
                 });
    actionRecircDel(actionSm);
}
