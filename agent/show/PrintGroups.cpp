#include "UmoNat/UmoNatFlowMatchSm.h"
#include "UmoNat/UmoNatFlowMcastSm.h"
#include "UmoNat/UmoNatFlowPolicySm.h"
#include "agent/base/Text.h"
#include "agent/show/Printers.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <ostream>
#include <string>
#include <vector>

namespace UmoAgent {

namespace {

using Row = std::array<std::string, 6>;

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

Row rowOf(UmoNatFlowMcastSm const &root, Pelo::String const &policy, Pelo::String const &name,
          UmoNatFlowMatchSm *match, Ip::Nat::HwNatFlowStatus const &status) {
    auto const hwPolicy = status.natFlow(policy);
    auto const hwMatch = hwPolicy ? hwPolicy->match(name) : nullptr;
    std::uint32_t const unicast = hwMatch ? hwMatch->groupIdUc() : 0;
    std::uint32_t const multicast = hwMatch ? hwMatch->groupIdMc() : 0;
    std::uint32_t const wanted = match->matchSmStatus()->groupNum();
    return {printable(policy), printable(name),   std::to_string(wanted),
            idText(unicast),   idText(multicast), stateOf(root, match, unicast != 0, wanted)};
}

/// Columns as wide as their widest cell; numbers to the right.
void printTable(std::ostream &out, std::vector<Row> const &rows) {
    std::array<std::size_t, std::tuple_size_v<Row>> widths{};
    for (Row const &row : rows) {
        for (std::size_t column = 0; column < row.size(); ++column) {
            widths.at(column) = std::max(widths.at(column), width(row.at(column)));
        }
    }
    for (Row const &row : rows) {
        for (std::size_t column = 0; column + 1 < row.size(); ++column) {
            bool const numeric = column >= 2;
            std::string const padding(widths.at(column) - width(row.at(column)), ' ');
            out << (numeric ? padding : "") << row.at(column) << (numeric ? "" : padding) << "  ";
        }
        out << row.back() << '\n';
    }
}

} // namespace

void printGroups(std::ostream &out, UmoNatFlowMcastSm const &root,
                 Ip::Nat::HwNatFlowStatus const &status) {
    std::vector<Row> rows{{"policy", "match", "wanted", "unicast", "multicast", "state"}};
    for (auto const &[policyName, policy] : root.policySm()) {
        for (auto const &[matchName, match] : policy->matchSm()) {
            rows.push_back(rowOf(root, policyName, matchName, match.ptr(), status));
        }
    }
    if (rows.size() == 1) {
        out << "groups: no matches\n";
    } else {
        printTable(out, rows);
    }
}

} // namespace UmoAgent
