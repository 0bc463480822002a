#include "agent/ScenarioReader.h"

#include <gmock/gmock.h>

#include <fstream>
#include <string>
#include <variant>
#include <vector>

using testing::ElementsAre;
using testing::HasSubstr;
using testing::StartsWith;
using UmoAgent::readScenario;
using UmoAgent::ScenarioFaults;

namespace {

ScenarioFaults faultsOf(std::string const &text) {
    auto const read = readScenario("f", text);
    auto const *const faults = std::get_if<ScenarioFaults>(&read);
    return faults != nullptr ? *faults : ScenarioFaults{};
}

struct Case {
    std::string text;
    std::string fault; // the beginning of the only one
};

void expectFaults(std::vector<Case> const &cases) {
    for (Case const &one : cases) {
        EXPECT_THAT(faultsOf(one.text), ElementsAre(StartsWith(one.fault))) << one.text;
    }
}

/// A policy with one match and one action, whose settings start at line 7, column 22.
std::string action(std::string const &settings, std::string const &flow = "{}") {
    return "interfaces: {Ethernet1: {}}\npolicies:\n  p:\n    matches:\n      m:\n        flow: " +
           flow + "\n        actions: {a: " + settings + "}\n";
}

} // namespace

TEST(ScenarioErrors, StructureIsReportedWhereItIsWrong) {
    expectFaults({
        {"", "f:1:1: found an empty file"},
        {"vlans: [1\nx", "f:2:1: malformed YAML: "},
        {"events: []\n---\nevents: []", "f:3:1: found a second document"},
        {"- a", "f:1:1: found a list, expected a scenario"},
        {"vlan: {}", "f:1:1: found \"vlan\", expected one of chip, bridge-mac, "},
        {"chip: {groups: 4, group: 5}", "f:1:19: found \"group\", expected one of groups, port-"},
        {"vlans:\n  10:\n  20: []", "f:2:3: found nothing after \"10\""},
        {"vlans: {10: {a: b}}", "f:1:13: found a mapping, expected a list of interfaces"},
        {"interfaces: {Et1: access}", "f:1:19: found \"access\", expected a mapping with mode"},
        {"bridge-mac: [a]", "f:1:13: found a list, expected a MAC address"},
        {"vlans: {10: []}\nchip: {}\nvlans: {}",
         "f:3:1: found \"vlans\" a second time, expected it once; it is also in line 1"},
        {"interfaces:\n  Et1: {}\n  Ethernet1: {}", "f:3:3: found \"Ethernet1\" a second time"},
        {"events: {}", "f:1:9: found a mapping, expected a list of events"},
        {"events:\n- note: x", "f:2:3: found an event without at"},
        {"events:\n- at: 2s\n- at: 1999ms", "f:3:7: found \"1999ms\", expected a time that is not"},
        {"events: [{at: 2s}]\nend: 1s", "f:2:6: found \"1s\", expected a time that is not before"},
        {"events: [{at: 0, print: [tree, trees]}]",
         "f:1:32: found \"trees\", expected one of tree"},
    });
    for (std::string const time : {"10x", "1s1m", "s", "-1", "1.5", "1s2s", "9000h", "\"\""}) {
        EXPECT_THAT(faultsOf("end: " + time), ElementsAre(HasSubstr("expected a time such as")))
            << time;
    }
}

TEST(ScenarioErrors, ValuesOutOfRangeAreReportedWhereTheyStand) {
    expectFaults({
        {"vlans: {0: []}", "f:1:9: found \"0\", expected a VLAN, a number from 1 to 4094"},
        {"vlans: {4095: []}", "f:1:9: found \"4095\", expected a VLAN"},
        {"vlans: {010: []}", "f:1:9: found \"010\", expected a VLAN"},
        {"interfaces: {Et1: {native-vlan: 4095}}", "f:1:33: found \"4095\", expected none or a"},
        {"interfaces: {Et1: {mode: acces}}", "f:1:26: found \"acces\", expected one of access"},
        {"interfaces: {Vlan10: {}}", "f:1:14: found \"Vlan10\", expected an interface other"},
        {"interfaces: {Eth1: {}}", "f:1:14: malformed interface name \"Eth1\""},
        {"vlans: {10: [Et1]}", "f:1:14: found unknown interface Ethernet1"},
        {"ip-interfaces: {Vlan4095: {}}", "f:1:17: found \"Vlan4095\", expected a VLAN interface"},
        {"ip-interfaces: {Vlan0: {}}", "f:1:17: found \"Vlan0\", expected a VLAN interface"},
        {"ip-interfaces: {Vlan1: {address: 10.0.0.1/33}}", "f:1:34: malformed IPv4 address with"},
        {"ip-interfaces: {Vlan1: {routing: maybe}}", "f:1:34: found \"maybe\", expected one of tr"},
        {"l3-interfaces: {Vlan10: 11}", "f:1:25: found \"11\", expected 10, the number of the"},
        {"l3-interfaces: {Vlan10: 4095}", "f:1:25: found \"4095\", expected an L3 id"},
        {"interfaces: {Et1: {}}\nl3-interfaces: {Vlan10: 10}\n"
         "events: [{at: 1, set: {l3-interfaces: {Et1: 10}}}]",
         "f:3:45: found \"10\", expected an id that Vlan10 does not have"},
        {"topologies: {a: {vlans: [1]}, b: {vlans: [1]}}", "f:1:43: found VLAN 1 also in topology"},
        {"learned-macs: {1: {\"01:00:5e:00:00:01\": Et1}}", "f:1:20: found \"01:00:5e:00:00:01\""},
        {"bridge-mac: 00:00:00:00:00:00", "f:1:13: found \"00:00:00:00:00:00\", expected a MAC"},
        {"bridge-mac: 00:00:00:00:00", "f:1:13: malformed MAC address \"00:00:00:00:00\""},
        {action("{source: 10.0.0.1:70000}"), "f:7:31: malformed IPv4 address and port"},
        {action("{source: 0.0.0.0:1}"), "f:7:31: found \"0.0.0.0:1\", expected an address other"},
        {action("{version: 4294967296}"), "f:7:32: found \"4294967296\", expected a version"},
        {action("{egress: {Vlan1: {vlan: 1, mac: 00:00:00:00:00:02}}}"),
         "f:7:46: found \"1\", expected no VLAN: Vlan1 has its own"},
        {action("{egress: {Et1: {mac: x}}}"), "f:7:43: malformed MAC address \"x\""},
        {action("{}", "{source: 10.0.0.0/40}"), "f:6:24: malformed IPv4 address with mask"},
        {action("{}", "{source-port: 0}"), "f:6:29: found \"0\", expected a transport port"},
    });
}

TEST(ScenarioErrors, NextHopWithoutMacIsReportedAtWhatMadeItNeedOne) {
    std::string const multicast = action("{egress: {Ethernet1: {}}}", "{destination: 239.1.1.1}");
    std::string const named = "policies: {p: {matches: {m: ";
    std::string const ends = "}}}}\n- {at: 2s}";
    EXPECT_THAT(faultsOf(multicast), ElementsAre());
    expectFaults({
        {action("{egress: {Ethernet1: {}}}"),
         "f:7:32: found next hop Ethernet1 of action a without"},
        {action("{egress: [Vlan1], destination: 10.1.1.1}"), "f:7:32: found next hop Vlan1"},
        {multicast + "events:\n- at: 1s\n  remove: {" + named + "{flow: [destination]}" + ends,
         "f:10:48: found next hop Ethernet1 of action a without mac, expected one, as this is a "
         "fl"},
        {multicast + "events:\n- at: 1s\n  set: {" + named +
             "{actions: {a: {destination: 10.0.0.1}}}" + ends,
         "f:10:65: found next hop Ethernet1 of action a without mac, expected one, as this is a "
         "un"},
    });
}

TEST(ScenarioErrors, RemovalOfWhatIsNotThereIsReported) {
    std::string const state =
        action("{source: 10.0.0.1, egress: {Et1: {mac: 00:00:00:00:00:02}}}") +
        "vlans: {10: [Et1]}\nevents:\n- at: 1s\n  remove: {";
    std::string const deep = "policies: {p: {matches: {m: ";
    expectFaults({
        {state + "vlans: [11]}",
         "f:11:20: found \"11\", expected a VLAN that is there at this time"},
        {state + "vlans: {10: [Et2]}}", "f:11:25: found \"Et2\", expected an interface that is"},
        {state + "vlans: [10, 10]}", "f:11:24: found \"10\", expected a VLAN that is there"},
        {state + "interfaces: [Et2]}", "f:11:25: found \"Et2\", expected an interface that is"},
        {state + "interfaces: {Et1: x}}", "f:11:24: found a mapping, expected a list, each item"},
        {state + "topologies: [t]}", "f:11:25: found \"t\", expected a topology that is there"},
        {state + "learned-macs: [10]}", "f:11:27: found \"10\", expected a VLAN with learned MAC"},
        {state + "policies: {q: {}}}", "f:11:23: found \"q\", expected a policy that is there"},
        {state + "policies: {p: {matches: [n]}}}",
         "f:11:37: found \"n\", expected a match that is"},
        {state + deep + "{actions: [b]}}}}}", "f:11:51: found \"b\", expected an action that is"},
        {state + deep + "{flow: [source]}}}}}",
         "f:11:48: found \"source\", expected one of source"},
        {state + deep + "{actions: {a: [destination]}}}}}}", "f:11:55: found \"destination\""},
        {state + deep + "{actions: {a: {egress: [Et2]}}}}}}}",
         "f:11:64: found \"Et2\", expected an"},
        {state + "vlans: [10]}\n- {at: 2s, remove: {vlans: 10}}", "f:12:28: found \"10\""},
    });
}

TEST(ScenarioErrors, AllAreReportedInTheOrderOfTheFile) {
    EXPECT_THAT(faultsOf("chip: {groups: x}\nvlans: {0: [], 10: [Et7]}\nevents: [{at: y}]\nz: 1"),
                ElementsAre(StartsWith("f:1:16:"), StartsWith("f:2:9:"), StartsWith("f:2:21:"),
                            StartsWith("f:3:15:"), StartsWith("f:4:1:")));
}

TEST(ScenarioErrors, UnreadableFilesAreNamed) {
    for (std::string const file : {"/nowhere/at/all.yaml", "/"}) {
        auto const read = UmoAgent::readScenarioFile(file);
        ASSERT_TRUE(std::holds_alternative<ScenarioFaults>(read));
        EXPECT_THAT(std::get<ScenarioFaults>(read),
                    ElementsAre(StartsWith(file + ": cannot be read: ")));
    }
}
