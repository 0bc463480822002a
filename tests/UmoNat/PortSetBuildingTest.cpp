#include "tests/support/TopologySwitch.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

using Bridging::SwitchportMode;
using Bridging::Topology::PortState;
using testing::ElementsAre;

namespace {

using TestSupport::intfOf;
using TestSupport::macOf;
using TestSupport::TopologySwitch;
using TestSupport::TopologyTrace;

constexpr char kMac[] = "00:00:00:00:00:01";
constexpr char kOther[] = "00:00:00:00:00:02";
constexpr char kZero[] = "00:00:00:00:00:00";

/// VLAN 10: Ethernet1 to Ethernet3 usable, Ethernet4 blocked, Ethernet5 routed.
struct PortSwitch : TopologySwitch {
    PortSwitch() {
        vlan(10, {"Ethernet1", "Ethernet2", "Ethernet3", "Ethernet4", "Ethernet5"});
        portState(10, "Ethernet4", PortState::blocking);
        switchport("Ethernet5", SwitchportMode::routed, 10);
        action = watcher("a");
    }
    bool svi(char const *mac, bool unicast) {
        return sm().addSviPorts(10, macOf(mac), vps.ptr(), unicast, action);
    }
    /// The port sets built, as "ucast 10 MAC: Ethernet1 Ethernet2".
    [[nodiscard]] std::string portSets() const {
        std::string text;
        for (bool const unicast : {true, false}) {
            for (auto const &[vlan, ps] : unicast ? vps->ucastPortSet() : vps->mcastPortSet()) {
                text += (unicast ? "ucast " : "mcast ") + std::to_string(vlan) + " " +
                        ps->dmac().stringValue() + ":";
                for (Nexo::IntfId const intf : ps->intf()) {
                    text += " " + intf.stringValue();
                }
            }
        }
        return text;
    }
    /// The keys under which the action is registered.
    [[nodiscard]] std::string keys() {
        std::ostringstream text;
        for (auto const &[intf, entry] : sm().actionIntf()) {
            text << intf << " ";
        }
        for (auto const &[vlan, entry] : sm().actionVlan()) {
            text << vlan << " ";
        }
        for (auto const &[mac, entry] : sm().actionMac()) {
            text << mac << " ";
        }
        return text.str();
    }

    UmoNatFlowActionSm *action;
    Mox::Ptr<Ip::Nat::NatFlowVlanPortSets> vps = Ip::Nat::natFlowVlanPortSetsFactory();
};

std::string const kFlooded = ": Ethernet1 Ethernet2 Ethernet3";

} // namespace

TEST(PortSetBuilding, AnSviReachesAKnownHostByItsPortAndElseFloods) {
    using Sw = PortSwitch;
    auto const nothing = [](Sw &) {};
    std::string const mac = kMac, zero = kZero, flooded = kFlooded;
    struct {
        bool unicast;
        void (*prepare)(Sw &);
        std::string portSet; // none: refused
    } const cases[] = {
        {false, nothing, "mcast 10 " + zero + flooded},
        {false, [](Sw &sw) { sw.learn(10, kZero, "Ethernet2"); }, "mcast 10 " + zero + flooded},
        {true, nothing, "ucast 10 " + mac + flooded},
        {true, [](Sw &sw) { sw.learn(20, kMac, "Ethernet2"); }, "ucast 10 " + mac + flooded},
        {true, [](Sw &sw) { sw.learn(10, kMac, "Ethernet2"); }, "ucast 10 " + mac + ": Ethernet2"},
        {true, [](Sw &sw) { sw.learn(10, kMac, "Ethernet4"); }, ""},
        {true, [](Sw &sw) { sw.learn(10, kMac, "Ethernet5"); }, ""},
        {true, [](Sw &sw) { sw.topo(10).topoPortConfigDelAll(); }, ""},
        {true, [](Sw &sw) { sw.ip("Vlan10", false); }, ""},
        {false, [](Sw &sw) { sw.ip("Vlan10", false); }, ""},
    };
    for (auto const &c : cases) {
        SCOPED_TRACE(&c - cases);
        PortSwitch sw;
        c.prepare(sw);
        EXPECT_EQ(sw.svi(c.unicast ? kMac : kZero, c.unicast), !c.portSet.empty());
        EXPECT_EQ(sw.portSets(), c.portSet);
        // Registered whatever the answer; by VLAN and MAC, never by port.
        EXPECT_EQ(sw.keys(), c.unicast ? "10 " + mac + " " : "10 ");
    }
}

TEST(PortSetBuilding, AKnownHostIsRefusedWhereAnotherMacIsAndFloodingOverwritesIt) {
    PortSwitch sw;
    sw.learn(10, kMac, "Ethernet1");
    sw.learn(10, kOther, "Ethernet2");
    {
        TopologyTrace trace(6);
        ASSERT_TRUE(sw.svi(kMac, true));
        auto const lines = trace.take();
        EXPECT_EQ(lines.front(),
                  std::string("UmoNatFlowMcastTopologySm::addSviPorts, vlan: 10, mac: ") + kMac +
                      ", unicast: true");
        EXPECT_EQ(lines.back(), "Added intf Ethernet1 in port set of vlan 10");
    }
    TopologyTrace trace(2);
    EXPECT_FALSE(sw.svi(kOther, true));
    EXPECT_THAT(trace.take(), ElementsAre(std::string("Different mac already found in the vlan (") +
                                          kMac + "), skip intf"));
    EXPECT_EQ(sw.portSets(), std::string("ucast 10 ") + kMac + ": Ethernet1");
    EXPECT_TRUE(sw.svi(kMac, true)); // the same host again
    sw.bridgingStatus->fdbStatus(Bridging::Fid(10))->learnedHostDel(macOf(kOther));
    EXPECT_TRUE(sw.svi(kOther, true));
    EXPECT_EQ(sw.portSets(), std::string("ucast 10 ") + kOther + kFlooded);
}

TEST(PortSetBuilding, APhysicalPortIsGivenItsVlanAndRegisteredByWhatWasAskedFor) {
    struct {
        char const *intf;
        std::uint16_t vlan, answer;
        std::string keys;
    } const cases[] = {
        {"Ethernet1", 10, 10, "Ethernet1 10 "},
        {"Ethernet5", 10, 10, "Ethernet5 10 "}, // routed is good enough here
        {"Ethernet5", 0, 10, "Ethernet5 "},     // the VLAN it carries is not registered
        {"Ethernet4", 10, 0, "Ethernet4 10 "},
        {"Ethernet1", 0, 0, "Ethernet1 "}, // native VLAN 1 is not valid
        {"Ethernet1", 30, 0, "Ethernet1 30 "},
        {"Ethernet9", 10, 0, "Ethernet9 10 "},
    };
    for (auto const &c : cases) {
        PortSwitch sw;
        TopologyTrace trace(6);
        EXPECT_EQ(sw.sm().addPhysicalPort(intfOf(c.intf), c.vlan, sw.action), c.answer) << c.intf;
        EXPECT_EQ(trace.take().front(), std::string("UmoNatFlowMcastTopologySm::addPhysicalPort, "
                                                    "intf; ") +
                                            c.intf + ", vlan: " + std::to_string(c.vlan));
        EXPECT_EQ(sw.keys(), c.keys);
        EXPECT_EQ(sw.portSets(), ""); // for the caller to add
    }
}

TEST(PortSetBuildingDeathTest, AUnicastCopyWithoutMacIsABrokenInvariant) {
    PortSwitch sw;
    EXPECT_DEATH(sw.svi(kZero, true), "Assertion failed: mac != Nexo::EthAddr::ethAddrZero\\(\\)");
}
