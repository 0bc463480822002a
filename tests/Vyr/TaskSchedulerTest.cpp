#include "Vyr/Task.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <random>
#include <vector>

using namespace Vyr;

namespace {

using Mox::Seconds;
using namespace std::chrono_literals;

/// A timer task and the work of its runs.
struct Job {
    using Work = std::function<void(TimerTask &)>;
    Job(Mox::Ptr<TaskScheduler> const &scheduler, Work run)
        : task(Mox::make<TimerTask>(scheduler, 4U, "job")), work(std::move(run)) {
        task->notifier().subscriberAdd(subscriber);
        task->hasNotificationActiveIs(true);
    }
    static void call(void *self, Pelo::Change const &) {
        Job const &job = *static_cast<Job *>(self);
        Work(job.work)(*job.task); // it may destroy the job
    }
    Mox::Ptr<TimerTask> task;
    Work work;
    Pelo::Subscriber subscriber{&call, this};
};

class TaskSchedulerTest : public testing::Test {
  protected:
    Mox::Ptr<VirtualClock> clock = Mox::make<VirtualClock>();
    Mox::Ptr<TaskScheduler> scheduler = Mox::make<TaskScheduler>(clock);
};

TEST_F(TaskSchedulerTest, RunKnowsItselfAndYieldsWhenItsTimeSliceIsUsedUp) {
    scheduler->timeSliceIs(Seconds(0.25));
    Job const job(scheduler, [&](TimerTask &task) {
        EXPECT_TRUE(task.taskCurrentlyRunning() && !task.taskScheduled());
        task.scheduleTask();
        Time const start = clock->now();
        clock->advanceTo(start + 250ms - 1ns);
        EXPECT_FALSE(task.taskShouldYield());
        clock->advanceTo(start + 250ms);
        EXPECT_TRUE(task.taskShouldYield());
    });
    job.task->scheduleTask();
    for (unsigned run = 1; run <= 2; ++run) {
        EXPECT_EQ(scheduler->runDueTasks(), 1U);
        EXPECT_FALSE(job.task->taskCurrentlyRunning() || job.task->taskShouldYield());
        EXPECT_TRUE(job.task->taskScheduled() && job.task->taskRunCount() == run);
    }
    job.task->hasNotificationActiveIs(false);
    scheduler->runDueTasks();
    EXPECT_TRUE(!job.task->taskScheduled() && job.task->taskRunCount() == 2);
}

TEST_F(TaskSchedulerTest, FractionalDelaysAddUpExactly) {
    Job const job(scheduler, [](TimerTask &task) { task.scheduleTaskDelay(Seconds(0.1)); });
    job.task->scheduleTaskDelay(Seconds(0.1));
    EXPECT_EQ(scheduler->runUntil(*clock, 1s), 10U);
    EXPECT_EQ(scheduler->nextDue(), Time(1100ms));
    EXPECT_EQ(timeOf(Seconds(0.000065)), Time(65us)); // no double reaches it: round, don't cut
    EXPECT_EQ(timeOf(Seconds(-HUGE_VAL)) + timeOf(Seconds(std::nan(""))), Time(0));
    EXPECT_EQ(timeOf(Seconds(1e12)), Time(24h * 365 * 100));
}

TEST_F(TaskSchedulerTest, FollowsItsModelWhileLateRunsScheduleStopAndDestroyEachOther) {
    std::mt19937 random(7);
    auto const below = [&](unsigned limit) { return static_cast<unsigned>(random() % limit); };
    std::vector<std::unique_ptr<Job>> jobs(6);
    std::map<std::pair<Time, unsigned>, std::size_t> model; // due, number -> job
    unsigned number = 0, before = 0, modelRuns = 0, changesLeft = 20'000;
    auto const next = [&] { // what a run schedules waits for the next call
        return std::find_if(model.begin(), model.end(), [&](auto const &entry) {
            return entry.first.first <= clock->now() && entry.first.second <= before;
        });
    };
    std::function<void()> change;
    auto const run = [&](std::size_t i) {
        ASSERT_TRUE(next() != model.end() && next()->second == i);
        model.erase(next());
        ++modelRuns;
        for (unsigned n = below(4); n > 0 && changesLeft > 0; --n, --changesLeft) {
            change();
        }
        clock->advanceTo(clock->now() + below(2) * 250ms);
    };
    change = [&] {
        std::size_t const i = below(6);
        unsigned const what = below(10);
        std::erase_if(model, [i](auto const &entry) { return entry.second == i; });
        if (what == 0 && jobs[i]) {
            jobs[i]->task->stopTimerTask();
        } else if (what <= 1 || !jobs[i]) {
            jobs[i] = std::make_unique<Job>(scheduler, [run, i](TimerTask &) { run(i); });
        } else {
            Time const delay = below(4) * 500ms;
            jobs[i]->task->scheduleTaskDelay(delay);
            model[{clock->now() + delay, ++number}] = i;
        }
    };
    for (std::size_t runs = 0; changesLeft > 0 && !HasFatalFailure();) {
        --changesLeft;
        change();
        clock->advanceTo(clock->now() + below(5) * 250ms);
        before = number;
        runs += scheduler->runDueTasks();
        ASSERT_EQ(runs, modelRuns);
        ASSERT_EQ(next(), model.end());
        ASSERT_EQ(scheduler->nextDue().value_or(-1s),
                  model.empty() ? -1s : model.begin()->first.first);
    }
    EXPECT_GT(modelRuns, 5000U);
    jobs.clear();
    EXPECT_EQ(scheduler->nextDue(), std::nullopt);
}

} // namespace
