#include "sim/Checker.h"
#include "agent/ScenarioReader.h"
#include "sim/Broken.h"
#include "sim/Soak.h"

#include <gtest/gtest.h>

#include <functional>
#include <utility>
#include <vector>

namespace {

constexpr char const *kInitial = R"(
interfaces: {Ethernet1: {mode: trunk}, Ethernet2: {mode: trunk}}
vlans: {10: [Ethernet1, Ethernet2]}
topologies: {t: {vlans: [10], ports: {Ethernet1: forwarding}}}
ip-interfaces: {Vlan10: {address: 10.0.10.1/24}}
l3-interfaces: {Vlan10: 10}
policies: {p: {matches: {m: {flow: {source: 10.1.0.0/16, destination: 239.1.1.1}, actions: {
  a: {source: 10.9.9.9, egress: [Vlan10]}}}}}}
)";

TEST(CheckerTest, TheChipIsExactlyWhatTheTreeSays) {
    using Chip = UmoAgent::SoftSwitch;
    using Set = Ip::Nat::NatFlowPortSet;
    static constexpr std::uint32_t group = 1;
    static constexpr std::uint32_t id = 1;
    auto const ps = Mox::make<Set>(std::uint16_t{10});
    std::vector<std::pair<char const *, std::function<void(Chip &, Set &)>>> const tampers{
        {"a group too many", [](Chip &chip, Set &) { chip.createNatFlowGroup("p", "m", false); }},
        {"a group missing", [](Chip &chip, Set &) { chip.deleteNatFlowGroup("p", "m", group); }},
        {"a port set too many",
         [&](Chip &chip, Set &) { chip.updateNatFlowVlanPortSet(group, 0, ps); }},
        {"a port set missing", [](Chip &chip, Set &) { chip.deleteNatFlowVlanPortSet(group, id); }},
        {"other ports", [&](Chip &chip, Set &) { chip.updateNatFlowVlanPortSet(group, id, ps); }},
        {"an identifier too many", [](Chip &, Set &recorded) { recorded.portSetId2Is(id); }},
        {"a translation missing",
         [](Chip &chip, Set &) { chip.deleteNatFlowSrcTranslation(group, id); }},
        {"a translation too many", [](Chip &chip, Set &) {
             chip.updateNatFlowDstTranslation(group, id, 10, {}, {}, 0, {});
         }}};
    for (auto const &[what, tamper] : tampers) {
        SCOPED_TRACE(what);
        UmoAgent::EventLoop loop;
        UmoAgent::ForwardingAgent agent(loop, nullptr);
        agent.start(std::get<UmoAgent::Scenario>(UmoAgent::readScenario("", kInitial)).initial);
        auto const &tree = *agent.state().hwStatus();
        auto const action = tree.natFlow("p")->match("m")->action("a");
        EXPECT_NO_THROW(Sim::checkChip(agent.chip(), tree, {}));
        tamper(agent.chip(), *action->vlanPortSets()->mcastPortSet(10));
        EXPECT_THROW(Sim::checkChip(agent.chip(), tree, {}), Sim::Broken);
    }
}

TEST(SoakTest, ACrashIsCutDownToTheEventsThatItTakes) {
    std::string const noRoom = "{at: 1s, set: {chip: {port-sets-per-group: 0}}}";
    std::string const needsRoom = "{at: 3s, set: {policies: {p: {matches: {m: {actions: "
                                  "{b: {source: 10.9.9.9, egress: [Vlan10]}}}}}}}}";
    Sim::Script script{kInitial, {}};
    for (std::string const &event : {noRoom, std::string("{at: 2s}"), needsRoom}) {
        std::string const at = event.substr(0, sizeof "{at: 1s" - 1);
        script.events.push_back(at + ", set: {vlans: {20: []}}}");
        script.events.push_back(event);
    }
    Sim::Result const result = Sim::simulate({.script = &script});
    EXPECT_EQ(result.fault, "the process was stopped: Aborted");

    Sim::Script const shrunk = Sim::shrunk(result.script);
    EXPECT_EQ(shrunk.events, (std::vector{script.events[1], script.events[5]}));
    auto const read = UmoAgent::readScenario("", Sim::scenario(shrunk, "it's broken"));
    ASSERT_TRUE(std::holds_alternative<UmoAgent::Scenario>(read));
    EXPECT_EQ(std::get<UmoAgent::Scenario>(read).events.size(), 3U);
}

TEST(SoakTest, ASeedIsTheSameEachTime) {
    auto const soaked = [](std::uint64_t seed) {
        return Sim::simulate({.seed = seed, .events = 100, .faults = true, .script = nullptr});
    };
    Sim::Result const first = soaked(7);
    Sim::Result const again = soaked(7);
    EXPECT_EQ(first.fault, "");
    EXPECT_EQ(first.script.events, again.script.events);
    EXPECT_EQ(first.hash, again.hash);
    EXPECT_NE(first.hash, soaked(8).hash);

    Sim::Script const invalid{kInitial, {"{at: 1s, remove: {policies: [nobody]}}"}};
    EXPECT_TRUE(Sim::simulate({.script = &invalid}).rejected);
}

} // namespace
