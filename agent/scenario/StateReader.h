#pragma once

#include "agent/scenario/ChangeList.h"
#include "agent/scenario/ScenarioNodes.h"
#include "agent/scenario/ScenarioValues.h"

#include <functional>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

namespace UmoAgent {

/// Whether a part of a file sets rows or removes them.
enum class Verb { set, remove };

/// Reads a switch's initial state, and what an event sets or removes, into changes. There is one
/// grammar for all; docs/scenarios.md describes it for writers of scenarios. Setting:
///
///     chip: {groups: 4, port-sets-per-group: 64}
///     tuning: {backlog-limit: 100, backlog-interval: 100ms, retry-delay: 10s}
///     bridge-mac: 02:00:00:00:00:01
///     interfaces: {Ethernet1: {mode: access, native-vlan: 10}}
///     vlans: {10: [Ethernet1, Ethernet2]}
///     topologies: {main: {vlans: [10], ports: {Ethernet1: forwarding}}}
///     learned-macs: {10: {"00:11:22:33:44:55": Ethernet1}}
///     ip-interfaces: {Vlan10: {address: 10.0.10.1/24, routing: true}}
///     l3-interfaces: {Vlan10: 10}
///     policies: {feed: {matches: {gold: {
///       flow: {source: 10.1.0.0/16, source-port: 5000,
///              destination: 239.1.1.1/32, destination-port: 5000},      # all optional
///       actions: {cust-a: {
///         source: 10.9.9.9:5000, destination: 239.2.2.2:6000,           # all optional
///         egress: {Vlan10: {mac: 02:00:00:00:10:01}, Ethernet3: {vlan: 20}},
///         version: 1}}}}}}
///
/// Removing mirrors it: a list removes what it names, a mapping goes deeper. Removing something
/// that is not there is an error.
///
///     interfaces: [Ethernet1]                 # also ip-interfaces, l3-interfaces
///     vlans: [10]                             # or {10: [Ethernet2]}
///     topologies: [main]                      # or {main: {vlans: [10], ports: [Ethernet2]}}
///     learned-macs: [10]                      # or {10: ["00:11:22:33:44:55"]}
///     policies: [feed]                        # or {feed: {matches: [gold]}}, or deeper:
///       {feed: {matches: {gold: {flow: [destination, source-port], actions: [cust-a]}}}}
///       ... actions: {cust-a: [source, destination]}
///       ... actions: {cust-a: {egress: [Ethernet3]}}     # or egress: {Ethernet3: [vlan, mac]}
class StateReader {
  public:
    StateReader(ScenarioNodes &nodes, ScenarioValues &values, ChangeList &changes)
        : nodes_(nodes), values_(values), changes_(changes) {}

    /// The keys of a state, with their readers.
    std::vector<ScenarioNodes::Field> fields(Verb verb);

    /// Ends an event.
    Changes end();

  private:
    /// How the rows of a table are read, whose keys the file gives as names.
    template <class T, class Name>
    struct Rows {
        std::string_view expected; // when setting rows
        std::function<std::optional<Name>(YamlNode)> name;
        std::function<typename T::Key(Name const &)> key;
        std::function<void(Name const &, YamlNode name, YamlNode value)> set;
        /// Removes parts of a row named by a mapping; null: rows are only removed as a whole.
        std::function<void(Name const &, YamlNode name, YamlNode value)> removeIn = nullptr;
    };
    template <class T, class Name>
    void rows(Verb verb, YamlNode node, Rows<T, Name> const &rows);

    /// A part of a row's value, which may be unset.
    struct Part {
        std::string_view name;
        ScenarioNodes::Handler set;
        bool isSet = false;
        ScenarioNodes::Handler clear = nullptr; // null: it cannot be cleared
    };
    void parts(Verb verb, YamlNode node, std::string_view expected, std::vector<Part> const &parts);

    template <class T>
    void setIfMissing(typename T::Key const &key, YamlNode node) {
        if (!changes_.draft().has<T>(key)) {
            changes_.set<T>(key, {}, node);
        }
    }
    std::function<std::optional<Nexo::IntfId>(YamlNode)> portNames(Verb verb);
    std::function<std::optional<Nexo::IntfId>(YamlNode)> interfaceNames(Verb verb);

    void chip(YamlNode node);
    void tuning(YamlNode node);
    void bridgeMac(YamlNode node);
    void interfaces(Verb verb, YamlNode node);
    void interface(Nexo::IntfId intf, YamlNode name, YamlNode settings);
    void vlans(Verb verb, YamlNode node);
    void topologies(Verb verb, YamlNode node);
    void topology(Verb verb, Pelo::String const &name, YamlNode node);
    void topologyVlan(Verb verb, Pelo::String const &topology, YamlNode node);
    void learnedMacs(Verb verb, YamlNode node);
    void ipInterfaces(Verb verb, YamlNode node);
    void l3Interfaces(Verb verb, YamlNode node);

    void policies(Verb verb, YamlNode node);
    void match(Verb verb, Table::Match::Key const &key, YamlNode name, YamlNode node);
    void flow(Verb verb, Table::Match::Key const &key, YamlNode node, Ip::Nat::NatFlow &flow);
    void prefix(YamlNode node, Ip::Nat::NatFlowEnd &end);
    void actions(Verb verb, Table::Match::Key const &match, YamlNode node);
    void action(Verb verb, Table::Action::Key const &key, YamlNode name, YamlNode node);
    void setEgress(Table::Action::Key const &key, YamlNode node, Table::Action::Value &action);
    void removeEgress(Table::Action::Key const &key, YamlNode node, Table::Action::Value &action);
    void nextHop(Verb verb, Table::Action::Key const &key, Nexo::IntfId intf, YamlNode name,
                 YamlNode node, Ip::Nat::NatFlowNextHop &hop);

    ScenarioNodes &nodes_;
    ScenarioValues &values_;
    ChangeList &changes_;
    std::map<Bridging::VlanId, Pelo::String> topologyOfVlan_; // as this event sets them
    std::set<Table::Action::Key> named_;                      // actions in this event
};

template <class T, class Name>
void StateReader::rows(Verb verb, YamlNode node, Rows<T, Name> const &rows) {
    auto const isThere = [&](Name const &name, YamlNode at) {
        bool const there = changes_.draft().has<T>(rows.key(name));
        if (!there) {
            nodes_.unexpected(at, draftAbsent(T::kOne));
        }
        return there;
    };
    if (verb == Verb::set) {
        nodes_.entries<Name>(node, rows.expected, rows.name, rows.set);
    } else if (node.isMap() && rows.removeIn) {
        nodes_.entries<Name>(node, "a mapping", rows.name,
                             [&](Name const &name, YamlNode at, YamlNode value) {
                                 if (isThere(name, at)) {
                                     rows.removeIn(name, at, value);
                                 }
                             });
    } else {
        nodes_.list(node, "a list, each item " + std::string(T::kOne), [&](YamlNode item) {
            std::optional<Name> const name = rows.name(item);
            if (name && isThere(*name, item)) {
                changes_.remove<T>(rows.key(*name), item);
            }
        });
    }
}

} // namespace UmoAgent
