#pragma once

#include "Agent/AgentCommands.h"
#include "agent/console/ApplyCommand.h"
#include "agent/console/CommandServer.h"
#include "agent/console/TextCommand.h"
#include "agent/events/Chronicle.h"
#include "agent/openflow/SwitchProgrammer.h"
#include "agent/switch/ForwardingAgent.h"

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <utility>

namespace UmoAgent {

/// The commands of the agent's console. They read the agent, and `apply` changes it.
class Console {
  public:
    /// Called once, from the event loop or immediately: whether the whole answer could be written.
    using Done = std::function<void(bool whole)>;

    /// Both outlive the console; the agent must be started before the console answers, and its
    /// library ended before the console goes. Throws std::system_error if the reading process
    /// cannot be started.
    Console(ForwardingAgent &agent, EventLoop &loop, Scope scope);
    Console(Console const &) = delete;
    Console &operator=(Console const &) = delete;

    /// Answers at the Unix socket, also those who follow events, until close(). Throws SocketError.
    void listenAt(std::string path);
    void close() { server_.reset(); }
    /// Where it listens; empty: nowhere.
    [[nodiscard]] std::string socket() const { return server_ ? server_->path() : ""; }

    /// Why nothing can be applied at present; empty: it can.
    void hindranceIs(std::string hindrance) { apply_.hindranceIs(std::move(hindrance)); }

    /// The real switch that the agent programs, whose state the answers tell; it outlives the
    /// console. Null: none.
    void programmerIs(SwitchProgrammer *programmer) { programmer_ = programmer; }

    /// Writes the answer to one line to the descriptor, which must exist until `done` is called.
    /// Lines that begin with kErrorMark (TextCommand.h) say that the command was not carried out,
    /// and why.
    void answer(std::uint32_t socket, std::string const &line, Done const &done);

  private:
    void add(char const *name, TextCommand::Function function, char const *comment = "");
    void addShowCommands();
    void addActingCommands();
    void answerNow(std::uint32_t socket, std::string const &line, bool json) const;
    void audit(std::string const &arguments, std::function<void(std::string const &answer)> done);
    [[nodiscard]] std::string answerOf(std::string const &text, bool json) const;
    [[nodiscard]] std::string trouble() const;

    ForwardingAgent &agent_;
    EventLoop &loop_;
    SwitchProgrammer *programmer_ = nullptr;
    Agent::AgentCommands commands_; // except `apply` and `audit`, whose answers come later
    ApplyCommand apply_;
    Chronicle chronicle_;
    std::optional<CommandServer> server_;
};

} // namespace UmoAgent
