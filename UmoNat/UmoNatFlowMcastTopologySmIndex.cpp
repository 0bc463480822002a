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

} // namespace

/// The entry of the key: the one that is there, or else a new one. An evaluation withdraws the
/// action and then registers it mostly as before, so an entry that went with the withdrawal is
/// taken again.
template <class Index, class Key, class Publish>
auto UmoNatFlowMcastTopologySm::entryIs(Index &index, Key const &key, Publish const &publish) {
    using Entry = typename Index::Value::Object;
    if (index.find(key) == nullptr) {
        for (Mox::Ptr<UmoNatflowActionSmEntry> &spare : spareEntries_) {
            if (spare && spare->kind() == Entry::kKind) {
                Mox::Ptr<Entry> entry(static_cast<Entry *>(spare.ptr()));
                if (entry->key() == key) {
                    spare = nullptr;
                    Mox::AttributeWork::childAdd(index, key, entry, publish);
                    return entry;
                }
            }
        }
    }
    return Mox::AttributeWork::childIs(index, key, publish);
}

void UmoNatFlowMcastTopologySm::addActionSmIntf(Nexo::IntfId intf, UmoNatFlowActionSm *actionSm) {
    trace_.at(4, "addActionSmIntf", Names{*actionSm}, ", intf: ", intf);
    entryIs(actionIntf_, intf, actionIntfPublish())->actionSmIs(actionSm);
}

void UmoNatFlowMcastTopologySm::addActionSmVlan(std::uint16_t vlan, UmoNatFlowActionSm *actionSm) {
    trace_.at(4, "addActionSmVlan", Names{*actionSm}, ", vlan: ", vlan);
    entryIs(actionVlan_, vlan, actionVlanPublish())->actionSmIs(actionSm);
}

void UmoNatFlowMcastTopologySm::addActionSmMac(Nexo::EthAddr const &mac,
                                               UmoNatFlowActionSm *actionSm) {
    trace_.at(4, "addActionSmMac", Names{*actionSm}, ", mac: ", mac);
    entryIs(actionMac_, mac, actionMacPublish())->actionSmIs(actionSm);
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

/// Takes the machine out of its entries in `index`; those that it leaves empty go, told by
/// `removed`.
template <class Index, class Removed, class Publish>
void UmoNatFlowMcastTopologySm::withdrawFrom(Index &index, UmoNatFlowActionSm *actionSm,
                                             Removed const &removed, Publish const &publish) {
    using Entry = typename Index::Value::Object;
    for (UmoNatflowActionSmEntry *const candidate : actionSm->indexEntries_) {
        if (candidate->kind() != Entry::kKind) {
            continue;
        }
        auto *const found = static_cast<Entry *>(candidate);
        auto const *const indexed = index.find(found->key());
        if (indexed == nullptr || indexed->ptr() != found) {
            continue; // somebody holds an entry that is not in the index
        }
        Mox::Ptr<Entry> const entry = *indexed;
        entry->actionSmDel(actionSm);
        if (!entry->actionSm().empty()) {
            continue;
        }
        removed(entry->key());
        Mox::AttributeWork::elementDel(index, entry->key(), publish);
        if (entry->references() == 1 && !entry->notifier().everSubscribed()) {
            spareEntries_.emplace_back(entry);
        }
    }
}

void UmoNatFlowMcastTopologySm::withdraw(UmoNatFlowActionSm *actionSm, bool traced) {
    auto const removed = [traced](char const *text) {
        return [traced, text](auto const &key) {
            if (traced) {
                trace_.at(4, text, key);
            }
        };
    };
    spareEntries_.clear();
    withdrawFrom(actionIntf_, actionSm, removed("Removed actionIntf for intf "),
                 actionIntfPublish());
    withdrawFrom(actionVlan_, actionSm, removed("Removed actionVlan for vlan "),
                 actionVlanPublish());
    withdrawFrom(actionMac_, actionSm, removed("Removed actionMac for mac "), actionMacPublish());
    actionRecircDel(actionSm);
}
