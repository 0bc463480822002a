#include "agent/live/BridgeState.h"

#include "Pelo/String.h"

#include <algorithm>
#include <iterator>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace UmoAgent {

using Bridging::VlanId;
using Nexo::IntfId;
using Vlans = std::set<VlanId>;

namespace {

IntfId vlanInterface(VlanId vlan) {
    return IntfId("Vlan" + std::to_string(vlan.value()));
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

template <class Set>
std::vector<typename Set::value_type> without(Set const &all, Set const &excluded) {
    std::vector<typename Set::value_type> rest;
    std::set_difference(all.begin(), all.end(), excluded.begin(), excluded.end(),
                        std::back_inserter(rest));
    return rest;
}

/// Calls `visit` with each key of `map`, its value, and the value that it has in `other`, or null.
template <class Map, class Visit>
void walk(Map const &map, Map const &other, Visit visit) {
    auto beside = other.begin();
    for (auto const &[key, value] : map) {
        while (beside != other.end() && beside->first < key) {
            ++beside;
        }
        bool const both = beside != other.end() && beside->first == key;
        visit(key, value, both ? &beside->second : nullptr);
    }
}

/// Makes the list: first everything that goes, then everything that is set. Rows that need others
/// go before them and are set after them.
class Difference {
  public:
    Difference(BridgeState const &from, BridgeState const &to) : from_(from), to_(to) {
        if (!carryTheSame(from, to)) {
            fromVlans_ = vlansOf(from);
            toVlans_ = vlansOf(to);
        }
    }

    Changes make() {
        removeL3AndIp();
        removeLearned();
        removeTopology();
        removeVlans();
        walk(from_.ports, to_.ports, [this](IntfId intf, LivePort const &, LivePort const *next) {
            if (next == nullptr) {
                remove<Table::Interface>(intf);
            }
        });
        if (from_.mac != to_.mac) {
            set<Table::BridgeMac>({}, to_.mac);
        }
        walk(to_.ports, from_.ports,
             [this](IntfId intf, LivePort const &port, LivePort const *old) {
                 if (old == nullptr || old->settings != port.settings) {
                     set<Table::Interface>(intf, port.settings);
                 }
             });
        setVlans();
        setTopology();
        setLearned();
        setL3AndIp();
        return std::move(changes_);
    }

  private:
    template <class T>
    void remove(typename T::Key key) {
        changes_.push_back(Change<T>{std::move(key), std::nullopt});
    }
    template <class T>
    void set(typename T::Key key, typename T::Value value = {}) {
        changes_.push_back(Change<T>{std::move(key), std::move(value)});
    }

    void removeL3AndIp() {
        for (VlanId const vlan : without(from_.vlanInterfaces, to_.vlanInterfaces)) {
            remove<Table::L3Interface>(vlanInterface(vlan));
        }
        walk(from_.addresses, to_.addresses, [this](IntfId intf, auto const &, auto const *next) {
            if (next == nullptr) {
                remove<Table::IpInterface>(intf);
            }
        });
    }

    void setL3AndIp() {
        walk(to_.addresses, from_.addresses,
             [this](IntfId intf, auto const &address, auto const *old) {
                 if (old == nullptr || *old != address) {
                     set<Table::IpInterface>(intf, {address, true});
                 }
             });
        for (VlanId const vlan : without(to_.vlanInterfaces, from_.vlanInterfaces)) {
            set<Table::L3Interface>(vlanInterface(vlan), vlan);
        }
    }

    void removeLearned() {
        walk(from_.learnedMacs, to_.learnedMacs,
             [this](VlanId vlan, auto const &macs, auto const *next) {
                 if (next == nullptr) {
                     remove<Table::Fdb>(vlan);
                     return;
                 }
                 walk(macs, *next, [&](Nexo::EthAddr mac, IntfId, IntfId const *still) {
                     if (still == nullptr) {
                         remove<Table::LearnedMac>({vlan, mac});
                     }
                 });
             });
    }

    void setLearned() {
        walk(to_.learnedMacs, from_.learnedMacs,
             [this](VlanId vlan, auto const &macs, auto const *old) {
                 if (old == nullptr) {
                     set<Table::Fdb>(vlan);
                 }
                 std::map<Nexo::EthAddr, IntfId> const none;
                 walk(macs, old != nullptr ? *old : none,
                      [&](Nexo::EthAddr mac, IntfId intf, IntfId const *before) {
                          if (before == nullptr || *before != intf) {
                              set<Table::LearnedMac>({vlan, mac}, intf);
                          }
                      });
             });
    }

    /// The topology goes with all of its ports and VLANs.
    void removeTopology() {
        if (isEmpty(to_)) {
            if (!isEmpty(from_)) {
                remove<Table::Topology>(topology_);
            }
            return;
        }
        for (VlanId const vlan : without(fromVlans_, toVlans_)) {
            remove<Table::VlanTopology>(vlan);
        }
        walk(from_.ports, to_.ports, [this](IntfId intf, LivePort const &, LivePort const *next) {
            if (next == nullptr) {
                remove<Table::TopologyPort>({topology_, intf});
            }
        });
    }

    void setTopology() {
        if (isEmpty(from_) && !isEmpty(to_)) {
            set<Table::Topology>(topology_);
        }
        for (VlanId const vlan : without(toVlans_, fromVlans_)) {
            set<Table::VlanTopology>(vlan, topology_);
        }
        walk(to_.ports, from_.ports,
             [this](IntfId intf, LivePort const &port, LivePort const *old) {
                 if (old == nullptr || old->state != port.state) {
                     set<Table::TopologyPort>({topology_, intf}, port.state);
                 }
             });
    }

    /// A VLAN goes with all of its members.
    void removeVlans() {
        walk(from_.ports, to_.ports,
             [this](IntfId intf, LivePort const &port, LivePort const *next) {
                 for (VlanId const vlan :
                      without(port.vlans, next != nullptr ? next->vlans : Vlans())) {
                     if (toVlans_.count(vlan) != 0) {
                         remove<Table::VlanMember>({vlan, intf});
                     }
                 }
             });
        for (VlanId const vlan : without(fromVlans_, toVlans_)) {
            remove<Table::Vlan>(vlan);
        }
    }

    void setVlans() {
        for (VlanId const vlan : without(toVlans_, fromVlans_)) {
            set<Table::Vlan>(vlan);
        }
        walk(to_.ports, from_.ports,
             [this](IntfId intf, LivePort const &port, LivePort const *old) {
                 for (VlanId const vlan :
                      without(port.vlans, old != nullptr ? old->vlans : Vlans())) {
                     set<Table::VlanMember>({vlan, intf});
                 }
             });
    }

    BridgeState const &from_;
    BridgeState const &to_;
    Vlans fromVlans_; // empty, like the other, if neither the VLANs nor their members differ
    Vlans toVlans_;
    Pelo::String topology_{"bridge"};
    Changes changes_;
};

} // namespace

Changes difference(BridgeState const &from, BridgeState const &to) {
    return Difference(from, to).make();
}

} // namespace UmoAgent
