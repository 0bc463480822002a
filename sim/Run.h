#pragma once

#include "agent/EventLoop.h"
#include "agent/ForwardingAgent.h"
#include "sim/Checker.h"

#include <cstdint>
#include <sstream>
#include <stdexcept>
#include <string>
#include <string_view>

namespace Sim {

/// A text that the agent's reader does not accept. Of a generator, that is a defect too.
class Rejected : public std::runtime_error {
    using std::runtime_error::runtime_error;
};

/// An agent in virtual time that is led through a scenario, and looked at after every step.
/// All throw Broken for an invariant that does not hold.
class Run {
  public:
    /// Starts with an initial state. Throws Rejected, as `event` does.
    explicit Run(std::string const &initial);

    /// Lets time pass until an event, and carries it out.
    void event(std::string const &text);

    /// Ends the run: by removing all policies first, or all at once.
    void end();

    [[nodiscard]] UmoAgent::SwitchModel const &model() const { return agent_.state().model(); }

    /// The number of calls of the chip, and a hash of them with all texts and final states.
    [[nodiscard]] std::uint64_t calls() const { return calls_; }
    [[nodiscard]] std::uint64_t hash() const { return hash_; }

  private:
    void add(std::string_view text);

    UmoAgent::EventLoop loop_;
    std::ostringstream printed_;
    UmoAgent::ForwardingAgent agent_;
    Checker checker_{agent_};
    std::uint64_t calls_ = 0;
    std::uint64_t hash_ = 0xcbf29ce484222325U; // FNV-1a
};

} // namespace Sim
