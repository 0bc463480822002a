#include "Vyr/TaskScheduler.h"

#include "Vyr/Task.h"

#include <utility>

namespace Vyr {

TaskScheduler::TaskScheduler(Mox::Ptr<Clock const> clock) : clock_(std::move(clock)) {}

std::optional<Time> TaskScheduler::nextDue() const {
    if (pending_.empty()) {
        return std::nullopt;
    }
    return pending_.begin()->first.due;
}

std::size_t TaskScheduler::runDueTasks() {
    std::uint64_t const scheduledBefore = nextNumber_;
    std::size_t runs = 0;
    while (runFirst(scheduledBefore)) {
        ++runs;
    }
    return runs;
}

std::size_t TaskScheduler::runUntil(VirtualClock &clock, Time time) {
    std::size_t runs = 0;
    for (auto due = nextDue(); due && *due <= time; due = nextDue()) {
        clock.advanceTo(*due);
        runs += runDueTasks();
    }
    clock.advanceTo(time);
    return runs;
}

TaskScheduler::Turn TaskScheduler::enqueue(Task &task, Mox::Seconds delay) {
    Turn const turn{now() + timeOf(delay), nextNumber_++};
    pending_.emplace(turn, &task);
    return turn;
}

bool TaskScheduler::runFirst(std::uint64_t scheduledBefore) {
    Time const current = now();
    for (auto const &[turn, task] : pending_) {
        if (turn.due > current) {
            return false;
        }
        if (turn.number < scheduledBefore) {
            Mox::Ptr<Task> const running(task); // its own run may drop the last reference
            running->run();
            return true;
        }
    }
    return false;
}

namespace {
Mox::Ptr<TaskScheduler> &processScheduler() {
    static Mox::Ptr<TaskScheduler> scheduler;
    return scheduler;
}
} // namespace

Mox::Ptr<TaskScheduler> TaskSchedulerRoot::findOrCreateScheduler() {
    Mox::Ptr<TaskScheduler> &scheduler = processScheduler();
    if (!scheduler) {
        scheduler = Mox::make<TaskScheduler>(Mox::make<SteadyClock>());
    }
    return scheduler;
}

void TaskSchedulerRoot::schedulerIs(Mox::Ptr<TaskScheduler> const &scheduler) {
    processScheduler() = scheduler;
}

} // namespace Vyr
