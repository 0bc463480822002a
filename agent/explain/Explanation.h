#pragma once

#include "agent/show/Reply.h"
#include "agent/switch/ForwardingAgent.h"

#include <iosfwd>
#include <string>

class UmoNatFlowActionSm;
class UmoNatFlowMatchSm;

namespace UmoAgent {

/// What to explain: all matches of a policy, one of them, or one action.
struct Subject {
    std::string policy;
    std::string match{};  // empty: all
    std::string action{}; // empty: all; needs a match
};

/// Why the actions send the copies that they send, and no others: for each its flow type, its
/// match's groups, and each port behind its egress interfaces, in the port set or with the first
/// reason why not. It is what the library would compute now, beside what is programmed. Throws
/// std::invalid_argument, with a text for the user, if there is no such policy, match or action.
Json explanationOf(ForwardingAgent const &agent, Subject const &subject);

/// The first reason why an action that sends nothing does so.
std::string firstReason(ForwardingAgent const &agent, UmoNatFlowMatchSm &match,
                        UmoNatFlowActionSm &machine);

} // namespace UmoAgent
