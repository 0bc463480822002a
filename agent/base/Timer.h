#pragma once

#include "Mox/Ptr.h"
#include "Pelo/Publisher.h"
#include "Vyr/Clock.h"
#include "Vyr/Task.h"

#include <functional>

namespace UmoAgent {

/// Work that the event loop does once after a delay.
class Timer {
  public:
    /// Made while the event loop exists. `work` may destroy the timer.
    explicit Timer(std::function<void()> work);
    Timer(Timer const &) = delete;
    Timer &operator=(Timer const &) = delete;

    /// Replaces a pending run.
    void runIn(Vyr::Time delay) { task_->scheduleTaskDelay(delay); }
    void stop() { task_->stopTimerTask(); }
    [[nodiscard]] bool pending() const { return task_->taskScheduled(); }

    /// For a copy of the process that ends afterwards: no timer does its work any more.
    static void endAll() { ended_ = true; }

  private:
    static void run(void *self, Pelo::Change const &change);

    inline static bool ended_ = false;

    std::function<void()> work_;
    Mox::Ptr<Vyr::TimerTask> task_;
    Pelo::Subscriber subscriber_{&run, this};
};

/// The tries to connect to a server. Each pause between two of them is twice the one before it,
/// from 0.1 s up to a limit.
class Retries {
  public:
    Retries(Vyr::Time longest, std::function<void()> tryAgain)
        : longest_(longest), timer_(std::move(tryAgain)) {}

    void now() { timer_.runIn({}); }
    /// Tries again after the next pause.
    void later();
    /// The server has answered, so the next pause is short.
    void reset() { pause_ = kShortest; }

  private:
    static constexpr Vyr::Time kShortest = std::chrono::milliseconds(100);

    Vyr::Time longest_;
    Vyr::Time pause_ = kShortest;
    Timer timer_;
};

} // namespace UmoAgent
