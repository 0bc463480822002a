#pragma once

#include "Base/Export.h"
#include "Mox/Attributes.h"
#include "Mox/Ptr.h"
#include "Mox/Seconds.h"
#include "Vyr/TaskScheduler.h"

#include <cstdint>
#include <optional>

namespace Vyr {

/// A piece of work that the scheduler runs later. A run is published to the task's subscribers as a
/// change of `runAttribute`. Their handlers do the work, and may query and schedule the task
/// meanwhile. A task has at most one pending run. While its notifications are off, a due run is
/// dropped without being published.
class PLATFORM_API Task : public Mox::Entity {
    MOX_PUBLISHES_SCALAR(run)

  public:
    [[nodiscard]] unsigned priority() const noexcept { return priority_; }
    [[nodiscard]] Pelo::String nameString() const override { return name_; }

    /// Runs the task as soon as the scheduler allows. Replaces a pending run.
    void scheduleTask();

    /// True while a run is pending. Inside a run it is false until the task is scheduled again.
    [[nodiscard]] bool taskScheduled() const noexcept { return pending_.has_value(); }

    /// True while a run is being published.
    [[nodiscard]] bool taskCurrentlyRunning() const noexcept { return runningSince_.has_value(); }

    /// True when the current run has used up the scheduler's time slice; false outside a run.
    [[nodiscard]] bool taskShouldYield() const;

    /// Adds `units` to the work done, for the task's statistics.
    void taskWorkCountInc(std::uint64_t units) noexcept { workCount_ += units; }
    [[nodiscard]] std::uint64_t taskWorkCount() const noexcept { return workCount_; }

    /// Runs so far, and the time that they took by the scheduler's clock.
    [[nodiscard]] std::uint64_t taskRunCount() const noexcept { return runCount_; }
    [[nodiscard]] Time taskRunTime() const noexcept { return runTime_; }

  protected:
    Task(Mox::Ptr<TaskScheduler> scheduler, unsigned priority, Pelo::String name);
    ~Task() override;

    void scheduleIn(Mox::Seconds delay);
    void unschedule() noexcept;

  private:
    friend class TaskScheduler;
    void run();

    Mox::Ptr<TaskScheduler> scheduler_;
    unsigned priority_;
    Pelo::String name_;
    std::optional<TaskScheduler::Turn> pending_;
    std::optional<Time> runningSince_;
    std::uint64_t workCount_ = 0;
    std::uint64_t runCount_ = 0;
    Time runTime_{};
};

/// A task that runs once after a delay.
class PLATFORM_API TimerTask final : public Task {
  public:
    /// `priority` is for information only: due tasks run in order of due time.
    TimerTask(Mox::Ptr<TaskScheduler> scheduler, unsigned priority, Pelo::String name);

    /// Runs the task once after `delay`. Replaces a pending run.
    void scheduleTaskDelay(Mox::Seconds delay) { scheduleIn(delay); }

    /// Cancels the pending run, if there is one.
    void stopTimerTask() noexcept { unschedule(); }
};

} // namespace Vyr
