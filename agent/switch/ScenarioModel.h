#pragma once

#include "Bridging/Config.h"
#include "Bridging/Topology.h"
#include "Ip/NatStatus.h"
#include "Nexo/EthAddr.h"
#include "Nexo/IntfId.h"
#include "Nexo/IpAddrWithMask.h"
#include "Nexo/IpAndPort.h"
#include "Pelo/String.h"
#include "Vyr/Clock.h"
#include "agent/chip/SoftSwitch.h"
#include "agent/scenario/ScenarioErrors.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <utility>
#include <vector>

/// What a scenario says, as plain values: the state of a switch at the beginning and after each
/// event. The reader fills it, and it is whole and valid before the agent mounts any of it.
namespace UmoAgent {

/// Elements by key, in the order in which the scenario named them first; the NAT library meets
/// them in this order.
template <class Key, class Value>
class Ordered {
  public:
    using Elements = std::vector<std::pair<Key, Value>>;

    [[nodiscard]] auto begin() const { return elements_.begin(); }
    [[nodiscard]] auto end() const { return elements_.end(); }
    [[nodiscard]] auto begin() { return elements_.begin(); }
    [[nodiscard]] auto end() { return elements_.end(); }
    [[nodiscard]] bool empty() const { return elements_.empty(); }
    [[nodiscard]] std::size_t size() const { return elements_.size(); }

    /// The element of that key, or null. Valid until one is added or erased.
    [[nodiscard]] Value *find(Key const &key) {
        auto const at = place(elements_, key);
        return at == elements_.end() ? nullptr : &at->second;
    }
    [[nodiscard]] Value const *find(Key const &key) const {
        auto const at = place(elements_, key);
        return at == elements_.end() ? nullptr : &at->second;
    }
    [[nodiscard]] bool contains(Key const &key) const { return find(key) != nullptr; }

    /// The element of that key, which must be there.
    [[nodiscard]] Value &at(Key const &key) { return *find(key); }

    /// The element of that key; a new one, born in `event`, if there is none.
    Value &findOrAdd(Key const &key, std::size_t event) {
        bool const fresh = !contains(key);
        Value &value = (*this)[key];
        if (fresh) {
            value.born = event;
        }
        return value;
    }

    /// The element of that key; a new one if there is none.
    Value &operator[](Key const &key) {
        Value *const present = find(key);
        return present != nullptr ? *present : elements_.emplace_back(key, Value{}).second;
    }

    void erase(Key const &key) {
        std::erase_if(elements_, [&](auto const &element) { return element.first == key; });
    }
    void clear() { elements_.clear(); }

  private:
    template <class All>
    static auto place(All &elements, Key const &key) {
        return std::find_if(elements.begin(), elements.end(),
                            [&](auto const &element) { return element.first == key; });
    }

    Elements elements_;
};

template <class Value>
using Named = Ordered<Pelo::String, Value>;

struct TopologyState {
    std::map<Nexo::IntfId, Bridging::Topology::PortState> ports;
};

struct IpInterfaceState {
    Nexo::IpAddrWithMask address{};
    bool routing = true;
};

struct EgressState {
    Ip::Nat::NatFlowNextHop nextHop{};
    Place setAt{};
};

/// The number of the event in which a policy, match or action was made, 0 being the initial
/// state. One that an event removes and sets anew is another one of the same name.
using Birth = std::size_t;

struct ActionState {
    Birth born = 0;
    Nexo::IpAndPort source{};
    Nexo::IpAndPort destination{};
    Place destinationSetAt{};
    Ordered<Nexo::IntfId, EgressState> egress;
    bool neededMacs = false; // after some event its flow was not a multicast one
    std::uint32_t version = 1;
};

struct MatchState {
    Birth born = 0;
    Ip::Nat::NatFlow flow{};
    Place destinationSetAt{};
    Named<ActionState> actions;
};

struct PolicyState {
    Birth born = 0;
    Named<MatchState> matches;
};

/// Everything that the NAT library follows, and the size of the chip below it, after some event.
/// VLANs are numbers from 1 to 4094.
struct SwitchModel {
    std::size_t event = 0;           // the number of the event; 0: the initial state
    std::set<Nexo::IntfId> declared; // what may be spoken of, by then or in any event before
    ChipCapacity chip;
    Nexo::EthAddr bridgeMac{};
    std::map<Nexo::IntfId, Bridging::SwitchportModeAndNativeVlan> interfaces;
    std::map<std::uint16_t, std::set<Nexo::IntfId>> vlans;
    std::map<Pelo::String, TopologyState> topologies;
    std::map<std::uint16_t, Pelo::String> topologyOfVlan;
    std::map<std::uint16_t, std::map<Nexo::EthAddr, Nexo::IntfId>> learnedMacs;
    std::map<Nexo::IntfId, IpInterfaceState> ipInterfaces;
    std::map<Nexo::IntfId, std::uint16_t> l3Interfaces;
    Named<PolicyState> policies;
};

/// What an event can have printed.
enum class Printout : std::uint8_t {
    tree,   // the hardware status tree
    chip,   // the contents of the switch chip
    groups, // matches with the groups they want and hold
    table,  // what the switch answers to showNatFlowActionHw
};

struct Event {
    Vyr::Time at{};                   // since the beginning of the scenario
    std::uint32_t refuseGroups = 0;   // how many creations of groups the chip refuses from now on
    std::optional<SwitchModel> state; // after the event; none if it changes nothing
    std::string note;
    std::vector<Printout> print;
};

struct Scenario {
    SwitchModel initial;
    std::vector<Event> events;    // in the order of time
    std::optional<Vyr::Time> end; // not before the last event
};

} // namespace UmoAgent
