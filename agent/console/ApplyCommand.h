#pragma once

#include "agent/base/EventLoop.h"
#include "agent/scenario/ReadingProcess.h"
#include "agent/scenario/Scenario.h"
#include "agent/switch/ForwardingAgent.h"

#include <functional>
#include <iosfwd>
#include <string>
#include <variant>
#include <vector>

namespace UmoAgent {

/// The command that carries out the events of a file: all of them at once, or none. The file is
/// read by a process of its own, and while its events are read the switch's tasks go on; commands
/// that come meanwhile are answered before it, further files wait for their turn.
class ApplyCommand {
  public:
    static constexpr char const *kName = "apply";

    /// Given the answer; called once, from the loop or at once.
    using Done = std::function<void(std::string const &answer)>;

    /// Both outlive it, and the agent is started before a file is applied. Throws
    /// std::system_error if there can be no process that reads.
    ApplyCommand(ForwardingAgent &agent, EventLoop &loop);
    ApplyCommand(ApplyCommand const &) = delete;
    ApplyCommand &operator=(ApplyCommand const &) = delete;

    /// While a scenario is being played nothing can be applied: its events are known to be right
    /// on what it has made of the switch only.
    void playingIs(bool playing) { playing_ = playing; }

    void apply(std::string const &file, Done done);

  private:
    /// Throws CommandError.
    void carryOutEvents(std::variant<Document, ScenarioFaults> read, std::string const &file,
                        std::ostream &out);
    [[nodiscard]] std::vector<Event> eventsOf(std::variant<Document, ScenarioFaults> read,
                                              std::string const &file);

    ForwardingAgent &agent_;
    EventLoop &loop_;
    ReadingProcess reading_;
    bool playing_ = false;
};

} // namespace UmoAgent
