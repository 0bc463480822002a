#include "agent/console/Console.h"
#include "agent/AnswerFile.h"
#include "agent/ScenarioReader.h"

#include <gmock/gmock.h>

#include <fstream>

using namespace UmoAgent;
using testing::HasSubstr;
using testing::StartsWith;

namespace {

constexpr char const *kScenario = R"(
chip: {groups: 2}
interfaces: {Et1: {native-vlan: 10}}
vlans: {10: [Et1]}
topologies: {t: {vlans: [10], ports: {Et1: forwarding}}}
ip-interfaces: {Vlan10: {address: 10.0.10.1/24}}
l3-interfaces: {Vlan10: 10}
policies: {p: {matches: {m: {flow: {destination: 239.1.1.1}, actions: {
  a: {source: 10.9.9.9, egress: {Et1: {vlan: 10}}}}}}}}
)";

struct ConsoleTest : testing::Test {
    ConsoleTest() { agent.start(std::get<Scenario>(readScenario("f", kScenario)).initial); }
    ~ConsoleTest() override {
        agent.shutDown();
        EXPECT_TRUE(agent.clean());
        std::remove(file.c_str());
    }

    std::string answer(std::string const &line) const {
        AnswerFile const written;
        console.answer(written.socket(), line);
        return written.read(0, 100'000);
    }
    std::string apply(std::string const &events) const {
        std::ofstream(file) << events;
        return answer("apply " + file);
    }

    std::string file = testing::TempDir() + "umo-events-" + std::to_string(getpid()) + ".yaml";
    EventLoop loop;
    ForwardingAgent agent{loop, [](std::string const &line) { ADD_FAILURE() << line; }};
    Console console{agent};
};

} // namespace

TEST_F(ConsoleTest, ShowsWhatTheSwitchHoldsAndDid) {
    EXPECT_THAT(answer("showNatFlowActionHw"), HasSubstr("\np                  m    "));
    EXPECT_EQ(answer("showNatFlowActionHw q"), "");
    EXPECT_EQ(answer("showNatFlowGroup"),
              "policy  match  wanted  unicast  multicast  state\n"
              "p       m           1        1          1  programmed\n");
    EXPECT_EQ(answer("showRecircVlan"), "recirculation VLAN: 10, L3 interface Vlan10\n");
    EXPECT_EQ(answer("showBacklog"), "backlog: 0 waiting, no run is scheduled\n");
    EXPECT_THAT(answer("showChip"),
                StartsWith("table                     in use  capacity\n"
                           "groups                         1         2\n"
                           "port sets                      1         -\n"
                           "  in the fullest group         1      4096\n"
                           "source translations            1         -\n"
                           "destination translations       0         -\n"
                           "chip: 1 of 2 groups in use, 0 refusals, 0 contract errors\n"
                           "  group 1 of policy p, match m\n"));
    EXPECT_THAT(answer("showCounters"), HasSubstr("\n  createNatFlowGroup                          "
                                                  "                   1\n"));
    EXPECT_THAT(answer("showCounters"), HasSubstr("\n  UmoNatFlowActionSm::handleInitialized  "));
    EXPECT_THAT(answer("showSkimtrace 1"), HasSubstr(" UmoNatFlow"));
    EXPECT_THAT(answer("showLogEvents"),
                HasSubstr("NAT_HW_RESOURCE_FULL, severity 3\n  message: "));
}

TEST_F(ConsoleTest, AppliesAllEventsOfAFileOrNone) {
    EXPECT_THAT(apply("events: [{remove: {policies: [p]}}, {remove: {policies: [p]}}]"),
                HasSubstr("% apply: " + file + ":1:58: found \"p\", expected a policy that is"));
    EXPECT_THAT(apply("vlans: {20: []}"),
                HasSubstr(":1:1: found \"vlans\", expected one of events"));
    EXPECT_THAT(apply("events: [{set: {vlans: {10: [Et2]}}}]"), HasSubstr("unknown interface"));
    EXPECT_THAT(answer("showNatFlowGroup"), HasSubstr("programmed"));

    console.playingIs(true);
    EXPECT_THAT(apply("events: []"), StartsWith("% apply: the scenario is still being played"));
    console.playingIs(false);
    EXPECT_EQ(apply("events: [{note: down, set: {topologies: {t: {ports: {Et1: blocking}}}}},\n"
                    "  {set: {interfaces: {Et2: {}}}}]"),
              "[    0.000 s] down\napplied 2 events\n");
    EXPECT_EQ(answer("showBacklog"), "backlog: 1 waiting, a run is scheduled\n"
                                     "  policy p, match m, action a\n");
    loop.runUntil(std::chrono::seconds(1));
    EXPECT_THAT(answer("showNatFlowActionHw"), testing::Not(HasSubstr("\np ")));
    // Et2 is known from the file before; the policy is another one of the same name.
    EXPECT_EQ(apply("events: [{remove: {policies: p}, set: {vlans: {10: [Et2]}, l3-interfaces:\n"
                    "  {Vlan10: 10}, policies: {p: {}}}}]"),
              "applied 1 event\n");
    EXPECT_EQ(answer("showNatFlowGroup"), "groups: no matches\n");
}

TEST_F(ConsoleTest, SaysWhatItDoesNotUnderstand) {
    EXPECT_EQ(answer("apply \x1b[2J"), "% a control character in \"apply \\x1b[2J\"\n");
    EXPECT_THAT(answer("showNatFlow p"),
                StartsWith("% unknown command \"showNatFlow\"\ncommands:\n  apply  "));
    EXPECT_THAT(answer("  "), StartsWith("% no command\ncommands:\n"));
    EXPECT_THAT(answer("help"), HasSubstr("\n  trace                HANDLE/LEVELS: "));
    EXPECT_EQ(answer(" showBacklog  x y "),
              "% showBacklog: found \"x y\", expected no arguments\n");
    EXPECT_THAT(answer("showSkimtrace 1x"), StartsWith("% showSkimtrace: found \"1x\""));
    EXPECT_THAT(answer("apply"), StartsWith("% apply: expected a file"));
    EXPECT_THAT(answer("apply /dev/zero"), HasSubstr("expected a regular file"));
    EXPECT_THAT(answer("trace UmoNatFlowMcastSm/1-3,UmoNatFlowMcastSm/9"),
                HasSubstr("\nUmoNatFlowMcastSm/1-3,9\nUmoNatFlowMcastSmCli/off\n"));
    EXPECT_THAT(answer("trace Foo/1,UmoNatFlowMcastSm/1-3,UmoNatFlowMcastSm/9"),
                StartsWith("no handle for Foo/1\nUmoNatFlowActionSm/off\n"));
    EXPECT_THAT(answer("trace x"), StartsWith("% trace: malformed trace setting \"x\""));
    EXPECT_THAT(answer("trace"), HasSubstr("\nUmoNatFlowMcastSm/1-3,9\n"));
    EXPECT_THAT(answer("trace off"), testing::Not(HasSubstr("1-3")));
}
