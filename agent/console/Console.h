#pragma once

#include "Agent/AgentCommands.h"
#include "agent/console/TextCommand.h"
#include "agent/switch/ForwardingAgent.h"

#include <cstdint>
#include <iosfwd>
#include <string>

namespace UmoAgent {

/// The commands of the agent's console. They read the agent, and `apply` changes it.
class Console {
  public:
    /// `agent` must outlive the console, and be started before it answers.
    explicit Console(ForwardingAgent &agent);
    Console(Console const &) = delete;
    Console &operator=(Console const &) = delete;

    /// While a scenario is being played nothing can be applied: its next event would take back
    /// what it does not know of.
    void playingIs(bool playing) { playing_ = playing; }

    /// Writes the answer of one line to the descriptor; lines that begin with kErrorMark
    /// (TextCommand.h) say that the command was not carried out, and why. Throws
    /// std::system_error if the answer cannot be written.
    void answer(std::uint32_t socket, std::string const &line) const;

  private:
    void add(char const *name, TextCommand::Function function);
    void addShowCommands();
    void addActingCommands();
    void apply(std::ostream &out, std::string const &file);

    ForwardingAgent &agent_;
    Agent::AgentCommands commands_;
    bool playing_ = false;
};

} // namespace UmoAgent
