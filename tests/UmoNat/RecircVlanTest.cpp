#include "tests/support/TopologySwitch.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <stdexcept>

using testing::ElementsAre;
using testing::IsEmpty;
using testing::ThrowsMessage;

namespace {

using TestSupport::intfOf;
using TestSupport::NatSwitch;
using TestSupport::TopologySwitch;
using TestSupport::TopologyTrace;

constexpr char kRange[] = "Bridging::VlanId::value < 1 or > 4094 not allowed";
constexpr char kNotified[] = "notifyActionSmRecirc";

struct RecircTrace : TopologyTrace {
    RecircTrace() : TopologyTrace(5) {}
    /// What was said of the recirculation VLAN and its users.
    std::vector<std::string> take() {
        std::vector<std::string> texts = TopologyTrace::take();
        std::erase_if(texts, [](auto const &text) { return text.find("ecirc") == text.npos; });
        return texts;
    }
};

/// VLANs 10 and 20, both usable; the first is chosen.
struct TwoVlanSwitch : TopologySwitch {
    TwoVlanSwitch() {
        vlan(10, {"Ethernet1"});
        vlan(20, {"Ethernet2"});
    }
    [[nodiscard]] std::uint16_t recirc() { return sm().natFlowRecircVlan(); }
};

} // namespace

TEST(RecircVlan, StartTakesTheFirstValidVlanAndElseKeepsWhatCameUp) {
    NatSwitch sw;
    sw.vlan(10, {"Ethernet1"});
    sw.vlan(20, {"Ethernet2"});
    sw.vlanStatusDir->vlanStatusDel(Bridging::VlanId(10)); // up all the same
    RecircTrace trace;
    sw.start();
    EXPECT_EQ(sw.root->topologySm()->natFlowRecircVlan(), 20);
    EXPECT_THAT(trace.take(),
                ElementsAre("handleIpIntfStatus, set natFlowRecircVlan to 10", kNotified,
                            "handleInitialized, set natFlowRecircVlan to 20", kNotified));
    sw.stop();
    sw.vlanStatusDir->vlanStatusDelAll();
    sw.start();
    EXPECT_EQ(sw.root->topologySm()->natFlowRecircVlan(), 10);
    EXPECT_THAT(trace.take(),
                ElementsAre("handleIpIntfStatus, set natFlowRecircVlan to 10", kNotified));
    sw.stop();
    sw.ipStatus->ipIntfStatusDelAll();
    sw.start();
    EXPECT_EQ(sw.root->topologySm()->natFlowRecircVlan(), 0);
    EXPECT_THAT(trace.take(), IsEmpty());
}

TEST(RecircVlan, TheFirstL3InterfaceIsTakenUncheckedAndNoneDisplacesIt) {
    TopologySwitch sw;
    RecircTrace trace;
    sw.l3Table->intfL3IndexIs(intfOf("Vlan30"), UmoL3Intf::L3Id(30));
    EXPECT_EQ(sw.sm().natFlowRecircVlan(), 30);
    EXPECT_FALSE(sw.sm().validVlan(30));
    EXPECT_THAT(trace.take(), ElementsAre("handleL3Intf, set natFlowRecircVlan to 30", kNotified));
    sw.vlan(10, {"Ethernet1"});
    EXPECT_EQ(sw.sm().natFlowRecircVlan(), 30);
    EXPECT_THAT(trace.take(), IsEmpty());
}

TEST(RecircVlan, AnInterfaceThatGoesDownIsReplacedAndItsUsersAreToldTwice) {
    TwoVlanSwitch sw;
    ASSERT_EQ(sw.recirc(), 10);
    RecircTrace trace;
    sw.ip("Vlan10", false);
    EXPECT_EQ(sw.recirc(), 20);
    std::string const set = "setNewNatFlowRecircVlan, set natFlowRecircVlan to ";
    EXPECT_THAT(trace.take(), ElementsAre(set + "20", kNotified, kNotified));
    sw.ip("Vlan10", true); // back, but 20 is kept
    EXPECT_EQ(sw.recirc(), 20);
    EXPECT_THAT(trace.take(), IsEmpty());
    sw.ip("Vlan10", false);
    sw.ip("Vlan20", true, "0.0.0.0/0");
    EXPECT_EQ(sw.recirc(), 0);
    EXPECT_THAT(trace.take(), ElementsAre(set + "0", kNotified, kNotified));
    sw.ip("Vlan10", true); // the first to come up while there is none
    EXPECT_EQ(sw.recirc(), 10);
    EXPECT_THAT(trace.take(),
                ElementsAre("handleIpIntfStatus, set natFlowRecircVlan to 10", kNotified));
}

TEST(RecircVlan, AnInterfaceThatLeavesTheTableIsReplacedAndItsUsersAreToldOnce) {
    TwoVlanSwitch sw;
    sw.vlan(30, {"Ethernet3"});
    RecircTrace trace;
    sw.l3Table->intfL3IndexDel(intfOf("Vlan20"));
    EXPECT_EQ(sw.recirc(), 10);
    EXPECT_THAT(trace.take(), IsEmpty());
    sw.l3Table->intfL3IndexDel(intfOf("Vlan10"));
    EXPECT_EQ(sw.recirc(), 30); // not its own VLAN, valid to the last
    EXPECT_THAT(trace.take(),
                ElementsAre("setNewNatFlowRecircVlan, set natFlowRecircVlan to 30", kNotified));
    EXPECT_EQ(sw.sm().intfL3Index().size(), 1U);
}

TEST(RecircVlan, AnL3IdThatIsNoVlanThrowsFromTheStartWithEverythingReleased) {
    NatSwitch sw;
    sw.vlan(10, {"Ethernet1"});
    sw.ipStatus->ipIntfStatusIs(intfOf("Ethernet5"));
    sw.l3Table->intfL3IndexIs(intfOf("Ethernet5"), UmoL3Intf::L3Id(5000));
    EXPECT_THAT([&] { sw.start(); }, ThrowsMessage<std::range_error>(kRange));
    sw.portState(10, "Ethernet1", Bridging::Topology::PortState::blocking); // heard by nobody
    EXPECT_EQ(sw.ipStatus->references(), 1U);
}

TEST(RecircVlanDeathTest, InANotificationSuchAnIdStopsTheProcessWithItsText) {
    TopologySwitch sw;
    EXPECT_DEATH(sw.l3Table->intfL3IndexIs(intfOf("Ethernet5"), UmoL3Intf::L3Id(5000)), kRange);
    sw.sm().intfL3IndexIs(intfOf("Ethernet5"), 0);
    EXPECT_DEATH(sw.sm().handleL3Intf(intfOf("Ethernet5")), "Assertion failed: vlan,");
}
