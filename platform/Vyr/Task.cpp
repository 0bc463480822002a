#include "Vyr/Task.h"

#include <utility>

namespace Vyr {

Task::Task(Mox::Ptr<TaskScheduler> scheduler, unsigned priority, Pelo::String name)
    : scheduler_(std::move(scheduler)), priority_(priority), name_(std::move(name)) {}

Task::~Task() {
    unschedule();
}

void Task::scheduleTask() {
    scheduleIn(Mox::Seconds::zero());
}

bool Task::taskShouldYield() const {
    return runningSince_ && scheduler_->now() - *runningSince_ >= timeOf(scheduler_->timeSlice());
}

void Task::scheduleIn(Mox::Seconds delay) {
    unschedule();
    pending_ = scheduler_->enqueue(*this, delay);
}

void Task::unschedule() noexcept {
    if (pending_) {
        scheduler_->dequeue(*pending_);
        pending_.reset();
    }
}

void Task::run() {
    unschedule();
    if (!hasNotificationActive()) {
        return;
    }
    runningSince_ = scheduler_->now();
    publishChange(runAttribute);
    ++runCount_;
    runTime_ += scheduler_->now() - *runningSince_;
    runningSince_.reset();
}

TimerTask::TimerTask(Mox::Ptr<TaskScheduler> scheduler, unsigned priority, Pelo::String name)
    : Task(std::move(scheduler), priority, std::move(name)) {}

} // namespace Vyr
