#include "UmoNat/UmoNatFlowActionSm.h"
#include "UmoNat/UmoNatflowActionSmIndex.h"
#include "UmoNat/topology/Trace.h"

#include <ostream>

namespace {

Mox::TraceHandle const &trace = topologySmTrace;

/// The action's names, as the index prints them in traces.
struct Names {
    UmoNatFlowActionSm const &actionSm;
};

std::ostream &operator<<(std::ostream &out, Names const &names) {
    return out << ", policy: " << names.actionSm.policy() << ", match: " << names.actionSm.match()
               << ", action: " << names.actionSm.action();
}

} // namespace

UmoNatflowActionSmIndex::~UmoNatflowActionSmIndex() = default;

/// The entry of the key: the existing one, else a spare one, else a new one.
template <class Entries, class Key, class Publish>
auto UmoNatflowActionSmIndex::entryIs(Entries &entries, Entries &spare, Key const &key,
                                      Publish const &publish) {
    if (entries.find(key) == nullptr) {
        if (auto const taken = spare.remove(key)) {
            Mox::AttributeWork::childAdd(entries, key, taken->value, publish);
            return taken->value;
        }
    }
    return Mox::AttributeWork::childIs(entries, key, publish);
}

void UmoNatflowActionSmIndex::addActionSmIntf(Nexo::IntfId intf, UmoNatFlowActionSm *actionSm) {
    trace.at(4, "addActionSmIntf", Names{*actionSm}, ", intf: ", intf);
    entryIs(actionIntf_, spareIntf_, intf, actionIntfPublish())->actionSmIs(actionSm);
}

void UmoNatflowActionSmIndex::addActionSmVlan(std::uint16_t vlan, UmoNatFlowActionSm *actionSm) {
    trace.at(4, "addActionSmVlan", Names{*actionSm}, ", vlan: ", vlan);
    entryIs(actionVlan_, spareVlan_, vlan, actionVlanPublish())->actionSmIs(actionSm);
}

void UmoNatflowActionSmIndex::addActionSmMac(Nexo::EthAddr const &mac,
                                             UmoNatFlowActionSm *actionSm) {
    trace.at(4, "addActionSmMac", Names{*actionSm}, ", mac: ", mac);
    entryIs(actionMac_, spareMac_, mac, actionMacPublish())->actionSmIs(actionSm);
}

void UmoNatflowActionSmIndex::addActionSmRecirc(UmoNatFlowActionSm *actionSm) {
    trace.at(4, "addActionSmRecirc", Names{*actionSm});
    actionRecircIs(actionSm);
}

void UmoNatflowActionSmIndex::delActionSm(UmoNatFlowActionSm *actionSm) {
    trace.at(4, "delActionSm", Names{*actionSm});
    withdraw(actionSm, true);
}

void UmoNatflowActionSmIndex::actionSmGone(UmoNatFlowActionSm *actionSm) {
    withdraw(actionSm, false);
}

/// Removes the machine from its entries in `entries`. Also removes entries that become empty, and
/// traces each with `removed` unless that is null.
template <class Entries, class Publish>
void UmoNatflowActionSmIndex::withdrawFrom(Entries &entries, Entries &spare,
                                           UmoNatFlowActionSm *actionSm, char const *removed,
                                           Publish const &publish) {
    using Entry = typename Entries::Value::Object;
    spare.clear();
    for (UmoNatflowActionSmEntry *const candidate : actionSm->indexEntries()) {
        if (candidate->kind() != Entry::kKind) {
            continue;
        }
        auto *const found = static_cast<Entry *>(candidate);
        auto const *const indexed = entries.find(found->key());
        if (indexed == nullptr || indexed->ptr() != found) {
            continue; // an entry held outside the index
        }
        Mox::Ptr<Entry> const entry = *indexed;
        entry->actionSmDel(actionSm);
        if (!entry->actionSm().empty()) {
            continue;
        }
        if (removed != nullptr) {
            trace.at(4, removed, entry->key());
        }
        Mox::AttributeWork::elementDel(entries, entry->key(), publish);
        if (entry->references() == 1 && !entry->notifier().everSubscribed()) {
            spare.insert(entry->key(), entry); // not held or followed elsewhere
        }
    }
}

void UmoNatflowActionSmIndex::withdraw(UmoNatFlowActionSm *actionSm, bool traced) {
    auto const removed = [traced](char const *text) { return traced ? text : nullptr; };
    withdrawFrom(actionIntf_, spareIntf_, actionSm, removed("Removed actionIntf for intf "),
                 actionIntfPublish());
    withdrawFrom(actionVlan_, spareVlan_, actionSm, removed("Removed actionVlan for vlan "),
                 actionVlanPublish());
    withdrawFrom(actionMac_, spareMac_, actionSm, removed("Removed actionMac for mac "),
                 actionMacPublish());
    actionRecircDel(actionSm);
}

void UmoNatflowActionSmIndex::clear() {
    actionRecircDelAll();
    actionMacDelAll();
    actionVlanDelAll();
    actionIntfDelAll();
    spareMac_.clear();
    spareVlan_.clear();
    spareIntf_.clear();
}
