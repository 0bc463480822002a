#include "tests/support/NatSwitch.h"
#include "tests/support/TraceRecorder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

namespace {

using TestSupport::NatSwitch;

/// A chip of one group, held by match "holder"; more matches can only wait.
struct FullSwitch : NatSwitch {
    explicit FullSwitch(std::uint32_t groupsOfChip = 1) : NatSwitch({.groups = groupsOfChip}) {
        oneGroup("p", "holder");
        start();
    }
    void oneGroup(std::string const &policy, std::string const &name) {
        match(policy, name, "239.1.1.1:5000");
        action(policy, name, "a");
    }
    void freeHolder() { removeAction("p", "holder", "a"); }
};

constexpr double kDelay = 10.0;
constexpr double kMoment = 0.001;

} // namespace

TEST(Retry, RunsTenSecondsAfterGroupsWereFreedAndNotForARefusalAlone) {
    FullSwitch sw;
    sw.oneGroup("p", "m");
    EXPECT_EQ(sw.groups("p", "m"), "1:0/0*");
    EXPECT_FALSE(sw.scheduler->nextDue());
    sw.freeHolder();
    sw.runFor(kDelay - kMoment);
    EXPECT_EQ(sw.groups("p", "m"), "1:0/0*");
    sw.runFor(kMoment);
    EXPECT_EQ(sw.groups("p", "m"), "1:2/2");
    EXPECT_FALSE(sw.scheduler->nextDue());
}

TEST(Retry, IsScheduledByTheFirstEvaluationOfAnyMatchWhileAnotherWaits) {
    FullSwitch sw;
    sw.oneGroup("p", "waits");
    EXPECT_FALSE(sw.scheduler->nextDue());
    sw.oneGroup("p", "new");
    EXPECT_EQ(sw.scheduler->nextDue(), std::chrono::seconds(10));
}

TEST(Retry, ServesInOrderOfWaitingAndStopsAtTheFirstRefusal) {
    FullSwitch sw;
    for (char const *name : {"m1", "m2", "m3"}) {
        sw.oneGroup("p", name);
    }
    sw.freeHolder();
    sw.takeCalls();
    TestSupport::TraceRecorder traces("UmoNatFlowMcastSm/9");
    sw.runFor(kDelay);
    EXPECT_THAT(sw.takeCalls(),
                ElementsAre("createNatFlowGroup(policy p, match m1, unicast false) -> 2",
                            "createNatFlowGroup(policy p, match m2, unicast false) -> 0"));
    EXPECT_THAT(traces.messages, Contains("UmoNatFlowMcastSm/9 Entries checked: 1, remaining: 2"));
    EXPECT_EQ(sw.root->unprogrammedGroupTask()->taskWorkCount(), 1U);
}

TEST(Retry, AHalfFailedPairIsNeitherFreedNorRecordedAndAskedForAnew) {
    NatSwitch sw({.groups = 1});
    sw.match("p", "m");
    sw.action("p", "m", "a");
    sw.start();
    EXPECT_EQ(sw.groups("p", "m"), "2:0/0*");
    EXPECT_THAT(sw.takeCalls(), Not(Contains(HasSubstr("delete"))));
    EXPECT_EQ(sw.chip->groupsInUse(), 1U);
    sw.chip->capacityIs({.groups = 3});
    sw.root->unprogrammedGroupTask()->scheduleTask();
    sw.runFor(0);
    EXPECT_EQ(sw.groups("p", "m"), "2:2/3");
    sw.groupsLeft = 1;
}

TEST(Retry, YieldsWhenItsTimeSliceIsOverAndGoesOnAtOnce) {
    FullSwitch sw(3);
    sw.chip->refuseGroups(3);
    for (char const *name : {"m1", "m2", "m3"}) {
        sw.oneGroup("p", name);
    }
    sw.freeHolder();
    sw.chip->callLogIs([&](std::string const &call) { // a slow chip
        sw.calls.push_back(call);
        sw.clock->advanceTo(sw.clock->now() + std::chrono::milliseconds(20));
    });
    sw.clock->advanceTo(std::chrono::seconds(10));
    TestSupport::TraceRecorder traces("UmoNatFlowMcastSm/9");
    auto const yielding = "UmoNatFlowMcastSm/9 Yielding. Scheduled unprogrammed group task";
    EXPECT_EQ(sw.scheduler->runDueTasks(), 1U);
    EXPECT_THAT(traces.messages,
                ElementsAre(yielding, "UmoNatFlowMcastSm/9 Entries checked: 1, remaining: 2"));
    EXPECT_EQ(sw.scheduler->runDueTasks(), 1U);
    EXPECT_EQ(sw.scheduler->runDueTasks(), 1U);
    EXPECT_EQ(sw.scheduler->runDueTasks(), 0U);
    EXPECT_EQ(sw.groups("p", "m3"), "1:4/4");
    sw.chip->callLogIs(nullptr);
}

TEST(Retry, DoesNothingOutsideARunAndLittleWithNobodyWaiting) {
    NatSwitch sw;
    sw.start();
    TestSupport::TraceRecorder traces("UmoNatFlowMcastSm/9");
    sw.root->handleUnprogrammedGroup();
    sw.root->unprogrammedGroupTask()->scheduleTask();
    sw.runFor(0);
    EXPECT_THAT(traces.messages,
                ElementsAre("UmoNatFlowMcastSm/9 Task not running",
                            "UmoNatFlowMcastSm/9 Entries checked: 0, remaining: 0"));
    EXPECT_EQ(sw.root->unprogrammedGroupTask()->taskWorkCount(), 0U);
}

TEST(Retry, PolicyCleanUpStopsItForTheMatchesOfAllPolicies) {
    FullSwitch sw;
    sw.oneGroup("other", "waits");
    sw.nat->natFlowIs("q");
    sw.freeHolder(); // schedules
    EXPECT_TRUE(sw.scheduler->nextDue());
    sw.nat->natFlowDel("q");
    EXPECT_FALSE(sw.scheduler->nextDue());
    EXPECT_EQ(sw.groups("other", "waits"), "1:0/0");
    sw.match("other", "waits"); // its number changes: only now it is tried again
    EXPECT_EQ(sw.groups("other", "waits"), "2:0/0*");
    sw.groupsLeft = 1;
}

TEST(RetrySet, ForgetsAMatchThatIsRemovedWhileItWaits) {
    FullSwitch sw;
    sw.oneGroup("p", "gone");
    sw.nat->natFlow("p")->matchDel("gone");
    EXPECT_TRUE(sw.root->unprogrammedGroup().empty());
    EXPECT_TRUE(sw.scheduler->nextDue()); // it still counted as waiting when it freed its groups
    sw.takeCalls();
    sw.runFor(kDelay);
    EXPECT_THAT(sw.takeCalls(), IsEmpty());
}

TEST(RetrySet, IsLeftByAMatchThatGetsItsGroupsByAnotherPath) {
    FullSwitch sw;
    sw.oneGroup("p", "m");
    sw.chip->capacityIs({.groups = 8});
    sw.match("p", "m"); // now it wants a pair
    EXPECT_EQ(sw.groups("p", "m"), "2:2/3");
    sw.freeHolder();
    sw.takeCalls();
    sw.runFor(kDelay);
    EXPECT_THAT(sw.takeCalls(), IsEmpty());
}

TEST(RetrySet, IsLeftByAMatchWhoseLastActionGoesSoThatThoseBehindAreServed) {
    FullSwitch sw;
    sw.oneGroup("p", "first");
    sw.oneGroup("p", "second");
    sw.removeAction("p", "first", "a");
    EXPECT_EQ(sw.groups("p", "first"), "0:0/0");
    sw.freeHolder();
    sw.runFor(kDelay);
    EXPECT_EQ(sw.groups("p", "second"), "1:2/2");
}

TEST(RetrySet, KeepsAMatchWhoseNumberChangesInTheRetryAndIsRefused) {
    FullSwitch sw;
    sw.match("p", "m");
    auto const action = sw.nat->natFlow("p")->match("m")->actionIs("a");
    action->dstIs(Nexo::IpAndPort::parse("239.9.9.9:1"));
    action->versionIs(1);
    EXPECT_EQ(sw.groups("p", "m"), "1:0/0*");
    action->dstIs({}); // not seen before the next pass: the version stays
    sw.freeHolder();
    sw.runFor(kDelay);
    EXPECT_EQ(sw.groups("p", "m"), "2:0/0*");
    sw.groupsLeft = 1; // half of the pair
}

TEST(GroupsAndRecords, PortSetsComputedWhileWaitingAreNotTakenIntoNewGroups) {
    FullSwitch sw;
    sw.vlan(10, {"Ethernet1"});
    sw.match("p", "m", "239.1.1.1:5000");
    auto const action =
        sw.action("p", "m", "a", "", "10.9.9.9:5000", {{"Vlan10", "00:00:00:00:00:01"}});
    ASSERT_TRUE(sw.hwAction("p", "m", "a")->vlanPortSets()->mcastPortSet(10));
    action->versionIs(0); // incomplete while the retry succeeds: it takes nothing out itself
    sw.freeHolder();
    sw.runFor(kDelay);
    EXPECT_EQ(sw.groups("p", "m"), "1:2/2");
    EXPECT_FALSE(sw.hwAction("p", "m", "a")->vlanPortSets());
    action->versionIs(9);
    EXPECT_EQ(sw.hwAction("p", "m", "a")->vlanPortSets()->mcastPortSet(10)->portSetId(), 1U);
    EXPECT_EQ(sw.chip->groups().at(2).portSets.size(), 1U);
}

TEST(GroupsAndRecords, FreedGroupsTakeTheRecordsOfIncompleteActionsAlong) {
    NatSwitch sw;
    sw.vlan(10, {"Ethernet1"});
    sw.match("p", "m", "239.1.1.1:5000");
    auto const action =
        sw.action("p", "m", "a", "", "10.9.9.9:5000", {{"Vlan10", "00:00:00:00:00:01"}});
    sw.start();
    ASSERT_FALSE(sw.hwAction("p", "m", "a")->srcNat().addr().isZero());
    action->versionIs(0);
    sw.takeCalls();
    sw.chip->refuseGroups(2);
    sw.match("p", "m"); // another number of groups, which there are not
    EXPECT_THAT(sw.takeCalls(), Not(Contains(HasSubstr("PortSet("))));
    EXPECT_FALSE(sw.hwAction("p", "m", "a")->vlanPortSets());
    EXPECT_TRUE(sw.hwAction("p", "m", "a")->srcNat().addr().isZero());
}
