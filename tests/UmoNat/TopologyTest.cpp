#include "UmoNat/UmoNatFlowMcastTopologySmMapping.h"
#include "tests/support/NatSwitch.h"

#include <functional>
#include <stdexcept>

using testing::EndsWith;
using testing::ThrowsMessage;

using namespace TestSupport;

static VlanId const vlan10(10);

TEST(Topology, ChangesGoUnheardWhileItIsInactiveAndAfterItsEnd) {
    for (bool const gone : {false, true}) {
        RunningSwitch sw;
        TraceRecorder trace("UmoNatFlowMcastTopologySm/0-9");
        auto const changeAll = [&](char const *mac) {
            sw.portState(10, et1, PortState::blocking);
            sw.switchport("Ethernet1", SwitchportMode::access, 1);
            sw.ip(IntfId("Vlan10"), false);
            sw.vlanStatusDir->vlanStatus(vlan10)->vlanPortStatusDel(et2);
            sw.learn(10, mac, "Ethernet1");
            (*sw.topology->vidToTopoMap(vlan10))->topoPortConfigDel(et2);
            sw.l3Table->intfL3IndexDel(IntfId("Vlan10"));
            sw.vlan(10, {"Ethernet1", "Ethernet2"}); // all back, in another topology of that name
        };
        sw.vlan(10, {"Ethernet1", "Ethernet2"});
        changeAll("00:00:00:00:00:0a");
        EXPECT_NE(storyOf(trace.messages), "");
        gone ? sw.stop() : sw.sm().hasNotificationActiveIs(false);
        trace.messages.clear();
        changeAll("00:00:00:00:00:0b");
        sw.vlanStatusDir->vlanStatusDel(vlan10);
        sw.bridgingConfig->switchIntfConfigDel(et1);
        sw.bridgingStatus->fdbStatusDel(Bridging::Fid(10));
        sw.topology->vidToTopoMapDel(vlan10);
        sw.ipStatus->ipIntfStatusDel(IntfId("Vlan10"));
        EXPECT_EQ(storyOf(trace.messages), "");
    }
}

TEST(Topology, AReactorThatEndsByItselfTellsItsVlans) {
    RunningSwitch sw;
    sw.vlan(10, {});
    TraceRecorder trace("UmoNatFlowMcastTopologySm/3,UmoNatFlowMcastTopologySm/5");
    sw.sm().topoConfigDel("10");
    EXPECT_EQ(storyOf(trace.messages),
              "handleTopologyDel, topology: 10|Updated vlan 10|> Vlan 10|");
    EXPECT_DEATH(sw.sm().handleVidToTopoMap(vlan10), "Assertion failed: ttc");
}

TEST(Topology, SaysWhatAPortLacksAndRegistersByWhatWasAskedFor) {
    RunningSwitch sw;
    auto const topo = Mox::make<Bridging::Topology::TopoConfig>("T");
    auto const vps = Ip::Nat::natFlowVlanPortSetsFactory();
    auto *const w = sw.watcher("w");
    IntfId const svi("Vlan10");
    std::function<void()> const repairs[] = {
        [] {},
        [&] { sw.vlanStatusDir->vlanStatusIs(vlan10); },
        [&] { sw.topology->vidToTopoMapIs(vlan10, topo); },
        [&] { sw.l3Table->routedPortNameIs(UmoL3Intf::L3Id(10), svi); },
        [&] { sw.ip(svi, false); },
        [&] { sw.ip(svi, true, "0.0.0.0/0"); },
        [&] { sw.ip(svi, true); },
        [&] { sw.switchport("Ethernet1", SwitchportMode::routed, 10); },
        [&] { sw.vlanStatusDir->vlanStatus(vlan10)->vlanPortStatusIs(et1, {}); },
        [&] { sw.portState(10, et1, PortState::learning); },
    };
    TraceRecorder trace("UmoNatFlowMcastTopologySm/6");
    std::string lacks; // after each repair
    for (auto const &repair : repairs) {
        repair();
        EXPECT_FALSE(sw.sm().validVlan(10) && sw.sm().validPort(10, et1));
        trace.messages.erase(trace.messages.begin(), trace.messages.end() - 1);
        lacks += storyOf(trace.messages);
    }
    EXPECT_EQ(lacks, "Vlan status not found for vlan 10|No bridging topology for vlan 10|"
                     "Vlan not found in the l3 intf table|No ipIntfStatus found for the vlan|"
                     "L3 intf disabled|L3 intf disabled|"
                     "Intf Ethernet1 not found in switchIntfConfig|"
                     "Intf Ethernet1 not found in vlan port status 10|"
                     "Intf Ethernet1 not found in the topology|"
                     "Intf Ethernet1 not in forwarding state|");
    sw.portState(10, et1, PortState::forwarding);
    EXPECT_FALSE(sw.sm().addSviPorts(10, macOf(kMac), vps.ptr(), true, w));
    EXPECT_EQ(storyOf(trace.messages),
              "McastTopology::addSviPorts, vlan: 10, mac: 00:00:00:00:00:01, unicast: true|"
              "McastTopology::validVlan, vlan: 10|"
              "McastTopology::validPort, vlan: 10, intf: Ethernet1|"
              "McastTopology::validSwitchIntf, vlan: 10, intf: Ethernet1|"
              "Switchport mode: routed, native vlan: 10|Intf in routed mode|");
    sw.switchport("Ethernet1", SwitchportMode::access, 10);
    EXPECT_TRUE(sw.sm().addSviPorts(10, macOf(kMac), vps.ptr(), true, w));
    EXPECT_THAT(storyOf(trace.messages), EndsWith("|Added intf Ethernet1 in port set of vlan 10|"));
    EXPECT_TRUE(sw.sm().actionIntf().empty()); // by VLAN and MAC, never by port
    sw.sm().delActionSm(w);
    EXPECT_EQ(sw.sm().addPhysicalPort(et1, 0, w), 10);
    EXPECT_TRUE(sw.sm().actionVlan().empty()); // by the port alone
    trace.messages.clear();
    EXPECT_EQ(sw.sm().addPhysicalPort(et1, 20, w), 0);
    EXPECT_EQ(
        storyOf(trace.messages),
        "McastTopology::addPhysicalPort, intf; Ethernet1, vlan: 20|"
        "McastTopology::validSwitchIntf, vlan: 20, intf: Ethernet1|"
        "Switchport mode: access, native vlan: 10|Native vlan different from configured vlan|");
    sw.switchport("Ethernet1", SwitchportMode::trunk, 4095);
    EXPECT_EQ(sw.sm().validSwitchIntf(0, et1, false), 0);
    EXPECT_THAT(storyOf(trace.messages), EndsWith("native vlan: 4095|Invalid vlan|"));
    EXPECT_DEATH(sw.sm().addSviPorts(10, {}, vps.ptr(), true, w),
                 "Assertion failed: mac != Nexo::EthAddr::ethAddrZero\\(\\)");
    // Not asked before whether the VLAN is valid.
    EXPECT_DEATH((void)sw.sm().validPort(11, et1), "Assertion failed: vlanStatus");
    sw.topology->vidToTopoMapDel(vlan10);
    EXPECT_DEATH((void)sw.sm().validPort(10, et1), "Assertion failed: ttc");
}

TEST(Topology, NumbersThatAreNoVlansAreARangeErrorAlsoWithoutInputs) {
    auto const sm = umoNatFlowMcastTopologySmFactory({}, {}, {}, {}, {}, {});
    EXPECT_TRUE(sm->initialized() && sm->actionSmUpdateBacklogTask());
    EXPECT_FALSE(sm->validVlan(10) || sm->validPort(10, et1) ||
                 sm->validSwitchIntf(10, et1, false));
    for (std::uint16_t const vlan : std::initializer_list<std::uint16_t>{0, 4095}) {
        EXPECT_THAT([&] { (void)sm->validVlan(vlan); }, ThrowsMessage<std::range_error>(kRange));
    }
    RunningSwitch running;
    EXPECT_DEATH(running.l3Table->intfL3IndexIs(et1, UmoL3Intf::L3Id(5000)), kRange);
    running.sm().intfL3IndexIs(et1, 0);
    EXPECT_DEATH(running.sm().handleL3Intf(et1), "Assertion failed: vlan,");
}
