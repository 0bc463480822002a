#pragma once

#include "Agent/AgentCommands.h"
#include "agent/console/ApplyCommand.h"
#include "agent/console/TextCommand.h"
#include "agent/switch/ForwardingAgent.h"

#include <cstdint>
#include <functional>
#include <string>

namespace UmoAgent {

/// The commands of the agent's console. They read the agent, and `apply` changes it.
class Console {
  public:
    /// Called once, from the event loop or at once: whether the whole answer could be written.
    using Done = std::function<void(bool whole)>;

    /// Both outlive the console, and the agent is started before it answers. Throws
    /// std::system_error if there can be no process that reads files.
    Console(ForwardingAgent &agent, EventLoop &loop);
    Console(Console const &) = delete;
    Console &operator=(Console const &) = delete;

    /// While a scenario is being played nothing can be applied.
    void playingIs(bool playing) { apply_.playingIs(playing); }

    /// Writes the answer of one line to the descriptor, which must be there until `done` is called;
    /// lines that begin with kErrorMark (TextCommand.h) say that the command was not carried out,
    /// and why.
    void answer(std::uint32_t socket, std::string const &line, Done const &done);

  private:
    void add(char const *name, TextCommand::Function function);
    void addShowCommands();
    void addActingCommands();
    void answerNow(std::uint32_t socket, std::string const &line) const;

    ForwardingAgent &agent_;
    Agent::AgentCommands commands_; // but for `apply`, whose answer takes its time
    ApplyCommand apply_;
};

} // namespace UmoAgent
