#pragma once

#include "agent/scenario/ScenarioNodes.h"
#include "agent/scenario/ScenarioValues.h"
#include "agent/switch/ActionVersions.h"
#include "agent/switch/ScenarioModel.h"

namespace UmoAgent {

/// Reads the NAT policies of a state; the part of StateReader that stands under `policies`:
///
///     feed:
///       matches:
///         gold:
///           flow: {source: 10.1.0.0/16, source-port: 5000,
///                  destination: 239.1.1.1/32, destination-port: 5000}      # all optional
///           actions:
///             cust-a:
///               source: 10.9.9.9:5000                                      # all optional
///               destination: 239.2.2.2:6000
///               egress: {Vlan10: {mac: 02:00:00:00:10:01}, Ethernet3: {vlan: 20}}
///               version: 1
class NatStateReader {
  public:
    NatStateReader(ScenarioNodes &nodes, ScenarioValues &values, ActionVersions &versions)
        : nodes_(nodes), values_(values), versions_(versions) {}

    void policies(YamlNode const &node, Named<PolicyState> &policies);

  private:
    void match(YamlNode const &node, Pelo::String const &policy, Pelo::String const &name,
               MatchState &match);
    void flow(YamlNode const &node, MatchState &match);
    void action(YamlNode const &node, ActionName const &name, ActionState &action);
    void egress(YamlNode const &node, ActionState &action);
    void nextHop(YamlNode const &node, Nexo::IntfId intf, Ip::Nat::NatFlowNextHop &nextHop);
    void prefix(YamlNode const &node, Ip::Nat::NatFlowEnd &end);

    ScenarioNodes &nodes_;
    ScenarioValues &values_;
    ActionVersions &versions_;
};

} // namespace UmoAgent
