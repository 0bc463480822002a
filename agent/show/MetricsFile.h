#pragma once

#include "agent/base/Timer.h"
#include "agent/openflow/SwitchProgrammer.h"
#include "agent/switch/ForwardingAgent.h"

#include <functional>
#include <string>

namespace UmoAgent {

/// Keeps a file with the agent's metrics, for a collector of text files: writes it anew every 10 s
/// of wall-clock time, as a whole or not at all. Its destructor leaves the file.
class MetricsFile {
  public:
    /// `agent` and `programmer`, which may be null, outlive the object; nothing is written before
    /// the agent has started. `log` receives why the file cannot be written, once until it can.
    MetricsFile(std::string path, ForwardingAgent const &agent, SwitchProgrammer const *programmer,
                std::function<void(std::string const &line)> log);

    /// Writes the file now.
    void write();

  private:
    [[nodiscard]] std::string problemOfWriting() const;

    std::string path_;
    ForwardingAgent const &agent_;
    SwitchProgrammer const *programmer_;
    std::function<void(std::string const &line)> log_;
    bool failing_ = false;
    Timer timer_;
};

} // namespace UmoAgent
