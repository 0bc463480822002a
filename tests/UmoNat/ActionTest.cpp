#include "tests/support/NatSwitch.h"

#include <functional>

using testing::HasSubstr;

using namespace TestSupport;

namespace {

constexpr char kHostA[] = "00:00:00:00:00:0a";
constexpr char kHostB[] = "00:00:00:00:00:0b";
constexpr char kSource[] = "10.9.9.9:5000";
constexpr char kUnicast[] = "10.0.0.9:7000";
NatSwitch::Egress const in10{{"Vlan10", kHostA}};
NatSwitch::Egress const in20{{"Vlan20", kHostA}};
NatSwitch::Egress const inBoth{{"Vlan10", kHostA}, {"Vlan20", kHostA}};
NatSwitch::Egress const inBothB{{"Vlan20", kHostA}, {"Vlan10", kHostB}};

/// Two usable VLANs, and the match "m" with action "a".
struct ActionSwitch : NatSwitch {
    explicit ActionSwitch(char const *flowDestination) {
        vlan(10, {"Ethernet1", "Ethernet2"});
        vlan(20, {"Ethernet3"});
        match("m", flowDestination);
        start();
    }
    void set(char const *destination, char const *source, NatSwitch::Egress const &egress) const {
        action("m", "a", destination, source, egress);
    }
    void flowSource(std::uint32_t length, std::uint16_t port) const {
        auto const status = nat->natFlow("p")->match("m");
        status->flowIs(
            {{Nexo::IpAddr::parse("10.1.0.0"), length, port}, status->flow().destination});
    }
};

} // namespace

TEST(Action, CallsTheHelperForDifferencesAloneAndInOrder) {
    ActionSwitch sw(kUnicast);
    sw.portState(10, et2, PortState::blocking);
    auto const none = NatSwitch::kNone;
    struct {
        std::function<void()> change;
        char const *calls;
    } const steps[] = {
        {[&] { sw.set(none, kSource, in10); },
         "create m, unicast false -> 1|update Vlan 1/0|update Src 1/1|update Dst 1/1|"},
        {[&] { sw.actionSm("m", "a").handleNatFlowAction(true); }, ""},
        {[&] {
             sw.portState(10, et2, PortState::forwarding),
                 sw.actionSm("m", "a").handleNatFlowAction(true);
         },
         "update Vlan 1/1|"},
        // A VLAN joins, another MAC, a VLAN leaves.
        {[&] { sw.set(none, kSource, inBoth); }, "update Vlan 1/0|update Dst 1/2|update Src 1/2|"},
        {[&] { sw.set(none, kSource, inBothB); }, "update Dst 1/1|"},
        {[&] { sw.set(none, kSource, in20); }, "delete Vlan 1/1|delete Src 1/1|delete Dst 1/1|"},
        // The flow becomes a multicast one, which has no destination translation without address.
        {[&] { sw.match("m", kMulticast); },
         "delete Vlan 1/2|delete Src 1/2|delete Dst 1/2|update Vlan 1/0|update Src 1/3|"},
        {[&] { sw.set("239.9.9.9:1", none, in20); }, "delete Src 1/3|update Dst 1/3|"},
        // What joins while the addresses change gets the old ones first.
        {[&] { sw.set("239.9.9.8:1", kSource, inBoth); },
         "update Vlan 1/0|update Dst 1/4|update Src 1/4|update Src 1/4|update Src 1/3|"
         "update Dst 1/4|update Dst 1/3|"},
        {[&] { sw.set("239.9.9.8:2", "10.9.9.9:2", inBoth); }, ""}, // ports alone
        // Changes of the flow look at no port set.
        {[&] { sw.portState(20, IntfId("Ethernet3"), PortState::blocking), sw.flowSource(16, 0); },
         "update Src 1/4|update Src 1/3|"},
        {[&] { sw.flowSource(24, 1); }, "update Src 1/4|update Src 1/3|"},
        {[&] { sw.match("m", "239.1.1.1:1"); }, "update Dst 1/4|update Dst 1/3|"},
        // No destination, neither here nor in the flow: copies of both kinds.
        {[&] { sw.set(none, kSource, in10); },
         "delete Vlan 1/3|delete Src 1/3|delete Dst 1/3|delete Dst 1/4|"},
        {[&] { sw.match("m", none); },
         "delete Vlan 1/4|delete Src 1/4|delete m, group 1|create m, unicast true -> 2|"
         "create m, unicast false -> 3|update Vlan 2/0|update Vlan 3/0|update Src 2/5|"
         "update Src 3/6|"},
        {[&] { sw.action("m", "b"), sw.takeCalls(), sw.set(kUnicast, none, in10); },
         "delete Vlan 2/5|delete Src 2/5|delete Dst 2/5|delete Vlan 3/6|delete Src 3/6|"
         "update Vlan 2/0|update Vlan 3/0|update Dst 2/8|update Dst 3/9|"},
        {[&] { sw.set(kUnicast, none, inBothB); }, "update Dst 2/8|update Dst 3/9|"},
        {[&] { sw.removeAction("m", "a"); },
         "delete Vlan 2/8|delete Dst 2/8|delete Vlan 3/9|delete Dst 3/9|"},
    };
    for (auto const &[change, calls] : steps) {
        change();
        EXPECT_EQ(sw.takeCalls(), calls) << "step " << (&change - &steps[0].change);
    }
}

TEST(Action, GivesAJoiningPortSetTheOldTranslationsFirst) {
    ActionSwitch sw(kMulticast);
    sw.set("239.9.9.9:1", kSource, in20);
    sw.takeCalls();
    sw.set("239.9.9.8:1", "10.9.9.8:1", inBoth);
    EXPECT_THAT(sw.calls.at(1), HasSubstr("becomes 239.9.9.9:1"));
    EXPECT_THAT(sw.calls.at(2), HasSubstr("becomes 10.9.9.9:5000"));
}

TEST(Action, TracesAPassAndWhyEgressIsSkipped) {
    ActionSwitch sw(NatSwitch::kNone);
    TraceRecorder traces("UmoNatFlowActionSm/1-9");
    sw.vlan(1, {"Ethernet1", "Ethernet2"});
    auto const status = sw.nat->natFlow("p")->match("m")->actionIs("a");
    for (char const *intf : {"Vlan0", "Vlan30", "Ethernet9", "Ethernet1"}) {
        status->intfIs(IntfId(intf), {0, macOf(kHostA)});
    }
    status->intfIs(et2, {0, macOf(kHostB)});
    status->versionIs(1);
    EXPECT_EQ(storyOf(traces.messages),
              "Action::handleInitialized p.m.a|Action::handleNatFlowAction p.m.a, version: 0, "
              "skipChecks: false|Version not initialized yet, skip update|"
              "Action::handleNatFlowAction p.m.a, version: 1, skipChecks: false|Flow type: "
              "natFlowTypeNone (dip: 0.0.0.0)|Action::resetHwGroups p.m.a, ft: "
              "natFlowTypeUnicast|Action::resetHwGroup, group: 1, unicast: true, portSetId2: "
              "false|Action::resetHwGroup, group: 2, unicast: true, portSetId2: true|"
              "Action::updateSwPortSet p.m.a, ft: natFlowTypeNone|Intf: Vlan0, vlan: 0, mac: "
              "00:00:00:00:00:0a|Invalid vlan|Intf: Vlan30, vlan: 0, mac: 00:00:00:00:00:0a|"
              "Invalid or empty vlan|Intf: Ethernet9, vlan: 0, mac: 00:00:00:00:00:0a|Invalid "
              "vlan or port state|Intf: Ethernet1, vlan: 0, mac: 00:00:00:00:00:0a|PortSet intf: "
              "Ethernet1, vlan: 1|Intf: Ethernet2, vlan: 0, mac: 00:00:00:00:00:0b|PortSet intf: "
              "Ethernet2, vlan: 1|Different mac (00:00:00:00:00:0a) already found in the vlan, "
              "skip intf|Action::updateHwPortSet p.m.a, ft: natFlowTypeNone|"
              "Action::updateHwPortSetGroup, group: 1, unicast: true, portSetId2: false|Update "
              "ucast portSet, group: 1, portSetId: 0, vlan: 1, change: true, dmacChange: false, "
              "newVlan: false|New portSetId: 1|Action::updateHwPortSetGroup, group: 2, unicast: "
              "false, portSetId2: false|Update mcast portSet, group: 2, portSetId: 0, vlan: 1, "
              "change: true, newVlan: false|New portSetId: 2|Action::updateHwTranslation p.m.a "
              "to 0.0.0.0/0:0, src: 0.0.0.0:0, dst: 0.0.0.0:0, ft: natFlowTypeNone|");
    status->intfIs(et1, {});
    EXPECT_DEATH(status->versionIs(2), "iter->mac\\(\\) != Nexo::EthAddr::ethAddrZero\\(\\)");
    status->versionIs(0);
    EXPECT_DEATH(sw.actionSm("m", "a").resetHwGroup(1, true, false),
                 "initialized\\(\\) && actionStatus\\(\\)->version\\(\\)");
}
