#pragma once

#include "agent/base/Descriptor.h"
#include "agent/base/EventLoop.h"

#include <chrono>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include <sys/types.h>

namespace UmoAgent {

/// A program that is run with a text as its standard input. The loop keeps running meanwhile. What
/// the program prints is in memory until it has ended.
class ChildProcess {
  public:
    struct Result {
        std::string problem; // why it failed, in one line; empty: it ended with status 0
        std::string output;

        [[nodiscard]] bool good() const { return problem.empty(); }
    };
    /// Called once, from the loop or from `wait`. It may destroy the process's object.
    using Done = std::function<void(Result result)>;

    /// Starts `command`, whose first word is looked for in PATH. It is killed if it runs longer
    /// than `patience`. `loop` must outlive this. Throws std::system_error if the system refuses.
    ChildProcess(EventLoop &loop, std::vector<std::string> command, std::string_view input,
                 std::chrono::milliseconds patience, Done done);
    /// Kills it; `done` is not called.
    ~ChildProcess();
    ChildProcess(ChildProcess const &) = delete;
    ChildProcess &operator=(ChildProcess const &) = delete;

    /// Waits for its end, at most for the patience it has left, outside the loop.
    void wait();

  private:
    void finish(bool ended);

    EventLoop &loop_;
    std::string name_;
    std::chrono::steady_clock::time_point impatientAt_;
    Done done_;
    pid_t pid_ = -1;
    Descriptor output_, errors_;
    Descriptor lifeline_; // ends when the process does
};

} // namespace UmoAgent
