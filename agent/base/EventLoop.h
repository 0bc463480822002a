#pragma once

#include "Mox/Ptr.h"
#include "Vyr/Clock.h"
#include "Vyr/TaskScheduler.h"

#include <chrono>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <utility>

namespace UmoAgent {

/// The agent's only thread of control: runs the tasks of the process's scheduler when they are due,
/// and watches descriptors. It owns the scheduler while it lives.
///
/// Time starts at 0 and is virtual: an hour takes only as long as the work in it. After `wallTime`
/// is called it is wall-clock time.
class EventLoop {
  public:
    using Patience = std::optional<std::chrono::milliseconds>;

    /// A watch's callback: `events` are the poll(2) events that occurred, or 0 when its patience
    /// has ended. It may set and end any watch, including its own.
    using Handler = std::function<void(short events)>;

    EventLoop();
    ~EventLoop();
    EventLoop(EventLoop const &) = delete;
    EventLoop &operator=(EventLoop const &) = delete;

    /// The time now.
    [[nodiscard]] Vyr::Time now() const { return scheduler_->now(); }

    /// Switches from virtual to wall-clock time.
    void wallTime();
    [[nodiscard]] bool onWallTime() const;

    /// Lets time pass until `time`. Tasks due up to and including `time` have run when this
    /// returns, unless the loop was stopped.
    void runUntil(Vyr::Time time);

    /// Runs in wall-clock time until the loop is stopped.
    void run();

    /// In wall-clock time, calls `work` each time that no task is due, before the loop sleeps.
    void idleWorkIs(std::function<void()> work) { idleWork_ = std::move(work); }

    /// Runs only the tasks that are due. A handler with much work calls it now and then. What a
    /// task throws ends the process, as everywhere.
    void breathe() noexcept { scheduler_->runDueTasks(); }

    /// For a copy of the process that ends afterwards: goes back to virtual time, watches nothing
    /// and serves no timer any more, and lets time pass until no task is scheduled.
    void rehearse();

    /// Ends the current wall-clock run as soon as it regains control, and later runs at once.
    /// Virtual time is not affected.
    void stop() { stopped_ = true; }
    [[nodiscard]] bool stopped() const { return stopped_; }

    /// Watches `descriptor` for `events` of poll(2), instead of any earlier watch on it. The watch
    /// stays until it is ended or replaced; its handler should do either within `patience`, which
    /// counts from now in wall-clock time. The caller keeps the descriptor, and ends the watch
    /// before closing it.
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

    std::optional<Vyr::Time> runDueTasks();
    void serve(std::optional<Vyr::Time> until);
    [[nodiscard]] int timeout(std::optional<Vyr::Time> until) const;

    Mox::Ptr<Clock> clock_;
    Mox::Ptr<Vyr::TaskScheduler> scheduler_;
    std::map<int, Watch> watches_; // by descriptor
    std::function<void()> idleWork_;
    bool stopped_ = false;
};

} // namespace UmoAgent
