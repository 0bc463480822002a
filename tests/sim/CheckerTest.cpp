#include "sim/Checker.h"
#include "agent/scenario/ScenarioReader.h"
#include "sim/Broken.h"
#include "sim/Soak.h"

#include <gtest/gtest.h>

#include <fstream>
#include <functional>
#include <sstream>
#include <utility>
#include <vector>

namespace {

constexpr char const *kExample = "examples/live-switch.yaml";

std::string exampleText() {
    return (std::ostringstream() << std::ifstream(kExample).rdbuf()).str();
}

TEST(CheckerTest, TheChipIsExactlyWhatTheTreeSays) {
    using Chip = UmoAgent::SoftSwitch;
    using Set = Ip::Nat::NatFlowPortSet;
    static constexpr std::uint32_t group = 1;
    static constexpr std::uint32_t id = 1;
    auto const ps = Mox::make<Set>(std::uint16_t{10});
    std::vector<std::pair<char const *, std::function<void(Chip &, Set &)>>> const tampers{
        {"a group too many",
         [](Chip &chip, Set &) { chip.createNatFlowGroup("campus", "lecture", false); }},
        {"a group missing",
         [](Chip &chip, Set &) { chip.deleteNatFlowGroup("campus", "lecture", group); }},
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
        agent.start(std::get<UmoAgent::Scenario>(UmoAgent::readScenarioFile(kExample)).initial);
        auto &tree = *agent.state().hwStatus();
        auto const action = tree.natFlow("campus")->match("lecture")->action("room-a");
        EXPECT_NO_THROW(Sim::checkChip(agent.chip(), tree, {}));
        tamper(agent.chip(), *action->vlanPortSets()->mcastPortSet(10));
        EXPECT_THROW(Sim::checkChip(agent.chip(), tree, {}), Sim::Broken);
    }
}

TEST(SoakTest, ACrashIsCutDownToTheEventsThatItTakes) {
    Sim::Script const script{
        exampleText(),
        {"{at: 1s, set: {vlans: {30: []}}}", "{at: 1s, set: {chip: {port-sets-per-group: 0}}}",
         "{at: 2s}", "{at: 3s, set: {vlans: {30: []}}}",
         "{at: 3s, set: {policies: {campus: {matches: {lecture: {actions: {a: {source: "
         "10.9.9.9, egress: [Vlan10]}}}}}}}}"}};
    Sim::Result const result = Sim::simulate({.script = &script});
    EXPECT_EQ(result.fault, "the process was stopped: Aborted");

    Sim::Script const shrunk = Sim::shrunk(result.script);
    EXPECT_EQ(shrunk.events, (std::vector{script.events[1], script.events[4]}));
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

    Sim::Script const invalid{exampleText(), {"{at: 1s, remove: {policies: [nobody]}}"}};
    EXPECT_TRUE(Sim::simulate({.script = &invalid}).rejected);
}

} // namespace
