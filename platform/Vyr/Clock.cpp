#include "Vyr/Clock.h"

#include <algorithm>

namespace Vyr {

Time timeOf(Mox::Seconds delay) noexcept {
    return std::max(Time::zero(), std::chrono::round<Time>(delay));
}

Clock::~Clock() = default;

Time SteadyClock::now() const {
    return std::chrono::duration_cast<Time>(std::chrono::steady_clock::now().time_since_epoch());
}

void VirtualClock::advanceTo(Time time) noexcept {
    now_ = std::max(now_, time);
}

} // namespace Vyr
