#include "UmoNat/UmoNatFlowMcastTopologySmMapping.h"
#include "tests/support/TopologySwitch.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

using Bridging::VlanId;
using Bridging::Topology::PortState;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

using TestSupport::intfOf;
using TestSupport::TopologySwitch;
using TestSupport::TopologyTrace;

Mox::Ptr<Bridging::Topology::TopoConfig> topologyNamed(std::string const &name,
                                                       std::string_view forwarding = {}) {
    auto const config = Mox::make<Bridging::Topology::TopoConfig>(name);
    if (!forwarding.empty()) {
        config->topoPortConfigIs(intfOf(forwarding))->portStateIs(PortState::forwarding);
    }
    return config;
}

/// VLANs 10 and 20 in topology A, with port Ethernet1 forwarding.
struct MappedSwitch : TopologySwitch {
    MappedSwitch() {
        map(10, a);
        map(20, a);
    }
    void map(std::uint16_t vlan, Mox::Ptr<Bridging::Topology::TopoConfig> const &config) {
        topology->vidToTopoMapIs(VlanId(vlan), config);
    }
    /// Topologies with their VLANs, as "A:10,20".
    [[nodiscard]] std::vector<std::string> reactors() {
        std::vector<std::string> lines;
        for (auto const &[name, reactor] : sm().moxTopoConfig()) {
            std::string line = name + ":";
            for (VlanId const vlan : reactor->vlanList()) {
                line += std::to_string(vlan.value()) + ",";
            }
            lines.push_back(line);
        }
        return lines;
    }

    Mox::Ptr<Bridging::Topology::TopoConfig> a = topologyNamed("A", "Ethernet1");
    Mox::Ptr<Bridging::Topology::TopoConfig> b = topologyNamed("B", "Ethernet2");
};

/// Changes something that each of the reactors follows, below VLAN 30 with Ethernet3.
void changeEverything(MappedSwitch &sw) {
    auto const vlanStatus = sw.vlanStatusDir->vlanStatus(VlanId(30));
    sw.switchport("Ethernet3", Bridging::SwitchportMode::access, 30);
    vlanStatus->vlanPortStatusDel(intfOf("Ethernet3"));
    sw.learn(30, "00:00:00:00:00:01", "Ethernet4");
    sw.portState(30, "Ethernet3", PortState::blocking);
    sw.topo(30).topoPortConfigDelAll();
    sw.ip("Vlan30", false);
    sw.map(40, sw.b);
    sw.l3Table->intfL3IndexDelAll();
    sw.bridgingConfig->switchIntfConfigDelAll();
    sw.vlanStatusDir->vlanStatusDelAll();
    sw.bridgingStatus->fdbStatusDelAll();
    sw.ipStatus->ipIntfStatusDelAll();
    sw.ipStatus->ipIntfStatusIs(intfOf("Loopback0"));
}

} // namespace

TEST(TopologyMapping, ATopologyIsFollowedWhileAVlanMapsToIt) {
    MappedSwitch sw;
    EXPECT_THAT(sw.reactors(), ElementsAre("A:10,20,"));
    TopologyTrace trace(3);
    sw.map(10, sw.b);
    EXPECT_THAT(trace.take(),
                ElementsAre("handleVidToTopoMap, vlan: 10", "Old vlan topology: A",
                            "New vlan topology: B", "Creating topology",
                            "handlePortState, intf: Ethernet2, fwd old: false, fwd new: true "
                            "(forwarding)",
                            "handleTopoPort, state changed for intf Ethernet2"));
    EXPECT_THAT(sw.reactors(), ElementsAre("A:20,", "B:10,"));
    sw.map(20, sw.b);
    // The reactor goes before its ports, and the VLAN has left it by then.
    EXPECT_THAT(trace.take(),
                ElementsAre("handleVidToTopoMap, vlan: 20", "Old vlan topology: A",
                            "Empty vlan list, deleting topology", "handleTopologyDel, topology: A",
                            "handleTopologyIntfDel, intf: Ethernet1",
                            "handleTopoPort, state changed for intf Ethernet1",
                            "New vlan topology: B"));
    EXPECT_THAT(sw.reactors(), ElementsAre("B:10,20,"));
    sw.topology->vidToTopoMapDel(VlanId(10));
    EXPECT_EQ(sw.sm().vlanToTopoMap(VlanId(10)), nullptr);
    EXPECT_EQ(*sw.sm().vlanToTopoMap(VlanId(20)), "B");
    EXPECT_THAT(sw.reactors(), ElementsAre("B:20,"));
}

TEST(TopologyMapping, EveryHandlingPassesThroughRemovalAndNotifiesTheVlanOnce) {
    MappedSwitch sw;
    sw.topology->vidToTopoMapDel(VlanId(20));
    TopologyTrace trace(5);
    std::string const intf1 = "notifyActionSmIntf, intf: Ethernet1";
    std::string const intf2 = "notifyActionSmIntf, intf: Ethernet2";
    std::string const vlan = "notifyActionSmVlan, vlan: 10";
    sw.map(10, sw.b);
    EXPECT_THAT(trace.take(), ElementsAre(intf1, intf2, vlan));
    sw.sm().handleVidToTopoMap(VlanId(10)); // unchanged, and yet removed and made anew
    EXPECT_THAT(trace.take(), ElementsAre(intf2, intf2, vlan));
    sw.topology->vidToTopoMapDelAll();
    EXPECT_THAT(trace.take(), ElementsAre(intf2, vlan));
    EXPECT_THAT(sw.reactors(), IsEmpty());
}

TEST(TopologyMapping, AReactorRemovedByItselfTellsAndTheWholeMachinesEndDoesNot) {
    MappedSwitch sw;
    sw.vlan(30, {"Ethernet3"});
    sw.learn(30, "00:00:00:00:00:01", "Ethernet3");
    TopologyTrace trace(3);
    sw.sm().topoConfigDel("A");
    EXPECT_THAT(trace.take(),
                ElementsAre("handleTopologyDel, topology: A", "Updated vlan 10", "Updated vlan 20",
                            "handleTopologyIntfDel, intf: Ethernet1",
                            "handleTopoPort, state changed for intf Ethernet1"));
    Mox::traceLevelsIs("UmoNatFlowMcastTopologySm/1-9");
    sw.stop();
    EXPECT_THAT(trace.take(), IsEmpty());
    changeEverything(sw);
    EXPECT_THAT(trace.take(), IsEmpty());
}

TEST(TopologyMapping, TheMachinesNestedReactorsAreSwitchedOffAlongWithIt) {
    MappedSwitch sw;
    sw.vlan(30, {"Ethernet3"});
    sw.learn(30, "00:00:00:00:00:01", "Ethernet3");
    sw.sm().hasNotificationActiveIs(false);
    TopologyTrace trace(3);
    changeEverything(sw);
    EXPECT_THAT(trace.take(), IsEmpty());
}

TEST(TopologyMappingDeathTest, AMappedVlanWithoutItsTopologyReactorIsABrokenInvariant) {
    MappedSwitch sw;
    sw.sm().topoConfigDel("A");
    EXPECT_DEATH(sw.sm().handleVidToTopoMap(VlanId(10)), "Assertion failed: ttc");
}
