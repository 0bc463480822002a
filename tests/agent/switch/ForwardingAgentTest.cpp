#include "agent/switch/ForwardingAgent.h"
#include "agent/scenario/ScenarioReader.h"
#include "agent/show/Printers.h"

#include <gmock/gmock.h>

#include <sstream>

using namespace UmoAgent;
using Bridging::VlanId;
using Nexo::EthAddr;
using Nexo::IntfId;
using testing::AllOf;
using testing::Contains;
using testing::Field;

namespace {

constexpr char const *kSwitch = R"(
bridge-mac: 02:00:00:00:00:01
interfaces: {Et1: {mode: trunk}, Et2: {mode: trunk}, Et3: {mode: routed}, Et4: {mode: routed}}
vlans: {1: [Et1, Et2], 2: [Et1]}
topologies: {t: {vlans: [1, 2], ports: {Et1: forwarding, Et2: forwarding}}, u: {}}
learned-macs: {1: {"00:00:00:00:00:01": Et1, "00:00:00:00:00:02": Et2}}
ip-interfaces: {Vlan1: {address: 10.0.1.1/24}, Vlan2: {address: 10.0.2.1/24}}
l3-interfaces: {Vlan1: 1, Vlan2: 2, Et3: 1003, Et4: 1004}
policies:
  p:
    matches:
      m: {flow: {destination: 239.1.1.1}, actions: {a: {egress: [Vlan1, Vlan2]}, b: {}}}
      u: {flow: {destination: 10.1.1.1}, actions: {a: {egress: {Vlan1: {mac: "00:00:00:00:00:01"}}}}}
  q: {matches: {m: {}}}
)";

IntfId const et1("Et1"), et2("Et2"), et3("Et3"), et4("Et4"), et9("Et9"), vlan1("Vlan1");
VlanId const one(1), two(2), nine(9);
EthAddr const mac1(1), mac9(9);

template <class T>
AnyChange set(typename T::Key key, typename T::Value value = {}) {
    return Change<T>{std::move(key), std::move(value)};
}
template <class T>
AnyChange gone(typename T::Key key) {
    return Change<T>{std::move(key), std::nullopt};
}

Ip::Nat::NatFlow flowTo(std::uint32_t address) {
    return {{}, {Nexo::IpAddr(address), 32, 0}};
}
constexpr std::uint32_t kUnicast = 0x0a020202, kMulticast = 0xef020202;

/// What the library made of the rows.
std::string textOf(ForwardingAgent const &agent) {
    std::ostringstream out;
    printTree({out}, *agent.state().hwStatus());
    printChip(out, agent);
    return out.str();
}

struct ForwardingAgentTest : testing::Test {
    ForwardingAgentTest() { agent.start(std::get<Scenario>(readScenario("f", kSwitch)).initial); }
    ~ForwardingAgentTest() override {
        loop.runUntil(std::chrono::seconds(1));
        agent.shutDown();
        EXPECT_TRUE(agent.clean());
    }

    void expectApplied(Changes const &list) {
        auto const faults = agent.apply(list);
        EXPECT_TRUE(faults.empty()) << faults.front().change << faults.front().expected;
    }

    EventLoop loop;
    ForwardingAgent agent{loop, [](std::string const &line) { ADD_FAILURE() << line; }};
};

} // namespace

TEST_F(ForwardingAgentTest, OfAListWithAFaultNothingHappensHoweverRightTheRestIs) {
    using namespace Table;
    auto const absent = [](auto table) { return draftAbsent(decltype(table)::kOne); };
    Action::Value noMac{{}, {Nexo::IpAddr(kUnicast), 0}, {{vlan1, {}}}, 2};
    // Lists whose last change is faulty, and the fault.
    std::vector<std::pair<Changes, std::string>> const cases{
        {{gone<Chip>({})}, "a size"},
        {{gone<BridgeMac>({})}, "a MAC address"},
        {{gone<Interface>(IntfId("Et8"))}, absent(Interface())},
        {{gone<Vlan>(one), gone<Vlan>(one)}, absent(Vlan())},
        {{gone<Vlan>(one), set<Vlan>(one), gone<VlanMember>({one, et1})}, absent(VlanMember())},
        {{gone<Topology>("t"), gone<VlanTopology>(one)}, absent(VlanTopology())},
        {{gone<IpInterface>(et3)}, absent(IpInterface())},
        {{gone<Policy>("p"), set<Policy>("p"), gone<Match>({"p", "m"})}, absent(Match())},
        {{gone<Action>({"p", "m", "x"})}, absent(Action())},
        {{gone<Vlan>(one), set<VlanMember>({one, et2})}, absent(Vlan())},
        {{set<LearnedMac>({two, mac1}, et1)}, absent(Fdb())},
        {{set<Match>({"x", "m"})}, absent(Policy())},
        {{gone<Match>({"p", "m"}), gone<Action>({"p", "m", "a"})}, absent(Match())},
        {{gone<Topology>("u"), set<VlanTopology>(one, "u")}, absent(Topology())},
        {{set<L3Interface>(vlan1, nine)}, "1, the number of the interface's VLAN"},
        {{set<L3Interface>(et1, VlanId(1003))}, "an id that Ethernet3 does not have"},
        {{set<L3Interface>(et3, VlanId(1005)), set<L3Interface>(et4, VlanId(1003)),
          set<L3Interface>(et3, VlanId(1003))},
         "an id that Ethernet4 does not have"},
        {{set<Action>({"p", "m", "a"}, noMac)}, "one, as this is a unicast flow"},
        {{set<Match>({"p", "m"}, flowTo(0))}, "one, as this is a flow without destination address"},
    };
    std::string const before = textOf(agent);
    for (auto const &[wrong, expected] : cases) {
        SCOPED_TRACE(expected);
        Changes list{set<Interface>(et9), gone<Policy>("q"), set<Topology>("new"),
                     set<Action>({"p", "u", "b"})};
        std::size_t const right = list.size();
        list.insert(list.end(), wrong.begin(), wrong.end());
        std::size_t const bad = list.size() - 1;
        list.insert(list.end(), {set<Chip>({}, {7, 7}), set<BridgeMac>({}, mac9),
                                 set<Vlan>(VlanId(3)), set<VlanTopology>(VlanId(3), "new")});
        auto const faults = agent.apply(list);
        EXPECT_THAT(faults,
                    Contains(AllOf(Field(&Fault::change, bad), Field(&Fault::expected, expected))));
        for (Fault const &fault : faults) {
            EXPECT_THAT(fault.change, AllOf(testing::Ge(right), testing::Le(bad)));
            EXPECT_EQ(fault.nextHop.has_value(), !fault.found.empty());
        }
        EXPECT_EQ(textOf(agent), before);
        SwitchState const &state = agent.state(); // no valid change was mounted either
        EXPECT_FALSE(state.find<Interface>(et9) || state.find<Topology>("new") ||
                     state.find<Action>({"p", "u", "b"}) || state.find<Vlan>(VlanId(3)) ||
                     state.find<VlanTopology>(VlanId(3)) || state.everDeclared(et9));
        EXPECT_TRUE(state.find<Policy>("q") && state.find<Vlan>(one) && state.find<Topology>("t"));
        EXPECT_NE(*state.find<BridgeMac>({}), mac9);
        EXPECT_EQ(state.find<Chip>({})->groups, ChipCapacity{}.groups);
    }
}

TEST_F(ForwardingAgentTest, AnActionThatOnceNeededMacsNeedsThemUntilItGoes) {
    using namespace Table;
    Action::Key const key{"p", "u", "a"};
    Action::Value const noMac{{}, {}, {{vlan1, {}}}, 7};
    expectApplied({set<Match>({"p", "u"}, flowTo(kMulticast))});
    for (int again = 0; again < 2; ++again) { // it is remembered after the list
        auto const faults = agent.apply({set<Action>(key, noMac)});
        ASSERT_EQ(faults.size(), 1U);
        EXPECT_EQ(faults[0].found, "next hop Vlan1 of action a without mac");
        EXPECT_EQ(faults[0].expected,
                  "one, as the flow of this action was not always a multicast one");
        EXPECT_EQ(faults[0].nextHop->intf, vlan1);
        expectApplied({set<Match>({"p", "u"}, flowTo(kMulticast + 1))});
    }
    expectApplied({gone<Action>(key), set<Action>(key, noMac)});
    EXPECT_FALSE(agent.state().neededMacs(key));
    EXPECT_EQ(agent.apply({set<Match>({"p", "u"}, flowTo(kUnicast))}).size(), 1U);

    // The same if it is removed with its match or policy.
    auto const withMac = [](EthAddr mac) { return Action::Value{{}, {}, {{vlan1, {0, mac}}}, 1}; };
    for (AnyChange const &end : {gone<Match>({"p", "u"}), gone<Policy>("p")}) {
        expectApplied({set<Action>(key, withMac(mac1)), set<Match>({"p", "u"}, flowTo(kUnicast))});
        expectApplied({set<Match>({"p", "u"}, flowTo(kMulticast))});
        EXPECT_TRUE(agent.state().neededMacs(key));
        expectApplied({end, set<Policy>("p"), set<Match>({"p", "u"}, flowTo(kMulticast)),
                       set<Action>(key, noMac)});
        EXPECT_FALSE(agent.state().neededMacs(key));
    }
}
