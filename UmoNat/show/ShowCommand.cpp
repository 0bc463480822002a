#include "UmoNat/UmoNatFlowMcastSmCli.h"

#include "Base/Assert.h"
#include "Mox/Trace.h"
#include "UmoNat/show/Sorter.h"

#include <algorithm>
#include <cstdio>

namespace {

Mox::TraceHandle const trace("UmoNatFlowMcastSmCli");

constexpr char kCommand[] = "showNatFlowActionHw";
constexpr std::size_t kTableWidth = 149;

/// What all rows of an action have in common.
struct ActionColumns {
    Pelo::String const &policy;
    Pelo::String const &match;
    Pelo::String const &action;
    Pelo::String source;
    Pelo::String destination;
    int sourcePort;
    int destinationPort;
    char const *flowType;
};

template <class Elements>
NatFlowMcastCliSorter sorted(Elements const &elements) {
    NatFlowMcastCliSorter names;
    for (auto const &[name, element] : elements) {
        names.entryIdIs(name, true);
    }
    return names;
}

void printHeader(int socket) {
    Pelo::String const separator(kTableWidth, '-');
    dprintf(socket, "%s\n", separator.c_str());
    dprintf(socket, "%-18s %-18s %-18s %-14s %-15s %-5s %-5s %-2s %-2s %-5s %-5s %-4s %-8s %-17s\n",
            "Policy", "Match", "Action", "Source", "Destination", "SPort", "DPort", "FT", "PT",
            "PSet1", "PSet2", "Vlan", "Intf", "Mac");
    dprintf(socket, "%s\n", separator.c_str());
}

void printPortSet(int socket, ActionColumns const &columns, char const *portType,
                  Ip::Nat::NatFlowPortSet const &portSet) {
    Pelo::String const mac = portSet.dmac().stringValue();
    for (Nexo::IntfId const intf : portSet.intf()) {
        dprintf(
            socket, "%-18s %-18s %-18s %-14s %-15s %-5d %-5d %-2s %-2s %-5u %-5u %-4u %-8s %-17s\n",
            columns.policy.c_str(), columns.match.c_str(), columns.action.c_str(),
            columns.source.c_str(), columns.destination.c_str(), columns.sourcePort,
            columns.destinationPort, columns.flowType, portType, portSet.portSetId(),
            portSet.portSetId2(), unsigned{portSet.vlan()}, intf.shortName().c_str(), mac.c_str());
    }
}

/// The translated address, masked to the prefix length of the match's flow on that side. "-" if the
/// result is 0.
Pelo::String maskedAddress(Nexo::IpAddr address, std::uint32_t prefixLength) {
    std::uint32_t const mask = prefixLength >= 32  ? ~0U
                               : prefixLength == 0 ? 0U
                                                   : ~0U << (32 - prefixLength);
    Nexo::IpAddr const masked(address.value() & mask);
    return masked.isZero() ? "-" : masked.stringValue();
}

/// "AC": copies of all kinds.
char const *flowTypeText(Ip::Nat::NatFlowType type) {
    switch (type) {
    case Ip::Nat::natFlowTypeUnicast:
        return "UC";
    case Ip::Nat::natFlowTypeMulticast:
        return "MC";
    case Ip::Nat::natFlowTypeNone:
        break;
    }
    return "AC";
}

void printAction(int socket, ActionColumns const &columns,
                 Ip::Nat::NatFlowVlanPortSets const &portSets) {
    for (auto const &[vlan, portSet] : portSets.ucastPortSet()) {
        printPortSet(socket, columns, "UC", *portSet);
    }
    for (auto const &[vlan, portSet] : portSets.mcastPortSet()) {
        printPortSet(socket, columns, "MC", *portSet);
    }
}

} // namespace

UmoNatFlowMcastSmCliCallback::UmoNatFlowMcastSmCliCallback(
    Pelo::String const &name, Pelo::String const &help,
    Mox::Ptr<Ip::Nat::HwNatFlowStatus> const &hwNatFlowStatus)
    : AgentCommandCallback(name, help), hwNatFlowStatus_(hwNatFlowStatus) {}

UmoNatFlowMcastSmCliCallback::~UmoNatFlowMcastSmCliCallback() = default;

void UmoNatFlowMcastSmCliCallback::handleCommand(std::uint32_t socket,
                                                 Pelo::String const &command) {
    trace.at(8, "UmoNatFlowMcastSmCliCallback::", "handleCommand", ", cmd: ", command);
    if (!hwNatFlowStatus_) {
        trace.at(8, "Callback not initialized yet");
        return;
    }
    if (command.find(kCommand) == Pelo::String::npos) {
        return;
    }
    // The first field is the command word without its first two letters.
    std::uint32_t position = 1;
    static_cast<void>(nextFieldS(command, position));
    Pelo::String const policy = nextFieldS(command, position);
    if (!policy.empty()) {
        showMcastNatFlowActionHw(socket, policy, false);
        return;
    }
    bool headerPrinted = false;
    for (auto const &[name, entry] : sorted(hwNatFlowStatus_->natFlow())) {
        headerPrinted = showMcastNatFlowActionHw(socket, name, headerPrinted);
    }
}

Pelo::String UmoNatFlowMcastSmCliCallback::nextFieldS(Pelo::String const &command,
                                                      std::uint32_t &position) const {
    std::size_t const size = command.size();
    std::size_t const start =
        std::min(command.find_first_not_of(' ', std::min<std::size_t>(position + 1U, size)), size);
    std::size_t const end = std::min(command.find(' ', start), size);
    Pelo::String field = command.substr(start, end - start);
    trace.at(8, "Command: ", command, ", start: ", position, ", end: ", end, ", field: ", field);
    position = static_cast<std::uint32_t>(end);
    return field;
}

bool UmoNatFlowMcastSmCliCallback::showMcastNatFlowActionHw(std::uint32_t socket,
                                                            Pelo::String const &policyName,
                                                            bool headerPrinted) const {
    trace.at(8, "UmoNatFlowMcastSmCliCallback::", "showMcastNatFlowActionHw",
             ", policy: ", policyName);
    auto const policy = hwNatFlowStatus_ ? hwNatFlowStatus_->natFlow(policyName) : nullptr;
    if (!policy) {
        return headerPrinted;
    }
    int const descriptor = static_cast<int>(socket);
    for (auto const &[matchName, matchEntry] : sorted(policy->match())) {
        auto const match = policy->match(matchName);
        Base::assertThat(bool(match), "match");
        for (auto const &[actionName, actionEntry] : sorted(match->action())) {
            auto const action = match->action(actionName);
            Base::assertThat(bool(action), "action");
            auto const &portSets = action->vlanPortSets();
            if (!portSets) {
                continue;
            }
            if (!headerPrinted) {
                printHeader(descriptor);
                headerPrinted = true;
            }
            auto const &flow = match->flow();
            printAction(descriptor,
                        {.policy = policyName,
                         .match = matchName,
                         .action = actionName,
                         .source = maskedAddress(action->srcNat().addr(), flow.source.prefixLength),
                         .destination =
                             maskedAddress(action->dstNat().addr(), flow.destination.prefixLength),
                         .sourcePort = action->srcNat().port(),
                         .destinationPort = action->dstNat().port(),
                         .flowType = flowTypeText(action->flowType())},
                        *portSets);
        }
    }
    return headerPrinted;
}

Mox::Ptr<UmoNatFlowMcastSmCliCallback>
umoNatFlowMcastSmCliCallbackFactory(Pelo::String const &name, Pelo::String const &help,
                                    Mox::Ptr<Ip::Nat::HwNatFlowStatus> const &hwNatFlowStatus) {
    return Mox::make<UmoNatFlowMcastSmCliCallback>(name, help, hwNatFlowStatus);
}
