#include "tests/support/TopologySwitch.h"

using namespace TestSupport;

namespace {

std::string const kOther = "00:00:00:00:00:02";
std::string const kZero = "00:00:00:00:00:00";
std::string const kFlooded = " Ethernet1 Ethernet2 Ethernet3";

/// VLAN 10: Ethernet1 to Ethernet3 usable, Ethernet4 blocked, Ethernet5 routed.
struct PortSwitch : TopologySwitch {
    PortSwitch() {
        vlan(10, {"Ethernet1", "Ethernet2", "Ethernet3", "Ethernet4", "Ethernet5"});
        portState(10, "Ethernet4", PortState::blocking);
        switchport("Ethernet5", SwitchportMode::routed, 10);
    }
    bool svi(std::string const &mac, bool unicast) {
        return sm().addSviPorts(10, macOf(mac), vps.ptr(), unicast, action);
    }
    /// The port set built, as "MAC Ethernet1 Ethernet2".
    [[nodiscard]] std::string portSet(bool unicast = true) const {
        std::ostringstream text;
        if (auto const ps = unicast ? vps->ucastPortSet(10) : vps->mcastPortSet(10)) {
            text << ps->dmac();
            for (IntfId const intf : ps->intf()) {
                text << " " << intf;
            }
        }
        return text.str();
    }
    /// How many interfaces, VLANs and MACs the action is registered by.
    [[nodiscard]] std::string keys() {
        return std::to_string(sm().actionIntf().size()) + std::to_string(sm().actionVlan().size()) +
               std::to_string(sm().actionMac().size());
    }

    UmoNatFlowActionSm *action = watcher("a");
    Mox::Ptr<Ip::Nat::NatFlowVlanPortSets> vps = Ip::Nat::natFlowVlanPortSetsFactory();
};

} // namespace

TEST(PortSetBuilding, AnSviReachesAKnownHostByItsPortAndElseFloods) {
    using Sw = PortSwitch;
    struct {
        std::string portSet; // none: refused
        bool unicast;
        void (*prepare)(Sw &);
    } const cases[] = {
        {kZero + kFlooded, false, [](Sw &sw) { sw.learn(10, kZero, "Ethernet2"); }},
        {kMac + kFlooded, true, [](Sw &sw) { sw.learn(20, kMac, "Ethernet2"); }},
        {std::string(kMac) + " Ethernet2", true, [](Sw &sw) { sw.learn(10, kMac, "Ethernet2"); }},
        {"", true, [](Sw &sw) { sw.learn(10, kMac, "Ethernet4"); }},
        {"", true, [](Sw &sw) { sw.learn(10, kMac, "Ethernet5"); }},
        {"", true, [](Sw &sw) { sw.ip("Vlan10", false); }},
    };
    for (auto const &c : cases) {
        PortSwitch sw;
        c.prepare(sw);
        EXPECT_EQ(sw.svi(c.unicast ? kMac : kZero, c.unicast), !c.portSet.empty()) << &c - cases;
        EXPECT_EQ(sw.portSet(c.unicast), c.portSet);
        // Registered whatever the answer; by VLAN and MAC, never by port.
        EXPECT_EQ(sw.keys(), c.unicast ? "011" : "010");
    }
}

TEST(PortSetBuilding, AKnownHostIsRefusedWhereAnotherMacIsAndFloodingOverwritesIt) {
    PortSwitch sw;
    sw.learn(10, kMac, "Ethernet1");
    sw.learn(10, kOther, "Ethernet2");
    TopologyTrace trace(6);
    ASSERT_TRUE(sw.svi(kMac, true));
    auto const lines = trace.take();
    EXPECT_EQ(lines.front(), "UmoNatFlowMcastTopologySm::addSviPorts, vlan: 10, mac: " +
                                 std::string(kMac) + ", unicast: true");
    EXPECT_EQ(lines.back(), "Added intf Ethernet1 in port set of vlan 10");
    Mox::traceLevelsIs("UmoNatFlowMcastTopologySm/2");
    EXPECT_FALSE(sw.svi(kOther, true));
    EXPECT_EQ(trace.take().at(0),
              "Different mac already found in the vlan (" + std::string(kMac) + "), skip intf");
    EXPECT_EQ(sw.portSet(), std::string(kMac) + " Ethernet1");
    EXPECT_TRUE(sw.svi(kMac, true)); // the same host again
    sw.bridgingStatus->fdbStatus(Bridging::Fid(10))->learnedHostDel(macOf(kOther));
    EXPECT_TRUE(sw.svi(kOther, true));
    EXPECT_EQ(sw.portSet(), kOther + kFlooded);
    EXPECT_DEATH(sw.svi(kZero, true), "Assertion failed: mac != Nexo::EthAddr::ethAddrZero\\(\\)");
}

TEST(PortSetBuilding, APhysicalPortIsGivenItsVlanAndRegisteredByWhatWasAskedFor) {
    struct {
        char const *intf;
        std::uint16_t vlan, answer;
        char const *keys;
    } const cases[] = {
        {"Ethernet1", 10, 10, "110"}, {"Ethernet5", 10, 10, "110"}, // routed is good enough here
        {"Ethernet5", 0, 10, "100"}, // the VLAN it carries is not registered
        {"Ethernet4", 10, 0, "110"},  {"Ethernet1", 0, 0, "100"}, // native VLAN 1 is not valid
        {"Ethernet9", 10, 0, "110"},
    };
    for (auto const &[intf, vlan, answer, keys] : cases) {
        PortSwitch sw;
        TopologyTrace trace(6);
        EXPECT_EQ(sw.sm().addPhysicalPort(IntfId(intf), vlan, sw.action), answer) << intf;
        EXPECT_EQ(trace.take().front(),
                  std::string("UmoNatFlowMcastTopologySm::addPhysicalPort, intf; ") + intf +
                      ", vlan: " + std::to_string(vlan));
        EXPECT_EQ(sw.keys(), keys);
    }
}
