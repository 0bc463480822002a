#include "agent/explain/Explanation.h"
#include "agent/base/EventLoop.h"
#include "agent/explain/ExplanationText.h"
#include "agent/explain/Picture.h"
#include "agent/explain/Silence.h"
#include "agent/scenario/ScenarioReader.h"

#include <gmock/gmock.h>
#include <nlohmann/json.hpp>

#include <sstream>

using namespace UmoAgent;
using testing::AllOf;
using testing::EndsWith;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::ThrowsMessage;

namespace {

/// Copies go to VLAN 20; one of its ports is a trunk. Ethernet5 is routed.
constexpr char const *kSwitch = R"(
chip: {groups: 2}
bridge-mac: 02:00:00:00:00:05
interfaces:
  Ethernet2: {mode: access, native-vlan: 20}
  Ethernet3: {mode: access, native-vlan: 20}
  Ethernet4: {mode: trunk, native-vlan: 30}
  Ethernet5: {mode: routed, native-vlan: 1005}
vlans: {20: [Ethernet2, Ethernet3, Ethernet4], 30: [], 1005: [Ethernet5]}
topologies:
  main:
    vlans: [20, 30, 1005]
    ports: {Ethernet2: forwarding, Ethernet3: forwarding, Ethernet4: forwarding, Ethernet5: forwarding}
ip-interfaces: {Vlan20: {address: 10.0.20.1/24}, Vlan30: {address: 10.0.30.1/24}, Ethernet5: {address: 10.0.5.1/24}}
l3-interfaces: {Vlan20: 20, Vlan30: 30, Ethernet5: 1005}
learned-macs: {20: {"02:00:00:00:00:77": Ethernet3}}
policies:
  feed:
    matches:
      m: {flow: {destination: 239.1.1.1}, actions: {a: {egress: [Vlan20]}}}
)";

std::string replaced(std::string const &part, std::string const &by) {
    std::string text = kSwitch;
    auto const at = text.find(part);
    return at == std::string::npos ? "" : text.replace(at, part.size(), by);
}

class Switch {
  public:
    explicit Switch(std::string const &scenario = kSwitch) : story(scenario + "events:\n") {
        auto const read = readScenario("switch", scenario);
        if (auto const *const faults = std::get_if<ScenarioFaults>(&read)) {
            ADD_FAILURE() << faults->front() << scenario;
            agent.start({});
        } else {
            agent.start(std::get<Scenario>(read).initial);
        }
    }
    ~Switch() {
        agent.shutDown();
        EXPECT_TRUE(agent.clean());
    }

    void event(std::string const &changes) {
        story += "  - {at: 1s, " + changes + "}\n";
        auto const read = readScenario("story", story);
        ASSERT_TRUE(std::holds_alternative<Scenario>(read))
            << std::get<ScenarioFaults>(read).front();
        ASSERT_THAT(agent.apply(std::get<Scenario>(read).events.back().changes), IsEmpty());
    }
    void pass(int seconds) { loop.runUntil(loop.now() + std::chrono::seconds(seconds)); }
    std::string text(Subject const &subject = {"feed"}) const {
        std::ostringstream out;
        printExplanation(out, explanationOf(agent, subject));
        return out.str();
    }

    [[nodiscard]] std::string warnings() const {
        std::ostringstream out;
        warnOfSilence(out, agent);
        return out.str();
    }

    std::string story; // the scenario so far
    EventLoop loop;
    ForwardingAgent agent{loop, [](std::string const &line) { ADD_FAILURE() << line; }};
};

TEST(Explanation, SaysWhereCopiesGo) {
    Switch const sw;
    EXPECT_EQ(sw.text(), "policy feed, match m: group 1\n"
                         "  action a, version 1: multicast, by the flow's destination 239.1.1.1\n"
                         "    Vlan20\n"
                         "      multicast copies in VLAN 20 to Ethernet2\n"
                         "      multicast copies in VLAN 20 to Ethernet3\n"
                         "      multicast copies in VLAN 20 to Ethernet4\n");
    EXPECT_EQ(sw.warnings(), "");
    auto const thrown = [](char const *text) { return ThrowsMessage<std::invalid_argument>(text); };
    EXPECT_THAT([&] { sw.text({"food"}); }, thrown("there is no policy \"food\""));
    EXPECT_THAT([&] { sw.text({"feed", "n"}); }, thrown("policy feed has no match \"n\""));
    EXPECT_THAT([&] { sw.text({"feed", "m", "b"}); }, thrown("match m has no action \"b\""));
}

/// What is wrong with the switch, and the reason that is given.
struct Fault {
    char const *part, *by, *reason;
};

TEST(Explanation, GivesTheReasonForEachPortWithoutCopies) {
    constexpr char const *kEgress = "egress: [Vlan20]";
    constexpr char const *kVlan20 = "Vlan20: {address: 10.0.20.1/24}";
    for (
        auto const &[part, by, reason] : std::vector<Fault>{
            {"{20: [Ethernet2, Ethernet3, Ethernet4], ", "{",
             "no multicast copies in VLAN 20: Vlan20: the switch does not have VLAN 20 (add the "},
            {"vlans: [20, 30", "vlans: [30", "Vlan20: no topology has VLAN 20 (add the VLAN to a "},
            {"Vlan20: 20, ", "", "Vlan20: no L3 interface has VLAN 20 (give Vlan20 that L3 id)"},
            {"Vlan20: {address: 10.0.20.1/24}, ", "",
             "Vlan20: Vlan20 has no IP settings (add it to the IP interfaces)"},
            {kVlan20, "Vlan20: {address: 10.0.20.1/24, routing: false}",
             "Vlan20: Vlan20's IP interface is down: it does not route (switch its routing on)"},
            {kVlan20, "Vlan20: {}",
             "Vlan20: Vlan20's IP interface is down: it has no address (give it one)"},
            {kEgress, "egress: [Vlan30]", "Vlan30: no port is a member of VLAN 30 (add ports "},
            {"Ethernet3: forwarding", "Ethernet3: blocking",
             "Ethernet3: not forwarding in topology main (it is blocking)"},
            {"Ethernet3: forwarding, ", "",
             "Ethernet3: it is not in topology main (add it to the topology)"},
            {"Ethernet3: {mode: access, native-vlan: 20}",
             "Ethernet3: {mode: access, native-vlan: 30}",
             "Ethernet3: native VLAN 30 is not 20 (give it that native VLAN, or make it a trunk)"},
            {"Ethernet3: {mode: access, native-vlan: 20}",
             "Ethernet3: {mode: trunk, native-vlan: none}",
             "Ethernet3: it has no native VLAN (give it one)"},
            {"Ethernet3: {mode: access, native-vlan: 20}",
             "Ethernet3: {mode: routed, native-vlan: 20}",
             "Ethernet3: it is routed, so it does not belong to VLAN 20 (make it a switchport, "},
            {kEgress, "egress: {Ethernet2: {vlan: 30}}", "Ethernet2: native VLAN 20 is not 30"},
            {kEgress, "egress: {Ethernet4: {vlan: 30}}",
             "Ethernet4: it is not a member of VLAN 30 (add it to the VLAN)"},
            {kEgress, "egress: []",
             "recirculation: multicast copies are not recirculated (name egress interfaces "},
            {kEgress, "destination: 10.2.2.2, egress: {Vlan20: {mac: \"02:00:00:00:00:77\"}}",
             "no unicast copies in VLAN 20: Ethernet2: host 02:00:00:00:00:77 is behind Ethernet3"},
            {kEgress,
             "destination: 10.2.2.2, egress: {Ethernet2: {mac: \"02:00:00:00:00:01\"}, "
             "Vlan20: {mac: \"02:00:00:00:00:77\"}}",
             "Ethernet3: the unicast copies in VLAN 20 go to 02:00:00:00:00:01, not to "
             "02:00:00:00:00:77 (put the next hops into different VLANs or actions)"},
            {"{destination: 239.1.1.1}, actions: {a: {egress: [Vlan20]}}",
             "{}, actions: {a: {egress: {Vlan30: {mac: \"02:00:00:00:00:77\"}}}}",
             "no multicast copies in VLAN 30: Vlan30: not tried for multicast copies, since "}}) {
        SCOPED_TRACE(by);
        Switch const sw(replaced(part, by));
        EXPECT_THAT(sw.text(), HasSubstr(reason));
    }
}

TEST(Explanation, DrawsWhatIsMissingInRed) {
    std::ostringstream out;
    printPicture(
        out, explanationOf(Switch(replaced("Ethernet3: forwarding", "Ethernet3: blocking")).agent,
                           {"feed"}));
    EXPECT_THAT(out.str(),
                AllOf(HasSubstr(" -> \"port\\nEthernet2\" [label=\"\"];\n"),
                      HasSubstr(" -> \"port\\nEthernet3\" [label=\"Ethernet3: not forwarding in "
                                "topology main\", color=red, fontcolor=red];\n")));
}

TEST(Explanation, TellsApartInterfacesThatLeadToTheSamePort) {
    Switch const sw(replaced(
        "egress: [Vlan20]", "destination: 10.2.2.2, egress: {Vlan20: {mac: \"02:00:00:00:00:78\"}, "
                            "Ethernet2: {mac: \"02:00:00:00:00:01\"}}"));
    EXPECT_THAT(sw.text(),
                HasSubstr("unicast copies in VLAN 20 because of another egress interface: "
                          "Ethernet2: the unicast copies in VLAN 20 go to "));
}

TEST(Explanation, SaysWhatIsOutOfDate) {
    Switch sw;
    sw.event("set: {topologies: {main: {ports: {Ethernet3: disabled}}}}");
    EXPECT_THAT(sw.text(),
                AllOf(HasSubstr("\n    it is queued: the next run of the backlog evaluates it\n"),
                      HasSubstr("multicast copies in VLAN 20 still: Ethernet3: not forwarding in "
                                "topology main (it is disabled)\n")));
    sw.pass(1);
    EXPECT_THAT(sw.text(), HasSubstr("no multicast copies in VLAN 20: Ethernet3: not forwarding"));

    sw.event("remove: {vlans: {20: [Ethernet2]}}, set: {vlans: {20: [Ethernet5]}}");
    sw.pass(1);
    EXPECT_THAT(sw.text(),
                AllOf(HasSubstr("\n    it is out of date, and no change has notified it: raise "),
                      EndsWith("    nowhere\n      multicast copies in VLAN 20 still: Ethernet2: "
                               "nothing in the action leads there\n")));
    sw.event("set: {policies: {feed: {matches: {m: {actions: {a: {egress: [Vlan20]}}}}}}}");
    EXPECT_THAT(sw.text(), Not(HasSubstr("out of date")));

    sw.event("remove: {interfaces: [Ethernet3]}, "
             "set: {policies: {feed: {matches: {m: {actions: {a: {egress: [Vlan20]}}}}}}}");
    EXPECT_THAT(sw.text(), HasSubstr("Ethernet3: it has no switchport settings (add it to the "));
}

TEST(Explanation, GivesTheReasonOfPortsThatStillGetCopies) {
    Switch sw;
    sw.event("remove: {ip-interfaces: [Vlan20]}");
    sw.pass(1);
    EXPECT_THAT(sw.text(),
                HasSubstr("    Vlan20\n"
                          "      no multicast copies in VLAN 20: Vlan20: Vlan20 has no IP "
                          "settings (add it to the IP interfaces)\n"
                          "      multicast copies in VLAN 20 still: Vlan20: Vlan20 has "));
    sw.event("set: {policies: {feed: {matches: {m: {actions: {a: {version: 0}}}}}}}");
    EXPECT_THAT(sw.text(), HasSubstr("still: Ethernet2: the action is incomplete\n"));
}

TEST(Explanation, ExplainsAnActionThatWasNeverEvaluated) {
    Switch sw(replaced("{flow: {destination: 239.1.1.1}, actions: {a: {egress: [Vlan20]}}}",
                       "{flow: {}, actions: {a: {destination: 239.2.2.2, egress: [Ethernet2], "
                       "version: 0}, b: {destination: 10.2.2.2, egress: {Ethernet3: {mac: "
                       "\"02:00:00:00:00:77\"}}}}}"));
    sw.agent.chip().refuseGroups(2);
    sw.event("remove: {policies: {feed: {matches: {m: {actions: {b: [destination]}}}}}}, "
             "set: {policies: {feed: {matches: {m: {actions: {a: {version: 1}}}}}}}");
    EXPECT_THAT(sw.text({"feed", "m", "a"}),
                HasSubstr("version 1: multicast, by the action's destination 239.2.2.2\n"));
    EXPECT_THAT(sw.warnings(), HasSubstr("action a sends nothing: the chip has no group for it"));
}

TEST(Explanation, SaysWhyAMatchHasNoGroups) {
    std::string const other = "{flow: {destination: 239.1.1.2}, actions: {a: {egress: [Vlan20]}}}";
    Switch sw(replaced("      m: {", "      m1: " + other + "\n      m2: " + other +
                                         "\n      m3: " + other + "\n      m: {"));
    EXPECT_THAT(sw.text({"feed", "m"}),
                AllOf(HasSubstr("m: the chip has no group for it; 1 match waits before it, and a "
                                "retry is scheduled\n"),
                      HasSubstr("\n    nothing is programmed until the match has its groups\n"),
                      HasSubstr("no multicast copies in VLAN 20 yet to Ethernet2\n")));
    EXPECT_THAT(sw.warnings(),
                AllOf(HasSubstr("warning: policy feed, match m3, action a sends nothing: the chip "
                                "has no group for it; "),
                      HasSubstr("match m, action"), Not(HasSubstr("match m1,"))));
    sw.pass(11);
    EXPECT_THAT(sw.text({"feed", "m3"}), HasSubstr("m3: the chip has no group for it; 0 matches "
                                                   "wait before it, and it is retried when "));
    sw.event("set: {policies: {gone: {}, feed: {matches: {m9: {flow: {}}}}}}");
    EXPECT_THAT(sw.text({"feed", "m9"}), HasSubstr("m9: no groups, since it has no actions\n"));
    EXPECT_EQ(sw.text({"gone"}), "policy gone: no matches\n");
    sw.event("remove: {policies: [gone]}");
    EXPECT_THAT(sw.text({"feed", "m"}), HasSubstr("the removal of a policy ended its waiting; "));
    sw.event("set: {policies: {feed: {matches: {m2: {actions: {a: {version: 0}}}}}}}");
    EXPECT_THAT(sw.text({"feed", "m2", "a"}), HasSubstr("\n    its version is 0, so it is "));
}

} // namespace
