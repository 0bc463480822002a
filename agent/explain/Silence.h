#pragma once

#include "agent/switch/ForwardingAgent.h"

#include <iosfwd>
#include <set>

namespace UmoAgent {

/// Warns of each action that sends no copies, with the first reason: whoever configured it expects
/// some. From a certain number on only how many more there are.
void warnOfSilence(std::ostream &out, ForwardingAgent const &agent);

/// The same for these actions, as far as they exist.
void warnOfSilence(std::ostream &out, ForwardingAgent const &agent,
                   std::set<Table::Action::Key> const &actions);

} // namespace UmoAgent
