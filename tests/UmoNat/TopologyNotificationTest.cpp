#include "tests/support/TopologySwitch.h"

#include <functional>

using namespace TestSupport;

namespace {

/// A watcher for every key: two VLANs with their ports, a host, recirculation (VLAN 10).
struct WatchedSwitch : TopologySwitch {
    WatchedSwitch() {
        vlan(10, {"Ethernet1", "Ethernet2"});
        vlan(20, {"Ethernet3"});
        learn(10, kMac, "Ethernet1");
        for (char const *intf : {"Ethernet1", "Ethernet2", "Ethernet3"}) {
            sm().addActionSmIntf(IntfId(intf), watcher(intf));
        }
        sm().addActionSmVlan(10, watcher("10"));
        sm().addActionSmVlan(20, watcher("20"));
        sm().addActionSmMac(macOf(kMac), watcher(kMac));
        sm().addActionSmRecirc(watcher("recirc"));
    }
};

} // namespace

TEST(TopologyNotification, EachChangeIsToldByItsKeysAndNoOther) {
    WatchedSwitch sw;
    auto &vlans = *sw.vlanStatusDir;
    auto &fdbs = *sw.bridgingStatus;
    auto const vlan10 = vlans.vlanStatus(VlanId(10));
    auto const state = [&](PortState to) { sw.portState(10, "Ethernet1", to); };
    std::string const learned = "handleLearnedHost, vlan: 10, mac: " + std::string(kMac) + "|";
    struct {
        std::function<void()> change;
        std::string queued, trace; // no trace: as of another change
    } const steps[] = {
        // L3 interfaces: by VLAN, and the VLAN's members.
        {[&] { sw.ip("Vlan20", false); }, "20 Ethernet3",
         "handleIpIntfStatus, intf: Vlan20, routing: false, addrMask: 10.0.0.1/24, up: false|"},
        {[&] { sw.ipStatus->ipIntfStatusIs(IntfId("Loopback0")); }, "",
         "handleIpIntfStatus, intf: Loopback0, routing: false, addrMask: 0.0.0.0/0, up: false|"
         "No vlan found for the l3 intf|"},
        {[&] { sw.ipStatus->ipIntfStatusDel(IntfId("Vlan20")); }, "", ""},
        {[&] { sw.l3Table->intfL3IndexDel(IntfId("Vlan20")); }, "20 Ethernet3",
         "handleL3Intf, delete l3 intf Vlan20 for vlan 20|"},
        {[&] { sw.l3Table->intfL3IndexIs(IntfId("Vlan20"), UmoL3Intf::L3Id(20)); }, "20 Ethernet3",
         "handleL3Intf, add l3 intf Vlan20 for vlan 20|"},
        {[&] { sw.ip("Vlan10", false); }, "10 Ethernet1 Ethernet2 recirc", ""},
        // Switch interfaces.
        {[&] { sw.switchport("Ethernet1", SwitchportMode::access, 1); }, "Ethernet1",
         "MoxSwitchIntfConfig::handleSwitchportModeAndNativeVlan, intf: Ethernet1, mode: access, "
         "native vlan: 1|"},
        {[&] { sw.bridgingConfig->switchIntfConfigDel(et1); }, "Ethernet1",
         "MoxSwitchIntfConfig::handleSwitchIntfConfigDel, intf: Ethernet1|"},
        {[&] { sw.bridgingConfig->switchIntfConfigIs(et1); }, "Ethernet1",
         "MoxSwitchIntfConfig::handleInitialized, intf: Ethernet1, mode: access, native vlan: 0|"},
        // VLANs by VLAN, their members by interface.
        {[&] { vlan10->vlanPortStatusDel(et2); }, "Ethernet2",
         "handleVlanPortStatus, vlan: 10, delete intf Ethernet2|"},
        {[&] { vlan10->vlanPortStatusIs(et2, {}); }, "Ethernet2",
         "handleVlanPortStatus, vlan: 10, add/modify intf Ethernet2|"},
        {[&] { vlans.vlanStatusDel(VlanId(10)); }, "10", "handleVlanStatus, delete vlan 10|"},
        {[&] { vlans.vlanStatusIs(VlanId(10)); }, "10", "handleVlanStatus, add vlan 10|"},
        // Hosts by MAC, whatever the VLAN; their database by VLAN.
        {[&] { sw.learn(10, kMac, "Ethernet2"); }, kMac,
         learned + "Add mac address, intf: Ethernet2|"},
        {[&] { fdbs.fdbStatus(Bridging::Fid(10))->learnedHostDel(macOf(kMac)); }, kMac,
         learned + "Del mac address|"},
        {[&] { sw.learn(30, kMac, "Ethernet1"); }, kMac, ""},
        {[&] { fdbs.fdbStatusDel(Bridging::Fid(10)); }, "10",
         "handleFdbStatus, del mac table for vlan 10|"},
        {[&] { fdbs.fdbStatusIs(Bridging::Fid(10)); }, "10",
         "handleFdbStatus, add mac table for vlan 10|"},
        // Ports: by the VLANs of their topology, then by interface.
        {[&] { state(PortState::blocking); }, "10 Ethernet1",
         "handlePortState, intf: Ethernet1, fwd old: true, fwd new: false (blocking)|"
         "handleTopoPort, state changed for intf Ethernet1|Updated vlan 10|"},
        {[&] { state(PortState::learning); }, "", ""},
        {[&] { sw.topo(10).topoPortConfigDel(et1); }, "", ""},
        {[&] { sw.topo(10).topoPortConfigDel(et2); }, "10 Ethernet2",
         "handleTopologyIntfDel, intf: Ethernet2|handleTopoPort, state changed for intf Ethernet2|"
         "Updated vlan 10|"},
    };
    for (auto const &[change, queued, text] : steps) {
        SCOPED_TRACE(queued + ": " + text);
        TopologyTrace trace(3);
        change();
        EXPECT_EQ(sw.queued(), queued);
        std::string lines;
        for (std::string const &line : trace.take()) {
            lines += line + "|";
        }
        EXPECT_TRUE(text.empty() || lines == text) << lines;
        sw.runFor(0.1);
    }
}
