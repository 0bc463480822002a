#include "agent/base/Timer.h"

#include "Vyr/TaskScheduler.h"

#include <algorithm>
#include <utility>

namespace UmoAgent {

Timer::Timer(std::function<void()> work)
    : work_(std::move(work)),
      task_(
          Mox::make<Vyr::TimerTask>(Vyr::TaskSchedulerRoot::findOrCreateScheduler(), 4U, "live")) {
    task_->notifier().subscriberAdd(subscriber_);
    task_->hasNotificationActiveIs(true);
}

void Timer::run(void *self, Pelo::Change const & /*change*/) {
    if (!ended_) {
        std::function<void()>(static_cast<Timer *>(self)->work_)(); // it may destroy the timer
    }
}

void Retries::later() {
    timer_.runIn(pause_);
    pause_ = std::min(2 * pause_, longest_);
}

} // namespace UmoAgent
