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

/// The entry of the key: the existing one, else the next emptied one of that key, else a new one.
/// An action mostly registers in the same order, so emptied entries of other keys are skipped.
template <class Entries, class Key, class Publish>
Mox::Ptr<typename Entries::Value::Object>
UmoNatflowActionSmIndex::entryIs(Entries &entries, Key const &key, Publish const &publish) {
    using Entry = typename Entries::Value::Object;
    if (entries.find(key) == nullptr) {
        while (nextEmptied_ < emptied_.size()) {
            Mox::Ptr<UmoNatflowActionSmEntry> const spare = std::move(emptied_[nextEmptied_++]);
            bool const known = spare->references() > 1 || spare->notifier().everSubscribed();
            if (known || spare->kind() != Entry::kKind) {
                continue;
            }
            Mox::Ptr<Entry> const entry(static_cast<Entry *>(spare.ptr()));
            if (entry->key() == key) {
                Mox::AttributeWork::childAdd(entries, key, entry, publish);
                return entry;
            }
        }
    }
    return Mox::AttributeWork::childIs(entries, key, publish);
}

void UmoNatflowActionSmIndex::addActionSmIntf(Nexo::IntfId intf, UmoNatFlowActionSm *actionSm) {
    trace.at(4, "addActionSmIntf", Names{*actionSm}, ", intf: ", intf);
    entryIs(actionIntf_, intf, actionIntfPublish())->actionSmIs(actionSm);
}

void UmoNatflowActionSmIndex::addActionSmVlan(std::uint16_t vlan, UmoNatFlowActionSm *actionSm) {
    trace.at(4, "addActionSmVlan", Names{*actionSm}, ", vlan: ", vlan);
    entryIs(actionVlan_, vlan, actionVlanPublish())->actionSmIs(actionSm);
}

void UmoNatflowActionSmIndex::addActionSmMac(Nexo::EthAddr const &mac,
                                             UmoNatFlowActionSm *actionSm) {
    trace.at(4, "addActionSmMac", Names{*actionSm}, ", mac: ", mac);
    entryIs(actionMac_, mac, actionMacPublish())->actionSmIs(actionSm);
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

/// Whether the entry is in the index. Somebody may hold one outside it.
bool UmoNatflowActionSmIndex::indexed(UmoNatflowActionSmEntry &entry) const noexcept {
    auto const in = [&entry](auto const &entries) {
        using Entry = typename std::remove_cvref_t<decltype(entries)>::Value::Object;
        auto const *const found = entries.find(static_cast<Entry &>(entry).key());
        return found != nullptr && found->ptr() == &entry;
    };
    switch (entry.kind()) {
    case UmoNatflowActionSmEntry::Kind::intf:
        return in(actionIntf_);
    case UmoNatflowActionSmEntry::Kind::vlan:
        return in(actionVlan_);
    case UmoNatflowActionSmEntry::Kind::mac:
        return in(actionMac_);
    }
    return false;
}

/// Removes the emptied entries of one kind, each with the trace `removed` unless it is null.
template <class Entries, class Publish>
void UmoNatflowActionSmIndex::removeEmptied(Entries &entries, char const *removed,
                                            Publish const &publish) {
    using Entry = typename Entries::Value::Object;
    for (std::size_t i = 0; i < emptied_.size(); ++i) { // what is published may change the list
        Mox::Ptr<UmoNatflowActionSmEntry> const entry = emptied_[i];
        if (entry->kind() == Entry::kKind) {
            auto const &key = static_cast<Entry const &>(*entry).key();
            if (removed != nullptr) {
                trace.at(4, removed, key);
            }
            Mox::AttributeWork::elementDel(entries, key, publish);
        }
    }
}

void UmoNatflowActionSmIndex::withdraw(UmoNatFlowActionSm *actionSm, bool traced) {
    emptied_.clear();
    nextEmptied_ = 0;
    for (UmoNatflowActionSmEntry *const entry : actionSm->indexEntries()) {
        if (indexed(*entry)) {
            entry->actionSmDel(actionSm);
            if (entry->actionSm().empty()) {
                emptied_.emplace_back(entry);
            }
        }
    }
    actionRecircDel(actionSm);
    if (!emptied_.empty()) {
        auto const removed = [traced](char const *text) { return traced ? text : nullptr; };
        removeEmptied(actionIntf_, removed("Removed actionIntf for intf "), actionIntfPublish());
        removeEmptied(actionVlan_, removed("Removed actionVlan for vlan "), actionVlanPublish());
        removeEmptied(actionMac_, removed("Removed actionMac for mac "), actionMacPublish());
    }
}

void UmoNatflowActionSmIndex::clear() {
    actionRecircDelAll();
    actionMacDelAll();
    actionVlanDelAll();
    actionIntfDelAll();
    emptied_.clear();
}
