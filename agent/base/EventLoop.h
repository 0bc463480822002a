#pragma once

#include "Mox/Ptr.h"
#include "Vyr/Clock.h"
#include "Vyr/TaskScheduler.h"

#include <chrono>
#include <functional>
#include <map>
#include <memory>
#include <optional>

namespace UmoAgent {

/// The agent's one thread of control: runs the tasks of the process's scheduler, which it owns
/// while it lives, when they are due, and watches descriptors.
///
/// Its time starts at 0 and is virtual: it passes at once, an hour takes as long as what happens
/// in it. From the call of `wallTime` on it is that of the wall clock.
class EventLoop {
  public:
    using Patience = std::optional<std::chrono::milliseconds>;

    /// What a watch calls: `events` are those of poll(2) that have come, or 0 when its patience
    /// is at an end. It may set and end any watches, its own too.
    using Handler = std::function<void(short events)>;

    EventLoop();
    ~EventLoop();
    EventLoop(EventLoop const &) = delete;
    EventLoop &operator=(EventLoop const &) = delete;

    /// The time now.
    [[nodiscard]] Vyr::Time now() const { return scheduler_->now(); }

    /// Lets the time go on with the wall clock.
    void wallTime();
    [[nodiscard]] bool onWallTime() const;

    /// Lets the time pass until `time`. What falls due until then, at `time` itself included, has
    /// run when this returns, unless the loop was stopped.
    void runUntil(Vyr::Time time);

    /// Lets the time pass, on the wall clock, until the loop is stopped.
    void run();

    /// Runs the tasks that are due, and nothing else: to be called now and then by a handler that
    /// has much to do. What a task throws ends the process, as everywhere.
    void breathe() noexcept { scheduler_->runDueTasks(); }

    /// Ends a run on the wall clock as soon as it has the control, and later ones at once. Virtual
    /// time passes as ever.
    void stop() { stopped_ = true; }
    [[nodiscard]] bool stopped() const { return stopped_; }

    /// Watches `descriptor` for `events` of poll(2), from now on and instead of how it was watched
    /// before. The watch stays; what its handler should do within `patience`, counted from now on
    /// the wall clock, is to set another or to end it. The descriptor stays the caller's, who ends
    /// the watch before closing it.
    void watch(int descriptor, short events, Handler handler, Patience patience = std::nullopt);
    void unwatch(int descriptor) { watches_.erase(descriptor); }

  private:
    class Clock;
    using Wall = std::chrono::steady_clock;
    struct Watch {
        short events = 0;
        std::shared_ptr<Handler const> handler; // shared: its own call may end the watch
        Wall::time_point impatientAt = Wall::time_point::max();
    };

    void serve(std::optional<Vyr::Time> until);
    [[nodiscard]] int timeout(std::optional<Vyr::Time> until) const;

    Mox::Ptr<Clock> clock_;
    Mox::Ptr<Vyr::TaskScheduler> scheduler_;
    std::map<int, Watch> watches_; // by descriptor
    bool stopped_ = false;
};

} // namespace UmoAgent
