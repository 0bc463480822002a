#include "tests/agent/Session.h"

#include "agent/console/CommandSocket.h"

#include <gmock/gmock.h>
#include <sys/socket.h>

#include <algorithm>
#include <array>
#include <sstream>

using testing::ContainsRegex;
using testing::EndsWith;
using testing::HasSubstr;
using testing::StartsWith;
using namespace Session;

namespace {

/// The calls of the chip in `text`, without their times.
std::string callsIn(std::string const &text) {
    std::istringstream lines(text);
    std::string calls;
    for (std::string line; std::getline(lines, line);) {
        if (line.find('(') != std::string::npos) {
            calls += line.substr(line.find(']')) + '\n';
        }
    }
    return calls;
}

} // namespace

TEST(Following, EventsAreFollowedAndASlowReaderLosesLinesAndIsToldHowMany) {
    ScenarioFile const scenario("policies: {p: {matches: {m: {flow: {destination: 239.1.1.1}, "
                                "actions: {a: {egress: [Vlan1]}}}}}}\n");
    Process agent(agentCommand + scenario.path());
    agent.readUntil("the switch goes on\n");
    Process saving(clientCommand + "--json showNatFlowGroup >" + socketPath + ".saved");
    saving.end();
    Process follower(clientCommand + "events"), watcher(clientCommand + "watch");
    follower.readUntil("events from now on\n");
    watcher.readUntil("programmed\n");

    Changes const change("events: [{set: {topologies: {t: {ports: {Et1: disabled}}}}}]");
    EXPECT_THAT(client("apply " + change.path()), HasSubstr("applied 1 event"));
    EXPECT_THAT(follower.readUntil("VLAN 1\n"),
                ContainsRegex("\\] action programmed: policy p, match m, action a; something "
                              "changed in VLAN 1\n$"));
    EXPECT_THAT(watcher.readUntil("0        1  programmed\n"),
                ContainsRegex("-- after [1-9].* s\n"));
    EXPECT_EQ(client("diff " + socketPath + ".saved showNatFlowGroup"),
              "matches, p m, with-copies: 1 -> 0\nmatches, p m, without-copies: 0 -> 1\n=> 1");
    std::remove((socketPath + ".saved").c_str());

    auto const slow = UmoAgent::connectTo(socketPath);
    ASSERT_GT(send(slow.number(), "events --json\n", 14, 0), 0);
    std::string many = "events: [{set: {topologies: {t: {ports: {Et1: forwarding}}}}}";
    for (int i = 0; i < 6000; ++i) {
        many += ", {set: {policies: {p: {matches: {m: {actions: {a: {source: 10.0.1." +
                std::to_string(1 + i % 2) + "}}}}}}}}";
    }
    Changes const changes(many + "]");
    EXPECT_THAT(Process(changes.command()).end(), HasSubstr("applied 6001 events"));
    std::string lines;
    std::array<char, 65536> bytes{};
    std::size_t lost = std::string::npos;
    while ((lost = lines.find("{\"lost\":")) == std::string::npos) {
        ssize_t const got = recv(slow.number(), bytes.data(), bytes.size(), 0);
        ASSERT_GT(got, 0);
        lines.append(bytes.data(), static_cast<std::size_t>(got));
    }
    auto const before = std::count(lines.data(), lines.data() + lost, '\n');
    EXPECT_EQ(before + std::atoi(lines.c_str() + lost + 8), 1 + 6000); // the first says from when
    agent.signal(SIGTERM);
    EXPECT_THAT(follower.end(), EndsWith("=> 0"));
}

TEST(Following, EventsTellWhoWaitsForGroupsSinceTheStartAndUntilWhen) {
    ScenarioFile const scenario(
        "chip: {groups: 1}\npolicies: {p: {matches: {m: {actions: {a: {destination: 239.1.1.1, "
        "egress: [Vlan1]}}}}}, q: {matches: {n: {actions: {a: {destination: 239.1.1.2, "
        "egress: [Vlan1]}}}}}}\n");
    Process agent(agentCommand + scenario.path());
    agent.readUntil("the switch goes on\n");
    EXPECT_THAT(client("set retry-delay 100ms"), EndsWith("\nretry-delay 0.1s\n=> 0"));
    EXPECT_THAT(client("set retry-delay soon"), EndsWith("expected a time such as 100ms\n=> 1"));
    Process follower(clientCommand + "--json events");
    follower.readUntil("events from now on\"}\n");
    Changes const change("events: [{set: {policies: {r: {matches: {o: {actions: {a: {destination: "
                         "239.1.1.3, egress: [Vlan1]}}}}}}}},\n"
                         "{remove: {policies: {p: {matches: [m]}}}}]");
    client("apply " + change.path());
    std::string const events = follower.readUntil("\"event\":\"match still waits for groups\","
                                                  "\"policy\":\"r\",\"match\":\"o\"}\n");
    EXPECT_THAT(events, ContainsRegex("\"match waits for groups\",\"policy\":\"r\".*\n"
                                      "(.*\n)*.*\"match has got groups\",\"policy\":\"q\""));
    EXPECT_THAT(events, testing::Not(HasSubstr("no groups left"))); // for long
    Changes const removal("events: [{remove: {policies: {r: {matches: [o]}}}}]");
    client("apply " + removal.path());
    EXPECT_THAT(follower.readUntil("again\"}\n"), EndsWith("\"event\":\"enough groups again\"}\n"));
}

TEST(Following, CompletionOffersNamesAndNeverExpandsThem) {
    ScenarioFile const scenario("policies: {'$(echo${IFS}no)': {matches: {'m;x': {actions: {'a*': "
                                "{destination: 239.1.1.1, egress: [Vlan1]}}}, two words: {}}}}\n");
    Process agent(agentCommand + scenario.path());
    agent.readUntil("the switch goes on\n");
    File const script(".bash",
                      ". agent/cli/completion.bash\n"
                      "offered() {\n"
                      "    COMP_WORDS=('" UMO_CLI "' --socket '" +
                          socketPath +
                          "' \"$@\") COMP_CWORD=$(($# + 2))\n"
                          "    _umo_cli umo-cli \"${@: -1}\" \"${COMP_WORDS[COMP_CWORD-1]}\"\n"
                          "    printf '<%s>' \"${COMPREPLY[@]}\"\n"
                          "}\n"
                          "offered exp; offered explain ''; offered explain '$(echo${IFS}no)' ''\n"
                          "offered explain '$(echo${IFS}no)' 'm;x' ''\n");
    EXPECT_EQ(Process("bash " + script.path()).end(), "<explain><$(echo${IFS}no)><m;x><a*>=> 0");
}

TEST(Following, ADryRunTellsTheCallsOfAnApplyAndChangesNothing) {
    ScenarioFile const scenario("policies: {p: {matches: {m: {flow: {destination: 239.1.1.1}, "
                                "actions: {a: {egress: [Vlan1]}}}}}}\n");
    Process agent(agentCommand + "--show-calls " + scenario.path());
    agent.readUntil("the switch goes on\n");
    // The second event calls the chip at once, the first one by the backlog.
    Changes const change("events: [{set: {topologies: {t: {ports: {Et1: disabled}}}}},\n"
                         "{set: {policies: {q: {matches: {m: {flow: {destination: 239.1.1.2}, "
                         "actions: {b: {egress: [Vlan3]}}}}}}}}]");
    std::string const state = client("--json showChip") + client("--json showNatFlowActionHw");
    std::string const dry = client("apply --dry-run " + change.path());
    EXPECT_EQ(client("--json showChip") + client("--json showNatFlowActionHw"), state);
    EXPECT_THAT(dry, ContainsRegex("\nnothing was changed: these would be [1-9] calls of the chip\n"
                                   "warning: .*\n=> 0$"));

    client("apply " + change.path());
    while (!client("showBacklog").starts_with("backlog: 0 ")) {
    }
    agent.signal(SIGTERM);
    std::string const played = agent.end();
    auto const calls = callsIn(dry);
    EXPECT_THAT(calls,
                AllOf(HasSubstr("policy q, match m"), HasSubstr("Set(group 1, port set 1)")));
    EXPECT_THAT(callsIn(played.substr(played.find("the switch goes on"))), StartsWith(calls));
}
