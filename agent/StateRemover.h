#pragma once

#include "agent/ActionVersions.h"
#include "agent/ScenarioModel.h"
#include "agent/ScenarioNodes.h"
#include "agent/ScenarioValues.h"

#include <yaml-cpp/yaml.h>

#include <functional>
#include <optional>
#include <string_view>

namespace UmoAgent {

/// Takes out of a model what an event removes. The nodes mirror those of a state: a list removes
/// what it names, a mapping goes deeper. What is not there at that time is an error.
///
///     interfaces: [Ethernet1]                 # so do ip-interfaces and l3-interfaces
///     vlans: [10]                             # or {10: [Ethernet2]}
///     topologies: [main]                      # or {main: {vlans: [10], ports: [Ethernet2]}}
///     learned-macs: [10]                      # or {10: ["00:11:22:33:44:55"]}
///     policies: [feed]                        # or {feed: {matches: [gold]}}, or deeper:
///       {feed: {matches: {gold: {flow: [destination, source-port], actions: [cust-a]}}}}
///       ... actions: {cust-a: [source, destination]}
///       ... actions: {cust-a: {egress: [Ethernet3]}}     # or egress: {Ethernet3: [vlan, mac]}
class StateRemover {
  public:
    StateRemover(ScenarioNodes &nodes, ScenarioValues &values, ActionVersions &versions)
        : nodes_(nodes), values_(values), versions_(versions) {}

    void remove(YAML::Node const &node, SwitchModel &state);

  private:
    /// How the elements of one collection are removed. Without `deeper`, only as a whole.
    template <class Key>
    struct Elements {
        std::string_view one; // what an element is called: "a VLAN"
        std::function<std::optional<Key>(YAML::Node const &)> readKey;
        std::function<bool(Key const &)> present;
        std::function<void(Key const &, YAML::Node const &)> erase;
        std::function<void(Key const &, YAML::Node const &)> deeper;
    };

    template <class Key>
    void elements(YAML::Node const &node, Elements<Key> const &elements);
    template <class Map>
    void wholeInterfaces(YAML::Node const &node, Map &map);

    void vlans(YAML::Node const &node, SwitchModel &state);
    void topologies(YAML::Node const &node, SwitchModel &state);
    void topology(YAML::Node const &node, Pelo::String const &name, SwitchModel &state);
    void learnedMacs(YAML::Node const &node, SwitchModel &state);
    void policies(YAML::Node const &node, Named<PolicyState> &policies);
    void matches(YAML::Node const &node, Pelo::String const &policy, Named<MatchState> &matches);
    void flow(YAML::Node const &node, MatchState &match);
    void actions(YAML::Node const &node, ActionName const &match, Named<ActionState> &actions);
    void action(YAML::Node const &node, ActionState &action);
    void egress(YAML::Node const &node, ActionState &action);
    void nextHop(YAML::Node const &node, EgressState &egress);

    ScenarioNodes &nodes_;
    ScenarioValues &values_;
    ActionVersions &versions_;
};

} // namespace UmoAgent
