#pragma once

#include "Pelo/String.h"
#include "agent/switch/ScenarioModel.h"

#include <map>
#include <tuple>

namespace UmoAgent {

/// Which action a scenario speaks of.
struct ActionName {
    Pelo::String policy;
    Pelo::String match;
    Pelo::String action;

    bool operator<(ActionName const &other) const {
        return std::tie(policy, match, action) < std::tie(other.policy, other.match, other.action);
    }
};

/// Gives the actions that one event touches their new versions: one more than before, unless the
/// action is new or the event names its version.
class ActionVersions {
  public:
    void touched(ActionName const &name) { raise_.emplace(name, true); }
    void settled(ActionName const &name) { raise_.insert_or_assign(name, false); }

    /// At the end of an event; forgets what was told.
    void raiseIn(SwitchModel &state);

  private:
    std::map<ActionName, bool> raise_;
};

} // namespace UmoAgent
