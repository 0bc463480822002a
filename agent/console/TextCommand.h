#pragma once

#include "Agent/AgentCommandCallback.h"
#include "agent/show/Reply.h"

#include <functional>
#include <stdexcept>
#include <string>
#include <utility>

namespace UmoAgent {

/// Why a command was not carried out; may have several lines.
class CommandError : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

/// Begins each line of an error answer, so that clients recognise it.
inline constexpr char const *kErrorMark = "% ";

/// The last line of an answer in text, after which the reader must know `note`; none if it is
/// empty.
std::string noteLine(std::string const &note);

/// The error answer of the command of that name: each line marked.
std::string markedError(std::string const &name, std::string const &error);

/// The text after a command's name, without surrounding blanks.
std::string argumentsOf(std::string const &command);

/// The word of a line that asks for an answer in JSON.
inline constexpr char const *kJsonWord = "--json";

/// The line without the words that ask for JSON; whether there was one.
std::pair<std::string, bool> withoutJsonWord(std::string const &line);

/// A command whose answer is text, or JSON for a line that asks for it. If its function throws a
/// CommandError, that becomes the answer, each line marked; what the function printed before is
/// dropped.
class TextCommand final : public Agent::AgentCommandCallback {
  public:
    /// Prints the answer; `arguments` are as from argumentsOf.
    using Function = std::function<void(Reply const &reply, std::string const &arguments)>;
    /// What a reader of any answer must know; empty: nothing.
    using Note = std::function<std::string()>;

    /// A note follows an answer in text, after `comment`, which makes it one in the answer's
    /// format.
    TextCommand(Pelo::String name, Pelo::String help, Function function, Note note,
                char const *comment = "");

    /// Throws std::system_error if the answer cannot be written.
    void handleCommand(std::uint32_t socket, Pelo::String const &command) override;

  private:
    Function function_;
    Note note_;
    char const *comment_;
};

} // namespace UmoAgent
