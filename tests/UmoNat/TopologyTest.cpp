#include "UmoNat/UmoNatFlowMcastTopologySmMapping.h"
#include "tests/support/NatSwitch.h"

#include <array>
#include <stdexcept>

using testing::EndsWith;
using testing::ThrowsMessage;

using namespace TestSupport;

static VlanId const vlan10(10);

TEST(Topology, ChangesGoUnheardWhileItIsInactiveAndAfterItsEnd) {
    std::pair<std::uint16_t, std::array<char const *, 2>> const vlans[] = {
        {10, {"Ethernet1", "Ethernet2"}}, {20, {"Ethernet3", "Ethernet4"}}};
    for (bool const gone : {false, true}) {
        RunningSwitch sw;
        TraceRecorder trace("UmoNatFlowMcastTopologySm/0-9");
        auto const changeAll = [&](std::uint16_t mac) {
            for (auto const &[vlan, ports] : vlans) {
                IntfId const first(ports[0]), second(ports[1]), svi("Vlan" + std::to_string(vlan));
                sw.portState(vlan, first, PortState::blocking);
                sw.switchport(ports[0], SwitchportMode::access, 1);
                sw.ip(svi, false);
                sw.vlanStatusDir->vlanStatus(VlanId(vlan))->vlanPortStatusDel(second);
                sw.learn(vlan, Nexo::EthAddr(mac).stringValue().c_str(), ports[0]);
                (*sw.topology->vidToTopoMap(VlanId(vlan)))->topoPortConfigDel(second);
                sw.l3Table->intfL3IndexDel(svi);
                sw.vlan(vlan, {ports[0], ports[1]}); // all back, in another topology of that name
            }
        };
        for (auto const &[vlan, ports] : vlans) {
            sw.vlan(vlan, {ports[0], ports[1]});
        }
        changeAll(10);
        EXPECT_NE(storyOf(trace.messages), "");
        gone ? sw.stop() : sw.sm().hasNotificationActiveIs(false);
        trace.messages.clear();
        changeAll(11);
        for (auto const &[vlan, ports] : vlans) {
            sw.vlanStatusDir->vlanStatusDel(VlanId(vlan));
            sw.bridgingConfig->switchIntfConfigDel(IntfId(ports[0]));
            sw.bridgingStatus->fdbStatusDel(Bridging::Fid(vlan));
            sw.topology->vidToTopoMapDel(VlanId(vlan));
            sw.ipStatus->ipIntfStatusDel(IntfId("Vlan" + std::to_string(vlan)));
        }
        sw.ipStatus->ipIntfStatusIs(IntfId("Loopback0"));
        EXPECT_EQ(storyOf(trace.messages), "");
    }
}

TEST(Topology, AReactorThatEndsByItselfTellsItsVlans) {
    RunningSwitch sw;
    sw.vlan(10, {});
    sw.vlanStatusDir->vlanStatusIs(vlan10);
    sw.topology->vidToTopoMapIs(VlanId(4094), *sw.topology->vidToTopoMap(vlan10));
    TraceRecorder trace("UmoNatFlowMcastTopologySm/3,UmoNatFlowMcastTopologySm/5,"
                        "UmoNatFlowMcastTopologySm/6");
    sw.sm().topoConfigDel("10");
    EXPECT_FALSE(sw.sm().validVlan(10));
    EXPECT_EQ(storyOf(trace.messages),
              "handleTopologyDel, topology: 10|Updated vlan 10|> Vlan 10|Updated vlan 4094|"
              "> Vlan 4094|McastTopology::validVlan, vlan: 10|No moxTopo config for vlan 10|");
    EXPECT_DEATH(sw.sm().handleVidToTopoMap(vlan10), "Assertion failed: ttc");
}

TEST(Topology, GoesByRoutedPortNamesAndUsableNativeVlansAndAssertsWhatWasAskedBefore) {
    RunningSwitch sw;
    sw.vlan(10, {"Ethernet1"});
    auto const vps = Ip::Nat::natFlowVlanPortSetsFactory();
    sw.l3Table->intfL3IndexDel(IntfId("Vlan10"));
    EXPECT_TRUE(sw.sm().validVlan(10));
    sw.l3Table->routedPortNameDel(UmoL3Intf::L3Id(10));
    EXPECT_FALSE(sw.sm().validVlan(10));
    TraceRecorder trace("UmoNatFlowMcastTopologySm/6");
    sw.switchport("Ethernet1", SwitchportMode::trunk, 4095);
    EXPECT_EQ(sw.sm().validSwitchIntf(0, et1, false), 0);
    EXPECT_THAT(storyOf(trace.messages), EndsWith("native vlan: 4095|Invalid vlan|"));
    EXPECT_DEATH(sw.sm().addSviPorts(10, {}, vps.ptr(), true, sw.watcher("w")),
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
