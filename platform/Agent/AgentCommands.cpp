#include "Agent/AgentCommands.h"

namespace Agent {

void AgentCommands::commandIs(Mox::Ptr<AgentCommandCallback> const &callback) {
    commands_.insert_or_assign(callback->nameString(), callback);
}

Pelo::String AgentCommands::nameOf(Pelo::String const &text) {
    std::size_t const start = text.find_first_not_of(' ');
    return start == Pelo::String::npos ? "" : text.substr(start, text.find(' ', start) - start);
}

bool AgentCommands::handleCommand(std::uint32_t socket, Pelo::String const &text) const {
    auto const command = commands_.find(nameOf(text));
    if (command == commands_.end()) {
        return false;
    }
    Mox::Ptr<AgentCommandCallback> const callback = command->second; // it may replace itself
    callback->handleCommand(socket, text);
    return true;
}

} // namespace Agent
