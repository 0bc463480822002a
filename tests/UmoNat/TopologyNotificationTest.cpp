#include "tests/support/TopologySwitch.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

using Bridging::Fid;
using Bridging::SwitchportMode;
using Bridging::VlanId;
using Bridging::Topology::PortState;
using testing::ElementsAre;

namespace {

using TestSupport::intfOf;
using TestSupport::macOf;
using TestSupport::TopologySwitch;
using TestSupport::TopologyTrace;

constexpr char kMac1[] = "00:00:00:00:00:01";
constexpr char kMac2[] = "00:00:00:00:00:02";

/// A watcher for every key: two VLANs with their ports, two hosts, recirculation (VLAN 10).
struct WatchedSwitch : TopologySwitch {
    WatchedSwitch() {
        vlan(10, {"Ethernet1", "Ethernet2"});
        vlan(20, {"Ethernet3"});
        learn(10, kMac1, "Ethernet1");
        for (char const *intf : {"Ethernet1", "Ethernet2", "Ethernet3"}) {
            watchIntf(intf);
        }
        watchVlan(10);
        watchVlan(20);
        watchMac(kMac1);
        watchMac(kMac2);
        watchRecirc();
    }
    TopologyTrace trace{3};
};

Nexo::IntfId const et1 = intfOf("Ethernet1");
Nexo::IntfId const et2 = intfOf("Ethernet2");

} // namespace

TEST(TopologyNotification, SwitchInterfaceConfigurationIsToldByInterface) {
    WatchedSwitch sw;
    auto const access1 = [&] { sw.switchport("Ethernet1", SwitchportMode::access, 1); };
    sw.trace.take();
    EXPECT_EQ(sw.queuedBy(access1), "Ethernet1");
    EXPECT_EQ(sw.queuedBy(access1), ""); // nothing has changed
    EXPECT_EQ(sw.queuedBy([&] { sw.bridgingConfig->switchIntfConfigDel(et1); }), "Ethernet1");
    EXPECT_EQ(sw.queuedBy([&] { sw.bridgingConfig->switchIntfConfigIs(et1); }), "Ethernet1");
    std::string const text = "MoxSwitchIntfConfig::handle";
    EXPECT_THAT(sw.trace.take(),
                ElementsAre(text + "SwitchportModeAndNativeVlan, intf: Ethernet1, mode: access, "
                                   "native vlan: 1",
                            text + "SwitchIntfConfigDel, intf: Ethernet1",
                            text + "Initialized, intf: Ethernet1, mode: access, native vlan: 0"));
    sw.switchport("Ethernet9", SwitchportMode::trunk, 1); // which nobody uses
    EXPECT_FALSE(sw.scheduler->nextDue());
}

TEST(TopologyNotification, AVlanIsToldByVlanAndItsMembersByInterface) {
    WatchedSwitch sw;
    auto &dir = *sw.vlanStatusDir;
    auto const status = dir.vlanStatus(VlanId(10));
    sw.trace.take();
    EXPECT_EQ(sw.queuedBy([&] { status->vlanPortStatusDel(et2); }), "Ethernet2");
    EXPECT_EQ(sw.queuedBy([&] { status->vlanPortStatusIs(et2, {}); }), "Ethernet2");
    EXPECT_EQ(sw.queuedBy([&] { dir.vlanStatusDel(VlanId(10)); }), "10"); // members and all
    EXPECT_EQ(sw.queuedBy([&] { dir.vlanStatusIs(VlanId(10)); }), "10");
    EXPECT_THAT(sw.trace.take(),
                ElementsAre("handleVlanPortStatus, vlan: 10, delete intf Ethernet2",
                            "handleVlanPortStatus, vlan: 10, add/modify intf Ethernet2",
                            "handleVlanStatus, delete vlan 10", "handleVlanStatus, add vlan 10"));
}

TEST(TopologyNotification, HostsAreToldByMacAndTheirDatabaseByVlan) {
    WatchedSwitch sw;
    auto &dir = *sw.bridgingStatus;
    auto const fdb = dir.fdbStatus(Fid(10));
    sw.trace.take();
    EXPECT_EQ(sw.queuedBy([&] { sw.learn(10, kMac1, "Ethernet2"); }), kMac1); // moved
    EXPECT_EQ(sw.queuedBy([&] { fdb->learnedHostDel(macOf(kMac1)); }), kMac1);
    EXPECT_EQ(sw.queuedBy([&] { dir.fdbStatusDel(Fid(10)); }), "10");
    EXPECT_EQ(sw.queuedBy([&] { dir.fdbStatusIs(Fid(10)); }), "10");
    std::string const handled = std::string("handleLearnedHost, vlan: 10, mac: ") + kMac1;
    EXPECT_THAT(sw.trace.take(),
                ElementsAre(handled, "Add mac address, intf: Ethernet2", handled, "Del mac address",
                            "handleFdbStatus, del mac table for vlan 10",
                            "handleFdbStatus, add mac table for vlan 10"));
    sw.bridgingStatus->fdbStatusIs(Fid(30));
    EXPECT_EQ(sw.queuedBy([&] { sw.learn(30, kMac2, "Ethernet1"); }), kMac2); // whatever the VLAN
}

TEST(TopologyNotification, APortIsToldByItsTopologysVlansAndThenByInterface) {
    WatchedSwitch sw;
    auto const state = [&](PortState to) { sw.portState(10, "Ethernet1", to); };
    sw.trace.take();
    EXPECT_EQ(sw.queuedBy([&] { state(PortState::blocking); }), "10 Ethernet1");
    EXPECT_EQ(sw.queuedBy([&] { state(PortState::learning); }), "");
    EXPECT_EQ(sw.queuedBy([&] { sw.topo(10).topoPortConfigDel(et1); }), "");
    EXPECT_EQ(sw.queuedBy([&] { sw.topo(10).topoPortConfigDel(et2); }), "10 Ethernet2");
    EXPECT_THAT(
        sw.trace.take(),
        ElementsAre("handlePortState, intf: Ethernet1, fwd old: true, fwd new: false (blocking)",
                    "handleTopoPort, state changed for intf Ethernet1", "Updated vlan 10",
                    "handlePortState, intf: Ethernet1, fwd old: false, fwd new: false (learning)",
                    "handleTopologyIntfDel, intf: Ethernet1",
                    "handleTopologyIntfDel, intf: Ethernet2",
                    "handleTopoPort, state changed for intf Ethernet2", "Updated vlan 10"));
    EXPECT_EQ(sw.queuedBy([&] { state(PortState::forwarding); }), "10 Ethernet1");
}

TEST(TopologyNotification, AnL3InterfaceIsToldByVlanAndByTheVlansMembers) {
    WatchedSwitch sw;
    Nexo::IntfId const svi = intfOf("Vlan20"), loopback = intfOf("Loopback0");
    auto &table = *sw.l3Table;
    sw.trace.take();
    EXPECT_EQ(sw.queuedBy([&] { sw.ip("Vlan20", false); }), "20 Ethernet3");
    EXPECT_EQ(sw.queuedBy([&] { sw.ipStatus->ipIntfStatusIs(loopback); }), "");
    EXPECT_EQ(sw.queuedBy([&] { sw.ipStatus->ipIntfStatusDel(svi); }), "");
    EXPECT_EQ(sw.queuedBy([&] { table.intfL3IndexDel(svi); }), "20 Ethernet3");
    EXPECT_EQ(sw.queuedBy([&] { table.intfL3IndexIs(svi, UmoL3Intf::L3Id(20)); }), "20 Ethernet3");
    EXPECT_THAT(
        sw.trace.take(),
        ElementsAre(
            "handleIpIntfStatus, intf: Vlan20, routing: false, addrMask: 10.0.0.1/24, up: false",
            "handleIpIntfStatus, intf: Loopback0, routing: false, addrMask: 0.0.0.0/0, up: false",
            "No vlan found for the l3 intf", "handleL3Intf, delete l3 intf Vlan20 for vlan 20",
            "handleL3Intf, add l3 intf Vlan20 for vlan 20"));
    EXPECT_EQ(sw.queuedBy([&] { sw.ip("Vlan10", false); }), "10 Ethernet1 Ethernet2 recirc");
}
