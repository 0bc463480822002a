#pragma once

#include <string>
#include <vector>

namespace TestSupport {

/// Takes the trace messages or helper calls, and tells them in few words, each with a "|":
/// "UmoNatFlowMatchSm::doCleanup, policy: p, match: m" as "Match::doCleanup p.m",
/// "notifyActionSmVlan, vlan: 10" as "> Vlan 10", "createNatFlowGroup(policy p, match m, unicast
/// true) -> 1" as "create m, unicast true -> 1", and what is done with port set 2 of group 1 as
/// "update Src 1/2", without addresses and the like.
std::string storyOf(std::vector<std::string> &lines);

} // namespace TestSupport
