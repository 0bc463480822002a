#pragma once

#include "agent/openflow/CopyActions.h"
#include "agent/packet/Classifier.h"

#include <optional>
#include <string>
#include <vector>

namespace UmoAgent {

/// A flow entry that selects packets of a match.
struct PlannedFlow {
    std::string match;            // see flowMatch
    std::optional<Served> served; // none: the entry drops, since these fragments lack ports
};

/// The flow entries of a rule, first those for whole packets.
struct PlannedRule {
    Rule const *rule = nullptr; // of the classifier
    std::vector<PlannedFlow> flows;
};

/// Lays out the flow entries by which a switch finds the same rule for a packet as the classifier
/// (see docs/packets.md). Priorities express the order of the rules as far as it follows from
/// their flows. Where the names of policy and match decide, no two entries of the same priority
/// select the same packet: of equal flows only the first has entries, and where one flow names the
/// source port and another the destination port, the first has an entry more for packets with both.
///
/// `rules` are in the order in which they are tried.
std::vector<PlannedRule> planFlows(std::vector<Rule> const &rules);

/// The priority of what drops recirculated packets that no flow selects: below all flows of
/// matches.
inline constexpr std::uint32_t kBelowAllFlows = 38'999;

} // namespace UmoAgent
