#include "tests/support/TopologySwitch.h"

#include <functional>
#include <stdexcept>

using namespace TestSupport;

namespace {

/// The recirculation VLAN after `change`, and what was said of it and to its users meanwhile.
std::string after(NatSwitch &sw, std::function<void()> const &change) {
    TopologyTrace trace(5);
    change();
    std::string text = std::to_string(sw.root->topologySm()->natFlowRecircVlan());
    for (std::string const &line : trace.take()) {
        text += line.find("ecirc") != line.npos ? "; " + line : "";
    }
    return text;
}

/// That `function` has set it.
std::string setBy(std::string const &function, std::string const &vlan) {
    return "; " + function + ", set natFlowRecircVlan to " + vlan + "; notifyActionSmRecirc";
}

} // namespace

TEST(RecircVlan, StartTakesTheFirstValidVlanAndElseKeepsWhatCameUp) {
    NatSwitch sw;
    sw.vlan(10, {"Ethernet1"});
    sw.vlan(20, {"Ethernet2"});
    sw.vlanStatusDir->vlanStatusDel(VlanId(10)); // up all the same
    auto const restart = [&] {
        sw.stop();
        sw.start();
    };
    std::string const up = setBy("handleIpIntfStatus", "10");
    EXPECT_EQ(after(sw, restart), "20" + up + setBy("handleInitialized", "20"));
    sw.vlanStatusDir->vlanStatusDelAll();
    EXPECT_EQ(after(sw, restart), "10" + up);
    sw.ipStatus->ipIntfStatusDelAll();
    EXPECT_EQ(after(sw, restart), "0");
}

TEST(RecircVlan, OneThatGoesDownOrLeavesIsReplacedAndNoneDisplacesTheOneInUse) {
    TopologySwitch sw;
    sw.vlan(10, {"Ethernet1"});
    sw.vlan(20, {"Ethernet1"});
    sw.vlan(30, {"Ethernet1"});
    auto const up = [&](char const *svi) { return after(sw, [&] { sw.ip(svi, true); }); };
    auto const down = [&](char const *svi) {
        return after(sw, [&] { sw.ip(svi, true, "0.0.0.0/0"); });
    };
    auto const leave = [&](char const *svi) {
        return after(sw, [&] { sw.l3Table->intfL3IndexDel(IntfId(svi)); });
    };
    std::string const replaced = "setNewNatFlowRecircVlan", again = "; notifyActionSmRecirc";
    EXPECT_EQ(down("Vlan10"), "20" + setBy(replaced, "20") + again); // users are told twice
    EXPECT_EQ(up("Vlan10"), "20");
    EXPECT_EQ(leave("Vlan10"), "20");
    EXPECT_EQ(leave("Vlan20"), "30" + setBy(replaced, "30")); // not itself, valid to the last
    EXPECT_EQ(down("Vlan30"), "0" + setBy(replaced, "0") + again);
    EXPECT_EQ(up("Vlan30"), "30" + setBy("handleIpIntfStatus", "30"));
    EXPECT_EQ(leave("Vlan30"), "0" + setBy(replaced, "0"));
    auto const add = [&] { sw.l3Table->intfL3IndexIs(IntfId("Vlan40"), UmoL3Intf::L3Id(40)); };
    EXPECT_EQ(after(sw, add), "40" + setBy("handleL3Intf", "40")); // unchecked
    EXPECT_FALSE(sw.sm().validVlan(40));
    EXPECT_EQ(after(sw, [&] { sw.vlan(50, {"Ethernet1"}); }), "40");
}

TEST(RecircVlan, AnL3IdThatIsNoVlanThrowsFromTheStartAndStopsARunningProcess) {
    NatSwitch sw;
    sw.vlan(10, {"Ethernet1"});
    auto const add = [](NatSwitch &to) {
        to.l3Table->intfL3IndexIs(IntfId("Ethernet5"), UmoL3Intf::L3Id(5000));
    };
    sw.ipStatus->ipIntfStatusIs(IntfId("Ethernet5"));
    add(sw);
    EXPECT_THAT([&] { sw.start(); }, testing::ThrowsMessage<std::range_error>(kRange));
    EXPECT_EQ(sw.ipStatus->references(), 1U); // heard by nobody
    TopologySwitch running;
    EXPECT_DEATH(add(running), kRange);
    running.sm().intfL3IndexIs(IntfId("Ethernet5"), 0);
    EXPECT_DEATH(running.sm().handleL3Intf(IntfId("Ethernet5")), "Assertion failed: vlan,");
}
