#pragma once

#include "Agent/AgentCommandCallback.h"

#include <functional>
#include <iosfwd>
#include <stdexcept>
#include <string>

namespace UmoAgent {

/// Why a command was not carried out; may have several lines.
class CommandError : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

/// Begins each line of an error answer, so that clients recognise it.
inline constexpr char const *kErrorMark = "% ";

/// The error answer of the command of that name: each line marked.
std::string markedError(std::string const &name, std::string const &error);

/// The text after a command's name, without surrounding blanks.
std::string argumentsOf(std::string const &command);

/// A command whose answer is text. If its function throws a CommandError, that becomes the answer,
/// each line marked; what the function printed before is dropped.
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
