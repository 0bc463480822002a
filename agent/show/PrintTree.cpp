#include "agent/show/Printers.h"
#include "agent/show/Values.h"

#include <cstdint>
#include <ostream>
#include <string>
#include <utility>

namespace UmoAgent {

namespace {

using Ip::Nat::HwNatFlowActionStatus;
using Ip::Nat::HwNatFlowMatchStatus;

Json translationValue(Nexo::IpAndPort const &flow, std::uint32_t prefixLength,
                      Nexo::IpAndPort const &nat) {
    if (nat.addr().isZero()) {
        return nullptr;
    }
    return record({{"flow", valueOf(Ip::Nat::NatFlowEnd{flow.addr(), prefixLength, flow.port()})},
                   {"becomes", valueOf(nat)}});
}

/// The port sets of one kind that are in a group.
template <class PortSets>
Json portSetsValue(PortSets const &portSets) {
    Json rows = Json::array();
    for (auto const &[vlan, portSet] : portSets) {
        if (isInAGroup(*portSet)) {
            rows.push_back(record({{"port-set", portSet->portSetId()},
                                   {"second", portSet->portSetId2()},
                                   {"vlan", vlan},
                                   {"dmac", portSet->dmac().stringValue()},
                                   {"interfaces", namesOf(portSet->intf())}}));
        }
    }
    return rows;
}

Json actionValue(HwNatFlowActionStatus const &action) {
    auto const &portSets = action.vlanPortSets();
    return record(
        {{"action", printable(action.name())},
         {"flow-type", streamed(action.flowType())},
         {"evaluated", bool(portSets)},
         {"source", translationValue(action.srcFlow(), action.srcLen(), action.srcNat())},
         {"destination", translationValue(action.dstFlow(), action.dstLen(), action.dstNat())},
         {"unicast", portSets ? portSetsValue(portSets->ucastPortSet()) : Json::array()},
         {"multicast", portSets ? portSetsValue(portSets->mcastPortSet()) : Json::array()}});
}

Json matchValue(HwNatFlowMatchStatus const &match) {
    Json actions = Json::array();
    for (auto const &[name, action] : match.action()) {
        actions.push_back(actionValue(*action));
    }
    return record({{"match", printable(match.name())},
                   {"source", valueOf(match.flow().source)},
                   {"destination", valueOf(match.flow().destination)},
                   {"unicast", match.groupIdUc()},
                   {"multicast", match.groupIdMc()},
                   {"actions", std::move(actions)}});
}

void printNat(std::ostream &out, Json const &action, char const *which) {
    Json const &translation = action.at(which);
    if (!translation.is_null()) {
        out << "        " << which << ' ' << flowEndText(translation.at("flow")) << " becomes "
            << addressText(translation.at("becomes")) << '\n';
    }
}

void printPortSets(std::ostream &out, Json const &action, char const *kind) {
    for (Json const &portSet : action.at(kind)) {
        out << "        " << kind << " port set " << numberOf(portSet, "port-set");
        if (std::uint64_t const second = numberOf(portSet, "second"); second != 0) {
            out << ", in the second group " << second;
        }
        out << ": VLAN " << numberOf(portSet, "vlan") << ", dmac " << textOf(portSet, "dmac")
            << ", interfaces" << namesText(portSet.at("interfaces")) << '\n';
    }
}

void printAction(std::ostream &out, Json const &action) {
    out << "      action " << textOf(action, "action") << ": " << textOf(action, "flow-type")
        << (action.at("evaluated").get<bool>() ? "\n" : ", nothing programmed\n");
    printNat(out, action, "source");
    printNat(out, action, "destination");
    printPortSets(out, action, "unicast");
    printPortSets(out, action, "multicast");
}

void printMatch(std::ostream &out, Json const &match) {
    out << "    match " << textOf(match, "match") << ": from " << flowEndText(match.at("source"))
        << " to " << flowEndText(match.at("destination")) << ", " << groupIdsText(match) << '\n';
    for (Json const &action : match.at("actions")) {
        printAction(out, action);
    }
}

void printTreeText(std::ostream &out, Json const &value) {
    out << "hardware status:" << (value.at("policies").empty() ? " no policies" : "") << '\n';
    for (Json const &policy : value.at("policies")) {
        out << "  policy " << textOf(policy, "policy")
            << (policy.at("matches").empty() ? ": no matches" : "") << '\n';
        for (Json const &match : policy.at("matches")) {
            printMatch(out, match);
        }
    }
}

} // namespace

Json treeValue(Ip::Nat::HwNatFlowStatus const &status, std::string const &policyName) {
    Json policies = Json::array();
    for (auto const &[name, policy] : status.natFlow()) {
        if (!policyName.empty() && name != policyName) {
            continue;
        }
        Json matches = Json::array();
        for (auto const &[matchName, match] : policy->match()) {
            matches.push_back(matchValue(*match));
        }
        policies.push_back(record({{"policy", printable(name)}, {"matches", std::move(matches)}}));
    }
    return record({{"policies", std::move(policies)}});
}

void printTree(Reply const &reply, Ip::Nat::HwNatFlowStatus const &status) {
    reply.give(treeValue(status), printTreeText);
}

} // namespace UmoAgent
