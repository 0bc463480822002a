#include "UmoNat/UmoNatFlowMatchSm.h"
#include "UmoNat/UmoNatFlowMcastSm.h"
#include "UmoNat/UmoNatFlowPolicySm.h"
#include "agent/base/Text.h"
#include "agent/show/Printers.h"
#include "agent/show/TextTable.h"

#include <cstdint>
#include <ostream>
#include <string>
#include <vector>

namespace UmoAgent {

namespace {

char const *stateOf(UmoNatFlowMcastSm const &root, UmoNatFlowMatchSm *match, bool holdsGroups,
                    std::uint32_t wanted) {
    if (wanted == 0) {
        return "no groups";
    }
    if (holdsGroups) {
        return "programmed";
    }
    return root.unprogrammedGroup().contains(match) ? "waiting" : "stranded";
}

std::string idText(std::uint32_t id) {
    return id == 0 ? "-" : std::to_string(id);
}

std::vector<std::string> rowOf(UmoNatFlowMcastSm const &root, Pelo::String const &policy,
                               Pelo::String const &name, UmoNatFlowMatchSm *match,
                               Ip::Nat::HwNatFlowStatus const &status) {
    auto const hwPolicy = status.natFlow(policy);
    auto const hwMatch = hwPolicy ? hwPolicy->match(name) : nullptr;
    std::uint32_t const unicast = hwMatch ? hwMatch->groupIdUc() : 0;
    std::uint32_t const multicast = hwMatch ? hwMatch->groupIdMc() : 0;
    std::uint32_t const wanted = match->matchSmStatus()->groupNum();
    return {printable(policy), printable(name),   std::to_string(wanted),
            idText(unicast),   idText(multicast), stateOf(root, match, unicast != 0, wanted)};
}

} // namespace

void printGroups(std::ostream &out, UmoNatFlowMcastSm const &root,
                 Ip::Nat::HwNatFlowStatus const &status) {
    constexpr auto kRight = TextTable::Align::right;
    TextTable table({{"policy"},
                     {"match"},
                     {"wanted", kRight},
                     {"unicast", kRight},
                     {"multicast", kRight},
                     {"state"}});
    for (auto const &[policyName, policy] : root.policySm()) {
        for (auto const &[matchName, match] : policy->matchSm()) {
            table.add(rowOf(root, policyName, matchName, match.ptr(), status));
        }
    }
    if (table.empty()) {
        out << "groups: no matches\n";
    } else {
        table.print(out);
    }
}

} // namespace UmoAgent
