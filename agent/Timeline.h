#pragma once

#include "Mox/Ptr.h"
#include "Vyr/Clock.h"
#include "Vyr/TaskScheduler.h"

namespace UmoAgent {

/// The time in which a scenario is played, from 0 at its beginning. Owns the process's task
/// scheduler while it lives; the scheduler's tasks run as the time passes.
class Timeline {
  public:
    Timeline(Timeline const &) = delete;
    Timeline &operator=(Timeline const &) = delete;
    virtual ~Timeline();

    /// The time now.
    [[nodiscard]] Vyr::Time now() const { return scheduler_->now() - beginning_; }

    /// Lets the time pass until `time`. What falls due until then, at `time` itself included, has
    /// run when this returns.
    virtual void playUntil(Vyr::Time time) = 0;

  protected:
    explicit Timeline(Mox::Ptr<Vyr::Clock const> const &clock);

    [[nodiscard]] Vyr::TaskScheduler &scheduler() const { return *scheduler_; }
    [[nodiscard]] Vyr::Time beginning() const { return beginning_; }

  private:
    Mox::Ptr<Vyr::TaskScheduler> scheduler_;
    Vyr::Time beginning_; // on the scheduler's clock
};

/// Time that passes at once: an hour takes as long as what happens in it.
class VirtualTimeline final : public Timeline {
  public:
    VirtualTimeline() : VirtualTimeline(Mox::make<Vyr::VirtualClock>()) {}
    void playUntil(Vyr::Time time) override;

  private:
    explicit VirtualTimeline(Mox::Ptr<Vyr::VirtualClock> const &clock);

    Mox::Ptr<Vyr::VirtualClock> clock_;
};

/// The time of the wall clock. Sleeps while nothing is due.
class RealTimeline final : public Timeline {
  public:
    RealTimeline();
    void playUntil(Vyr::Time time) override;
};

} // namespace UmoAgent
