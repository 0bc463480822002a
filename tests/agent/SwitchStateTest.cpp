#include "agent/SwitchState.h"
#include "Pelo/Publisher.h"
#include "agent/ScenarioReader.h"

#include <gtest/gtest.h>

using Bridging::SwitchportMode;
using Bridging::VlanId;
using Bridging::VlanIdOrNone;
using ModeAndVlan = Bridging::SwitchportModeAndNativeVlan;
using Nexo::IntfId;
using UmoAgent::Scenario;

namespace {

constexpr char const *kScenario = R"(
bridge-mac: 02:00:00:00:00:01
interfaces: {Et1: {}, Et2: {mode: routed}, Et3: {mode: trunk, native-vlan: none}}
vlans: {10: [Et1, Et3], 20: [Et3]}
topologies: {t: {vlans: [10, 20], ports: {Et1: blocking, Et3: forwarding}}, u: {}}
learned-macs: {10: {"02:00:00:00:00:0a": Et1, "02:00:00:00:00:0b": Et3}}
ip-interfaces: {Vlan10: {address: 10.0.10.1/24}}
l3-interfaces: {Vlan10: 10, Et2: 1006, Et1: 1007}
policies: {p: {matches: {m: {
  flow: {source: 10.1.2.3/16, destination: 239.1.1.1, destination-port: 5000}, actions: {
    a: {source: 10.9.9.9:1, egress: {Et1: {vlan: 10, mac: 02:00:00:00:00:0c}, Vlan20: {}}},
    b: {version: 0}}}}}}
events:
- at: 1s
  set: {interfaces: {Et1: {mode: trunk}}, vlans: {10: [Et2]},
        topologies: {u: {vlans: [20], ports: {Et1: learning}}},
        learned-macs: {10: {"02:00:00:00:00:0a": Et3}}, ip-interfaces: {Vlan10: {routing: false}},
        l3-interfaces: {Et1: 1006, Et2: 1007}, policies: {p: {matches: {m: {actions: {
          a: {destination: 239.2.2.2, egress: {Et1: {vlan: 20}}}, b: {version: 7}, c: {}}}}}}}
- at: 2s
  remove: {interfaces: [Et2], vlans: {10: [Et1, Et2]}, topologies: {t: {ports: [Et1], vlans: 10}},
           learned-macs: {10: ["02:00:00:00:00:0b"]}, ip-interfaces: Vlan10, l3-interfaces: [Et1],
           policies: {p: {matches: {m: {flow: [destination-port],
                                        actions: {a: {egress: {Et1: [vlan]}}}}}}}}
  set: {policies: {p: {matches: {m: {actions: {a: {source: 10.9.9.8}}}}}}}
- at: 3s
  remove: {vlans: [20], policies: {p: {matches: {m: {actions: {a: [source, egress]}}}}}}
- at: 4s
  remove: {topologies: [u], learned-macs: [10], policies: {p: {matches: {m: {actions: [b]}}}}}
  set: {policies: {p: {matches: {m: {actions: {b: {}}}}}}}
)";

/// Notes in a text a change of an action, of its version or of something else.
void note(void *changes, Pelo::Change const &change) {
    bool const version = change.isOf(Ip::Nat::NatFlowActionStatus::versionAttribute);
    static_cast<std::string *>(changes)->append(version ? " version" : " other");
}

} // namespace

TEST(SwitchState, SetChangesOnlyWhatItNamesAndRemoveComesBeforeItAndVersionsLast) {
    auto const scenario = std::get<Scenario>(UmoAgent::readScenario("f", kScenario));
    UmoAgent::SwitchState state;
    state.become(scenario.initial);
    auto const match = state.natStatus()->natFlow("p")->match("m");
    auto const a = match->action("a"), b = match->action("b");
    auto const mode = [&](char const *intf) {
        auto const config = state.bridgingConfig()->switchIntfConfig(IntfId(intf));
        return config->switchportModeAndNativeVlan();
    };
    auto const topology = [&](std::uint16_t vlan) { // the name of the one that the VLAN is in
        auto const *const found = state.topologyConfig()->vidToTopoMap(VlanId(vlan));
        return found != nullptr ? (*found)->name() : "none";
    };
    Nexo::EthAddr const host = Nexo::EthAddr::parse("02:00:00:00:00:0a");
    EXPECT_EQ(state.bridgingConfig()->bridgeMacAddr().stringValue(), "02:00:00:00:00:01");
    EXPECT_EQ(mode("Et1"), (ModeAndVlan{SwitchportMode::access, VlanIdOrNone(1)}));
    ASSERT_EQ(topology(20), "t");
    auto const port =
        (*state.topologyConfig()->vidToTopoMap(VlanId(20)))->topoPortConfig(IntfId("Et1"));
    EXPECT_EQ(port->portState(), Bridging::Topology::PortState::blocking);
    auto const fdb = state.bridgingStatus()->fdbStatus(Bridging::Fid(10));
    EXPECT_EQ(fdb->learnedHost(host)->intf, IntfId("Et1"));
    auto const ip = state.ipStatus()->ipIntfStatus(IntfId("Vlan10"));
    EXPECT_TRUE(ip->routing());
    EXPECT_EQ(*state.l3Table()->routedPortName(UmoL3Intf::L3Id(1006)), IntfId("Et2"));
    EXPECT_EQ(match->flow().stringValue(), "10.1.2.3/16:0 -> 239.1.1.1/32:5000");
    EXPECT_EQ(a->src().stringValue(), "10.9.9.9:1");
    EXPECT_EQ(a->intf(IntfId("Et1"))->vlan, 10);
    EXPECT_EQ(a->version(), 1U);
    EXPECT_EQ(b->version(), 0U);

    std::string changes;
    Pelo::Subscriber subscriber{&note, &changes};
    a->notifier().subscriberAdd(subscriber);
    state.become(*scenario.events[0].state);
    EXPECT_EQ(mode("Et1"), (ModeAndVlan{SwitchportMode::trunk, VlanIdOrNone(1)}));
    EXPECT_EQ(state.vlanStatusDir()->vlanStatus(VlanId(10))->vlanPortStatus().size(), 3U);
    EXPECT_EQ(topology(10) + topology(20), "tu");
    EXPECT_EQ(fdb->learnedHost(host)->intf, IntfId("Et3"));
    EXPECT_FALSE(ip->routing());
    EXPECT_EQ(ip->addrWithMask().stringValue(), "10.0.10.1/24");
    EXPECT_EQ(*state.l3Table()->routedPortName(UmoL3Intf::L3Id(1006)), IntfId("Et1"));
    EXPECT_EQ(std::exchange(changes, ""), " version other other version");
    EXPECT_EQ(a->intf(IntfId("Et1"))->mac.stringValue(), "02:00:00:00:00:0c");
    EXPECT_EQ(b->version(), 7U);
    EXPECT_EQ(match->action("c")->version(), 1U);

    state.become(*scenario.events[1].state);
    EXPECT_EQ(state.bridgingConfig()->switchIntfConfig(IntfId("Et2")), nullptr);
    EXPECT_EQ(state.vlanStatusDir()->vlanStatus(VlanId(10))->vlanPortStatus().size(), 1U);
    EXPECT_EQ(topology(10) + topology(20), "noneu");
    EXPECT_EQ(fdb->learnedHost().size(), 1U);
    EXPECT_TRUE(state.ipStatus()->ipIntfStatus().empty());
    EXPECT_EQ(state.l3Table()->routedPortName(UmoL3Intf::L3Id(1006)), nullptr);
    EXPECT_EQ(match->flow().destination.port, 0);
    EXPECT_EQ(std::exchange(changes, ""), " version other other version");

    state.become(*scenario.events[2].state);
    state.become(*scenario.events[3].state);
    EXPECT_EQ(state.vlanStatusDir()->vlanStatus(VlanId(20)), nullptr);
    EXPECT_TRUE(state.bridgingStatus()->fdbStatus().empty());
    EXPECT_EQ(changes, " version other other other version");
    EXPECT_EQ(a->version(), 4U);
    EXPECT_NE(match->action("b"), b) << "removed and set anew is another action";
    EXPECT_EQ(match->action("b")->version(), 1U);
}
