#pragma once

#include "agent/scenario/ScenarioNodes.h"
#include "agent/scenario/ScenarioValues.h"
#include "agent/switch/ActionVersions.h"
#include "agent/switch/ScenarioModel.h"

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

    void remove(YamlNode const &node, SwitchModel &state);

  private:
    /// How the elements of one collection are removed. Without `deeper`, only as a whole.
    template <class Key>
    struct Elements {
        std::string_view one; // what an element is called: "a VLAN"
        std::function<std::optional<Key>(YamlNode const &)> readKey;
        std::function<bool(Key const &)> present;
        std::function<void(Key const &, YamlNode const &)> erase;
        std::function<void(Key const &, YamlNode const &)> deeper;
    };

    template <class Key>
    void elements(YamlNode const &node, Elements<Key> const &elements);
    template <class Map>
    void wholeInterfaces(YamlNode const &node, Map &map);

    void vlans(YamlNode const &node, SwitchModel &state);
    void topologies(YamlNode const &node, SwitchModel &state);
    void topology(YamlNode const &node, Pelo::String const &name, SwitchModel &state);
    void learnedMacs(YamlNode const &node, SwitchModel &state);
    void policies(YamlNode const &node, Named<PolicyState> &policies);
    void matches(YamlNode const &node, Pelo::String const &policy, Named<MatchState> &matches);
    void flow(YamlNode const &node, MatchState &match);
    void actions(YamlNode const &node, ActionName const &match, Named<ActionState> &actions);
    void action(YamlNode const &node, ActionState &action);
    void egress(YamlNode const &node, ActionState &action);
    void nextHop(YamlNode const &node, EgressState &egress);

    ScenarioNodes &nodes_;
    ScenarioValues &values_;
    ActionVersions &versions_;
};

} // namespace UmoAgent
