#pragma once

#include "Base/Export.h"
#include "Mox/PtrInterface.h"
#include "Mox/Seconds.h"

#include <chrono>

namespace Vyr {

/// A moment, as the time since the clock's beginning. Whole nanoseconds, so that intervals add
/// up exactly.
using Time = std::chrono::nanoseconds;

/// A delay in the scheduler's own unit, rounded to the nanosecond. A negative delay, or none that
/// is a number, is none; one of more than a century is a century.
[[nodiscard]] PLATFORM_API Time timeOf(Mox::Seconds delay) noexcept;

/// What the scheduler takes the time from. Never goes back.
class PLATFORM_API Clock : public Mox::PtrInterface {
  public:
    [[nodiscard]] virtual Time now() const = 0;

  protected:
    ~Clock() override;
};

/// The system's monotonic clock.
class PLATFORM_API SteadyClock final : public Clock {
  public:
    [[nodiscard]] Time now() const override;
};

/// A clock that stands still until it is told to move: for simulations and tests.
class PLATFORM_API VirtualClock final : public Clock {
  public:
    [[nodiscard]] Time now() const override { return now_; }

    /// Moves on to `time`; a time that has passed leaves the clock as it is.
    void advanceTo(Time time) noexcept;

  private:
    Time now_{0};
};

} // namespace Vyr
