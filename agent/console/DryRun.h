#pragma once

#include "agent/base/EventLoop.h"
#include "agent/base/ProcessCopy.h"

#include <functional>
#include <iosfwd>
#include <string>

namespace UmoAgent {

/// Does work in a copy of the agent, which then ends, and brings back what the work printed. The
/// agent itself goes on unchanged meanwhile.
class DryRun {
  public:
    using Work = std::function<void(std::ostream &out)>;

    /// Receives the text, or why there is none; called once, from the loop.
    using Done = std::function<void(std::string const &text, std::string const &error)>;

    /// The loop outlives it.
    explicit DryRun(EventLoop &loop) : loop_(loop) {}
    /// A run that has not ended is dropped.
    ~DryRun() { end(); }
    DryRun(DryRun const &) = delete;
    DryRun &operator=(DryRun const &) = delete;

    [[nodiscard]] bool running() const { return copy_.number > 0; }

    /// Begins; none may be running. Throws std::system_error if there can be no copy.
    void start(Work const &work, Done done);

  private:
    void receive(short events);
    void finish(std::string const &error);
    void end();

    EventLoop &loop_;
    ProcessCopy copy_;
    std::string text_; // received so far
    Done done_;
};

} // namespace UmoAgent
