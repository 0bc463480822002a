#include "agent/switch/ActionVersions.h"

#include <cstdint>
#include <limits>

namespace UmoAgent {

namespace {

ActionState *actionIn(SwitchModel &state, ActionName const &name) {
    PolicyState *const policy = state.policies.find(name.policy);
    MatchState *const match = policy == nullptr ? nullptr : policy->matches.find(name.match);
    return match == nullptr ? nullptr : match->actions.find(name.action);
}

/// Version 0 would say that the action is incomplete.
std::uint32_t next(std::uint32_t version) {
    return version == std::numeric_limits<std::uint32_t>::max() ? 1 : version + 1;
}

} // namespace

void ActionVersions::raiseIn(SwitchModel &state) {
    for (auto const &[name, raise] : raise_) {
        ActionState *const action = actionIn(state, name);
        if (action != nullptr && raise) {
            action->version = next(action->version);
        }
    }
    raise_.clear();
}

} // namespace UmoAgent
