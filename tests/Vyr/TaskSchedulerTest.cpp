#include "Vyr/Task.h"

#include <gtest/gtest.h>

#include <functional>
#include <map>
#include <memory>
#include <random>
#include <string>
#include <utility>
#include <vector>

namespace Vyr {
namespace {

using Mox::Seconds;
using namespace std::chrono_literals;

/// A timer task and the work of its runs.
struct Job {
    Job(Mox::Ptr<TaskScheduler> const &scheduler, std::string const &name,
        std::function<void(Job &)> work)
        : task(Mox::make<TimerTask>(scheduler, 4U, name)), run(std::move(work)) {
        task->notifier().subscriberAdd(subscriber);
        task->hasNotificationActiveIs(true);
    }
    static void call(void *self, Pelo::Change const &change) {
        EXPECT_TRUE(change.isOf(Task::runAttribute));
        auto const work = static_cast<Job *>(self)->run; // it may destroy the job
        work(*static_cast<Job *>(self));
    }
    Mox::Ptr<TimerTask> task;
    std::function<void(Job &)> run;
    Pelo::Subscriber subscriber{&call, this};
};

class TaskSchedulerTest : public testing::Test {
  protected:
    std::unique_ptr<Job> job(
        std::string const &name, std::function<void(Job &)> work = [](Job &) {}) {
        return std::make_unique<Job>(scheduler, name, [this, name, work](Job &self) {
            runs.push_back(name + "@" + std::to_string(clock->now() / 1ms));
            work(self);
        });
    }
    std::vector<std::string> runsSince() { return std::exchange(runs, {}); }
    using Runs = std::vector<std::string>;

    Mox::Ptr<VirtualClock> clock = Mox::make<VirtualClock>();
    Mox::Ptr<TaskScheduler> scheduler = Mox::make<TaskScheduler>(clock);
    Runs runs;
};

TEST_F(TaskSchedulerTest, RunsInOrderOfDueTimeThenOfScheduling) {
    auto const a = job("a"), b = job("b"), c = job("c"), d = job("d");
    EXPECT_EQ(scheduler->nextDue(), std::nullopt);
    a->task->scheduleTaskDelay(Seconds(2));
    b->task->scheduleTaskDelay(Seconds(1));
    c->task->scheduleTaskDelay(Seconds(2));
    d->task->scheduleTaskDelay(Seconds(-1));
    EXPECT_EQ(scheduler->nextDue(), Time(0));
    EXPECT_EQ(scheduler->runDueTasks(), 1U);
    EXPECT_EQ(scheduler->nextDue(), Time(1s));
    clock->advanceTo(5s); // late: what is due runs in the order in which it was due
    d->task->scheduleTask();
    EXPECT_EQ(scheduler->runDueTasks(), 4U);
    EXPECT_EQ(runsSince(), (Runs{"d@0", "b@5000", "a@5000", "c@5000", "d@5000"}));
}

TEST_F(TaskSchedulerTest, RunKnowsItselfRunningAndNoLongerScheduled) {
    auto const a = job("a", [](Job &self) {
        EXPECT_TRUE(self.task->taskCurrentlyRunning());
        EXPECT_FALSE(self.task->taskScheduled());
        self.task->taskWorkCountInc(3);
        self.task->scheduleTask();
        EXPECT_TRUE(self.task->taskScheduled());
    });
    a->task->scheduleTask();
    EXPECT_TRUE(a->task->taskScheduled());
    EXPECT_FALSE(a->task->taskCurrentlyRunning());
    EXPECT_EQ(scheduler->runDueTasks(), 1U); // the run that was asked for meanwhile waits
    EXPECT_FALSE(a->task->taskCurrentlyRunning());
    EXPECT_TRUE(a->task->taskScheduled());
    EXPECT_EQ(scheduler->runDueTasks(), 1U);
    EXPECT_EQ(a->task->taskWorkCount(), 6U);
    EXPECT_EQ(a->task->taskRunCount(), 2U);
}

TEST_F(TaskSchedulerTest, RunThatTookTimeLetsPassWhatItScheduledMeanwhile) {
    auto const late = job("late"), meanwhile = job("meanwhile");
    auto const slow = job("slow", [&](Job &) {
        meanwhile->task->scheduleTaskDelay(Seconds(1));
        clock->advanceTo(5s);
    });
    slow->task->scheduleTask();
    late->task->scheduleTaskDelay(Seconds(3));
    EXPECT_EQ(scheduler->runDueTasks(), 2U);
    EXPECT_EQ(scheduler->runDueTasks(), 1U);
    EXPECT_EQ(runsSince(), (Runs{"slow@0", "late@5000", "meanwhile@5000"}));
}

TEST_F(TaskSchedulerTest, ShouldYieldWhenTheTimeSliceIsUsedUp) {
    scheduler->timeSliceIs(Seconds(0.25));
    auto const a = job("a", [this](Job &self) {
        Time const start = clock->now();
        EXPECT_FALSE(self.task->taskShouldYield());
        clock->advanceTo(start + 250ms - 1ns);
        EXPECT_FALSE(self.task->taskShouldYield());
        clock->advanceTo(start + 250ms);
        EXPECT_TRUE(self.task->taskShouldYield());
    });
    for (int i = 0; i < 2; ++i) {
        a->task->scheduleTask();
        scheduler->runDueTasks();
        EXPECT_FALSE(a->task->taskShouldYield()) << "outside a run";
    }
    EXPECT_EQ(runs.size(), 2U);
}

TEST_F(TaskSchedulerTest, TaskMayGoWhilePendingAndInItsOwnRun) {
    auto pending = job("pending"), later = job("later");
    std::unique_ptr<Job> own = job("own", [&](Job &self) {
        self.task->scheduleTask();
        own.reset();
        later.reset();
    });
    pending->task->scheduleTask();
    own->task->scheduleTask();
    later->task->scheduleTask();
    pending.reset();
    EXPECT_EQ(scheduler->runDueTasks(), 1U);
    EXPECT_EQ(runsSince(), Runs{"own@0"});
    EXPECT_EQ(scheduler->nextDue(), std::nullopt);
    EXPECT_EQ(scheduler->references(), 1U);
}

TEST_F(TaskSchedulerTest, RunPassesUnpublishedWhileNotificationsAreOff) {
    auto const a = job("a");
    a->task->hasNotificationActiveIs(false);
    a->task->scheduleTask();
    scheduler->runDueTasks();
    EXPECT_FALSE(a->task->taskScheduled());
    a->task->hasNotificationActiveIs(true);
    scheduler->runDueTasks();
    EXPECT_EQ(runs, Runs{});
}

TEST_F(TaskSchedulerTest, FractionalDelaysAddUpExactly) {
    // 65 us is one of the delays that no double reaches: it must be rounded, not cut.
    for (auto const &[delay, total] :
         {std::pair{0.1, Time(1s)}, std::pair{0.000065, Time(650us)}}) {
        Time const start = clock->now();
        auto const a =
            job("a", [d = delay](Job &self) { self.task->scheduleTaskDelay(Seconds(d)); });
        a->task->scheduleTaskDelay(Seconds(delay));
        EXPECT_EQ(scheduler->runUntil(*clock, start + total), 10U);
        EXPECT_EQ(scheduler->nextDue(), start + total + total / 10);
    }
}

TEST_F(TaskSchedulerTest, FollowsItsModelWhileRunsScheduleStopAndDestroyEachOther) {
    std::mt19937 random(7);
    auto const below = [&random](std::size_t limit) {
        return static_cast<unsigned>(random() % limit);
    };
    std::vector<std::unique_ptr<Job>> jobs(6);
    std::map<std::pair<Time, unsigned>, std::size_t> model; // due, number -> job
    unsigned number = 0;
    unsigned modelRuns = 0;
    unsigned changesLeft = 20'000;
    auto const forget = [&](std::size_t i) {
        std::erase_if(model, [&](auto const &entry) { return entry.second == i; });
    };
    std::function<void(std::size_t)> renew;
    auto const change = [&] {
        std::size_t const i = below(jobs.size());
        unsigned const what = below(10);
        forget(i);
        if (what == 0) {
            jobs[i]->task->stopTimerTask();
        } else if (what == 1) {
            renew(i);
        } else {
            Time const delay = (below(4)) * 500ms;
            jobs[i]->task->scheduleTaskDelay(delay);
            model[{clock->now() + delay, ++number}] = i;
        }
    };
    renew = [&](std::size_t i) {
        jobs[i] = std::make_unique<Job>(scheduler, "job", [&, i](Job &) {
            ASSERT_FALSE(model.empty());
            ASSERT_EQ(model.begin()->second, i);
            ASSERT_EQ(model.begin()->first.first, clock->now());
            model.erase(model.begin());
            ++modelRuns;
            for (unsigned n = below(4); n > 0 && changesLeft > 0; --n, --changesLeft) {
                change();
            }
        });
    };
    for (std::size_t i = 0; i < jobs.size(); ++i) {
        renew(i);
    }
    std::size_t runsTold = 0;
    while (changesLeft > 0 && !HasFatalFailure()) {
        --changesLeft;
        change();
        Time const until = clock->now() + (below(5)) * 500ms;
        runsTold += scheduler->runUntil(*clock, until);
        ASSERT_TRUE(model.empty() || model.begin()->first.first > until);
        ASSERT_EQ(scheduler->nextDue().has_value(), !model.empty());
    }
    EXPECT_EQ(runsTold, modelRuns);
    EXPECT_GT(modelRuns, 5000U);
}

TEST(TaskSchedulerRoot, HoldsOneSchedulerUntilAnotherIsInstalled) {
    auto const first = TaskSchedulerRoot::findOrCreateScheduler();
    EXPECT_EQ(TaskSchedulerRoot::findOrCreateScheduler(), first);
    Time const before = first->now();
    EXPECT_GE(first->now(), before);
    auto const simulated = Mox::make<TaskScheduler>(Mox::make<VirtualClock>());
    TaskSchedulerRoot::schedulerIs(simulated);
    EXPECT_EQ(TaskSchedulerRoot::findOrCreateScheduler(), simulated);
    TaskSchedulerRoot::schedulerIs(nullptr);
    EXPECT_NE(TaskSchedulerRoot::findOrCreateScheduler(), simulated);
}

} // namespace
} // namespace Vyr
