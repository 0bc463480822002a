#include "sim/Plain.h"

#include <optional>
#include <utility>
#include <variant>

namespace Sim {

using UmoAgent::Change;
namespace Table = UmoAgent::Table;

namespace {

/// VLANs are plain numbers.
std::uint16_t plain(Bridging::VlanId vlan) {
    return vlan.value();
}
template <class Part>
Part const &plain(Part const &part) {
    return part;
}

template <class Map, class Key, class Value>
void put(Map &map, Key const &key, std::optional<Value> const &value) {
    value ? (void)map.insert_or_assign(plain(key), plain(*value)) : (void)map.erase(plain(key));
}

template <class Map, class T>
void put(Map &map, Change<T> const &change) {
    put(map, change.key, change.value);
}

/// For a row that holds others.
template <class Map, class T>
void hold(Map &map, Change<T> const &change) {
    change.value ? (void)map.try_emplace(plain(change.key)) : (void)map.erase(plain(change.key));
}

/// Interfaces that the action had keep their place; new ones follow.
template <class Egress>
void sortAsBefore(Egress &egress, Egress const &before) {
    auto const place = [&](auto const &hop) {
        return std::find_if(before.begin(), before.end(),
                            [&](auto const &was) { return was.first == hop.first; });
    };
    std::stable_sort(egress.begin(), egress.end(),
                     [&](auto const &a, auto const &b) { return place(a) < place(b); });
}

/// Makes single changes.
struct Make {
    PlainSwitch &now;

    void operator()(Change<Table::Chip> const & /*change*/) {}   // not an input
    void operator()(Change<Table::Tuning> const & /*change*/) {} // not an input
    void operator()(Change<Table::BridgeMac> const &change) { now.bridgeMac = *change.value; }
    void operator()(Change<Table::Interface> const &change) { put(now.interfaces, change); }
    void operator()(Change<Table::Vlan> const &change) { hold(now.vlans, change); }
    void operator()(Change<Table::VlanMember> const &change) {
        auto &members = now.vlans.at(change.key.in.value());
        change.value ? (void)members.insert(change.key.row) : (void)members.erase(change.key.row);
    }
    void operator()(Change<Table::Topology> const &change) {
        hold(now.topologies, change);
        std::erase_if(now.topologyOfVlan,
                      [&](auto const &vlan) { return !change.value && vlan.second == change.key; });
    }
    void operator()(Change<Table::TopologyPort> const &change) {
        put(now.topologies.at(change.key.in), change.key.row, change.value);
    }
    void operator()(Change<Table::VlanTopology> const &change) { put(now.topologyOfVlan, change); }
    void operator()(Change<Table::Fdb> const &change) { hold(now.learnedMacs, change); }
    void operator()(Change<Table::LearnedMac> const &change) {
        put(now.learnedMacs.at(change.key.in.value()), change.key.row, change.value);
    }
    void operator()(Change<Table::IpInterface> const &change) { put(now.ipInterfaces, change); }
    void operator()(Change<Table::L3Interface> const &change) { put(now.l3Interfaces, change); }
    void operator()(Change<Table::Policy> const &change) {
        known(now.policies, change.key, change.value.has_value());
    }
    void operator()(Change<Table::Match> const &change) {
        auto &matches = now.policies.find(change.key.policy)->matches;
        if (auto *const match = known(matches, change.key.match, change.value.has_value())) {
            match->flow = *change.value;
        }
    }
    void operator()(Change<Table::Action> const &change) {
        auto &match = *now.policies.find(change.key.policy)->matches.find(change.key.match);
        if (auto *const action =
                known(match.actions, change.key.action, change.value.has_value())) {
            auto const before = std::exchange(action->egress, {});
            static_cast<Table::Action::Value &>(*action) = *change.value;
            sortAsBefore(action->egress, before);
        }
    }

    /// The element of that name, added if there was none; null if it is to be removed.
    template <class Value>
    Value *known(Named<Value> &elements, Pelo::String const &name, bool wanted) const {
        if (!wanted) {
            elements.erase(name);
            return nullptr;
        }
        Value *present = elements.find(name);
        if (present == nullptr) {
            present = &elements.add(name);
            present->born = now.events;
        }
        return present;
    }
};

} // namespace

void PlainSwitch::make(UmoAgent::Changes const &changes) {
    ++events;
    for (auto const &change : changes) {
        std::visit(Make{*this}, change);
    }
}

} // namespace Sim
