#include "tests/support/NatSwitch.h"

using namespace TestSupport;

TEST(Action, SkipsAnInterfaceWithoutAVlanAndTakesNoneWithoutAMac) {
    RunningSwitch sw;
    sw.vlan(10, {"Ethernet1"});
    TraceRecorder traces("UmoNatFlowActionSm/2");
    auto &status = sw.action("m", "a", NatSwitch::kNone, NatSwitch::kNone, {{"Vlan0", kMac}});
    EXPECT_THAT(storyOf(traces.messages),
                testing::HasSubstr("|Intf: Vlan0, vlan: 0, mac: 00:00:00:00:00:01|Invalid vlan|"));
    status.intfIs(et1, {10, {}});
    EXPECT_DEATH(status.versionIs(2), "iter->mac\\(\\) != Nexo::EthAddr::ethAddrZero\\(\\)");
    status.versionIs(0);
    EXPECT_DEATH(sw.actionSm("m", "a").resetHwGroup(1, true, false),
                 "initialized\\(\\) && actionStatus\\(\\)->version\\(\\)");
}
