#include "UmoNat/topology/PortStates.h"
#include "tests/support/NatSwitch.h"

#include <stdexcept>

using testing::EndsWith;
using testing::ThrowsMessage;

using namespace TestSupport;

static VlanId const vlan10(10);

TEST(Topology, ChangesGoUnheardWhileItIsInactiveAndAfterItsEnd) {
    auto const inEach = [](auto const &work) {
        work(VlanId(10), IntfId("Vlan10"), "Ethernet1", "Ethernet2");
        work(VlanId(20), IntfId("Vlan20"), "Ethernet3", "Ethernet4");
    };
    for (bool const gone : {false, true}) {
        RunningSwitch sw;
        TraceRecorder trace("UmoNatFlowMcastTopologySm/0-9");
        auto const changeAll = [&](char const *mac) {
            inEach([&](VlanId vlan, IntfId svi, char const *one, char const *two) {
                sw.portState(vlan.value(), IntfId(one), PortState::blocking);
                sw.switchport(one, SwitchportMode::access, 1);
                sw.ip(svi, false);
                sw.vlanStatusDir->vlanStatus(vlan)->vlanPortStatusDel(IntfId(two));
                sw.learn(vlan.value(), mac, one);
                sw.topology->vidToTopoMap(vlan)->topoPortConfigDel(IntfId(two));
                sw.l3Table->intfL3IndexDel(svi);
                sw.vlan(vlan.value(), {one, two}); // all back, in another topology of that name
            });
        };
        sw.vlan(10, {"Ethernet1", "Ethernet2"});
        sw.vlan(20, {"Ethernet3", "Ethernet4"});
        changeAll("00:00:00:00:00:0a");
        EXPECT_NE(storyOf(trace.messages), "");
        gone ? sw.stop() : sw.sm().hasNotificationActiveIs(false);
        trace.messages.clear();
        changeAll("00:00:00:00:00:0b");
        inEach([&](VlanId vlan, IntfId svi, char const *one, char const * /*two*/) {
            sw.vlanStatusDir->vlanStatusDel(vlan);
            sw.bridgingConfig->switchIntfConfigDel(IntfId(one));
            sw.bridgingStatus->fdbStatusDel(Bridging::Fid(vlan.value()));
            sw.topology->vidToTopoMapDel(vlan);
            sw.ipStatus->ipIntfStatusDel(svi);
        });
        sw.ipStatus->ipIntfStatusIs(IntfId("Loopback0"));
        EXPECT_EQ(storyOf(trace.messages), "");
    }
}

TEST(Topology, AReactorThatEndsByItselfNotifiesItsVlansAndSoDoesEachForwardingPort) {
    RunningSwitch sw;
    sw.vlan(10, {"Ethernet1", "Ethernet2"});
    sw.topology->vidToTopoMapIs(VlanId(4094), sw.topology->vidToTopoMap(vlan10));
    sw.portState(10, et2, PortState::blocking);
    TraceRecorder trace("UmoNatFlowMcastTopologySm/3,UmoNatFlowMcastTopologySm/5,"
                        "UmoNatFlowMcastTopologySm/6");
    sw.sm().topoConfigDel("10");
    EXPECT_FALSE(sw.sm().validVlan(10));
    std::string const vlans = "Updated vlan 10|> Vlan 10|Updated vlan 4094|> Vlan 4094|";
    EXPECT_EQ(storyOf(trace.messages),
              "handleTopologyDel, topology: 10|" + vlans +
                  "handleTopologyIntfDel, intf: Ethernet1|" +
                  "handleTopoPort, state changed for intf Ethernet1|" + vlans +
                  "> Intf Ethernet1|handleTopologyIntfDel, intf: Ethernet2|"
                  "McastTopology::validVlan, vlan: 10|No moxTopo config for vlan 10|");
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
    running.sm().handleL3Intf(et1); // is not there, and was not
    running.sm().intfL3IndexIs(et1, 0);
    EXPECT_DEATH(running.sm().handleL3Intf(et1), "Assertion failed: vlan,");
}
