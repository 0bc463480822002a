#include "UmoNat/UmoNatFlowPolicySm.h"
#include "agent/show/GroupState.h"
#include "agent/show/Printers.h"
#include "agent/show/TextTable.h"
#include "agent/show/Values.h"

#include <cstdint>
#include <ostream>
#include <string>
#include <utility>

namespace UmoAgent {

namespace {

template <class PortSets>
bool anySends(PortSets const &portSets) {
    for (auto const &[vlan, portSet] : portSets) {
        if (vlan != 0 && isInAGroup(*portSet)) {
            return true;
        }
    }
    return false;
}

Json rowOf(UmoNatFlowMcastSm const &root, Pelo::String const &policy, Pelo::String const &name,
           UmoNatFlowMatchSm *match, Ip::Nat::HwNatFlowStatus const &status) {
    auto const hwPolicy = status.natFlow(policy);
    auto const hwMatch = hwPolicy ? hwPolicy->match(name) : nullptr;
    std::size_t sending = 0, silent = 0;
    for (auto const &[actionName, action] : match->actionSm()) {
        auto const &hwAction = action->hwActionStatus();
        ++(hwAction && sendsCopies(*hwAction) ? sending : silent);
    }
    return record({{"policy", printable(policy)},
                   {"match", printable(name)},
                   {"wanted", match->matchSmStatus()->groupNum()},
                   {"unicast", hwMatch ? hwMatch->groupIdUc() : 0},
                   {"multicast", hwMatch ? hwMatch->groupIdMc() : 0},
                   {"with-copies", sending},
                   {"without-copies", silent},
                   {"state", textOf(groupStateOf(root, *match))}});
}

std::string number(Json const &row, char const *member) {
    return std::to_string(numberOf(row, member));
}

std::string idText(Json const &row, char const *member) {
    std::uint64_t const id = numberOf(row, member);
    return id == 0 ? "-" : std::to_string(id);
}

void printGroupsText(std::ostream &out, Json const &value) {
    constexpr auto kRight = TextTable::Align::right;
    TextTable table({{"policy"},
                     {"match"},
                     {"wanted", kRight},
                     {"unicast", kRight},
                     {"multicast", kRight},
                     {"with copies", kRight},
                     {"without", kRight},
                     {"state"}});
    for (Json const &row : value.at("matches")) {
        table.add({textOf(row, "policy"), textOf(row, "match"), number(row, "wanted"),
                   idText(row, "unicast"), idText(row, "multicast"), number(row, "with-copies"),
                   number(row, "without-copies"), textOf(row, "state")});
    }
    if (table.empty()) {
        out << "groups: no matches\n";
    } else {
        table.print(out);
    }
}

} // namespace

bool sendsCopies(Ip::Nat::HwNatFlowActionStatus const &action) {
    auto const &portSets = action.vlanPortSets();
    return portSets && (anySends(portSets->ucastPortSet()) || anySends(portSets->mcastPortSet()));
}

void printGroups(Reply const &reply, UmoNatFlowMcastSm const &root,
                 Ip::Nat::HwNatFlowStatus const &status, std::string const &onlyPolicy) {
    Json matches = Json::array();
    for (auto const &[policyName, policy] : root.policySm()) {
        if (!onlyPolicy.empty() && policyName != onlyPolicy) {
            continue;
        }
        for (auto const &[matchName, match] : policy->matchSm()) {
            matches.push_back(rowOf(root, policyName, matchName, match.ptr(), status));
        }
    }
    reply.give(record({{"matches", std::move(matches)}}), printGroupsText);
}

} // namespace UmoAgent
