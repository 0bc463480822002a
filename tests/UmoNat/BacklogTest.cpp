#include "Pelo/Publisher.h"
#include "tests/support/TopologySwitch.h"

#include <functional>

using testing::Contains;
using testing::EndsWith;

using namespace TestSupport;

namespace {

/// `count` watchers of VLAN 7.
struct CrowdedSwitch : TopologySwitch {
    explicit CrowdedSwitch(unsigned count = 250) {
        for (unsigned i = 0; i < count; ++i) {
            sm().addActionSmVlan(7, watcher("w" + std::to_string(i)));
        }
    }
};

} // namespace

TEST(Backlog, HandlesUpToItsLimitInARunAnIntervalApart) {
    CrowdedSwitch sw;
    sw.sm().notifyActionSmVlan(7);
    sw.sm().notifyActionSmVlan(7); // queued once
    std::pair<unsigned, unsigned> const runs[] = {{100, 150}, {100, 50}, {50, 0}};
    for (auto const &[reviewed, left] : runs) {
        TraceRecorder trace("UmoNatFlowMcastTopologySm/9,UmoNatFlowActionSm/2");
        sw.runFor(0.1);
        EXPECT_THAT(trace.messages,
                    Contains("UmoNatFlowMcastTopologySm/9 Entries reviewed: " +
                             std::to_string(reviewed) + ", left: " + std::to_string(left)));
        EXPECT_THAT(trace.messages, Contains(EndsWith("skipChecks: true")).Times(reviewed));
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
    TopologySwitch sw;
    sw.match("p", "m", "239.1.1.1:5000");
    for (char const *name : {"a", "b", "c", "d"}) {
        sw.action("p", "m", name);
    }
    auto const queue = [&](char const *name) {
        sw.sm().actionSmUpdateBacklogIs(&sw.actionSm("p", "m", name));
    };
    std::function<void()> onA = [&] {
        queue("a"); // itself: dequeued all the same
        queue("b"); // is still to come
        queue("c");
        sw.removeAction("p", "m", "d");
    };
    std::function<void()> onB = [&] { queue("a"); }; // was handled before
    // A pass records port sets anew.
    auto const call = [](void *work, Pelo::Change const &) {
        (*static_cast<std::function<void()> *>(work))();
    };
    Pelo::Subscriber passA{call, &onA}, passB{call, &onB};
    sw.hwAction("p", "m", "a")->notifier().subscriberAdd(passA);
    sw.hwAction("p", "m", "b")->notifier().subscriberAdd(passB);
    TopologyTrace trace(9);
    for (char const *name : {"a", "d", "b"}) {
        queue(name);
    }
    sw.sm().actionSmUpdateBacklogTask()->scheduleTask();
    sw.runFor(0);
    EXPECT_EQ(trace.take().back(), "Entries reviewed: 2, left: 2");
    EXPECT_EQ(sw.queued(), "c a");
}

TEST(Backlog, OnlyARunOfItsOwnTaskHandlesAnything) {
    TopologyTrace trace(9);
    CrowdedSwitch sw(1);
    auto const idle = ElementsAre("processActionSmUpdateBacklog", "Task not running");
    EXPECT_THAT(trace.take(), idle); // as start-up attaches the task
    sw.sm().notifyActionSmVlan(7);
    EXPECT_THAT(trace.take(), ElementsAre("Scheduled task"));
    auto const task = Mox::make<Vyr::TimerTask>(sw.scheduler, 4U, "another");
    task->hasNotificationActiveIs(true);
    sw.sm().actionSmUpdateBacklogTaskIs(task);
    sw.sm().actionSmUpdateBacklogTaskIs(task); // no news
    EXPECT_THAT(trace.take(), idle);
    sw.runFor(0.1); // of the old task
    EXPECT_EQ(sw.queued(), "w0");
    sw.sm().actionSmUpdateBacklogTaskDel();
    sw.sm().actionSmUpdateBacklogDelAll();
    sw.sm().notifyActionSmVlan(7); // queues, and has nothing to schedule
    EXPECT_EQ(sw.queued(), "w0");
    EXPECT_FALSE(sw.scheduler->nextDue());
    EXPECT_THAT(trace.take(), IsEmpty());
}

TEST(ActionIndex, AnEntryGoesWithItsLastActionAndNothingOutlivesAMachine) {
    TopologySwitch sw;
    auto &sm = sw.sm();
    auto *const a = sw.watcher("a"), *const b = sw.watcher("b");
    std::string const mac = kMac, names = ", policy: p, match: m, action: ";
    auto const addAll = [&] {
        sm.addActionSmIntf(et1, a);
        sm.addActionSmVlan(10, a);
        sm.addActionSmMac(macOf(mac), a);
        sm.addActionSmRecirc(a);
    };
    TopologyTrace trace(4);
    addAll();
    sm.addActionSmVlan(10, b);
    EXPECT_THAT(trace.take(), ElementsAre("addActionSmIntf" + names + "a, intf: Ethernet1",
                                          "addActionSmVlan" + names + "a, vlan: 10",
                                          "addActionSmMac" + names + "a, mac: " + mac,
                                          "addActionSmRecirc" + names + "a",
                                          "addActionSmVlan" + names + "b, vlan: 10"));
    sm.notifyActionSmRecirc();
    sm.delActionSm(a);
    EXPECT_EQ(sw.queued(), "a"); // withdrawn, and still to be evaluated; adding queued none
    sm.delActionSm(b);
    EXPECT_THAT(trace.take(),
                ElementsAre("delActionSm" + names + "a", "Removed actionIntf for intf Ethernet1",
                            "Removed actionMac for mac " + mac, "delActionSm" + names + "b",
                            "Removed actionVlan for vlan 10"));
    EXPECT_TRUE(sm.actionRecirc().empty());
    addAll(); // at version 0, and queued
    trace.take();
    sw.removeAction("p", "m", "a");
    EXPECT_TRUE(sm.actionIntf().empty() && sm.actionVlan().empty() && sm.actionMac().empty());
    EXPECT_TRUE(sm.actionRecirc().empty() && sm.actionSmUpdateBacklog().empty());
    EXPECT_THAT(trace.take(), IsEmpty()); // silently
    sw.runFor(0.1);
}
