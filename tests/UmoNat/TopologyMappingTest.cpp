#include "UmoNat/UmoNatFlowMcastTopologySmMapping.h"
#include "tests/support/TopologySwitch.h"

using namespace TestSupport;

namespace {

/// VLANs 10 and 20 in topology A, with Ethernet1 forwarding; B, with Ethernet2 forwarding; and a
/// usable VLAN 30 with a host.
struct MappedSwitch : TopologySwitch {
    MappedSwitch() {
        vlan(30, {"Ethernet3"});
        learn(30, kMac, "Ethernet3");
        a->topoPortConfigIs(et1)->portStateIs(PortState::forwarding);
        b->topoPortConfigIs(et2)->portStateIs(PortState::forwarding);
        map(10, a);
        map(20, a);
    }
    void map(std::uint16_t vlan, Mox::Ptr<Bridging::Topology::TopoConfig> const &config) {
        topology->vidToTopoMapIs(VlanId(vlan), config);
    }
    /// How many VLANs have the topology's reactor followed for them.
    std::size_t vlans(char const *name) {
        auto const *const reactor = sm().moxTopoConfig().find(name);
        return reactor != nullptr ? (*reactor)->vlanList().size() : 0;
    }
    /// Changes something that each of the reactors follows.
    void changeEverything() {
        switchport("Ethernet3", SwitchportMode::access, 30);
        vlanStatusDir->vlanStatus(VlanId(30))->vlanPortStatusDel(IntfId("Ethernet3"));
        learn(30, kMac, "Ethernet4");
        portState(30, "Ethernet3", PortState::blocking);
        topo(30).topoPortConfigDelAll();
        ip("Vlan30", false);
        map(40, b);
        l3Table->intfL3IndexDelAll();
        bridgingConfig->switchIntfConfigDelAll();
        vlanStatusDir->vlanStatusDelAll();
        bridgingStatus->fdbStatusDelAll();
        ipStatus->ipIntfStatusIs(IntfId("Loopback0"));
    }

    using Topology = Bridging::Topology::TopoConfig;
    Mox::Ptr<Topology> a = Mox::make<Topology>("A"), b = Mox::make<Topology>("B");
};

} // namespace

TEST(TopologyMapping, ATopologyIsFollowedWhileAVlanMapsToItAndEveryHandlingIsARemovalFirst) {
    MappedSwitch sw;
    EXPECT_EQ(sw.vlans("A"), 2U);
    sw.map(10, sw.b);
    EXPECT_TRUE(sw.vlans("A") == 1 && sw.vlans("B") == 1);
    sw.map(20, sw.b);
    EXPECT_TRUE(sw.vlans("A") == 0 && sw.vlans("B") == 2);
    sw.topology->vidToTopoMapDel(VlanId(10));
    EXPECT_EQ(sw.sm().vlanToTopoMap(VlanId(10)), nullptr);
    EXPECT_EQ(*sw.sm().vlanToTopoMap(VlanId(20)), "B");
    EXPECT_EQ(sw.vlans("B"), 1U);
    TopologyTrace trace(3);
    Mox::traceLevelsIs("UmoNatFlowMcastTopologySm/3,UmoNatFlowMcastTopologySm/5");
    std::string const changed = "handleTopoPort, state changed for intf Ethernet2";
    std::string const told = "notifyActionSmIntf, intf: Ethernet2";
    sw.sm().handleVidToTopoMap(VlanId(20)); // unchanged, and yet removed and made anew
    // The reactor goes before its ports, and the VLAN has left it by then.
    EXPECT_THAT(trace.take(),
                ElementsAre("handleVidToTopoMap, vlan: 20", "Old vlan topology: B",
                            "Empty vlan list, deleting topology", "handleTopologyDel, topology: B",
                            "handleTopologyIntfDel, intf: Ethernet2", changed, told,
                            "New vlan topology: B", "Creating topology",
                            "handlePortState, intf: Ethernet2, fwd old: false, fwd new: true "
                            "(forwarding)",
                            changed, told, "notifyActionSmVlan, vlan: 20"));
    // A reactor removed by itself tells its VLANs and ports.
    Mox::traceLevelsIs("UmoNatFlowMcastTopologySm/5");
    sw.map(10, sw.b);
    trace.take();
    sw.sm().topoConfigDel("B");
    EXPECT_THAT(trace.take(),
                ElementsAre("notifyActionSmVlan, vlan: 20", "notifyActionSmVlan, vlan: 10", told));
    EXPECT_DEATH(sw.sm().handleVidToTopoMap(VlanId(10)), "Assertion failed: ttc");
}

TEST(TopologyMapping, TheWholeMachineGoesAndIsSwitchedOffWithAllReactorsInSilence) {
    for (bool const gone : {false, true}) {
        MappedSwitch sw;
        TraceRecorder const trace("UmoNatFlowMcastTopologySm/1-9");
        gone ? sw.stop() : sw.sm().hasNotificationActiveIs(false);
        sw.changeEverything();
        EXPECT_THAT(trace.messages, IsEmpty());
    }
}
