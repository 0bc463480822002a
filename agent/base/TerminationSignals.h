#pragma once

#include "agent/base/Descriptor.h"
#include "agent/base/EventLoop.h"

#include <csignal>
#include <functional>

namespace UmoAgent {

/// While it lives, SIGINT, SIGTERM and SIGHUP stop the event loop instead of the process, unless
/// they were ignored before. Further signals have no effect: the process is already ending, and a
/// second signal must not spoil its exit status. If there is a `hangUp`, SIGHUP calls that instead,
/// even if it was ignored.
class TerminationSignals {
  public:
    /// `loop` must outlive it. Throws std::system_error if the system refuses.
    explicit TerminationSignals(EventLoop &loop, std::function<void()> hangUp = nullptr);
    ~TerminationSignals();
    TerminationSignals(TerminationSignals const &) = delete;
    TerminationSignals &operator=(TerminationSignals const &) = delete;

    /// The name of the first signal received; null if none.
    [[nodiscard]] char const *received() const { return received_; }

    /// A descriptor that is readable once a signal has arrived and the loop has not yet seen it.
    [[nodiscard]] int descriptor() const { return signals_.number(); }

  private:
    void receive();

    EventLoop &loop_;
    std::function<void()> hangUp_;
    sigset_t before_{};
    Descriptor signals_;
    char const *received_ = nullptr;
};

} // namespace UmoAgent
