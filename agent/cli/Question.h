#pragma once

#include <chrono>
#include <cstddef>
#include <string>

namespace UmoAgent {

/// The most bytes of an answer; an agent that sends more is none.
inline constexpr std::size_t kMaxAnswer = std::size_t{64} << 20U;

/// What the agent at the socket `path` answers to `line`, all of it. Throws NobodyAnswers if there
/// is no agent, SocketError if it cannot be reached, and std::runtime_error if it has not answered
/// within `patience`, breaks off, or answers more than kMaxAnswer.
std::string ask(std::string const &path, std::string const &line, std::chrono::seconds patience);

} // namespace UmoAgent
