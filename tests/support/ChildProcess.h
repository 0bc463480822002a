#pragma once

#include "agent/base/Descriptor.h"

#include <chrono>
#include <string>
#include <utility>
#include <vector>

namespace TestSupport {

/// A program that runs as long as this object, and dies with this process even if that is killed.
class ChildProcess {
  public:
    using Arguments = std::vector<std::string>;
    /// What the environment has in addition, or instead.
    using Environment = std::vector<std::pair<std::string, std::string>>;

    /// Starts the program, which is looked for in PATH and where system programs are. Its standard
    /// output and standard error go to these descriptors. Throws std::system_error if the system
    /// has no process. A program that does not exist ends at once with status 127 and a message.
    ChildProcess(Arguments const &command, Environment const &environment, int output, int error);
    /// Kills it, if it still runs, and waits for its end.
    ~ChildProcess();
    ChildProcess(ChildProcess const &) = delete;
    ChildProcess &operator=(ChildProcess const &) = delete;

    [[nodiscard]] int id() const { return id_; }

    /// Waits until it has ended; false if it still runs after that time.
    [[nodiscard]] bool endsWithin(std::chrono::milliseconds time);

    /// As from waitpid. REQUIRES: it has ended.
    [[nodiscard]] int status() const { return status_; }

  private:
    int id_;
    UmoAgent::Descriptor end_; // readable when it has ended
    bool ended_ = false;
    int status_ = 0;
};

/// Runs a program to its end, and returns its standard output. Throws std::runtime_error with its
/// standard error if it fails, or has not ended after 12 s; then it is killed.
std::string outputOf(ChildProcess::Arguments const &command,
                     ChildProcess::Environment const &environment);

} // namespace TestSupport
