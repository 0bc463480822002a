#include "Pelo/Publisher.h"
#include "tests/support/TopologySwitch.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <functional>

using testing::Contains;
using testing::ElementsAre;
using testing::EndsWith;
using testing::IsEmpty;
using testing::SizeIs;

namespace {

using TestSupport::intfOf;
using TestSupport::macOf;
using TestSupport::TopologySwitch;
using TestSupport::TopologyTrace;
using TestSupport::TraceRecorder;

constexpr char kMac[] = "00:00:00:00:00:01";

/// `count` watchers of VLAN 7.
struct CrowdedSwitch : TopologySwitch {
    explicit CrowdedSwitch(unsigned count = 250) {
        for (unsigned i = 0; i < count; ++i) {
            sm().addActionSmVlan(7, watcher("w" + std::to_string(i)));
        }
    }
    [[nodiscard]] double due() const {
        auto const time = scheduler->nextDue();
        return time ? Mox::Seconds(*time).count() : -1;
    }
};

/// Calls back whenever the action has run a pass: a complete action records new port sets.
struct OnPass {
    OnPass(TopologySwitch &sw, std::string const &name, std::function<void()> work)
        : work_(std::move(work)) {
        sw.hwAction("p", "m", name)->notifier().subscriberAdd(subscriber_);
    }
    static void call(void *self, Pelo::Change const &change) {
        if (change.isOf(Ip::Nat::HwNatFlowActionStatus::vlanPortSetsAttribute)) {
            static_cast<OnPass *>(self)->work_();
        }
    }
    std::function<void()> work_;
    Pelo::Subscriber subscriber_{&call, this};
};

/// Actions a, b and c, complete and recirculated; nothing is queued.
struct PassingSwitch : TopologySwitch {
    PassingSwitch() {
        match("p", "m", "239.1.1.1:5000");
        for (char const *name : {"a", "b", "c"}) {
            action("p", "m", name);
        }
    }
    void queue(char const *name) { sm().actionSmUpdateBacklogIs(&actionSm("p", "m", name)); }
    /// One run, of what it says.
    std::vector<std::string> runNow() {
        TopologyTrace trace(9);
        sm().actionSmUpdateBacklogTask()->scheduleTask();
        runFor(0);
        auto lines = trace.take();
        std::erase_if(lines, [](auto const &line) { return !line.starts_with("Entries"); });
        return lines;
    }
};

} // namespace

TEST(Backlog, HandlesAHundredInARunATenthOfASecondApart) {
    CrowdedSwitch sw;
    sw.sm().notifyActionSmVlan(7);
    sw.sm().notifyActionSmVlan(7); // queued once
    EXPECT_THAT(sw.sm().actionSmUpdateBacklog(), SizeIs(250));
    struct {
        unsigned reviewed, left;
        double due;
    } const runs[] = {{100, 150, 0.2}, {100, 50, 0.3}, {50, 0, -1}};
    for (auto const &[reviewed, left, due] : runs) {
        TraceRecorder trace("UmoNatFlowMcastTopologySm/9,UmoNatFlowActionSm/2");
        sw.runFor(0.1);
        std::ostringstream summary;
        summary << "/9 Entries reviewed: " << reviewed << ", left: " << left;
        EXPECT_THAT(trace.messages, Contains(EndsWith(summary.str())));
        EXPECT_THAT(trace.messages, Contains(EndsWith("skipChecks: true")).Times(reviewed));
        EXPECT_DOUBLE_EQ(sw.due(), due);
    }
    EXPECT_EQ(sw.sm().actionSmUpdateBacklogTask()->taskWorkCount(), 250U);
}

TEST(Backlog, APendingRunIsNeverPostponedAndWithLimitZeroDrainsAll) {
    CrowdedSwitch sw;
    TopologyTrace trace(9);
    sw.sm().actionSmUpdateBacklogTaskLimitIs(0);
    sw.sm().actionSmUpdateBacklogTaskIntervalIs(Mox::Seconds(2));
    sw.sm().notifyActionSmVlan(7);
    sw.runFor(1);
    sw.sm().notifyActionSmVlan(7);
    EXPECT_THAT(trace.take(), ElementsAre("Scheduled task"));
    EXPECT_DOUBLE_EQ(sw.due(), 2);
    sw.runFor(1);
    EXPECT_EQ(sw.queued(), "");
    EXPECT_DOUBLE_EQ(sw.due(), -1);
}

TEST(Backlog, WhatHandlersAddWaitsForTheNextRun) {
    PassingSwitch sw;
    sw.queue("a");
    sw.queue("b");
    OnPass const onA(sw, "a", [&] {
        sw.queue("a"); // itself: dequeued all the same
        sw.queue("b"); // is still to come
        sw.queue("c");
    });
    OnPass const onB(sw, "b", [&] { sw.queue("a"); }); // was handled before
    EXPECT_THAT(sw.runNow(), ElementsAre("Entries reviewed: 2, left: 2"));
    EXPECT_EQ(sw.queued(), "c a");
    EXPECT_DOUBLE_EQ(Mox::Seconds(*sw.scheduler->nextDue()).count(), 0.1);
}

TEST(Backlog, AnActionThatGoesDuringARunIsLeftOutAndNoOtherTakesItsTurn) {
    PassingSwitch sw;
    sw.queue("a");
    sw.queue("b");
    OnPass const onA(sw, "a", [&] {
        sw.queue("c");
        sw.removeAction("p", "m", "b");
    });
    EXPECT_THAT(sw.runNow(), ElementsAre("Entries reviewed: 1, left: 1"));
    EXPECT_EQ(sw.queued(), "c");
    EXPECT_THAT(sw.runNow(), ElementsAre("Entries reviewed: 1, left: 0"));
}

TEST(Backlog, OutsideARunOfItsOwnTaskNothingIsHandled) {
    CrowdedSwitch sw(1);
    sw.sm().notifyActionSmVlan(7);
    TopologyTrace trace(9);
    sw.sm().processActionSmUpdateBacklog();
    EXPECT_THAT(trace.take(), ElementsAre("processActionSmUpdateBacklog", "Task not running"));
    auto const old = sw.sm().actionSmUpdateBacklogTask();
    auto const task = Mox::make<Vyr::TimerTask>(sw.scheduler, 4U, "another");
    task->hasNotificationActiveIs(true);
    sw.sm().actionSmUpdateBacklogTaskIs(task);
    EXPECT_THAT(trace.take(), ElementsAre("processActionSmUpdateBacklog", "Task not running"));
    sw.sm().actionSmUpdateBacklogTaskIs(task);
    sw.runFor(0.1); // of the old task
    EXPECT_EQ(old->taskRunCount(), 1U);
    EXPECT_THAT(trace.take(), IsEmpty());
    EXPECT_EQ(sw.queued(), "w0");
    sw.sm().actionSmUpdateBacklogTaskDel();
    sw.sm().actionSmUpdateBacklogDelAll();
    sw.sm().notifyActionSmVlan(7); // queues, and has nothing to schedule
    EXPECT_EQ(sw.queued(), "w0");
    EXPECT_THAT(trace.take(), IsEmpty());
    EXPECT_FALSE(sw.scheduler->nextDue());
}

TEST(ActionIndex, AnEntryGoesWithItsLastAction) {
    TopologySwitch sw;
    auto *const a = sw.watcher("a"), *const b = sw.watcher("b");
    TopologyTrace trace(4);
    sw.sm().addActionSmIntf(intfOf("Ethernet1"), a);
    sw.sm().addActionSmVlan(10, a);
    sw.sm().addActionSmVlan(10, a); // again
    sw.sm().addActionSmVlan(10, b);
    sw.sm().addActionSmMac(macOf(kMac), a);
    sw.sm().addActionSmRecirc(a);
    std::string const names = ", policy: p, match: m, action: ";
    EXPECT_THAT(trace.take(), ElementsAre("addActionSmIntf" + names + "a, intf: Ethernet1",
                                          "addActionSmVlan" + names + "a, vlan: 10",
                                          "addActionSmVlan" + names + "a, vlan: 10",
                                          "addActionSmVlan" + names + "b, vlan: 10",
                                          "addActionSmMac" + names + "a, mac: " + kMac,
                                          "addActionSmRecirc" + names + "a"));
    EXPECT_THAT(sw.sm().actionVlan(10)->actionSm(), SizeIs(2));
    EXPECT_EQ(sw.queued(), "");
    sw.sm().notifyActionSmRecirc();
    sw.sm().delActionSm(a);
    EXPECT_THAT(trace.take(),
                ElementsAre("delActionSm" + names + "a", "Removed actionIntf for intf Ethernet1",
                            std::string("Removed actionMac for mac ") + kMac));
    EXPECT_TRUE(sw.sm().actionRecirc().empty());
    EXPECT_EQ(sw.queued(), "a"); // withdrawn, and still to be evaluated
    sw.sm().delActionSm(a);
    EXPECT_THAT(trace.take(), ElementsAre("delActionSm" + names + "a"));
    sw.sm().delActionSm(b);
    EXPECT_THAT(trace.take(),
                ElementsAre("delActionSm" + names + "b", "Removed actionVlan for vlan 10"));
}

TEST(ActionIndex, NothingOutlivesAnActionQueuedOrIndexedAtVersionZero) {
    TopologySwitch sw;
    auto *const a = sw.watcher("a");
    sw.sm().addActionSmIntf(intfOf("Ethernet1"), a);
    sw.sm().addActionSmVlan(10, a);
    sw.sm().addActionSmMac(macOf(kMac), a);
    sw.sm().addActionSmRecirc(a);
    sw.sm().notifyActionSmVlan(10);
    TopologyTrace trace(4);
    sw.removeAction("p", "m", "a");
    EXPECT_THAT(trace.take(), IsEmpty()); // silently
    EXPECT_TRUE(sw.sm().actionIntf().empty() && sw.sm().actionVlan().empty());
    EXPECT_TRUE(sw.sm().actionMac().empty() && sw.sm().actionRecirc().empty());
    EXPECT_EQ(sw.queued(), "");
    sw.runFor(0.1);
}
