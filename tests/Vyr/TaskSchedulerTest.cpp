#include "Vyr/Task.h"

#include <gtest/gtest.h>

#include <cmath>
#include <map>

using namespace Vyr;
using namespace std::chrono_literals;

namespace {

/// Timer tasks a, b, c...; whose run it is is written to `runs`.
struct TaskSchedulerTest : testing::Test {
    struct Job {
        Job(std::function<void()> itsWork, Mox::Ptr<TimerTask> const &itsTask)
            : work(std::move(itsWork)), task(itsTask) {}
        static void call(void *self, Pelo::Change const & /*change*/) {
            std::function<void()>(static_cast<Job *>(self)->work)(); // it may destroy the job
        }
        std::function<void()> work;
        Mox::Ptr<TimerTask> task;
        Pelo::Subscriber subscriber{&call, this};
    };
    TimerTask &add(char name, std::function<void()> const &work) {
        auto const task = Mox::make<TimerTask>(scheduler, 4U, "job");
        auto const noted = [this, name, work] {
            runs += name;
            work();
        };
        task->notifier().subscriberAdd(
            jobs.try_emplace(name, noted, task).first->second.subscriber);
        task->hasNotificationActiveIs(true);
        task->scheduleTaskDelay(2s);
        return *task;
    }
    Mox::Ptr<VirtualClock> clock = Mox::make<VirtualClock>();
    Mox::Ptr<TaskScheduler> scheduler = Mox::make<TaskScheduler>(clock);
    std::map<char, Job> jobs;
    std::string runs;
};

TEST_F(TaskSchedulerTest, RunKnowsItselfAndYieldsWhenItsTimeSliceIsUsedUp) {
    scheduler->timeSliceIs(Mox::Seconds(0.25));
    TimerTask &task = add('a', [this] {
        TimerTask const &running = *jobs.at('a').task;
        EXPECT_TRUE(running.taskCurrentlyRunning() && !running.taskScheduled());
        clock->advanceTo(2250ms - 1ns);
        EXPECT_FALSE(running.taskShouldYield());
        clock->advanceTo(2250ms);
        EXPECT_TRUE(running.taskShouldYield());
    });
    EXPECT_EQ(scheduler->runUntil(*clock, 2s), 1U);
    EXPECT_FALSE(task.taskCurrentlyRunning() || task.taskShouldYield() || task.taskScheduled());
    task.hasNotificationActiveIs(false);
    task.scheduleTask();
    scheduler->runDueTasks();
    EXPECT_TRUE(!task.taskScheduled());
}

TEST_F(TaskSchedulerTest, LateRunsGoByDueTimeThenTurnUnlessOneBeforeStopsOrDestroysThem) {
    for (char const name : {'a', 'c', 'd', 'e', 'f'}) {
        add(name, [] {});
    }
    add('b', [&] {
        jobs.at('a').task->scheduleTask(); // waits for the next call
        jobs.at('c').task->stopTimerTask();
        jobs.erase('d');
        jobs.erase('b');
    }).scheduleTaskDelay(1s);
    jobs.at('e').task->scheduleTaskDelay(2s); // its turn is the last now
    EXPECT_EQ(scheduler->nextDue(), Time(1s));
    clock->advanceTo(3s);
    EXPECT_EQ(scheduler->runDueTasks(), 3U);
    EXPECT_EQ(scheduler->runDueTasks(), 1U);
    EXPECT_EQ(runs, "bfea");
    EXPECT_EQ(scheduler->nextDue(), std::nullopt);
}

TEST_F(TaskSchedulerTest, RunsAllThatFallsDueOnTheWayEachAtItsTime) {
    for (char const name : {'a', 'b', 'c'}) {
        add(name, [this] {
            EXPECT_EQ(clock->now(), Time(1s) * runs.size());
        }).scheduleTaskDelay(1s * (name - 'a' + 1));
    }
    EXPECT_EQ(scheduler->runUntil(*clock, 2500ms), 2U);
    EXPECT_EQ(clock->now(), Time(2500ms));
    EXPECT_EQ(scheduler->runUntil(*clock, 3s), 1U);
    EXPECT_EQ(runs, "abc");
}

TEST(TaskSchedulerRoot, MakesOneOnTheSteadyClockUnlessOneIsThere) {
    TaskSchedulerRoot::schedulerIs(nullptr);
    auto const made = TaskSchedulerRoot::findOrCreateScheduler();
    EXPECT_EQ(TaskSchedulerRoot::findOrCreateScheduler(), made);
    Time const before = std::chrono::steady_clock::now().time_since_epoch(), now = made->now();
    EXPECT_TRUE(before <= now && now <= std::chrono::steady_clock::now().time_since_epoch());
    TaskSchedulerRoot::schedulerIs(nullptr);
}

TEST(TimeOf, RoundsAndBoundsWhatADoubleCanSay) {
    EXPECT_EQ(timeOf(Mox::Seconds(0.000065)), Time(65us)); // no double reaches it
    EXPECT_EQ(timeOf(Mox::Seconds(-HUGE_VAL)) + timeOf(Mox::Seconds(std::nan(""))), Time(0));
    EXPECT_EQ(timeOf(Mox::Seconds(1e12)), Time(24h * 365 * 100));
}

} // namespace
