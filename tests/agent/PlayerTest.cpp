#include "agent/Player.h"
#include "agent/ScenarioReader.h"

#include <gmock/gmock.h>

#include <filesystem>
#include <sstream>

using namespace UmoAgent;

namespace {

/// What is printed in the course of a scenario, with the exit status at its end.
std::string played(std::variant<Scenario, ScenarioFaults> const &read, PlayOptions options = {}) {
    std::ostringstream out;
    ExitStatus const status = play(std::get<Scenario>(read), options, out, out);
    return out.str() + "=> " + std::to_string(static_cast<int>(status));
}

/// A match whose flow has a destination, and which thus wants one group for its action.
std::string const kMatch = ": {flow: {destination: 239.1.1.1}, actions: {a: {}}}";

} // namespace

TEST(Player, WaitingMatchIsProgrammedWhenTheRetryComesBeforeAnEventOfTheSameTime) {
    EXPECT_EQ(played(readScenario("f", "chip: {groups: 1}\npolicies: {p: {matches: {m" + kMatch +
                                           ", n" + kMatch + "}}}\nevents:\n" + R"(
- {at: 5s, remove: {policies: {p: {matches: {m: {actions: [a]}}}}}}
- {at: 14999ms, note: early, print: groups}
- {at: 15s, print: chip}
end: 20s)"),
                     {.showCalls = true}),
              "[    0.000 s] createNatFlowGroup(policy p, match m, unicast false) -> 1\n"
              "[    0.000 s] createNatFlowGroup(policy p, match n, unicast false) -> 0\n"
              "[    5.000 s] deleteNatFlowGroup(policy p, match m, group 1)\n"
              "[   14.999 s] early\n"
              "policy  match  wanted  unicast  multicast  state\n"
              "p       m           0        -          -  no groups\n"
              "p       n           1        -          -  waiting\n"
              "[   15.000 s] createNatFlowGroup(policy p, match n, unicast false) -> 2\n"
              "[   15.000 s]\n"
              "chip: 1 of 1 groups in use, 1 refusal, 0 contract errors\n"
              "  group 2 of policy p, match n\n"
              "[   20.000 s] deleteNatFlowGroup(policy p, match n, group 2)\n"
              "[   20.000 s] end of the scenario, NAT is shut down\n"
              "chip: 0 of 1 groups in use, 1 refusal, 0 contract errors\n=> 0");
}

TEST(Player, GroupLeftInTheChipIsAFaultAndAMatchStrandedByAnothersEndIsNone) {
    // The unicast group of a pair whose other half fails stays allocated in the chip.
    EXPECT_THAT(
        played(readScenario("f", R"(
chip: {groups: 1}
policies: {p: {matches: {m: {actions: {a: {}}}}}, q: {matches: {n: {actions: {a: {}}}}}}
events: [{at: 1, remove: {policies: p}}, {at: 1h, print: groups}])")),
        testing::AllOf(testing::HasSubstr("\nq       n           2        -          -  "
                                          "stranded\n"),
                       testing::EndsWith("\n  group 1 of policy p, match m, unicast\n=> 1")));
}

TEST(Player, EveryExampleRunsAlikeEachTimeAndLeavesAnEmptyChip) {
    int examples = 0;
    for (auto const &entry : std::filesystem::directory_iterator("examples")) {
        if (entry.path().extension() == ".yaml") {
            std::string const first = played(readScenarioFile(entry.path()), {.showCalls = true});
            EXPECT_THAT(first, testing::EndsWith("=> 0")) << entry.path();
            EXPECT_EQ(first, played(readScenarioFile(entry.path()), {.showCalls = true}));
            ++examples;
        }
    }
    EXPECT_GT(examples, 0);
}
