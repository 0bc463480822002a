#pragma once

#include "agent/switch/Changes.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <map>
#include <set>
#include <utility>
#include <vector>

namespace Sim {

/// Elements by name, in order of insertion.
template <class Value>
class Named {
  public:
    [[nodiscard]] auto begin() const { return elements_.begin(); }
    [[nodiscard]] auto end() const { return elements_.end(); }
    [[nodiscard]] bool empty() const { return elements_.empty(); }
    [[nodiscard]] Value const *find(Pelo::String const &name) const {
        auto const at =
            std::find_if(begin(), end(), [&](auto const &e) { return e.first == name; });
        return at == end() ? nullptr : &at->second;
    }
    [[nodiscard]] Value *find(Pelo::String const &name) {
        return const_cast<Value *>(std::as_const(*this).find(name));
    }
    Value &add(Pelo::String const &name) { return elements_.emplace_back(name, Value{}).second; }
    void erase(Pelo::String const &name) {
        std::erase_if(elements_, [&](auto const &element) { return element.first == name; });
    }

  private:
    std::vector<std::pair<Pelo::String, Value>> elements_;
};

/// An action that is removed and added again is a new one, born in another event.
struct PlainAction : UmoAgent::Table::Action::Value {
    std::size_t born = 0;
};
struct PlainMatch {
    std::size_t born = 0;
    Ip::Nat::NatFlow flow{};
    Named<PlainAction> actions;
};
struct PlainPolicy {
    std::size_t born = 0;
    Named<PlainMatch> matches;
};

/// The inputs of a switch as plain values. Applies the changes of each event in the simplest way,
/// independent of the code that mounts them.
struct PlainSwitch {
    std::size_t events = 0;
    Nexo::EthAddr bridgeMac{};
    std::map<Nexo::IntfId, Bridging::SwitchportModeAndNativeVlan> interfaces;
    std::map<std::uint16_t, std::set<Nexo::IntfId>> vlans;
    std::map<Pelo::String, std::map<Nexo::IntfId, Bridging::Topology::PortState>> topologies;
    std::map<std::uint16_t, Pelo::String> topologyOfVlan;
    std::map<std::uint16_t, std::map<Nexo::EthAddr, Nexo::IntfId>> learnedMacs;
    std::map<Nexo::IntfId, UmoAgent::Table::IpInterface::Value> ipInterfaces;
    std::map<Nexo::IntfId, std::uint16_t> l3Interfaces;
    Named<PlainPolicy> policies;

    void make(UmoAgent::Changes const &changes);
};

} // namespace Sim
