#pragma once

#include "Base/Export.h"
#include "Mox/PtrInterface.h"
#include "Mox/Seconds.h"

#include <chrono>

namespace Vyr {

/// A point in time: whole nanoseconds since the clock's start, so that intervals add up exactly.
using Time = std::chrono::nanoseconds;

/// A delay in the scheduler's own unit, rounded to the nanosecond. A negative or NaN delay becomes
/// 0; a delay of more than 100 years of 365 days becomes 100 years.
[[nodiscard]] PLATFORM_API Time timeOf(Mox::Seconds delay) noexcept;

/// The scheduler's source of time. Never goes back.
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

/// A clock that moves only when it is advanced, for simulations and tests.
class PLATFORM_API VirtualClock final : public Clock {
  public:
    [[nodiscard]] Time now() const override { return now_; }

    /// Moves the clock to `time`; does nothing if that time has passed.
    void advanceTo(Time time) noexcept;

  private:
    Time now_{0};
};

} // namespace Vyr
