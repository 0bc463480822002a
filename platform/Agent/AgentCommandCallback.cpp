#include "Agent/AgentCommandCallback.h"

#include <utility>

namespace Agent {

AgentCommandCallback::AgentCommandCallback(Pelo::String name, Pelo::String help)
    : name_(std::move(name)), help_(std::move(help)) {}

AgentCommandCallback::~AgentCommandCallback() = default;

} // namespace Agent
