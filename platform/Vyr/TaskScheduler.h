#pragma once

#include "Base/Export.h"
#include "Mox/Ptr.h"
#include "Mox/Seconds.h"
#include "Vyr/Clock.h"

#include <compare>
#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>

namespace Vyr {

class Task;

/// Runs tasks when they are due, on the thread of the event loop that drives it. They run in order
/// of due time; those due at the same time run in the order in which they were scheduled. The event
/// loop asks `nextDue` how long it may sleep and then calls `runDueTasks`; a simulation calls
/// `runUntil`.
class PLATFORM_API TaskScheduler final : public Mox::PtrInterface {
  public:
    explicit TaskScheduler(Mox::Ptr<Clock const> clock);

    [[nodiscard]] Time now() const { return clock_->now(); }

    /// When the next run is due; nothing if no task is scheduled.
    [[nodiscard]] std::optional<Time> nextDue() const;

    /// Runs what is due now. A run that is scheduled meanwhile waits for the next call, even if it
    /// is due at once, so that a task that yields lets the event loop continue. Returns the number
    /// of runs.
    std::size_t runDueTasks();

    /// Moves `clock`, which must be the clock of this scheduler, to `time`, and runs every task
    /// that becomes due, each at its due time. Returns the number of runs.
    std::size_t runUntil(VirtualClock &clock, Time time);

    /// How long a task may run before it should yield; 10 ms by default.
    [[nodiscard]] Mox::Seconds timeSlice() const noexcept { return timeSlice_; }
    void timeSliceIs(Mox::Seconds slice) noexcept { timeSlice_ = slice; }

  private:
    friend class Task;

    /// The position of a pending run in the order of runs.
    struct Turn {
        Time due;
        std::uint64_t number; // counts the schedulings
        auto operator<=>(Turn const &) const = default;
    };

    Turn enqueue(Task &task, Mox::Seconds delay);
    void dequeue(Turn const &turn) noexcept { pending_.erase(turn); }
    bool runFirst(std::uint64_t scheduledBefore);

    Mox::Ptr<Clock const> clock_;
    Mox::Seconds timeSlice_{0.01};
    std::uint64_t nextNumber_ = 0;
    std::map<Turn, Task *> pending_; // a task leaves when it is destroyed
};

/// Gives access to the process's scheduler.
class PLATFORM_API TaskSchedulerRoot {
  public:
    /// The process's scheduler; the first call makes one on the steady clock.
    static Mox::Ptr<TaskScheduler> findOrCreateScheduler();

    /// Installs `scheduler` as the process's. Call it before anything requests the scheduler; a
    /// simulation installs one on its own clock. Null removes the present one; tasks made with it
    /// keep it.
    static void schedulerIs(Mox::Ptr<TaskScheduler> const &scheduler);
};

} // namespace Vyr
