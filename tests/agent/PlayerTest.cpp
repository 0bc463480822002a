#include "agent/Player.h"
#include "agent/ScenarioReader.h"

#include <gmock/gmock.h>

#include <chrono>
#include <sstream>
#include <string>
#include <variant>

using testing::EndsWith;
using testing::HasSubstr;
using testing::IsEmpty;
using UmoAgent::ExitStatus;
using UmoAgent::PlayOptions;
using UmoAgent::Scenario;

namespace {

struct Played {
    explicit Played(std::string const &text, PlayOptions options = {}) {
        auto const read = UmoAgent::readScenario("f", text);
        if (auto const *faults = std::get_if<UmoAgent::ScenarioFaults>(&read)) {
            ADD_FAILURE() << testing::PrintToString(*faults);
            return;
        }
        std::ostringstream outText;
        std::ostringstream errorText;
        status = UmoAgent::play(std::get<Scenario>(read), options, outText, errorText);
        out = outText.str();
        errors = errorText.str();
    }

    ExitStatus status = ExitStatus::badScenario;
    std::string out;
    std::string errors;
};

/// A match whose flow has a destination, and which thus wants one group for its action.
std::string match(std::string const &name) {
    return name + ": {flow: {destination: 239.1.1.1}, actions: {a: {}}}";
}
std::string policy(std::string const &name, std::string const &matches) {
    return name + ": {matches: {" + matches + "}}";
}

} // namespace

TEST(Player, WaitingMatchIsProgrammedWhenTheRetryComesBeforeAnEventOfTheSameTime) {
    Played const played("chip: {groups: 1}\n"
                        "policies: {" +
                        policy("p", match("m") + ", " + match("n")) +
                        "}\n"
                        "events:\n"
                        "- {at: 0, note: full, print: groups}\n"
                        "- {at: 5s, remove: {policies: {p: {matches: {m: {actions: [a]}}}}}}\n"
                        "- {at: 14999ms, print: table}\n"
                        "- {at: 15s, print: [groups, chip]}\n"
                        "end: 20s\n");
    EXPECT_EQ(played.out, "[    0.000 s] full\n"
                          "policy  match  wanted  unicast  multicast  state\n"
                          "p       m           1        1          1  programmed\n"
                          "p       n           1        -          -  waiting\n"
                          "[   14.999 s]\n"
                          "policy  match  wanted  unicast  multicast  state\n"
                          "p       m           0        -          -  no groups\n"
                          "p       n           1        -          -  waiting\n"
                          "[   15.000 s]\n"
                          "policy  match  wanted  unicast  multicast  state\n"
                          "p       m           0        -          -  no groups\n"
                          "p       n           1        2          2  programmed\n"
                          "chip: 1 of 1 groups in use, 1 refusal, 0 contract errors\n"
                          "  group 2 of policy p, match n\n"
                          "[   20.000 s] end of the scenario, NAT is shut down\n"
                          "chip: 0 of 1 groups in use, 1 refusal, 0 contract errors\n");
    EXPECT_THAT(played.errors, IsEmpty());
    EXPECT_EQ(played.status, ExitStatus::good);
}

TEST(Player, GroupLeftInTheChipIsAFault) {
    // The unicast group of a pair whose other half fails stays allocated in the chip.
    Played const played("chip: {groups: 1}\n"
                        "policies: {p: {matches: {m: {actions: {a: {}}}}}}\n");
    EXPECT_THAT(played.out, EndsWith("chip: 1 of 1 groups in use, 1 refusal, 0 contract errors\n"));
    EXPECT_EQ(played.status, ExitStatus::faulty);
}

TEST(Player, RemovalOfAPolicyStrandsTheMatchesThatWait) {
    Played const played("chip: {groups: 1}\n"
                        "policies: {" +
                        policy("p", match("m")) + ", " + policy("q", match("n")) +
                        "}\n"
                        "events: [{at: 0, print: groups}, {at: 1, remove: {policies: p}},\n"
                        "         {at: 1h, print: groups}]\n");
    EXPECT_THAT(played.out, HasSubstr("q       n           1        -          -  waiting\n"));
    EXPECT_THAT(played.out, HasSubstr("q       n           1        -          -  stranded\n"));
    EXPECT_EQ(played.status, ExitStatus::good);
}

TEST(Player, ActionThatComesToNeedAMacGetsItBeforeAnybodyLooks) {
    // The flow turns unicast and the next hop gets its MAC in one event; a unicast next hop without
    // one would stop the process.
    Played const played(
        "policies: {p: {matches: {m: {flow: {destination: 239.1.1.1},\n"
        "                             actions: {a: {egress: [Vlan10]}}}}}}\n"
        "events:\n"
        "- at: 1s\n"
        "  set: {policies: {p: {matches: {m: {flow: {destination: 10.1.1.1},\n"
        "        actions: {a: {egress: {Vlan10: {mac: 02:00:00:00:00:01}}}}}}}}}\n"
        "- at: 2s\n"
        "  remove: {policies: {p: {matches: {m: {actions: {a: {egress: {Vlan10: [mac]}}}}}}}}\n"
        "  set: {policies: {p: {matches: {m: {flow: {destination: 239.1.1.1}}}}}}\n"
        "  print: tree\n");
    EXPECT_THAT(played.out, HasSubstr("action a: natFlowTypeMulticast"));
    EXPECT_EQ(played.status, ExitStatus::good);
}

TEST(Player, ShowsCallsAsTheyHappen) {
    Played const played("events:\n"
                        "- {at: 1s, set: {policies: {" +
                            policy("p", match("m")) + "}}}\n",
                        {false, true});
    EXPECT_EQ(played.out,
              "[    1.000 s] createNatFlowGroup(policy p, match m, unicast false) -> 1\n"
              "[    1.000 s] deleteNatFlowGroup(policy p, match m, group 1)\n"
              "[    1.000 s] end of the scenario, NAT is shut down\n"
              "chip: 0 of 1024 groups in use, 0 refusals, 0 contract errors\n");
}

TEST(Player, RealTimePassesOnTheWallClock) {
    auto const start = std::chrono::steady_clock::now();
    Played const played("events: [{at: 50ms, note: x}]\nend: 100ms\n", {true, false});
    auto const taken = std::chrono::steady_clock::now() - start;
    EXPECT_GE(taken, std::chrono::milliseconds(100));
    EXPECT_LT(taken, std::chrono::seconds(20));
    EXPECT_THAT(played.out, HasSubstr("[    0.050 s] x\n"));
    EXPECT_EQ(played.status, ExitStatus::good);
}

TEST(Player, ExamplesEndWithAnEmptyChip) {
    for (std::string const name : {"market-data-feed", "stadium-video", "group-exhaustion"}) {
        auto const read = UmoAgent::readScenarioFile("examples/" + name + ".yaml");
        ASSERT_TRUE(std::holds_alternative<Scenario>(read)) << name;
        std::ostringstream out;
        std::ostringstream errors;
        EXPECT_EQ(UmoAgent::play(std::get<Scenario>(read), {}, out, errors), ExitStatus::good);
        EXPECT_THAT(errors.str(), IsEmpty()) << name;
        EXPECT_THAT(out.str(), HasSubstr("hardware status: no policies\nchip: 0 of ")) << name;
    }
}
