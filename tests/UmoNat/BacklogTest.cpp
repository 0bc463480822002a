#include "tests/support/NatSwitch.h"

using testing::Contains;
using testing::EndsWith;

using namespace TestSupport;

TEST(Backlog, HandlesUpToItsLimitInARunAnIntervalApart) {
    RunningSwitch sw;
    for (int i = 0; i < 250; ++i) {
        sw.sm().addActionSmVlan(7, sw.watcher("w" + std::to_string(i)));
    }
    sw.sm().notifyActionSmVlan(7);
    sw.sm().notifyActionSmVlan(7); // queued once
    std::pair<unsigned, unsigned> const runs[] = {{100, 150}, {100, 50}, {50, 0}};
    for (auto const &[reviewed, left] : runs) {
        TraceRecorder trace("UmoNatFlowMcastTopologySm/9,UmoNatFlowActionSm/2");
        sw.runFor(0.1);
        EXPECT_THAT(trace.messages, Contains(EndsWith("skipChecks: true")).Times(reviewed));
        EXPECT_THAT(trace.messages.back(),
                    EndsWith("Entries reviewed: " + std::to_string(reviewed) +
                             ", left: " + std::to_string(left)));
    }
    EXPECT_EQ(sw.sm().actionSmUpdateBacklogTask()->taskWorkCount(), 250U);
    // With limit 0 a run drains all; a pending run is not put off.
    sw.sm().actionSmUpdateBacklogTaskLimitIs(0);
    sw.sm().actionSmUpdateBacklogTaskIntervalIs(Mox::Seconds(2));
    for (int i = 0; i < 2; ++i) {
        sw.sm().notifyActionSmVlan(7);
        EXPECT_DOUBLE_EQ(Mox::Seconds(*sw.scheduler->nextDue()).count(), 2.3);
        sw.runFor(1);
    }
    EXPECT_EQ(sw.queued(), "");
    EXPECT_FALSE(sw.scheduler->nextDue());
}

TEST(Backlog, WhatHandlersAddWaitsAndNothingTakesTheTurnOfAnActionThatGoes) {
    RunningSwitch sw;
    sw.match("m", kMulticast);
    for (char const *name : {"a", "b", "c", "d"}) {
        sw.action("m", name);
    }
    auto const queue = [&](char const *name) {
        sw.sm().actionSmUpdateBacklogIs(&sw.actionSm("m", name));
    };
    auto const hwMatch = sw.hw->natFlow("p")->match("m");
    OnChange const passA(*hwMatch->action("a"), [&] { // a pass records port sets anew
        queue("a");                                   // itself: dequeued all the same
        queue("b");                                   // is still to come
        queue("c");
        sw.removeAction("m", "d");
    });
    OnChange const passB(*hwMatch->action("b"), [&] { queue("a"); }); // was handled before
    for (char const *name : {"a", "d", "b"}) {
        queue(name);
    }
    TraceRecorder trace("UmoNatFlowMcastTopologySm/9");
    sw.sm().actionSmUpdateBacklogTask()->scheduleTask();
    sw.runFor(0);
    EXPECT_EQ(storyOf(trace.messages),
              "processActionSmUpdateBacklog|Entries reviewed: 2, left: 2|");
    EXPECT_EQ(sw.queued(), "c a ");
    sw.runFor(0.1); // takes those that joined
    EXPECT_EQ(storyOf(trace.messages),
              "processActionSmUpdateBacklog|Entries reviewed: 2, left: 2|");
    EXPECT_EQ(sw.queued(), "b c ");
}

TEST(Backlog, AnActionMayGoAtTheEndOfItsOwnEvaluation) {
    RunningSwitch sw;
    sw.match("m", kMulticast);
    auto &a = sw.action("m", "a");
    sw.action("m", "b");
    auto const destination = Nexo::IpAndPort::parse("239.9.9.9:1");
    auto const hwA = sw.hw->natFlow("p")->match("m")->action("a");
    OnChange const last(*hwA, [&] { // which the evaluation records last
        hwA->dstNat() == destination ? sw.removeAction("m", "a") : void();
    });
    a.dstIs(destination);
    for (char const *name : {"a", "b"}) {
        sw.sm().actionSmUpdateBacklogIs(&sw.actionSm("m", name));
    }
    sw.sm().actionSmUpdateBacklogTask()->scheduleTask();
    sw.runFor(0);
    EXPECT_EQ(sw.matchSm("m").actionSm().size(), 1U);
    EXPECT_EQ(sw.queued(), "");
}

TEST(Backlog, OnlyARunOfItsOwnTaskHandlesAnything) {
    TraceRecorder trace("UmoNatFlowMcastTopologySm/9");
    RunningSwitch sw;
    sw.sm().addActionSmVlan(7, sw.watcher("w"));
    sw.sm().notifyActionSmVlan(7);
    auto const task = Mox::make<Vyr::TimerTask>(sw.scheduler, 4U, "another");
    task->hasNotificationActiveIs(true);
    sw.sm().actionSmUpdateBacklogTaskIs(task);
    sw.sm().actionSmUpdateBacklogTaskIs(task); // no news
    sw.runFor(0.1);                            // of the old task
    EXPECT_EQ(storyOf(trace.messages),
              "processActionSmUpdateBacklog|Task not running|Scheduled task|"
              "processActionSmUpdateBacklog|Task not running|");
    EXPECT_EQ(sw.queued(), "w ");
    sw.sm().actionSmUpdateBacklogTaskDel();
    sw.sm().actionSmUpdateBacklogDelAll();
    EXPECT_EQ(sw.queued(), "");
    sw.sm().notifyActionSmVlan(7); // queues, and has nothing to schedule
    EXPECT_EQ(sw.queued(), "w ");
    EXPECT_FALSE(sw.scheduler->nextDue());
}

TEST(ActionIndex, EntriesOutsideItAreLeftAloneByWithdrawalsAndByThemAlone) {
    RunningSwitch sw;
    auto *const a = sw.watcher("a");
    auto const outside = umoNatflowActionSmVlanFactory(1);
    auto const outsideToo = umoNatflowActionSmMacFactory(macOf(kMac));
    outside->actionSmIs(a);
    sw.sm().addActionSmVlan(1, a); // another entry under the key
    sw.sm().delActionSm(a);
    EXPECT_EQ(outside->actionSm().size(), 1U);
    sw.sm().actionVlanIs(1, outside); // filled first, then joined
    sw.sm().delActionSm(a);
    EXPECT_FALSE(sw.sm().actionVlan(1));
    outside->actionSmIs(a);
    outsideToo->actionSmIs(a);
    sw.removeAction("w", "a");
    EXPECT_TRUE(outside->actionSm().empty() && outsideToo->actionSm().empty());
    int heard = 0;
    OnChange const changes(*outside, [&] { ++heard; });
    for (char const *const name : {"b", "c", "c"}) {
        outside->actionSmIs(sw.watcher(name));
    }
    EXPECT_EQ(heard, 2);
    outside->actionSmDelAll();
    EXPECT_EQ(heard, 4);
    sw.sm().actionVlanIs(1, outside);
    sw.sm().delActionSm(sw.watcher("c")); // has forgotten it
    EXPECT_TRUE(sw.sm().actionVlan(1));
}

TEST(ActionIndex, AWithdrawalCopesWithWhatItsSubscribersChangeMeanwhile) {
    RunningSwitch sw;
    auto *const a = sw.watcher("a");
    auto *const b = sw.watcher("b");
    auto &sm = sw.sm();
    struct {
        std::function<void()> change; // as VLAN 10 loses its action
        std::string left;             // the VLANs in the index afterwards
    } const cases[] = {{[&] { sm.actionVlanDel(10); }, "30 "},
                       {[&] { sm.actionVlanDel(20); }, "30 "},
                       {[&] { sm.addActionSmVlan(10, b); }, "10 30 "},
                       {[&] { sm.delActionSm(b); }, ""}};
    for (auto const &[change, left] : cases) {
        sm.addActionSmVlan(10, a);
        sm.addActionSmVlan(20, a);
        sm.addActionSmVlan(30, b);
        std::function<void()> once = change;
        OnChange const heard(*sm.actionVlan(10), [&] {
            if (auto const act = std::exchange(once, nullptr)) {
                act();
            }
        });
        sm.delActionSm(a);
        std::string found;
        for (auto const &[vlan, entry] : sm.actionVlan()) {
            found += std::to_string(vlan) + " ";
        }
        EXPECT_EQ(found, left);
        sm.delActionSm(b);
        EXPECT_TRUE(sm.actionVlan().empty());
    }
}

TEST(ActionIndex, IsReachedThroughTheMachineByKeyAndAsAWhole) {
    RunningSwitch sw;
    auto &sm = sw.sm();
    auto const mac = macOf(kMac);
    auto *const a = sw.watcher("a");
    for (int i = 0; i < 2; ++i) {
        auto const intf = umoNatflowActionSmIntfFactory(et1);
        auto const ofMac = umoNatflowActionSmMacFactory(mac);
        sm.actionIntfIs(et1, intf), sm.actionMacIs(mac, ofMac);
        sm.actionVlanIs(10), sm.actionRecircIs(a);
        EXPECT_TRUE(sm.actionIntf(et1) == intf && sm.actionIntfIs(et1) == intf);
        EXPECT_TRUE(sm.actionMac(mac) == ofMac && sm.actionMacIs(mac) == ofMac);
        EXPECT_TRUE(sm.actionVlan(10) == sm.actionVlanIs(10) && sm.actionRecirc().contains(a));
        if (i == 0) {
            sm.actionIntfDel(et1), sm.actionMacDel(mac), sm.actionVlanDel(10),
                sm.actionRecircDel(a);
        } else {
            sm.actionIntfDelAll(), sm.actionMacDelAll(), sm.actionVlanDelAll();
            sm.actionRecircDelAll();
        }
        EXPECT_FALSE(sm.actionIntf(et1) || sm.actionMac(mac) || sm.actionVlan(10));
        EXPECT_TRUE(sm.actionRecirc().empty());
    }
}
