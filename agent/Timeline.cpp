#include "agent/Timeline.h"

#include <poll.h>

#include <algorithm>
#include <chrono>

namespace UmoAgent {

namespace {

/// Rounded up, so that waking up too early does not turn into a spin. Long sleeps are cut: poll
/// takes an int.
int pollTimeout(Vyr::Time sleep) {
    auto const wait = std::chrono::ceil<std::chrono::milliseconds>(sleep);
    return static_cast<int>(std::clamp<std::chrono::milliseconds::rep>(wait.count(), 0, 60'000));
}

} // namespace

Timeline::Timeline(Mox::Ptr<Vyr::Clock const> const &clock)
    : scheduler_(Mox::make<Vyr::TaskScheduler>(clock)), beginning_(clock->now()) {
    Vyr::TaskSchedulerRoot::schedulerIs(scheduler_);
}

Timeline::~Timeline() {
    Vyr::TaskSchedulerRoot::schedulerIs(nullptr);
}

VirtualTimeline::VirtualTimeline(Mox::Ptr<Vyr::VirtualClock> const &clock)
    : Timeline(clock), clock_(clock) {}

void VirtualTimeline::playUntil(Vyr::Time time) {
    scheduler().runUntil(*clock_, beginning() + time);
}

RealTimeline::RealTimeline() : Timeline(Mox::make<Vyr::SteadyClock>()) {}

void RealTimeline::playUntil(Vyr::Time time) {
    for (;;) {
        Vyr::Time const entered = now();
        scheduler().runDueTasks();
        auto const due = scheduler().nextDue();
        Vyr::Time const next = due ? std::min(*due - beginning(), time) : time;
        if (entered >= time && next >= time) {
            return;
        }
        poll(nullptr, 0, pollTimeout(next - now()));
    }
}

} // namespace UmoAgent
