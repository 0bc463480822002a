#pragma once

#include <string>
#include <vector>

#include <sys/types.h>

namespace Bench {

/// A umo-agent of its own for a benchmark, with a folder of its own. What goes wrong ends the
/// program.
class AgentProcess {
  public:
    /// Starts it with the text of a scenario.
    explicit AgentProcess(std::string const &scenario);
    ~AgentProcess();
    AgentProcess(AgentProcess const &) = delete;
    AgentProcess &operator=(AgentProcess const &) = delete;

    /// A file in its folder.
    [[nodiscard]] std::string file(std::string const &name, std::string const &text) const;

    /// Waits until it answers, and has played its scenario.
    void awaitEndOfScenario() const;

    /// The answer to a command.
    [[nodiscard]] std::string ask(std::string const &command) const;

    /// The processor time that it has taken, that of its child included, in seconds.
    [[nodiscard]] double seconds() const;

    /// The most memory that was resident so far, in bytes, without that of its child.
    [[nodiscard]] double mostResident() const;

  private:
    [[nodiscard]] std::vector<pid_t> processes() const;

    std::string folder_;
    pid_t process_ = -1;
};

} // namespace Bench
