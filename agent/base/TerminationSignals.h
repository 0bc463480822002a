#pragma once

#include "agent/base/Descriptor.h"
#include "agent/base/EventLoop.h"

#include <csignal>

namespace UmoAgent {

/// While it lives, SIGINT, SIGTERM and SIGHUP, unless they were ignored before, stop the event loop
/// instead of the process. Once one has come they stay without effect, for the process is ending by
/// itself: one that was sent twice must not spoil its exit status.
class TerminationSignals {
  public:
    /// `loop` must outlive it. Throws std::system_error if the system refuses.
    explicit TerminationSignals(EventLoop &loop);
    ~TerminationSignals();
    TerminationSignals(TerminationSignals const &) = delete;
    TerminationSignals &operator=(TerminationSignals const &) = delete;

    /// The name of the signal that came first; null if none has.
    [[nodiscard]] char const *received() const { return received_; }

    /// A descriptor that is readable when one has come that the loop has not seen yet.
    [[nodiscard]] int descriptor() const { return signals_.number(); }

  private:
    void receive();

    EventLoop &loop_;
    sigset_t before_{};
    Descriptor signals_;
    char const *received_ = nullptr;
};

} // namespace UmoAgent
