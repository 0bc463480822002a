#include "tests/support/NatSwitch.h"

#include <stdexcept>

using testing::StartsWith;

using namespace TestSupport;

namespace {

/// A chip of one group, which match "holder" has.
struct FullSwitch : NatSwitch {
    explicit FullSwitch(std::initializer_list<char const *> waiting) : NatSwitch({.groups = 1}) {
        oneGroup("holder");
        start();
        for (char const *const name : waiting) {
            oneGroup(name);
        }
        takeCalls();
    }
    void oneGroup(char const *name) const {
        match(name, kMulticast);
        action(name, "a");
    }
    void freeHolder() {
        removeAction("holder", "a");
        takeCalls();
    }
};

} // namespace

TEST(Retry, DoesNothingOutsideARun) {
    FullSwitch sw({"m1", "m2"});
    sw.freeHolder();
    sw.runFor(10); // m1 is programmed, m2 refused
    sw.takeCalls();
    TraceRecorder traces("UmoNatFlowMcastSm/9");
    sw.root->handleUnprogrammedGroup();
    EXPECT_EQ(sw.takeCalls() + storyOf(traces.messages), "Task not running|");
    EXPECT_EQ(sw.root->unprogrammedGroupTask()->taskWorkCount(), 1U);
}

TEST(Retry, YieldsWhenItsTimeSliceIsOverAndGoesOnAtOnce) {
    FullSwitch sw({"m1", "m2"});
    sw.chip->capacityIs({.groups = 2});
    sw.freeHolder();
    sw.chip->callLogIs([&](std::string const &) { // a slow chip
        sw.clock->advanceTo(sw.clock->now() + std::chrono::milliseconds(20));
    });
    sw.clock->advanceTo(std::chrono::seconds(10));
    TraceRecorder traces("UmoNatFlowMcastSm/9");
    EXPECT_EQ(sw.scheduler->runDueTasks(), 1U);
    EXPECT_EQ(storyOf(traces.messages), "Yielding. Scheduled unprogrammed group task|"
                                        "Entries checked: 1, remaining: 1|");
    EXPECT_EQ(sw.scheduler->runDueTasks(), 1U);
    EXPECT_EQ(storyOf(traces.messages), "Entries checked: 1, remaining: 0|");
    EXPECT_EQ(sw.scheduler->runDueTasks(), 0U);
    sw.chip->callLogIs(nullptr);
}

TEST(Retry, KeepsAMatchWhoseNumberChangesInItAndIsRefused) {
    FullSwitch sw({});
    sw.match("m", NatSwitch::kNone);
    sw.action("m", "a", "239.9.9.9:1").dstIs({}); // not seen before the next pass
    sw.freeHolder();
    sw.runFor(10);
    EXPECT_EQ(sw.takeCalls(), "create m, unicast false -> 2|delete m, group 2|"
                              "create m, unicast true -> 3|create m, unicast false -> 0|");
    EXPECT_FALSE(sw.root->unprogrammedGroup().empty());
    sw.groupsLeft = 1; // half of the pair
    EXPECT_DEATH(sw.matchSm("m").createNatFlowGroups(3), "groups == 2");
}

TEST(Tree, StaleStatusIsWipedPortSetsIncludedBeforeAnyPolicyIsSeen) {
    NatSwitch sw;
    auto const portSets = Ip::Nat::natFlowVlanPortSetsFactory();
    portSets->ucastPortSetIs(10);
    portSets->mcastPortSetIs(10);
    sw.hw->natFlowIs("p")->matchIs("old")->actionIs("a")->vlanPortSetsIs(portSets);
    sw.match("new", kMulticast);
    sw.start();
    EXPECT_TRUE(portSets->ucastPortSet().empty() && portSets->mcastPortSet().empty());
    EXPECT_TRUE(sw.hw->natFlow("p")->match("new") && !sw.hw->natFlow("p")->match("old"));
    EXPECT_EQ(sw.takeCalls(), "");
}

TEST(Tree, AStartThatFailsLeavesNothingBehind) {
    NatSwitch sw;
    sw.vlan(10, {"Ethernet1"});
    sw.match("m", kMulticast);
    sw.action("m", "good", NatSwitch::kNone, NatSwitch::kNone, {{"Vlan10", kMac}});
    sw.action("m", "bad").intfIs(et1, {5000, Nexo::EthAddr()}); // a next hop in no VLAN
    EXPECT_THAT([&] { sw.start(); }, testing::ThrowsMessage<std::range_error>(kRange));
    EXPECT_THAT(sw.takeCalls(), StartsWith("create m, unicast false -> 1|update Vlan 1/0|"));
    EXPECT_EQ(sw.chip->groupsInUse(), 0U);
    sw.nat->natFlowIs("q"); // nobody listens any more
    EXPECT_TRUE(sw.hw->natFlow().empty());
    EXPECT_EQ(sw.ipStatus->references(), 1U);
}
