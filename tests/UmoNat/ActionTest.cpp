#include "Skimtrace/Skimtrace.h"
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

TEST(Action, LooksForAChangeOfTopologyNeitherAtTheNumberOfGroupsNorAtTheFlowType) {
    RunningSwitch sw;
    sw.match("m", NatSwitch::kNone);
    auto &status = sw.action("m", "a", "239.9.9.9:1");
    auto &machine = sw.actionSm("m", "a");
    auto const matchSmStatus = sw.matchSm("m").matchSmStatus();
    EXPECT_TRUE(machine.initialized() && sw.matchSm("m").initialized() &&
                (*sw.root->policySm().find("p"))->initialized() && sw.root->initialized());
    OnChange const heard(*matchSmStatus, [&] {
        sw.calls.push_back("wants " + std::to_string(matchSmStatus->groupNum()));
    });
    sw.takeCalls();
    status.dstIs({}); // not seen before the version changes
    machine.handleNatFlowAction(true);
    EXPECT_EQ(sw.takeCalls(), "");
    TraceRecorder traces("UmoNatFlowActionSm/2");
    status.versionIs(2);
    std::ostringstream dumped;
    Skimtrace::dump(dumped, 20);
    EXPECT_THAT(dumped.str(), testing::HasSubstr(" UmoNatFlowActionSm::handleGroupNum policy p "
                                                 "match m action a num 2\n"));
    EXPECT_THAT(traces.messages,
                testing::Contains(testing::EndsWith("Change in the group number, old: 1, new: 2")));
    EXPECT_EQ(sw.takeCalls(), "delete m, group 3|wants 2|create m, unicast true -> 4|"
                              "create m, unicast false -> 5|update Vlan 4/0|wants 2|");
    EXPECT_EQ(matchSmStatus->groupNumUpdate(), 2U); // the first when it got its destination
    matchSmStatus->groupNumIs(0);
    machine.handleNatFlowAction(true);
    EXPECT_THAT(traces.messages.back(),
                testing::EndsWith("Group not initialized yet, skip update"));
    matchSmStatus->groupNumIs(2);
}
