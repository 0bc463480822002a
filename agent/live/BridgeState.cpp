#include "agent/live/BridgeState.h"

#include "Pelo/String.h"

#include <algorithm>
#include <array>
#include <iterator>
#include <optional>
#include <string>
#include <utility>

namespace UmoAgent {

using Bridging::VlanId;
using Nexo::EthAddr;
using Nexo::IntfId;
using Vlans = std::set<VlanId>;

namespace {

/// The changes of some tables.
struct Stage {
    Changes removed;
    Changes set;

    template <class T>
    void remove(typename T::Key key) {
        removed.push_back(Change<T>{std::move(key), std::nullopt});
    }
    template <class T>
    void put(typename T::Key key, typename T::Value value = {}) {
        set.push_back(Change<T>{std::move(key), std::move(value)});
    }
    /// The change of a row from one value to another; null: the row is not there.
    template <class T, class Value>
    void change(typename T::Key key, Value const *old, Value const *next) {
        if (next == nullptr) {
            remove<T>(std::move(key));
        } else if (old == nullptr || *old != *next) {
            put<T>(std::move(key), {*next});
        }
    }
};

/// Calls `visit` with each key of the maps and the values that it has there, or null.
template <class Map, class Visit>
void compare(Map const &from, Map const &to, Visit visit) {
    typename Map::mapped_type const *const none = nullptr;
    auto old = from.begin();
    auto next = to.begin();
    while (old != from.end() || next != to.end()) {
        if (next == to.end() || (old != from.end() && old->first < next->first)) {
            visit(old->first, &old->second, none);
            ++old;
        } else if (old == from.end() || next->first < old->first) {
            visit(next->first, none, &next->second);
            ++next;
        } else {
            visit(old->first, &old->second, &next->second);
            ++old;
            ++next;
        }
    }
}

/// Calls `visit` with each element that only `from` or only `to` has, and whether it is `to`.
template <class Visit>
void compareSets(Vlans const &from, Vlans const &to, Visit visit) {
    Vlans differing;
    std::set_symmetric_difference(from.begin(), from.end(), to.begin(), to.end(),
                                  std::inserter(differing, differing.end()));
    for (VlanId const vlan : differing) {
        visit(vlan, to.count(vlan) != 0);
    }
}

bool isEmpty(BridgeState const &state) {
    return state.ports.empty() && state.vlanInterfaces.empty();
}

Vlans vlansOf(BridgeState const &state) {
    Vlans vlans = state.vlanInterfaces;
    for (auto const &[intf, port] : state.ports) {
        vlans.insert(port.vlans.begin(), port.vlans.end());
    }
    return vlans;
}

bool carryTheSame(BridgeState const &one, BridgeState const &other) {
    return one.vlanInterfaces == other.vlanInterfaces &&
           std::equal(one.ports.begin(), one.ports.end(), other.ports.begin(), other.ports.end(),
                      [](auto const &a, auto const &b) {
                          return a.first == b.first && a.second.vlans == b.second.vlans;
                      });
}

Stage l3Changes(BridgeState const &from, BridgeState const &to) {
    Stage stage;
    compareSets(from.vlanInterfaces, to.vlanInterfaces, [&](VlanId vlan, bool there) {
        IntfId const intf("Vlan" + std::to_string(vlan.value()));
        there ? stage.put<Table::L3Interface>(intf, vlan) : stage.remove<Table::L3Interface>(intf);
    });
    return stage;
}

Stage ipChanges(BridgeState const &from, BridgeState const &to) {
    Stage stage;
    compare(from.addresses, to.addresses, [&](IntfId intf, auto const *old, auto const *next) {
        stage.change<Table::IpInterface>(intf, old, next);
    });
    return stage;
}

Stage learnedChanges(BridgeState const &from, BridgeState const &to) {
    Stage stage;
    std::map<EthAddr, IntfId> const none;
    compare(from.learnedMacs, to.learnedMacs, [&](VlanId vlan, auto const *old, auto const *next) {
        if (next == nullptr) {
            stage.remove<Table::Fdb>(vlan); // with all that was learned
            return;
        }
        if (old == nullptr) {
            stage.put<Table::Fdb>(vlan);
        }
        compare(old != nullptr ? *old : none, *next,
                [&](EthAddr mac, IntfId const *before, IntfId const *now) {
                    stage.change<Table::LearnedMac>({vlan, mac}, before, now);
                });
    });
    return stage;
}

/// The bridge's only topology, which exists while the bridge has anything.
Stage topologyChanges(BridgeState const &from, BridgeState const &to, Vlans const &fromVlans,
                      Vlans const &toVlans) {
    Pelo::String const topology("bridge");
    Stage stage;
    if (isEmpty(to)) {
        if (!isEmpty(from)) {
            stage.remove<Table::Topology>(topology); // with its ports and VLANs
        }
        return stage;
    }
    if (isEmpty(from)) {
        stage.put<Table::Topology>(topology);
    }
    compareSets(fromVlans, toVlans, [&](VlanId vlan, bool there) {
        there ? stage.put<Table::VlanTopology>(vlan, topology)
              : stage.remove<Table::VlanTopology>(vlan);
    });
    compare(from.ports, to.ports, [&](IntfId intf, LivePort const *old, LivePort const *next) {
        stage.change<Table::TopologyPort>({topology, intf}, old != nullptr ? &old->state : nullptr,
                                          next != nullptr ? &next->state : nullptr);
    });
    return stage;
}

Stage vlanChanges(BridgeState const &from, BridgeState const &to, Vlans const &fromVlans,
                  Vlans const &toVlans) {
    Stage stage;
    compareSets(fromVlans, toVlans, [&](VlanId vlan, bool there) {
        there ? stage.put<Table::Vlan>(vlan) : stage.remove<Table::Vlan>(vlan);
    });
    Vlans const none;
    compare(from.ports, to.ports, [&](IntfId intf, LivePort const *old, LivePort const *next) {
        compareSets(old != nullptr ? old->vlans : none, next != nullptr ? next->vlans : none,
                    [&](VlanId vlan, bool there) {
                        if (there) {
                            stage.put<Table::VlanMember>({vlan, intf});
                        } else if (toVlans.count(vlan) != 0) { // else it went with its VLAN
                            stage.remove<Table::VlanMember>({vlan, intf});
                        }
                    });
    });
    return stage;
}

Stage interfaceChanges(BridgeState const &from, BridgeState const &to) {
    Stage stage;
    compare(from.ports, to.ports, [&](IntfId intf, LivePort const *old, LivePort const *next) {
        stage.change<Table::Interface>(intf, old != nullptr ? &old->settings : nullptr,
                                       next != nullptr ? &next->settings : nullptr);
    });
    return stage;
}

} // namespace

/// Everything that goes comes first. What needs other rows goes before them and is set after them.
Changes difference(BridgeState const &from, BridgeState const &to) {
    bool const same = carryTheSame(from, to);
    Vlans const fromVlans = same ? Vlans() : vlansOf(from);
    Vlans const toVlans = same ? Vlans() : vlansOf(to);
    std::array stages{l3Changes(from, to),
                      ipChanges(from, to),
                      learnedChanges(from, to),
                      topologyChanges(from, to, fromVlans, toVlans),
                      vlanChanges(from, to, fromVlans, toVlans),
                      interfaceChanges(from, to)};
    Changes changes;
    for (Stage &stage : stages) {
        std::move(stage.removed.begin(), stage.removed.end(), std::back_inserter(changes));
    }
    if (from.mac != to.mac) {
        changes.emplace_back(Change<Table::BridgeMac>{{}, to.mac});
    }
    std::reverse(stages.begin(), stages.end());
    for (Stage &stage : stages) {
        std::move(stage.set.begin(), stage.set.end(), std::back_inserter(changes));
    }
    return changes;
}

} // namespace UmoAgent
