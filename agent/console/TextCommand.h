#pragma once

#include "Agent/AgentCommandCallback.h"

#include <functional>
#include <iosfwd>
#include <stdexcept>
#include <string>

namespace UmoAgent {

/// Says why a command was not carried out; may have several lines.
class CommandError : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

/// Begins each line that says that a command was not carried out, so that a client can tell.
inline constexpr char const *kErrorMark = "% ";

/// The answer that says why the command of that name was not carried out: each line marked.
std::string markedError(std::string const &name, std::string const &error);

/// What stands behind the name of a command, without the blanks around it.
std::string argumentsOf(std::string const &command);

/// A command of the agent whose answer is text. A CommandError that its function throws becomes
/// the answer, with each line marked; what the function printed before is dropped.
class TextCommand final : public Agent::AgentCommandCallback {
  public:
    /// Prints the answer; `arguments` are as from argumentsOf.
    using Function = std::function<void(std::ostream &out, std::string const &arguments)>;

    TextCommand(Pelo::String name, Pelo::String help, Function function);

    /// Throws std::system_error if the answer cannot be written.
    void handleCommand(std::uint32_t socket, Pelo::String const &command) override;

  private:
    Function function_;
};

} // namespace UmoAgent
