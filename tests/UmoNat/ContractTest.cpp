#include "UmoNat/topology/Bridging.h"
#include "UmoNat/topology/IpState.h"
#include "UmoNat/topology/PortStates.h"
#include "tests/support/NatSwitch.h"

using testing::HasSubstr;

using namespace TestSupport;

TEST(Owners, GetTheMachineThatIsThereAndInsertOneThatIsNot) {
    RunningSwitch sw;
    sw.vlan(10, {"Ethernet1"});
    sw.learn(10, kMac, "Ethernet1");
    sw.match("m", kMulticast);
    sw.action("m", "a");
    auto &policySm = **sw.root->policySm().find("p");
    auto &matchSm = sw.matchSm("m");
    EXPECT_EQ(sw.root->policySmIs(policySm.inputs()).ptr(), &policySm);
    EXPECT_EQ(policySm.matchSmIs("m", matchSm.inputs()).ptr(), &matchSm);
    auto const inputs = sw.actionSm("m", "a").inputs();
    matchSm.actionSmDel("a");
    for (int i = 0; i < 2; ++i) {
        auto const action = matchSm.actionSmIs("a", inputs);
        EXPECT_EQ(action.ptr(), &sw.actionSm("m", "a"));
    }
    auto none = inputs;
    none.actionStatus = nullptr; // which counts as incomplete
    EXPECT_EQ(matchSm.actionSmIs("", none)->action(), "");
    auto const machineOf = [](auto const &machines, auto const &is) {
        for (auto const &[key, machine] : machines) {
            EXPECT_EQ(is(machine->inputs().followed), machine);
        }
    };
    auto &sm = sw.sm();
    machineOf(sm.switchIntfConfig(), [&](auto const &of) { return sm.switchIntfConfigIs(of); });
    machineOf(sm.vlanStatus(), [&](auto const &of) { return sm.vlanStatusIs(of); });
    machineOf(sm.fdbStatus(), [&](auto const &of) { return sm.fdbStatusIs(of); });
    machineOf(sm.ipIntfStatus(), [&](auto const &of) { return sm.ipIntfStatusIs(of); });
    machineOf(sm.moxTopoConfig(), [&](auto const &of) { return sm.topoConfigIs(of); });
    auto const topology = *sm.moxTopoConfig().find("10");
    machineOf(topology->moxTopoPortConfig(),
              [&](auto const &of) { return topology->topoPortConfigIs(of); });
    sm.switchIntfConfigDelAll(), sm.vlanStatusDelAll(), sm.fdbStatusDelAll();
    sm.ipIntfStatusDelAll(), sm.topoConfigDelAll();
    EXPECT_EQ(sm.switchIntfConfig().size() + sm.vlanStatus().size() + sm.fdbStatus().size() +
                  sm.ipIntfStatus().size() + sm.moxTopoConfig().size(),
              0U);
}

TEST(Action, WithoutAHardwareRecordSaysSoAndIsNoActionWithoutAVersion) {
    RunningSwitch sw;
    sw.match("m", kMulticast);
    sw.action("m", "a");
    auto &action = sw.actionSm("m", "a");
    auto const record = action.hwActionStatus();
    sw.takeCalls();
    action.hwActionStatusIs(nullptr);
    TraceRecorder traces("UmoNatFlowActionSm/2");
    action.handleNatFlowAction(true);
    EXPECT_THAT(storyOf(traces.messages), HasSubstr("|No hardware status, skip update|"));
    action.handleNatFlow(), action.handleGroupNum(2), action.resetHwGroups();
    action.updateHwTranslation(), action.updateHwPortSet(nullptr);
    EXPECT_EQ(sw.takeCalls(), "");
    EXPECT_DEATH(action.resetHwGroup(1, true, false), "Assertion failed: hwActionStatus\\(\\)");
    EXPECT_DEATH(action.updateHwTranslationSrc(1, true, false), "failed: hwActionStatus\\(\\)");
    action.hwActionStatusIs(record);
}
