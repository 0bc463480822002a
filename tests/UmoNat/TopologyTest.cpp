#include "UmoNat/UmoNatFlowMcastTopologySmMapping.h"
#include "tests/support/NatSwitch.h"

#include <functional>
#include <stdexcept>

using testing::EndsWith;
using testing::ThrowsMessage;

using namespace TestSupport;

static VlanId const vlan10(10);

TEST(Topology, EachChangeIsTracedAndToldByItsKeysAndNoOther) {
    RunningSwitch sw;
    sw.vlan(10, {"Ethernet1", "Ethernet2"});
    sw.vlan(20, {"Ethernet3"});
    auto &vlans = *sw.vlanStatusDir;
    auto &fdbs = *sw.bridgingStatus;
    auto const own = *sw.topology->vidToTopoMap(vlan10);
    auto const shared = Mox::make<Bridging::Topology::TopoConfig>("S");
    shared->topoPortConfigIs(et2)->portStateIs(PortState::forwarding);
    auto const state = [&](PortState to) { sw.portState(10, et1, to); };
    auto const map = [&](std::uint16_t vlan, auto const &to) {
        sw.topology->vidToTopoMapIs(VlanId(vlan), to);
    };
    auto const leave = [&](char const *svi) { sw.l3Table->intfL3IndexDel(IntfId(svi)); };
    auto const up = [&](char const *svi) { sw.ip(IntfId(svi), true); };
    struct {
        std::function<void()> change;
        char const *trace; // "> Vlan 10": those registered by VLAN 10 are told
    } const steps[] = {
        // L3 interfaces, and the recirculation VLAN, which is 10 at first.
        {[&] { sw.ip(IntfId("Vlan20"), false); },
         "handleIpIntfStatus, intf: Vlan20, routing: false, addrMask: 10.0.0.1/24, up: false|"
         "> Vlan 20|> Intf Ethernet3|"},
        {[&] { sw.ipStatus->ipIntfStatusIs(IntfId("Loopback0")); },
         "handleIpIntfStatus, intf: Loopback0, routing: false, addrMask: 0.0.0.0/0, up: false|"
         "No vlan found for the l3 intf|"},
        {[&] { sw.ip(IntfId("Vlan10"), true, "0.0.0.0/0"); },
         "handleIpIntfStatus, intf: Vlan10, routing: true, addrMask: 0.0.0.0/0, up: false|"
         "> Vlan 10|> Intf Ethernet1|> Intf Ethernet2|"
         "setNewNatFlowRecircVlan, set natFlowRecircVlan to 0|> Recirc|> Recirc|"},
        {[&] { up("Vlan10"); },
         "handleIpIntfStatus, intf: Vlan10, routing: true, addrMask: 10.0.0.1/24, up: true|"
         "> Vlan 10|> Intf Ethernet1|> Intf Ethernet2|"
         "handleIpIntfStatus, set natFlowRecircVlan to 10|> Recirc|"},
        {[&] { up("Vlan20"); },
         "handleIpIntfStatus, intf: Vlan20, routing: true, addrMask: 10.0.0.1/24, up: true|"
         "> Vlan 20|> Intf Ethernet3|"},
        {[&] { leave("Vlan10"); },
         "setNewNatFlowRecircVlan, set natFlowRecircVlan to 20|> Recirc|handleL3Intf, delete l3 "
         "intf Vlan10 for vlan 10|> Vlan 10|> Intf Ethernet1|> Intf Ethernet2|"},
        {[&] { leave("Vlan20"); },
         "setNewNatFlowRecircVlan, set natFlowRecircVlan to 0|> Recirc|handleL3Intf, delete l3 "
         "intf Vlan20 for vlan 20|> Vlan 20|> Intf Ethernet3|"},
        {[&] { sw.ipStatus->ipIntfStatusDel(IntfId("Vlan20")); }, ""},
        {[&] { sw.l3Table->intfL3IndexIs(IntfId("Vlan30"), UmoL3Intf::L3Id(30)); }, // unchecked
         "handleL3Intf, add l3 intf Vlan30 for vlan 30|> Vlan 30|"
         "handleL3Intf, set natFlowRecircVlan to 30|> Recirc|"},
        // Switch interfaces.
        {[&] { sw.switchport("Ethernet1", SwitchportMode::access, 1); },
         "MoxSwitchIntfConfig::handleSwitchportModeAndNativeVlan, intf: Ethernet1, mode: access, "
         "native vlan: 1|> Intf Ethernet1|"},
        {[&] { sw.bridgingConfig->switchIntfConfigDel(et1); },
         "MoxSwitchIntfConfig::handleSwitchIntfConfigDel, intf: Ethernet1|> Intf Ethernet1|"},
        {[&] { sw.bridgingConfig->switchIntfConfigIs(et1); },
         "MoxSwitchIntfConfig::handleInitialized, intf: Ethernet1, mode: access, native vlan: 0|"
         "> Intf Ethernet1|"},
        // VLANs by VLAN, their members by interface.
        {[&] { vlans.vlanStatus(vlan10)->vlanPortStatusDel(et2); },
         "handleVlanPortStatus, vlan: 10, delete intf Ethernet2|> Intf Ethernet2|"},
        {[&] { vlans.vlanStatus(vlan10)->vlanPortStatusIs(et2, {}); },
         "handleVlanPortStatus, vlan: 10, add/modify intf Ethernet2|> Intf Ethernet2|"},
        {[&] { vlans.vlanStatusDel(vlan10); }, "handleVlanStatus, delete vlan 10|> Vlan 10|"},
        {[&] { vlans.vlanStatusIs(vlan10); }, "handleVlanStatus, add vlan 10|> Vlan 10|"},
        // Hosts by MAC, whatever the VLAN; their database by VLAN.
        {[&] { fdbs.fdbStatusIs(Bridging::Fid(10)); },
         "handleFdbStatus, add mac table for vlan 10|> Vlan 10|"},
        {[&] { sw.learn(10, kMac, "Ethernet2"); },
         "handleLearnedHost, vlan: 10, mac: 00:00:00:00:00:01|Add mac address, intf: Ethernet2|"
         "> Mac 00:00:00:00:00:01|"},
        {[&] { fdbs.fdbStatus(Bridging::Fid(10))->learnedHostDel(macOf(kMac)); },
         "handleLearnedHost, vlan: 10, mac: 00:00:00:00:00:01|Del mac address|"
         "> Mac 00:00:00:00:00:01|"},
        {[&] { fdbs.fdbStatusDel(Bridging::Fid(10)); },
         "handleFdbStatus, del mac table for vlan 10|> Vlan 10|"},
        // Ports by the VLANs of their topology, then by interface.
        {[&] { state(PortState::blocking); },
         "handlePortState, intf: Ethernet1, fwd old: true, fwd new: false (blocking)|"
         "handleTopoPort, state changed for intf Ethernet1|Updated vlan 10|> Vlan 10|"
         "> Intf Ethernet1|"},
        {[&] { state(PortState::learning); },
         "handlePortState, intf: Ethernet1, fwd old: false, fwd new: false (learning)|"},
        {[&] { own->topoPortConfigDel(et1); }, "handleTopologyIntfDel, intf: Ethernet1|"},
        {[&] { own->topoPortConfigDel(et2); },
         "handleTopologyIntfDel, intf: Ethernet2|handleTopoPort, state changed for intf Ethernet2|"
         "Updated vlan 10|> Vlan 10|> Intf Ethernet2|"},
        // Topologies: a removal first, and the VLAN has left a reactor that goes.
        {[&] { map(10, shared); },
         "handleVidToTopoMap, vlan: 10|Old vlan topology: 10|Empty vlan list, deleting topology|"
         "handleTopologyDel, topology: 10|New vlan topology: S|Creating topology|"
         "handlePortState, intf: Ethernet2, fwd old: false, fwd new: true (forwarding)|"
         "handleTopoPort, state changed for intf Ethernet2|> Intf Ethernet2|> Vlan 10|"},
        {[&] { map(20, shared), sw.topology->vidToTopoMapDel(VlanId(20)); },
         "handleVidToTopoMap, vlan: 20|Old vlan topology: 20|Empty vlan list, deleting topology|"
         "handleTopologyDel, topology: 20|handleTopologyIntfDel, intf: Ethernet3|handleTopoPort, "
         "state changed for intf Ethernet3|> Intf Ethernet3|New vlan topology: S|> Vlan 20|"
         "handleVidToTopoMap, vlan: 20|Old vlan topology: S|> Vlan 20|"},
        {[&] { map(10, own); },
         "handleVidToTopoMap, vlan: 10|Old vlan topology: S|Empty vlan list, deleting topology|"
         "handleTopologyDel, topology: S|handleTopologyIntfDel, intf: Ethernet2|handleTopoPort, "
         "state changed for intf Ethernet2|> Intf Ethernet2|New vlan topology: 10|Creating "
         "topology|> Vlan 10|"},
    };
    TraceRecorder trace("UmoNatFlowMcastTopologySm/3,UmoNatFlowMcastTopologySm/5");
    for (auto const &[change, text] : steps) {
        change();
        EXPECT_EQ(storyOf(trace.messages), text);
    }
    sw.sm().topoConfigDel("10"); // by itself it tells its VLANs
    EXPECT_EQ(storyOf(trace.messages),
              "handleTopologyDel, topology: 10|Updated vlan 10|> Vlan 10|");
    EXPECT_DEATH(sw.sm().handleVidToTopoMap(vlan10), "Assertion failed: ttc");
    for (bool const gone : {false, true}) {
        gone ? sw.stop() : sw.sm().hasNotificationActiveIs(false);
        for (auto const &step : steps) {
            step.change();
        }
        EXPECT_EQ(storyOf(trace.messages), "");
    }
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
