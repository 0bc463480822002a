#include "agent/switch/Draft.h"

#include "Nexo/VlanIntfId.h"
#include "agent/base/Find.h"
#include "agent/switch/SwitchState.h"

#include <type_traits>
#include <variant>

namespace UmoAgent {

template <class T>
std::optional<typename T::Value> Draft::findRow(typename T::Key const &key) const {
    auto const *const row = findIn(rows<T>(), key);
    return row != nullptr ? *row : mounted_.find<T>(key);
}

template <class T>
std::optional<Table::Present> Draft::findHolder(typename T::In::Key const &key) const {
    auto const *const holder = findIn(holders<T>(), key);
    if (holder == nullptr) {
        return mounted_.find<typename T::In>(key);
    }
    return holder->present ? std::optional(Table::Present{}) : std::nullopt;
}

template <class T>
std::optional<typename T::Value> Draft::findHeld(typename T::Key const &key) const {
    auto const *const holder = findIn(holders<T>(), key.in);
    if (holder == nullptr) {
        return mounted_.find<T>(key);
    }
    auto const *const row = findIn(holder->rows, key.row);
    if (row != nullptr) {
        return *row;
    }
    return holder->stays() ? mounted_.find<T>(key) : std::nullopt;
}

template <>
std::optional<ChipCapacity> Draft::find<Table::Chip>(Table::Only const &key) const {
    return findRow<Table::Chip>(key);
}
template <>
std::optional<Table::Tuning::Value> Draft::find<Table::Tuning>(Table::Only const &key) const {
    return findRow<Table::Tuning>(key);
}
template <>
std::optional<Nexo::EthAddr> Draft::find<Table::BridgeMac>(Table::Only const &key) const {
    return findRow<Table::BridgeMac>(key);
}
template <>
std::optional<Table::Interface::Value>
Draft::find<Table::Interface>(Nexo::IntfId const &key) const {
    return findRow<Table::Interface>(key);
}
template <>
std::optional<Pelo::String> Draft::find<Table::VlanTopology>(Bridging::VlanId const &key) const {
    return findRow<Table::VlanTopology>(key);
}
template <>
std::optional<Table::IpInterface::Value>
Draft::find<Table::IpInterface>(Nexo::IntfId const &key) const {
    return findRow<Table::IpInterface>(key);
}
template <>
std::optional<Bridging::VlanId> Draft::find<Table::L3Interface>(Nexo::IntfId const &key) const {
    return findRow<Table::L3Interface>(key);
}
template <>
std::optional<Table::Present> Draft::find<Table::Vlan>(Bridging::VlanId const &key) const {
    return findHolder<Table::VlanMember>(key);
}
template <>
std::optional<Table::Present>
Draft::find<Table::VlanMember>(Table::VlanMember::Key const &key) const {
    return findHeld<Table::VlanMember>(key);
}
template <>
std::optional<Table::Present> Draft::find<Table::Topology>(Pelo::String const &key) const {
    return findHolder<Table::TopologyPort>(key);
}
template <>
std::optional<Bridging::Topology::PortState>
Draft::find<Table::TopologyPort>(Table::TopologyPort::Key const &key) const {
    return findHeld<Table::TopologyPort>(key);
}
template <>
std::optional<Table::Present> Draft::find<Table::Fdb>(Bridging::VlanId const &key) const {
    return findHolder<Table::LearnedMac>(key);
}
template <>
std::optional<Nexo::IntfId>
Draft::find<Table::LearnedMac>(Table::LearnedMac::Key const &key) const {
    return findHeld<Table::LearnedMac>(key);
}

bool Draft::everDeclared(Nexo::IntfId intf) const {
    return declared_.count(intf) != 0 || mounted_.everDeclared(intf);
}

std::optional<Fault> Draft::make(AnyChange const &change) {
    std::size_t const index = changes_++;
    Refusal refusal = std::visit([this](auto const &one) { return makeOne(one); }, change);
    return refusal ? std::optional(Fault{index, "", std::move(*refusal)}) : std::nullopt;
}

std::vector<Fault> Draft::makeAll(Changes const &list) {
    std::vector<Fault> faults;
    for (AnyChange const &change : list) {
        if (auto fault = make(change)) {
            faults.push_back(std::move(*fault));
        }
    }
    auto ofWhole = endList(list);
    faults.insert(faults.end(), ofWhole.begin(), ofWhole.end());
    return faults;
}

template <class T>
Draft::Refusal Draft::makeRow(Change<T> const &change) {
    if (!change.value && !findRow<T>(change.key)) {
        return draftAbsent(T::kOne);
    }
    std::get<DraftRows<T>>(rows_)[change.key] = change.value;
    return std::nullopt;
}

template <class T>
DraftHolder<T> &Draft::holder(typename T::In::Key const &key) {
    auto const [at, fresh] = std::get<DraftHolders<T>>(holders_).try_emplace(key);
    if (fresh) {
        at->second.mounted = at->second.present = mounted_.find<typename T::In>(key).has_value();
    }
    return at->second;
}

template <class T>
Draft::Refusal Draft::makeHolder(Change<typename T::In> const &change) {
    DraftHolder<T> &holder = this->holder<T>(change.key);
    if (!change.value) {
        if (!holder.present) {
            return draftAbsent(T::In::kOne);
        }
        holder.ended = holder.mounted;
        holder.rows.clear();
    }
    holder.present = change.value.has_value();
    return std::nullopt;
}

template <class T>
Draft::Refusal Draft::makeHeld(Change<T> const &change) {
    DraftHolder<T> &holder = this->holder<T>(change.key.in);
    if (!holder.present) {
        return draftAbsent(T::In::kOne);
    }
    if (!change.value && !findHeld<T>(change.key)) {
        return draftAbsent(T::kOne);
    }
    holder.rows[change.key.row] = change.value;
    return std::nullopt;
}

Draft::Refusal Draft::makeOne(Change<Table::Chip> const &change) {
    return change.value ? makeRow(change) : "a size";
}

Draft::Refusal Draft::makeOne(Change<Table::Tuning> const &change) {
    return change.value ? makeRow(change) : "a tuning";
}

Draft::Refusal Draft::makeOne(Change<Table::BridgeMac> const &change) {
    return change.value ? makeRow(change) : "a MAC address";
}

Draft::Refusal Draft::makeOne(Change<Table::Interface> const &change) {
    if (change.value) {
        declared_.insert(change.key);
    }
    return makeRow(change);
}

Draft::Refusal Draft::makeOne(Change<Table::Vlan> const &change) {
    return makeHolder<Table::VlanMember>(change);
}

Draft::Refusal Draft::makeOne(Change<Table::VlanMember> const &change) {
    return makeHeld(change);
}

/// The VLANs of a removed topology are in none.
Draft::Refusal Draft::makeOne(Change<Table::Topology> const &change) {
    Refusal refusal = makeHolder<Table::TopologyPort>(change);
    if (!change.value && !refusal) {
        auto &topologyOfVlan = std::get<DraftRows<Table::VlanTopology>>(rows_);
        for (Bridging::VlanId const vlan : mounted_.vlansOfTopology(change.key)) {
            topologyOfVlan.try_emplace(vlan, std::nullopt);
        }
        for (auto &[vlan, topology] : topologyOfVlan) {
            if (topology == change.key) {
                topology.reset();
            }
        }
    }
    return refusal;
}

Draft::Refusal Draft::makeOne(Change<Table::TopologyPort> const &change) {
    return makeHeld(change);
}

Draft::Refusal Draft::makeOne(Change<Table::VlanTopology> const &change) {
    if (change.value && !has<Table::Topology>(*change.value)) {
        return draftAbsent(Table::Topology::kOne);
    }
    return makeRow(change);
}

Draft::Refusal Draft::makeOne(Change<Table::Fdb> const &change) {
    return makeHolder<Table::LearnedMac>(change);
}

Draft::Refusal Draft::makeOne(Change<Table::LearnedMac> const &change) {
    return makeHeld(change);
}

Draft::Refusal Draft::makeOne(Change<Table::IpInterface> const &change) {
    return makeRow(change);
}

Draft::Refusal Draft::makeOne(Change<Table::L3Interface> const &change) {
    std::uint16_t const vlan = Nexo::VlanIntfId::vlanId(change.key);
    if (change.value && vlan != 0 && vlan != change.value->value()) {
        return std::to_string(vlan) + ", the number of the interface's VLAN";
    }
    auto const *const before = findIn(rows<Table::L3Interface>(), change.key);
    if (before != nullptr && *before) {
        l3Owners_.erase({**before, change.key});
    }
    Refusal refusal = makeRow(change);
    if (change.value) {
        l3Owners_.emplace(*change.value, change.key);
    }
    return refusal;
}

std::vector<Fault> Draft::endList(Changes const &list, std::function<void()> const &breathe) {
    std::vector<Fault> faults;
    auto const breatheAfter = [&](std::size_t index) {
        if (breathe && (index + 1) % kChangesInABreath == 0) {
            breathe();
        }
    };
    for (std::size_t index = 0; index < list.size(); ++index) {
        if (auto const *const l3 = std::get_if<Change<Table::L3Interface>>(&list[index])) {
            checkL3Id(index, *l3, faults);
        } else if (auto const *const action = std::get_if<Change<Table::Action>>(&list[index])) {
            if (auto *const match = presentMatch(action->key.policy, action->key.match)) {
                checkAction(index, action->key, *match, faults);
            }
        }
        breatheAfter(index);
    }
    // An action that is faulty itself is not reported again because of its flow.
    for (std::size_t index = 0; index < list.size(); ++index) {
        if (auto const *const match = std::get_if<Change<Table::Match>>(&list[index])) {
            checkMatch(index, match->key, breathe, faults);
        }
        breatheAfter(index);
    }
    changes_ = 0;
    ++lists_;
    return faults;
}

/// Checked when all ids are set, so that interfaces can exchange theirs.
void Draft::checkL3Id(std::size_t index, Change<Table::L3Interface> const &change,
                      std::vector<Fault> &faults) const {
    auto const id = find<Table::L3Interface>(change.key);
    if (!id || id != change.value) {
        return; // it was refused, or changed again later
    }
    Nexo::IntfId other = mounted_.l3InterfaceOf(*id);
    if (other.empty() || rows<Table::L3Interface>().count(other) != 0) {
        auto at = l3Owners_.lower_bound({*id, Nexo::IntfId()});
        if (at->second == change.key) {
            ++at;
        }
        if (at == l3Owners_.end() || at->first != *id) {
            return;
        }
        other = at->second;
    }
    faults.push_back({index, "", "an id that " + other.stringValue() + " does not have"});
}

} // namespace UmoAgent
