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
    /// Called once, from the event loop or immediately: whether the whole answer could be written.
    using Done = std::function<void(bool whole)>;

    /// Both outlive the console; the agent must be started before the console answers. Throws
    /// std::system_error if the reading process cannot be started.
    Console(ForwardingAgent &agent, EventLoop &loop);
    Console(Console const &) = delete;
    Console &operator=(Console const &) = delete;

    /// While a scenario is being played, nothing can be applied.
    void playingIs(bool playing) { apply_.playingIs(playing); }

    /// Writes the answer to one line to the descriptor, which must exist until `done` is called.
    /// Lines that begin with kErrorMark (TextCommand.h) say that the command was not carried out,
    /// and why.
    void answer(std::uint32_t socket, std::string const &line, Done const &done);

  private:
    void add(char const *name, TextCommand::Function function);
    void addShowCommands();
    void addActingCommands();
    void answerNow(std::uint32_t socket, std::string const &line) const;

    ForwardingAgent &agent_;
    Agent::AgentCommands commands_; // except `apply`, whose answer comes later
    ApplyCommand apply_;
};

} // namespace UmoAgent
