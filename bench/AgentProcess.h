#pragma once

#include <string>
#include <vector>

#include <sys/types.h>

namespace Bench {

/// A separate umo-agent for a benchmark, with its own folder. Any failure ends the program.
class AgentProcess {
  public:
    /// Starts it with the text of a scenario.
    explicit AgentProcess(std::string const &scenario);
    ~AgentProcess();
    AgentProcess(AgentProcess const &) = delete;
    AgentProcess &operator=(AgentProcess const &) = delete;

    /// A file in its folder.
    [[nodiscard]] std::string file(std::string const &name, std::string const &text) const;

    /// Waits until it answers and has played its scenario.
    void awaitEndOfScenario() const;

    /// The answer to a command.
    [[nodiscard]] std::string ask(std::string const &command) const;

    /// Its processor time so far, including its child's, in seconds.
    [[nodiscard]] double seconds() const;

    /// Its peak resident memory in bytes, without its child's.
    [[nodiscard]] double mostResident() const;

  private:
    [[nodiscard]] std::vector<pid_t> processes() const;

    std::string folder_;
    pid_t process_ = -1;
};

} // namespace Bench
