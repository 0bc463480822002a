#include "agent/console/Console.h"
#include "agent/base/AnswerFile.h"
#include "agent/scenario/ScenarioReader.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <fstream>

using namespace UmoAgent;
using testing::ContainsRegex;
using testing::HasSubstr;
using testing::StartsWith;

namespace {

struct ConsoleTest : testing::Test {
    ConsoleTest() {
        auto const read = readScenarioFile("examples/live-switch.yaml");
        agent.start(std::get<Scenario>(read).initial);
    }
    ~ConsoleTest() override {
        agent.shutDown();
        EXPECT_TRUE(agent.clean());
        std::remove(file.c_str());
    }

    std::string answer(std::string const &line) {
        AnswerFile const written;
        bool answered = false;
        console.answer(written.socket(), line, [&](bool) { answered = true; });
        while (!answered) {
            loop.runUntil(loop.now());
        }
        return written.read(0, 100'000);
    }
    std::string apply(std::string const &events) {
        std::ofstream(file) << events;
        return answer("apply " + file);
    }

    std::string file = testing::TempDir() + "umo-events-" + std::to_string(getpid()) + ".yaml";
    EventLoop loop;
    ForwardingAgent agent{loop, [](std::string const &line) { ADD_FAILURE() << line; }};
    Console console{agent, loop, Scope::wholeSwitch};
};

} // namespace

TEST_F(ConsoleTest, ShowsWhatTheSwitchHoldsAndDid) {
    EXPECT_EQ(answer("showRecircVlan"), "recirculation VLAN: 10, L3 interface Vlan10\n");
    EXPECT_EQ(answer("showBacklog"), "backlog: 0 waiting, no run is scheduled\n");
    EXPECT_THAT(answer("showChip"),
                StartsWith("table                     in use  capacity\n"
                           "groups                         1      1024\n"
                           "port sets                      2         -\n"
                           "  in the fullest group         2      4096\n"
                           "source translations            1         -\n"
                           "destination translations       1         -\n"
                           "chip: 1 of 1024 groups in use, 0 refusals, 0 contract errors\n"
                           "  group 1 of policy campus, match lecture\n"));
    EXPECT_THAT(answer("showCounters"),
                ContainsRegex("\n  UmoNatFlowActionSm::handleInitialized {26}[0-9]+\n.*"
                              "\n  createNatFlowGroup {45}1\n"));
    EXPECT_THAT(answer("showSkimtrace 1"), HasSubstr(" UmoNatFlow"));
    EXPECT_EQ(answer("showLogEvents"),
              R"(NAT_HW_RESOURCE_NORMAL, severity 6
  message: All NAT rules are programmed in hardware
  explanation: The switch was able to program all the NAT rules in the NAT table
  recommended action: No action is required.
NAT_HW_RESOURCE_FULL, severity 3
  message: Hardware resources are insufficient to program all NAT rules
  explanation: The switch is unable to program all NAT rules due to insufficient hardware resources.
  recommended action: Reconfigure your NAT rules to reduce the size and/or complexity of the NAT rules.
NAT_RULE_IF_MAX, severity 3
  message: The active number of interfaces associated with the NAT rule: '%s', has exceeded the maximum. )"
              R"(Cannot add VLAN %d. Interface count: %d, Maximum interfaces: %d.
  explanation: The maximum number of active interfaces associated with the NAT rule has been reached.
  recommended action: Remove the NAT rule from any interface not currently in use.
)");
}

TEST_F(ConsoleTest, AppliesAllEventsOfAFileOrNone) {
    EXPECT_THAT(apply("events: [{remove: {policies: [campus]}}, {remove: {policies: [campus]}}]"),
                HasSubstr("% apply: " + file + ":1:63: found \"campus\", expected a policy that"));
    EXPECT_THAT(apply("vlans: {20: []}"),
                HasSubstr(":1:1: found \"vlans\", expected one of events"));
    EXPECT_THAT(apply("events: [{set: {vlans: {10: [Et7]}}}]"), HasSubstr("unknown interface"));
    EXPECT_THAT(answer("showNatFlowGroup"), HasSubstr("programmed"));
    EXPECT_EQ(apply("events: [{note: down, set: {topologies: {main: {ports: {Et4: blocking}}}}},\n"
                    "  {set: {interfaces: {Et7: {}}}}]"),
              "[    0.000 s] down\napplied 2 events\n");
    EXPECT_EQ(answer("showBacklog"), "backlog: 2 waiting, a run is scheduled\n"
                                     "  policy campus, match lecture, action room-a\n"
                                     "  policy campus, match lecture, action room-b\n");
    loop.runUntil(std::chrono::seconds(1));
    EXPECT_THAT(answer("showNatFlowActionHw"), testing::Not(HasSubstr(" room-b ")));
    // The file before declared Et7; the policy is a new one of the same name.
    EXPECT_EQ(apply("events: [{remove: {policies: campus}, set: {vlans: {10: [Et7]},\n"
                    "  l3-interfaces: {Vlan10: 10}, policies: {campus: {}}}}]"),
              "applied 1 event\n");
    EXPECT_EQ(answer("showNatFlowGroup"), "groups: no matches\n");
}

TEST_F(ConsoleTest, NamesNeitherSteerTheTerminalNorBreakRows) {
    std::string const usual = answer("showNatFlowActionHw");
    EXPECT_EQ(answer("  showNatFlowActionHw  campus  x "), usual);
    EXPECT_EQ(answer("showNatFlowActionHw camp"), "");
    apply("events: [{set: {policies: {\"a\\nb\": {matches: {\"\\e[2J\": {actions: "
          "{\"\\u00fc\\x9b\":\n"
          "  {destination: 239.1.1.1, egress: [Vlan10]}}}}}}}}]");
    std::string const row = "a\\x0ab             \\x1b[2J            ü\\xc2\\x9b          -    ";
    EXPECT_THAT(answer("showNatFlowActionHw"),
                testing::AllOf(HasSubstr("\n" + row), HasSubstr("\ncampus             lecture  ")));
    EXPECT_EQ(answer("showNatFlowActionHw campus"), usual);
    EXPECT_THAT(answer("showChip"), HasSubstr("\n  group 2 of policy a\\x0ab, match \\x1b[2J\n"));
    std::string const entries = answer("showSkimtrace 50");
    EXPECT_EQ(std::count(entries.begin(), entries.end(), '\n'), 50);
    EXPECT_THAT(entries, HasSubstr(" policy a\\x0ab match \\x1b[2J action ü\\xc2\\x9b version "));
    apply("events: [{set: {topologies: {main: {ports: {Et2: blocking}}}}}]");
    EXPECT_THAT(answer("showBacklog"),
                HasSubstr("  policy a\\x0ab, match \\x1b[2J, action ü\\xc2\\x9b\n"));
    EXPECT_EQ(answer("nonsense\xff"), "% unknown command \"nonsense\\xff\"\n" + answer("help"));
}

TEST_F(ConsoleTest, SaysWhatItDoesNotUnderstand) {
    std::pair<char const *, char const *> const cases[] = {
        {"apply \x1b[2J", "% a control character in \"apply .x1b.2J\"\n$"},
        {"showNatFlow p", "% unknown command \"showNatFlow\"\ncommands:\n  apply  "},
        {"  ", "% no command\ncommands:\n"},
        {"help", "commands:\n.*\n  trace                HANDLE/LEVELS: "},
        {" showBacklog  x y ", "% showBacklog: found \"x y\", expected no arguments\n$"},
        {"showSkimtrace 1x", "% showSkimtrace: found \"1x\""},
        {"apply", "% apply: expected a file"},
        {"apply /dev/zero", "% apply: .*expected a regular file"},
        {"trace Foo/1,UmoNatFlowMcastSm/1-3,UmoNatFlowMcastSm/9",
         "no handle for Foo/1\nUmoNatFlowActionSm/off\n"},
        {"trace x", "% trace: malformed trace setting \"x\""},
        {"trace", ".*\nUmoNatFlowMcastSm/1-3,9\nUmoNatFlowMcastSmCli/off\n"},
        {"trace off", ".*\nUmoNatFlowMcastSm/off\n"},
    };
    for (auto const &[line, said] : cases) {
        EXPECT_THAT(answer(line), ContainsRegex(std::string("^") + said)) << line;
    }
}
