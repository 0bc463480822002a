#include "agent/Player.h"
#include "agent/ScenarioReader.h"

#include <gmock/gmock.h>

#include <chrono>
#include <filesystem>
#include <regex>
#include <set>
#include <sstream>

using testing::HasSubstr;
using UmoAgent::ExitStatus;
using UmoAgent::PlayOptions;
using UmoAgent::Scenario;

namespace {

struct Played {
    explicit Played(std::variant<Scenario, UmoAgent::ScenarioFaults> const &read,
                    PlayOptions options = {}) {
        std::ostringstream outText, errorText;
        status = UmoAgent::play(std::get<Scenario>(read), options, outText, errorText);
        out = outText.str();
        EXPECT_EQ(errorText.str(), "");
    }
    explicit Played(std::string const &text, PlayOptions options = {})
        : Played(UmoAgent::readScenario("f", text), options) {}

    ExitStatus status = ExitStatus::refused;
    std::string out;
};

/// A match whose flow has a destination, and which thus wants one group for its action.
std::string match(std::string const &name) {
    return name + ": {flow: {destination: 239.1.1.1}, actions: {a: {}}}";
}
std::string policy(std::string const &name, std::string const &matches) {
    return name + ": {matches: {" + matches + "}}";
}

std::set<std::string> examples() {
    std::set<std::string> paths;
    std::error_code none; // started elsewhere: then there are no examples, which fails
    for (auto const &entry : std::filesystem::directory_iterator("examples", none)) {
        if (entry.path().extension() == ".yaml") {
            paths.insert(entry.path());
        }
    }
    return paths;
}

struct Example : testing::TestWithParam<std::string> {};
INSTANTIATE_TEST_SUITE_P(All, Example, testing::ValuesIn(examples()));

} // namespace

TEST(Player, WaitingMatchIsProgrammedWhenTheRetryComesBeforeAnEventOfTheSameTime) {
    Played const played("chip: {groups: 1}\npolicies: {" +
                        policy("p", match("m") + ", " + match("n")) +
                        "}\nevents:\n"
                        "- {at: 5s, remove: {policies: {p: {matches: {m: {actions: [a]}}}}}}\n"
                        "- {at: 14999ms, note: early, print: groups}\n"
                        "- {at: 15s, print: [groups, chip]}\nend: 20s\n");
    EXPECT_EQ(played.out, "[   14.999 s] early\n"
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
    EXPECT_EQ(played.status, ExitStatus::good);
}

TEST(Player, GroupLeftInTheChipIsAFault) {
    // The unicast group of a pair whose other half fails stays allocated in the chip.
    Played const played("{chip: {groups: 1}, policies: {p: {matches: {m: {actions: {a: {}}}}}}}");
    EXPECT_THAT(played.out, HasSubstr("end of the scenario, NAT is shut down\n"
                                      "chip: 1 of 1 groups in use, 1 refusal, 0 contract errors"));
    EXPECT_EQ(played.status, ExitStatus::faulty);
}

TEST(Player, RemovalOfAPolicyStrandsTheMatchesThatWait) {
    Played const played("chip: {groups: 1}\npolicies: {" + policy("p", match("m")) + ", " +
                        policy("q", match("n")) +
                        "}\nevents: [{at: 1, remove: {policies: p}}, {at: 1h, print: groups}]");
    EXPECT_THAT(played.out, HasSubstr("q       n           1        -          -  stranded\n"));
}

TEST(Player, RealTimePassesOnTheWallClockAndCallsAreShownAsTheyHappen) {
    auto const start = std::chrono::steady_clock::now();
    Played const played("events: [{at: 50ms, set: {policies: {" + policy("p", match("m")) +
                            "}}}]\nend: 100ms\n",
                        {true, true});
    EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(100));
    EXPECT_EQ(std::regex_replace(played.out, std::regex("\\[ *[0-9.]+ s\\]"), "[T]"),
              "[T] createNatFlowGroup(policy p, match m, unicast false) -> 1\n"
              "[T] deleteNatFlowGroup(policy p, match m, group 1)\n"
              "[T] end of the scenario, NAT is shut down\n"
              "chip: 0 of 1024 groups in use, 0 refusals, 0 contract errors\n");
}

TEST_P(Example, RunsAlikeEveryTimeAndLeavesAnEmptyChip) {
    Played const played(UmoAgent::readScenarioFile(GetParam()), {false, true});
    EXPECT_EQ(played.status, ExitStatus::good);
    EXPECT_EQ(played.out, Played(UmoAgent::readScenarioFile(GetParam()), {false, true}).out);
}
