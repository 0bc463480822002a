#pragma once

#include <functional>
#include <string>
#include <vector>

namespace UmoAgent {

/// Reads lines at the terminal, with a history and with completion, and gives each that is not
/// blank to `run`, until the end of input or `exit`. `choices` are the words that may follow the
/// complete words of a line; it must not throw.
void prompt(std::function<void(std::string const &line)> const &run,
            std::function<std::vector<std::string>(std::vector<std::string> const &words)> choices);

/// The words that may follow `words` at the prompt: commands, and the names of policies, matches
/// and actions, for which the agent at the socket is asked. None if it does not answer.
std::vector<std::string> choicesAfter(std::vector<std::string> const &words,
                                      std::string const &socket);

} // namespace UmoAgent
