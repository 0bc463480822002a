#include "agent/base/EventLoop.h"

#include "Base/Assert.h"
#include "agent/base/Timer.h"

#include <poll.h>

#include <algorithm>
#include <cerrno>
#include <utility>
#include <vector>

namespace UmoAgent {

/// Virtual time up to a moment, wall-clock time after it.
class EventLoop::Clock final : public Vyr::Clock {
  public:
    [[nodiscard]] Vyr::Time now() const override {
        return virtual_->now() + (wallSince_ ? steady_->now() - *wallSince_ : Vyr::Time{});
    }

    void wallTime() { wallSince_ = wallSince_.value_or(steady_->now()); }
    void virtualTime() {
        virtual_->advanceTo(now());
        wallSince_.reset();
    }
    [[nodiscard]] bool onWallTime() const { return wallSince_.has_value(); }
    [[nodiscard]] Vyr::VirtualClock &virtualClock() { return *virtual_; }

  private:
    Mox::Ptr<Vyr::VirtualClock> virtual_ = Mox::make<Vyr::VirtualClock>();
    Mox::Ptr<Vyr::SteadyClock> steady_ = Mox::make<Vyr::SteadyClock>();
    std::optional<Vyr::Time> wallSince_;
};

EventLoop::EventLoop()
    : clock_(Mox::make<Clock>()), scheduler_(Mox::make<Vyr::TaskScheduler>(clock_)) {
    Vyr::TaskSchedulerRoot::schedulerIs(scheduler_);
}

EventLoop::~EventLoop() {
    Vyr::TaskSchedulerRoot::schedulerIs(nullptr);
}

void EventLoop::wallTime() {
    clock_->wallTime();
}

bool EventLoop::onWallTime() const {
    return clock_->onWallTime();
}

void EventLoop::runUntil(Vyr::Time time) {
    if (!clock_->onWallTime()) {
        scheduler_->runUntil(clock_->virtualClock(), time);
        serve(now());
        return;
    }
    while (!stopped_) {
        Vyr::Time const entered = now();
        auto const due = runDueTasks();
        Vyr::Time const next = due ? std::min(*due, time) : time;
        serve(next);
        if (entered >= time && next >= time) {
            return;
        }
    }
}

void EventLoop::run() {
    wallTime();
    while (!stopped_) {
        serve(runDueTasks());
    }
}

void EventLoop::rehearse() {
    clock_->virtualTime();
    watches_.clear();
    Timer::endAll();
    while (auto const due = scheduler_->nextDue()) {
        scheduler_->runUntil(clock_->virtualClock(), *due);
    }
}

/// Returns when the next one is due. If that is not now, the idle work has been done.
std::optional<Vyr::Time> EventLoop::runDueTasks() {
    scheduler_->runDueTasks();
    auto const due = scheduler_->nextDue();
    if (!idleWork_ || (due && *due <= now())) {
        return due;
    }
    idleWork_();
    return scheduler_->nextDue();
}

void EventLoop::watch(int descriptor, short events, Handler handler, Patience patience) {
    watches_[descriptor] = {events, std::make_shared<Handler const>(std::move(handler)),
                            patience ? Wall::now() + *patience : Wall::time_point::max()};
}

/// Sleeps until a descriptor is ready, a watch's patience ends or the time is reached, then calls
/// the handlers concerned.
void EventLoop::serve(std::optional<Vyr::Time> until) {
    if (watches_.empty() && until && *until <= now()) {
        return;
    }
    std::vector<pollfd> polled;
    std::vector<std::shared_ptr<Handler const>> handlers;
    for (auto const &[descriptor, watch] : watches_) {
        polled.push_back({descriptor, watch.events, 0});
        handlers.push_back(watch.handler);
    }
    if (poll(polled.data(), polled.size(), timeout(until)) < 0) {
        Base::assertThat(errno == EINTR, "errno == EINTR");
        return; // the state of the descriptors is unknown
    }
    Wall::time_point const served = Wall::now();
    for (std::size_t i = 0; i < polled.size(); ++i) {
        auto const watch = watches_.find(polled[i].fd);
        bool const same = watch != watches_.end() && watch->second.handler == handlers[i];
        if (same && (polled[i].revents != 0 || watch->second.impatientAt <= served)) {
            (*handlers[i])(polled[i].revents);
        }
    }
}

/// In milliseconds. Rounded up, so that waking too early does not become a spin; a long sleep is
/// cut short.
int EventLoop::timeout(std::optional<Vyr::Time> until) const {
    using std::chrono::milliseconds;
    auto sleep = milliseconds(60'000);
    if (until) {
        sleep = std::min(sleep, std::chrono::ceil<milliseconds>(*until - now()));
    }
    Wall::time_point const wall = Wall::now();
    for (auto const &[descriptor, watch] : watches_) {
        if (watch.impatientAt != Wall::time_point::max()) {
            sleep = std::min(sleep, std::chrono::ceil<milliseconds>(watch.impatientAt - wall));
        }
    }
    return static_cast<int>(std::max(sleep, milliseconds(0)).count());
}

} // namespace UmoAgent
