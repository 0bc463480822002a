#include "Vyr/Clock.h"

#include <algorithm>

namespace Vyr {

Time timeOf(Mox::Seconds delay) noexcept {
    constexpr Mox::Seconds kLongest(std::chrono::hours(24 * 365 * 100));
    return delay > Mox::Seconds::zero() ? std::chrono::round<Time>(std::min(delay, kLongest))
                                        : Time::zero();
}

Clock::~Clock() = default;

Time SteadyClock::now() const {
    return std::chrono::duration_cast<Time>(std::chrono::steady_clock::now().time_since_epoch());
}

void VirtualClock::advanceTo(Time time) noexcept {
    now_ = std::max(now_, time);
}

} // namespace Vyr
