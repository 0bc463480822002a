#include "UmoNat/UmoNatFlowActionSm.h"
#include "UmoNat/UmoNatflowActionSmIndex.h"
#include "UmoNat/topology/Trace.h"

#include <algorithm>
#include <ostream>
#include <type_traits>
#include <utility>
#include <vector>

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

/// The spare entry of that key, or null. Only the next few are compared, so that the cost does not
/// grow with their number.
template <class Entry, class Key>
Mox::Ptr<Entry> UmoNatflowActionSmIndex::spareEntry(Key const &key) {
    constexpr std::size_t kCompared = 4;
    std::size_t const end = std::min(spare_.size(), nextSpare_ + kCompared);
    for (std::size_t i = nextSpare_; i < end; ++i) {
        if (spare_[i]->kind() == Entry::kKind &&
            static_cast<Entry const &>(*spare_[i]).key() == key) {
            nextSpare_ = i + 1;
            Mox::Ptr<UmoNatflowActionSmEntry> const taken = std::move(spare_[i]);
            return Mox::Ptr<Entry>(static_cast<Entry *>(taken.ptr()));
        }
    }
    return nullptr;
}

/// The entry of the key: the existing one, else a spare one, else a new one.
template <class Index, class Key, class Publish>
Mox::Ptr<typename Index::Value::Object>
UmoNatflowActionSmIndex::entryIs(Index &index, Key const &key, Publish const &publish) {
    if (index.find(key) == nullptr) {
        if (auto spare = spareEntry<typename Index::Value::Object>(key)) {
            Mox::AttributeWork::childAdd(index, key, spare, publish);
            return spare;
        }
    }
    return Mox::AttributeWork::childIs(index, key, publish);
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

/// Removes the entries of one kind that are still empty and in the index, each with the trace
/// `removed` unless it is null. A subscriber may have changed any of them meanwhile.
template <class Index, class Publish>
void UmoNatflowActionSmIndex::removeEmptied(Index &index, Entries const &emptied,
                                            char const *removed, Publish const &publish) {
    using Entry = typename Index::Value::Object;
    for (Mox::Ptr<UmoNatflowActionSmEntry> const &entry : emptied) {
        if (entry->kind() != Entry::kKind || !entry->actionSm().empty() || !indexed(*entry)) {
            continue;
        }
        auto const &key = static_cast<Entry const &>(*entry).key();
        if (removed != nullptr) {
            trace.at(4, removed, key);
        }
        Mox::AttributeWork::elementDel(index, key, publish);
    }
}

void UmoNatflowActionSmIndex::withdraw(UmoNatFlowActionSm *actionSm, bool traced) {
    Entries emptied = std::exchange(spare_, {}); // for its room
    emptied.clear();
    for (UmoNatflowActionSmEntry *const candidate : actionSm->indexEntries()) {
        if (!indexed(*candidate)) {
            continue;
        }
        Mox::Ptr<UmoNatflowActionSmEntry> const entry(candidate);
        entry->actionSmDel(actionSm);
        if (entry->actionSm().empty()) {
            emptied.push_back(entry);
        }
    }
    if (!emptied.empty()) {
        auto const removed = [traced](char const *text) { return traced ? text : nullptr; };
        removeEmptied(actionIntf_, emptied, removed("Removed actionIntf for intf "),
                      actionIntfPublish());
        removeEmptied(actionVlan_, emptied, removed("Removed actionVlan for vlan "),
                      actionVlanPublish());
        removeEmptied(actionMac_, emptied, removed("Removed actionMac for mac "),
                      actionMacPublish());
        std::erase_if(emptied, [](Mox::Ptr<UmoNatflowActionSmEntry> const &entry) {
            return entry->references() > 1 || entry->notifier().hasSubscribers();
        });
    }
    actionRecircDel(actionSm);
    spare_ = std::move(emptied);
    nextSpare_ = 0;
}

void UmoNatflowActionSmIndex::clear() {
    actionRecircDelAll();
    actionMacDelAll();
    actionVlanDelAll();
    actionIntfDelAll();
    spare_.clear();
}
