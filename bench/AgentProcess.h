#pragma once

#include <string>
#include <vector>

#include <sys/types.h>

namespace Bench {

/// A umo-agent of its own for a benchmark, with a folder of its own. What goes wrong ends the
/// program.
class AgentProcess {
  public:
    /// Starts it with the text of a scenario, and a socket if it is to go on.
    AgentProcess(std::string const &scenario, bool goesOn);
    ~AgentProcess();
    AgentProcess(AgentProcess const &) = delete;
    AgentProcess &operator=(AgentProcess const &) = delete;

    /// A file in its folder.
    [[nodiscard]] std::string file(std::string const &name, std::string const &text) const;

    /// The answer to a command. The first one waits for the agent to be there.
    [[nodiscard]] std::string ask(std::string const &command) const;

    /// The processor time that it has taken, that of its child included, in seconds.
    [[nodiscard]] double seconds() const;

    /// Waits for its end; the most memory that was resident, in bytes.
    double mostResident();

  private:
    [[nodiscard]] std::vector<pid_t> processes() const;

    std::string folder_;
    pid_t process_ = -1;
};

} // namespace Bench
