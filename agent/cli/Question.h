#pragma once

#include <chrono>
#include <cstddef>
#include <functional>
#include <string>
#include <string_view>

namespace UmoAgent {

/// The most bytes of an answer; longer ones are not from an agent.
inline constexpr std::size_t kMaxAnswer = std::size_t{64} << 20U;

/// The whole answer of the agent at the socket `path` to `line`. Throws NobodyAnswers if there is
/// no agent, SocketError if it cannot be reached, and std::runtime_error if it does not answer
/// within `patience`, breaks off, or answers more than kMaxAnswer.
std::string ask(std::string const &path, std::string const &line, std::chrono::seconds patience);

/// Sends `line`, and hands what comes to `take` in pieces until the agent ends the connection.
/// Throws as ask() does; `patience` is only for the agent to take the line.
void follow(std::string const &path, std::string const &line, std::chrono::seconds patience,
            std::function<void(std::string_view piece)> const &take);

} // namespace UmoAgent
