#include "UmoNat/UmoNatFlowMcastTopologySmMapping.h"
#include "tests/support/TopologySwitch.h"

#include <stdexcept>

using testing::ThrowsMessage;

using namespace TestSupport;

namespace {

std::string const kClass = "UmoNatFlowMcastTopologySm::";
VlanId const vlan10(10);

/// VLAN 10 with Ethernet1, all in order.
struct ValidSwitch : TopologySwitch {
    ValidSwitch() { vlan(10, {"Ethernet1"}); }
};

} // namespace

TEST(TopologyValidity, AVlanAndItsPortAreValidUntilOneThingTheyNeedIsMissing) {
    using Sw = ValidSwitch;
    struct {
        std::string reason; // of the port, if it begins with the port
        void (*spoil)(Sw &);
    } const cases[] = {
        {"Vlan status not found for vlan 10",
         [](Sw &s) { s.vlanStatusDir->vlanStatusDel(vlan10); }},
        {"No bridging topology for vlan 10", [](Sw &s) { s.topology->vidToTopoMapDel(vlan10); }},
        {"No moxTopo config for vlan 10", [](Sw &s) { s.sm().topoConfigDel("10"); }},
        {"Vlan not found in the l3 intf table",
         [](Sw &s) { s.l3Table->routedPortNameDel(UmoL3Intf::L3Id(10)); }},
        {"No ipIntfStatus found for the vlan",
         [](Sw &s) { s.ipStatus->ipIntfStatusDel(IntfId("Vlan10")); }},
        {"L3 intf disabled", [](Sw &s) { s.ip("Vlan10", true, "0.0.0.0/0"); }},
        {"L3 intf disabled", [](Sw &s) { s.ip("Vlan10", false); }},
        {"Intf Ethernet1 not found in switchIntfConfig",
         [](Sw &s) { s.bridgingConfig->switchIntfConfigDel(et1); }},
        {"Intf Ethernet1 not found in vlan port status 10",
         [](Sw &s) { s.vlanStatusDir->vlanStatus(vlan10)->vlanPortStatusDel(et1); }},
        {"Intf Ethernet1 not found in the topology",
         [](Sw &s) { s.topo(10).topoPortConfigDel(et1); }},
        {"Intf Ethernet1 not in forwarding state",
         [](Sw &s) { s.portState(10, "Ethernet1", PortState::learning); }},
    };
    for (auto const &[reason, spoil] : cases) {
        ValidSwitch sw;
        bool const port = reason.starts_with("Intf");
        EXPECT_TRUE(sw.sm().validVlan(10) && sw.sm().validPort(10, et1));
        spoil(sw);
        TopologyTrace trace(6);
        EXPECT_FALSE(port ? sw.sm().validPort(10, et1) : sw.sm().validVlan(10)) << reason;
        EXPECT_THAT(trace.take(),
                    ElementsAre(kClass + (port ? "validPort, vlan: 10, intf: Ethernet1"
                                               : "validVlan, vlan: 10"),
                                reason));
    }
}

TEST(TopologyValidity, ASwitchInterfaceTellsTheVlanItCarriesForARequest) {
    using enum Bridging::SwitchportMode;
    struct {
        SwitchportMode mode;
        std::uint16_t native, asked;
        bool rejectRouted;
        std::uint16_t answer;
        char const *reason;
    } const cases[] = {
        {access, 10, 10, true, 10, ""},
        {access, 10, 0, true, 10, ""},
        {access, 10, 20, true, 0, "Native vlan different from configured vlan"},
        {trunk, 10, 0, true, 10, ""},
        {trunk, 10, 20, true, 20, ""}, // membership is not asked about here
        {dot1qTunnel, 10, 20, false, 20, ""},
        {routed, 10, 10, true, 0, "Intf in routed mode"},
        {routed, 10, 0, false, 10, ""},
        {routed, 10, 20, false, 0, "Native vlan different from configured vlan"},
        {trunk, 4095, 20, true, 0, "Invalid vlan"},
        {routed, 0, 0, true, 0, "Invalid vlan"}, // asked about before the mode
    };
    ValidSwitch sw;
    for (auto const &[mode, native, asked, rejectRouted, answer, reason] : cases) {
        sw.switchport("Ethernet1", mode, native);
        TopologyTrace trace(6);
        EXPECT_EQ(sw.sm().validSwitchIntf(asked, et1, rejectRouted), answer);
        std::ostringstream config;
        config << "Switchport mode: " << mode << ", native vlan: " << native;
        EXPECT_EQ(trace.take().back(), answer != 0 ? config.str() : reason);
    }
    TopologyTrace trace(6);
    EXPECT_EQ(sw.sm().validSwitchIntf(10, et2, false), 0);
    EXPECT_THAT(trace.take(), ElementsAre(kClass + "validSwitchIntf, vlan: 10, intf: Ethernet2",
                                          "Intf Ethernet2 not found in switchIntfConfig"));
}

TEST(TopologyValidity, NumbersThatAreNoVlansAreARangeErrorAlsoWithoutInputs) {
    auto const sm = umoNatFlowMcastTopologySmFactory({}, {}, {}, {}, {}, {});
    EXPECT_TRUE(sm->initialized() && sm->actionSmUpdateBacklogTask());
    EXPECT_FALSE(sm->validVlan(10) || sm->validPort(10, et1) ||
                 sm->validSwitchIntf(10, et1, false));
    EXPECT_THAT([&] { (void)sm->validVlan(0); }, ThrowsMessage<std::range_error>(kRange));
    EXPECT_THAT([&] { (void)sm->validVlan(4095); }, ThrowsMessage<std::range_error>(kRange));
    ValidSwitch sw;
    // Not asked before whether the VLAN is valid.
    EXPECT_DEATH((void)sw.sm().validPort(11, et1), "Assertion failed: vlanStatus");
    sw.topology->vidToTopoMapDel(VlanId(10));
    EXPECT_DEATH((void)sw.sm().validPort(10, et1), "Assertion failed: ttc");
}
