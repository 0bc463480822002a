#include "UmoNat/UmoNatFlowMcastTopologySmMapping.h"
#include "tests/support/TopologySwitch.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <stdexcept>

using Bridging::SwitchportMode;
using Bridging::VlanId;
using testing::Contains;
using testing::ElementsAre;
using testing::ThrowsMessage;

namespace {

using TestSupport::intfOf;
using TestSupport::TopologySwitch;
using TestSupport::TopologyTrace;

/// VLAN 10 with Ethernet1, all in order.
struct ValidSwitch : TopologySwitch {
    ValidSwitch() { vlan(10, {"Ethernet1"}); }
};

constexpr char kRange[] = "Bridging::VlanId::value < 1 or > 4094 not allowed";

} // namespace

TEST(TopologyValidity, AVlanAndItsPortAreValidUntilOneThingTheyNeedIsMissing) {
    using Bridging::Topology::PortState;
    Nexo::IntfId const et1 = intfOf("Ethernet1");
    using Sw = ValidSwitch;
    struct {
        bool port;
        char const *reason;
        void (*spoil)(Sw &, Nexo::IntfId);
    } const cases[] = {
        {false, "Vlan status not found for vlan 10",
         [](Sw &sw, auto) { sw.vlanStatusDir->vlanStatusDel(VlanId(10)); }},
        {false, "No bridging topology for vlan 10",
         [](Sw &sw, auto) { sw.topology->vidToTopoMapDel(VlanId(10)); }},
        {false, "No moxTopo config for vlan 10", [](Sw &sw, auto) { sw.sm().topoConfigDel("10"); }},
        {false, "Vlan not found in the l3 intf table",
         [](Sw &sw, auto) { sw.l3Table->routedPortNameDel(UmoL3Intf::L3Id(10)); }},
        {false, "No ipIntfStatus found for the vlan",
         [](Sw &sw, auto) { sw.ipStatus->ipIntfStatusDel(intfOf("Vlan10")); }},
        {false, "L3 intf disabled", [](Sw &sw, auto) { sw.ip("Vlan10", true, "0.0.0.0/0"); }},
        {false, "L3 intf disabled", [](Sw &sw, auto) { sw.ip("Vlan10", false); }},
        {true, "Intf Ethernet1 not found in switchIntfConfig",
         [](Sw &sw, auto intf) { sw.bridgingConfig->switchIntfConfigDel(intf); }},
        {true, "Intf Ethernet1 not found in vlan port status 10",
         [](Sw &sw, auto intf) {
             sw.vlanStatusDir->vlanStatus(VlanId(10))->vlanPortStatusDel(intf);
         }},
        {true, "Intf Ethernet1 not found in the topology",
         [](Sw &sw, auto intf) { sw.topo(10).topoPortConfigDel(intf); }},
        {true, "Intf Ethernet1 not in forwarding state",
         [](Sw &sw, auto) { sw.portState(10, "Ethernet1", PortState::learning); }},
    };
    for (auto const &[port, reason, spoil] : cases) {
        ValidSwitch sw;
        TopologyTrace trace(6);
        std::string const entry =
            port ? "UmoNatFlowMcastTopologySm::validPort, vlan: 10, intf: Ethernet1"
                 : "UmoNatFlowMcastTopologySm::validVlan, vlan: 10";
        auto const valid = [&, asked = port] {
            return asked ? sw.sm().validPort(10, et1) : sw.sm().validVlan(10);
        };
        EXPECT_TRUE(valid());
        EXPECT_THAT(trace.take(), ElementsAre(entry));
        spoil(sw, et1);
        trace.take();
        EXPECT_FALSE(valid()) << reason;
        EXPECT_THAT(trace.take(), ElementsAre(entry, reason));
    }
}

TEST(TopologyValidity, ASwitchInterfaceTellsTheVlanItCarriesForARequest) {
    auto const access = SwitchportMode::access, trunk = SwitchportMode::trunk,
               routed = SwitchportMode::routed;
    struct {
        SwitchportMode mode;
        std::uint16_t native, asked;
        bool rejectRouted;
        std::uint16_t answer;
        char const *reason;
    } const cases[] = {
        {access, 10, 10, true, 10, nullptr},
        {access, 10, 0, true, 10, nullptr},
        {access, 10, 20, true, 0, "Native vlan different from configured vlan"},
        {trunk, 10, 0, true, 10, nullptr},
        {trunk, 10, 20, true, 20, nullptr}, // membership is not asked about here
        {SwitchportMode::dot1qTunnel, 10, 20, false, 20, nullptr},
        {routed, 10, 10, true, 0, "Intf in routed mode"},
        {routed, 10, 0, false, 10, nullptr},
        {routed, 10, 20, false, 0, "Native vlan different from configured vlan"},
        {access, 0, 10, true, 0, "Invalid vlan"},
        {trunk, 4095, 20, true, 0, "Invalid vlan"},
        {routed, 0, 0, true, 0, "Invalid vlan"}, // asked about before the mode
    };
    TopologySwitch sw;
    for (auto const &c : cases) {
        sw.switchport("Ethernet1", c.mode, c.native);
        TopologyTrace trace(6);
        EXPECT_EQ(sw.sm().validSwitchIntf(c.asked, intfOf("Ethernet1"), c.rejectRouted), c.answer);
        std::ostringstream config;
        config << "Switchport mode: " << c.mode << ", native vlan: " << c.native;
        std::vector<std::string> lines{"UmoNatFlowMcastTopologySm::validSwitchIntf, vlan: " +
                                           std::to_string(c.asked) + ", intf: Ethernet1",
                                       config.str()};
        if (c.reason != nullptr) {
            lines.emplace_back(c.reason);
        }
        EXPECT_EQ(trace.take(), lines);
    }
    TopologyTrace trace(6);
    EXPECT_EQ(sw.sm().validSwitchIntf(10, intfOf("Ethernet2"), false), 0);
    EXPECT_THAT(trace.take(), Contains("Intf Ethernet2 not found in switchIntfConfig"));
}

TEST(TopologyValidity, NumbersThatAreNoVlansAreARangeErrorAlsoWithoutInputs) {
    auto const sm = umoNatFlowMcastTopologySmFactory({}, {}, {}, {}, {}, {});
    EXPECT_TRUE(sm->initialized());
    EXPECT_TRUE(sm->actionSmUpdateBacklogTask());
    EXPECT_EQ(sm->natFlowRecircVlan(), 0);
    EXPECT_FALSE(sm->validVlan(10));
    EXPECT_FALSE(sm->validPort(10, intfOf("Ethernet1")));
    EXPECT_EQ(sm->validSwitchIntf(10, intfOf("Ethernet1"), false), 0);
    for (std::uint16_t const number : {std::uint16_t{0}, std::uint16_t{4095}}) {
        EXPECT_THAT([&] { (void)sm->validVlan(number); }, ThrowsMessage<std::range_error>(kRange));
    }
    ValidSwitch sw;
    EXPECT_THAT([&] { (void)sw.sm().validPort(4095, intfOf("Ethernet1")); },
                ThrowsMessage<std::range_error>(kRange));
}

TEST(TopologyValidityDeathTest, APortOfAVlanThatWasNotFoundValidIsABrokenInvariant) {
    ValidSwitch sw;
    EXPECT_DEATH((void)sw.sm().validPort(11, intfOf("Ethernet1")), "Assertion failed: vlanStatus");
    sw.topology->vidToTopoMapDel(VlanId(10));
    EXPECT_DEATH((void)sw.sm().validPort(10, intfOf("Ethernet1")), "Assertion failed: ttc");
}
