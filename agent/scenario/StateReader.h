#pragma once

#include "agent/scenario/NatStateReader.h"
#include "agent/scenario/ScenarioNodes.h"
#include "agent/scenario/ScenarioValues.h"
#include "agent/switch/ActionVersions.h"
#include "agent/switch/ScenarioModel.h"

#include <vector>

namespace UmoAgent {

/// Reads a switch's state into a model: the initial one, and what an event sets. There is one
/// schema for both, and what a node does not name stays as it is. docs/scenarios.md describes
/// the schema for those who write scenarios; in short:
///
///     chip: {groups: 4, port-sets-per-group: 64}
///     bridge-mac: 02:00:00:00:00:01
///     interfaces: {Ethernet1: {mode: access, native-vlan: 10}}
///     vlans: {10: [Ethernet1, Ethernet2]}
///     topologies: {main: {vlans: [10], ports: {Ethernet1: forwarding}}}
///     learned-macs: {10: {"00:11:22:33:44:55": Ethernet1}}
///     ip-interfaces: {Vlan10: {address: 10.0.10.1/24, routing: true}}
///     l3-interfaces: {Vlan10: 10}
///     policies: {NAME: {matches: ...}}             # see NatStateReader
class StateReader {
  public:
    StateReader(ScenarioNodes &nodes, ScenarioValues &values, ActionVersions &versions)
        : nodes_(nodes), values_(values), nat_(nodes, values, versions) {}

    /// The keys of a state, with what reads them into `state`, which must outlive the list.
    std::vector<ScenarioNodes::Field> fields(SwitchModel &state);

  private:
    void chip(YamlNode const &node, ChipCapacity &chip);
    void interfaces(YamlNode const &node, SwitchModel &state);
    void vlans(YamlNode const &node, SwitchModel &state);
    void topologies(YamlNode const &node, SwitchModel &state);
    void learnedMacs(YamlNode const &node, SwitchModel &state);
    void ipInterfaces(YamlNode const &node, SwitchModel &state);
    void l3Interfaces(YamlNode const &node, SwitchModel &state);
    void l3Id(YamlNode const &node, Nexo::IntfId intf, SwitchModel &state);

    ScenarioNodes &nodes_;
    ScenarioValues &values_;
    NatStateReader nat_;
};

} // namespace UmoAgent
