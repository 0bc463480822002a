#pragma once

#include "agent/base/EventLoop.h"
#include "agent/scenario/ScenarioReader.h"
#include "agent/switch/ForwardingAgent.h"

#include <cstdlib>
#include <variant>

namespace Sim {

/// An agent with something of every kind to show to a fuzz target.
struct FuzzedAgent {
    FuzzedAgent() {
        agent.start(std::get<UmoAgent::Scenario>(UmoAgent::readScenario("", kState)).initial);
    }

    static constexpr char const *kState = R"(
interfaces: {Ethernet1: {}, Ethernet2: {mode: trunk}, Ethernet3: {mode: routed}}
vlans: {10: [Ethernet1, Ethernet2]}
topologies: {t: {vlans: [10], ports: {Ethernet2: forwarding}}}
learned-macs: {10: {"02:00:00:00:00:0a": Ethernet2}}
ip-interfaces: {Vlan10: {address: 10.0.10.1/24}}
l3-interfaces: {Vlan10: 10}
policies:
  p: {matches: {m: {flow: {source: 10.1.0.0/16}, actions: {
    a: {source: "10.9.9.9:5000", egress: {Vlan10: {mac: "02:00:00:00:00:0a"}}}, b: {}}}}}
  q: {matches: {m: {flow: {destination: 239.1.1.1}, actions: {a: {egress: [Vlan10]}}}}}
)";
    UmoAgent::EventLoop loop;
    UmoAgent::ForwardingAgent agent{loop, [](std::string const &) { std::abort(); }};
};

} // namespace Sim
