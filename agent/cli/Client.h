#pragma once

#include "agent/console/CommandSocket.h"

#include <string>
#include <vector>

namespace UmoAgent {

/// What a user asks umo-cli for.
struct Request {
    std::string socket = kDefaultSocketPath;
    int timeout = 10; // for the whole answer, in seconds
    bool json = false;
    std::vector<std::string> words{}; // of the command; at least one
};

enum class ClientStatus {
    good = 0,
    notDone = 1, // the agent did not carry the command out, or answers differ
    notAsked = 2,
};

/// Sends the command to the agent, and prints the answer; or follows the agent, or compares
/// answers. Throws std::runtime_error if the agent cannot be asked.
ClientStatus carryOut(Request request);

} // namespace UmoAgent
