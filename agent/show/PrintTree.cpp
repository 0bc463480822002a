#include "agent/base/Text.h"
#include "agent/show/Printers.h"

#include <ostream>
#include <string_view>

namespace UmoAgent {

namespace {

using Ip::Nat::HwNatFlowActionStatus;
using Ip::Nat::HwNatFlowMatchStatus;

void printMatchGroups(std::ostream &out, HwNatFlowMatchStatus const &match) {
    if (match.groupIdUc() == 0 && match.groupIdMc() == 0) {
        out << "no group";
    } else if (match.groupIdUc() == match.groupIdMc()) {
        out << "group " << match.groupIdUc();
    } else {
        out << "unicast group " << match.groupIdUc() << ", multicast group " << match.groupIdMc();
    }
}

void printTranslation(std::ostream &out, std::string_view which, Nexo::IpAndPort const &flow,
                      std::uint32_t prefixLength, Nexo::IpAndPort const &nat) {
    if (!nat.addr().isZero()) {
        out << "        " << which << ' ';
        printFlowEnd(out, {flow.addr(), prefixLength, flow.port()});
        out << " becomes ";
        printAddress(out, nat);
        out << '\n';
    }
}

/// The port sets of one kind that are in a group.
template <class PortSets>
void printPortSets(std::ostream &out, std::string_view kind, PortSets const &portSets) {
    for (auto const &[vlan, portSet] : portSets) {
        if (portSet->portSetId() == 0 && portSet->portSetId2() == 0) {
            continue;
        }
        out << "        " << kind << " port set " << portSet->portSetId();
        if (portSet->portSetId2() != 0) {
            out << ", in the second group " << portSet->portSetId2();
        }
        out << ": VLAN " << vlan << ", dmac " << portSet->dmac() << ", interfaces";
        for (Nexo::IntfId const intf : portSet->intf()) {
            out << ' ';
            printInterface(out, intf);
        }
        out << '\n';
    }
}

void printAction(std::ostream &out, HwNatFlowActionStatus const &action) {
    out << "      action " << printable(action.name()) << ": " << action.flowType();
    auto const &portSets = action.vlanPortSets();
    out << (portSets ? "\n" : ", nothing programmed\n");
    printTranslation(out, "source", action.srcFlow(), action.srcLen(), action.srcNat());
    printTranslation(out, "destination", action.dstFlow(), action.dstLen(), action.dstNat());
    if (portSets) {
        printPortSets(out, "unicast", portSets->ucastPortSet());
        printPortSets(out, "multicast", portSets->mcastPortSet());
    }
}

void printMatch(std::ostream &out, HwNatFlowMatchStatus const &match) {
    out << "    match " << printable(match.name()) << ": from ";
    printFlowEnd(out, match.flow().source);
    out << " to ";
    printFlowEnd(out, match.flow().destination);
    out << ", ";
    printMatchGroups(out, match);
    out << '\n';
    for (auto const &[name, action] : match.action()) {
        printAction(out, *action);
    }
}

} // namespace

void printTree(std::ostream &out, Ip::Nat::HwNatFlowStatus const &status) {
    out << "hardware status:" << (status.natFlow().empty() ? " no policies" : "") << '\n';
    for (auto const &[policyName, policy] : status.natFlow()) {
        out << "  policy " << printable(policyName)
            << (policy->match().empty() ? ": no matches" : "") << '\n';
        for (auto const &[matchName, match] : policy->match()) {
            printMatch(out, *match);
        }
    }
}

} // namespace UmoAgent
