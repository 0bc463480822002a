#pragma once

#include "agent/base/EventLoop.h"
#include "agent/console/DryRun.h"
#include "agent/scenario/ReadingProcess.h"
#include "agent/scenario/Scenario.h"
#include "agent/scenario/ScenarioReader.h"
#include "agent/switch/ForwardingAgent.h"

#include <functional>
#include <iosfwd>
#include <string>
#include <utility>
#include <variant>
#include <vector>

namespace UmoAgent {

/// The command that carries out the events of a file, all of them at once or none. A separate
/// process reads the file. While its events are read the switch's tasks keep running. Commands that
/// arrive meanwhile are answered first; further files wait.
///
/// A dry run carries them out in a copy of the agent, and answers with the chip's calls.
class ApplyCommand {
  public:
    static constexpr char const *kName = "apply";

    /// Receives the answer; called once, from the loop or immediately.
    using Done = std::function<void(std::string const &answer)>;

    /// Both outlive it; the agent must be started before a file is applied. Throws
    /// std::system_error if the reading process cannot be started.
    ApplyCommand(ForwardingAgent &agent, EventLoop &loop, Scope scope);
    ApplyCommand(ApplyCommand const &) = delete;
    ApplyCommand &operator=(ApplyCommand const &) = delete;

    /// Why nothing can be applied at present; empty: it can. While a scenario is being played, for
    /// one: its events were validated only against the state that the scenario itself makes.
    void hindranceIs(std::string hindrance) { hindrance_ = std::move(hindrance); }

    /// `arguments` name the file, after kDryRun if nothing shall be changed.
    void apply(std::string const &arguments, Done done);

    static constexpr char const *kDryRun = "--dry-run";

  private:
    void rehearse(std::vector<Event> const &events, Done const &done);
    /// Throws CommandError.
    [[nodiscard]] std::vector<Event> eventsOf(std::variant<Document, ScenarioFaults> read,
                                              std::string const &file);

    ForwardingAgent &agent_;
    EventLoop &loop_;
    ReadingProcess reading_;
    DryRun dryRun_;
    Scope scope_;
    std::string hindrance_;
};

} // namespace UmoAgent
