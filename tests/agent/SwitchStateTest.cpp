#include "agent/SwitchState.h"
#include "Pelo/Publisher.h"
#include "agent/ScenarioReader.h"

#include <gmock/gmock.h>

#include <string>
#include <vector>

using Bridging::VlanId;
using Bridging::VlanIdOrNone;
using ModeAndVlan = Bridging::SwitchportModeAndNativeVlan;
using Nexo::IntfId;
using testing::ElementsAre;
using UmoAgent::Scenario;
using UmoAgent::SwitchState;

namespace {

constexpr char const *kState = R"(
bridge-mac: 02:00:00:00:00:01
interfaces: {Et1: {}, Et2: {mode: routed}, Et3: {mode: trunk, native-vlan: none}}
vlans: {10: [Et1, Et3], 20: [Et3]}
topologies: {t: {vlans: [10, 20], ports: {Et1: blocking, Et3: forwarding}}, u: {}}
learned-macs: {10: {"02:00:00:00:00:0a": Et1, "02:00:00:00:00:0b": Et3}}
ip-interfaces: {Vlan10: {address: 10.0.10.1/24}}
l3-interfaces: {Vlan10: 10, Et2: 1006, Et1: 1007}
policies:
  p:
    matches:
      m:
        flow: {source: 10.1.2.3/16, destination: 239.1.1.1, destination-port: 5000}
        actions:
          a: {source: 10.9.9.9:1, egress: {Et1: {vlan: 10, mac: 02:00:00:00:00:0c}, Vlan20: {}}}
          b: {version: 0}
)";

/// The initial state with one event's text after it, mounted up to the end of the event.
struct Mounted {
    explicit Mounted(std::string const &event) {
        auto read = UmoAgent::readScenario("f", kState + event);
        if (auto const *faults = std::get_if<UmoAgent::ScenarioFaults>(&read)) {
            ADD_FAILURE() << testing::PrintToString(*faults);
            return;
        }
        scenario = std::move(std::get<Scenario>(read));
        state.become(scenario.initial);
    }
    void carryOut() {
        for (auto const &event : scenario.events) {
            state.become(*event.state);
        }
    }
    [[nodiscard]] auto match() const { return state.natStatus()->natFlow("p")->match("m"); }

    Scenario scenario;
    SwitchState state;
};

template <class Collection>
auto keysOf(Collection const &collection) {
    std::vector<std::string> keys;
    for (auto const &[key, value] : collection) {
        keys.push_back(testing::PrintToString(key));
    }
    return keys;
}

/// Notes the changes of an action by attribute.
struct ActionWatch {
    using Action = Ip::Nat::NatFlowActionStatus;
    explicit ActionWatch(Action const &action) { action.notifier().subscriberAdd(subscriber); }
    static void note(void *self, Pelo::Change const &change) {
        static_cast<ActionWatch *>(self)->changes.push_back(
            change.isOf(Action::srcAttribute)       ? "src"
            : change.isOf(Action::dstAttribute)     ? "dst"
            : change.isOf(Action::versionAttribute) ? "version"
                                                    : "intf");
    }
    std::vector<std::string> changes;
    Pelo::Subscriber subscriber{&ActionWatch::note, this};
};

} // namespace

TEST(SwitchState, MountsTheInitialState) {
    Mounted const mounted("");
    SwitchState const &state = mounted.state;
    auto const interface = [&](char const *name) {
        auto const config = state.bridgingConfig()->switchIntfConfig(IntfId(name));
        return config->switchportModeAndNativeVlan();
    };
    EXPECT_EQ(state.bridgingConfig()->bridgeMacAddr().stringValue(), "02:00:00:00:00:01");
    EXPECT_EQ(interface("Ethernet1"),
              (ModeAndVlan{Bridging::SwitchportMode::access, VlanIdOrNone(1)}));
    EXPECT_EQ(interface("Ethernet2"), (ModeAndVlan{Bridging::SwitchportMode::routed, {}}));
    EXPECT_EQ(interface("Ethernet3"), (ModeAndVlan{Bridging::SwitchportMode::trunk, {}}));
    auto const *const topology = state.topologyConfig()->vidToTopoMap(VlanId(20));
    ASSERT_NE(topology, nullptr);
    EXPECT_EQ((*topology)->name(), "t");
    EXPECT_EQ((*topology)->topoPortConfig(IntfId("Et1"))->portState(),
              Bridging::Topology::PortState::blocking);
    auto const fdb = state.bridgingStatus()->fdbStatus(Bridging::Fid(10));
    EXPECT_EQ(fdb->learnedHost(Nexo::EthAddr::parse("02:00:00:00:00:0a"))->intf, IntfId("Et1"));
    EXPECT_TRUE(state.ipStatus()->ipIntfStatus(IntfId("Vlan10"))->routing());
    EXPECT_EQ(state.l3Table()->intfL3Index(IntfId("Et2"))->value(), 1006);
    EXPECT_EQ(*state.l3Table()->routedPortName(UmoL3Intf::L3Id(1006)), IntfId("Et2"));
    EXPECT_EQ(mounted.match()->flow().stringValue(), "10.1.2.3/16:0 -> 239.1.1.1/32:5000");
    auto const a = mounted.match()->action("a");
    EXPECT_EQ(a->src().stringValue(), "10.9.9.9:1");
    EXPECT_EQ(a->intf(IntfId("Et1"))->vlan, 10);
    EXPECT_EQ(a->intf(IntfId("Et1"))->mac.stringValue(), "02:00:00:00:00:0c");
    EXPECT_EQ(a->version(), 1U);
    EXPECT_EQ(mounted.match()->action("b")->version(), 0U);
}

TEST(SwitchState, SetChangesOnlyWhatItNamesAndVersionsComeLast) {
    Mounted mounted(R"(events:
- at: 1s
  set:
    interfaces: {Et1: {mode: trunk}}
    vlans: {10: [Et2]}
    topologies: {u: {vlans: [20], ports: {Et1: learning}}}
    learned-macs: {10: {"02:00:00:00:00:0a": Et3}}
    ip-interfaces: {Vlan10: {routing: false}}
    l3-interfaces: {Et1: 1006, Et2: 1007}
    policies: {p: {matches: {m: {actions: {a: {destination: 239.2.2.2, egress: {Et1: {vlan: 20}}},
                                           b: {version: 7}, c: {}}}}}})");
    SwitchState const &state = mounted.state;
    auto const a = mounted.match()->action("a");
    ActionWatch const watch(*a);
    mounted.carryOut();
    auto const et1 = state.bridgingConfig()->switchIntfConfig(IntfId("Et1"));
    EXPECT_EQ(et1->switchportModeAndNativeVlan().nativeVlan.value(), 1);
    EXPECT_EQ(state.vlanStatusDir()->vlanStatus(VlanId(10))->vlanPortStatus().size(), 3U);
    EXPECT_EQ((*state.topologyConfig()->vidToTopoMap(VlanId(20)))->name(), "u");
    EXPECT_EQ((*state.topologyConfig()->vidToTopoMap(VlanId(10)))->name(), "t");
    EXPECT_EQ(keysOf(state.bridgingStatus()->fdbStatus(Bridging::Fid(10))->learnedHost()).size(),
              2U);
    auto const ip = state.ipStatus()->ipIntfStatus(IntfId("Vlan10"));
    EXPECT_FALSE(ip->routing());
    EXPECT_EQ(ip->addrWithMask().stringValue(), "10.0.10.1/24");
    EXPECT_EQ(*state.l3Table()->routedPortName(UmoL3Intf::L3Id(1006)), IntfId("Et1"));
    EXPECT_EQ(*state.l3Table()->routedPortName(UmoL3Intf::L3Id(1007)), IntfId("Et2"));
    EXPECT_THAT(watch.changes, ElementsAre("version", "dst", "intf", "version"));
    EXPECT_EQ(a->intf(IntfId("Et1"))->mac.stringValue(), "02:00:00:00:00:0c");
    EXPECT_EQ(a->version(), 2U);
    EXPECT_EQ(mounted.match()->action("b")->version(), 7U);
    EXPECT_EQ(mounted.match()->action("c")->version(), 1U);
}

TEST(SwitchState, RemoveTakesOutWhatIsNamedBeforeSet) {
    Mounted mounted(R"(events:
- at: 1s
  remove:
    interfaces: [Et2]
    vlans: {10: [Et1]}
    topologies: {t: {ports: [Et1], vlans: 10}}
    learned-macs: {10: ["02:00:00:00:00:0b"]}
    ip-interfaces: Vlan10
    l3-interfaces: [Et2]
    policies: {p: {matches: {m: {flow: [destination-port],
                                 actions: {a: {egress: {Et1: [vlan]}}}}}}}
  set: {policies: {p: {matches: {m: {actions: {a: {source: 10.9.9.8}}}}}}}
- at: 2s
  remove: {vlans: [20], policies: {p: {matches: {m: {actions: {a: [source, egress]}}}}}}
- at: 3s
  remove: {topologies: [t], learned-macs: [10], policies: {p: {matches: {m: {actions: [b]}}}}}
  set: {policies: {p: {matches: {m: {actions: {b: {}}}}}}})");
    SwitchState const &state = mounted.state;
    auto const a = mounted.match()->action("a");
    auto const firstB = mounted.match()->action("b");
    ActionWatch const watch(*a);
    mounted.carryOut();
    EXPECT_EQ(state.bridgingConfig()->switchIntfConfig(IntfId("Et2")), nullptr);
    EXPECT_THAT(keysOf(state.vlanStatusDir()->vlanStatus()), ElementsAre("10"));
    EXPECT_THAT(keysOf(state.vlanStatusDir()->vlanStatus(VlanId(10))->vlanPortStatus()),
                ElementsAre("Ethernet3"));
    EXPECT_TRUE(state.topologyConfig()->vidToTopoMap().empty());
    EXPECT_TRUE(state.bridgingStatus()->fdbStatus().empty());
    EXPECT_TRUE(state.ipStatus()->ipIntfStatus().empty());
    EXPECT_EQ(state.l3Table()->routedPortName(UmoL3Intf::L3Id(1006)), nullptr);
    EXPECT_EQ(mounted.match()->flow().destination.port, 0);
    EXPECT_THAT(watch.changes, ElementsAre("version", "src", "intf", "version", // at 1 s
                                           "version", "intf", "intf", "src", "version"));
    EXPECT_EQ(a->version(), 3U);
    EXPECT_NE(mounted.match()->action("b"), firstB) << "removed and set anew is another action";
    EXPECT_EQ(mounted.match()->action("b")->version(), 1U);
}
