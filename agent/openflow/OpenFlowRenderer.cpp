#include "agent/openflow/OpenFlowRenderer.h"

#include "agent/base/Find.h"
#include "agent/base/Text.h"
#include "agent/packet/VlanRule.h"

#include <algorithm>
#include <sstream>
#include <utility>

namespace UmoAgent {

namespace {

// Priorities in the tables that only the agent uses.
constexpr std::uint32_t kFirst = 2, kUsual = 1, kOtherwise = 0;

char const *const kDrop = "drop";
char const *const kBridge = "NORMAL";

char const *const kNoVlan = "dl_vlan=4095"; // reserved: a frame with this tag is in no VLAN

std::string resubmitTo(FlowTable table) {
    return "resubmit(," + std::to_string(static_cast<unsigned>(table)) + ')';
}

std::string inHex(std::uint32_t value) {
    std::ostringstream out;
    out << "0x" << std::hex << value;
    return out.str();
}

/// What an entry for these packets is an exception from.
Served moreGeneral(Served served) {
    return {served.multicast,
            served.fragments == Fragments::later ? Fragments::any : Fragments::none};
}

/// For a match without copies: its packets are dropped where others would get theirs.
constexpr std::uint32_t kNoGroup = 0xffffffff;

/// Leads on to the groups of the match.
std::string selectGroup(std::uint32_t first) {
    return "set_field:" + inHex(first) + "->" + kGroupRegister + ',' + resubmitTo(FlowTable::ports);
}

std::string groupFlow(std::uint32_t first) {
    return flowMatch(FlowTable::groups, kUsual, {std::string(kGroupRegister) + '=' + inHex(first)});
}

/// A group can send a copy out where the packet came in only without an ingress port.
std::string toGroups(std::vector<std::uint32_t> const &ids) {
    std::string actions = "set_field:0->in_port";
    for (std::uint32_t const id : ids) {
        actions += ",group:" + std::to_string(id);
    }
    return actions;
}

/// What the port accepts goes on to the groups, the rest is bridged.
std::map<std::string, std::string> flowsOf(BridgePort const &port) {
    std::string const in = "in_port=" + std::to_string(port.number);
    std::string const untagged = "vlan_tci=0x0000/0x0fff"; // also with a priority only
    std::string const accepted = resubmitTo(FlowTable::groups);
    bool const takesUntagged = accepts(port.settings, std::nullopt);
    std::map<std::string, std::string> flows;
    if (Bridging::carriesSeveralVlans(port.settings.mode)) {
        flows[flowMatch(FlowTable::ports, kUsual, {in})] = accepted;
        flows[flowMatch(FlowTable::ports, kFirst, {in, kNoVlan})] = kBridge;
        if (!takesUntagged) {
            flows[flowMatch(FlowTable::ports, kFirst, {in, untagged})] = kBridge;
        }
        return flows;
    }
    if (takesUntagged) {
        flows[flowMatch(FlowTable::ports, kUsual, {in, untagged})] = accepted;
    }
    if (std::uint16_t const vlan = port.settings.nativeVlan.value();
        accepts(port.settings, VlanTag{vlan})) {
        flows[flowMatch(FlowTable::ports, kUsual, {in, "dl_vlan=" + std::to_string(vlan)})] =
            accepted;
    }
    return flows;
}

} // namespace

OpenFlowRenderer::OpenFlowRenderer(SoftSwitch &chip, Forwarder &forwarder, GroupRange range,
                                   SoftSwitch::LineSink errors)
    : chip_(chip), forwarder_(forwarder), errors_(std::move(errors)), ids_(range) {
    chip_.changeSinkIs([this](Pelo::String const &policy, Pelo::String const &match) {
        changed_.emplace(policy, match);
    });
}

void OpenFlowRenderer::bridgeIs(Nexo::EthAddr mac, Datapath datapath, BridgePorts ports) {
    std::set<Nexo::IntfId> changedPorts;
    for (auto const &[intf, port] : ports) {
        auto const *const before = findIn(ports_, intf);
        if (before == nullptr || !(*before == port)) {
            changedPorts.insert(intf);
        }
    }
    for (auto const &[intf, port] : ports_) {
        if (ports.count(intf) == 0) {
            changedPorts.insert(intf);
        }
    }
    bool const another = mac != mac_ || datapath != datapath_;
    if (changedPorts.empty() && !another) {
        return;
    }
    mac_ = mac;
    datapath_ = datapath;
    ports_ = std::move(ports);
    bridgeChanged_ = true;
    auto const affects = [&](Nexo::IntfId intf) {
        return another || changedPorts.count(intf) != 0;
    };
    for (auto const &[id, group] : chip_.groups()) {
        for (auto const &[portSetId, portSet] : group.portSets) {
            if (std::any_of(portSet.interfaces.begin(), portSet.interfaces.end(), affects)) {
                changed_.emplace(group.policy, group.match);
                break;
            }
        }
    }
}

void OpenFlowRenderer::render() {
    if (std::exchange(bridgeChanged_, false)) {
        renderBridge();
    }
    renderMatches();
}

/// The flows that do not depend on matches.
void OpenFlowRenderer::renderBridge() {
    std::string const recirculated = std::string(kRecirculatedRegister) + "=0x1";
    std::string const first = std::string(kRecirculatedRegister) + "=0";
    std::map<std::string, std::string> flows{
        {flowMatch(FlowTable::matches, kBelowAllFlows, {recirculated}), kDrop},
        {flowMatch(FlowTable::ports, kFirst, {recirculated}), resubmitTo(FlowTable::groups)},
        {flowMatch(FlowTable::ports, kOtherwise, {}), kBridge},
        {groupFlow(kNoGroup), kDrop},
        {flowMatch(FlowTable::groups, kUsual, {first, std::string(kGroupRegister) + "=0"}),
         std::string("set_field:0x1->") + kRecirculatedRegister + ',' +
             resubmitTo(FlowTable::matches)}};
    for (auto const &[intf, port] : ports_) {
        if (port.number != 0) {
            flows.merge(flowsOf(port));
        }
    }
    for (std::string const &match : bridgeFlows_) {
        if (flows.count(match) == 0) {
            removeFlow(match);
        }
    }
    bridgeFlows_.clear();
    bridgeFlows_.reserve(flows.size());
    for (auto &[match, actions] : flows) {
        bridgeFlows_.push_back(match);
        setFlow(match, std::move(actions));
    }
}

void OpenFlowRenderer::renderMatches() {
    auto const &rules = forwarder_.rules();
    if (std::uint64_t const version = forwarder_.rulesVersion(); version != rulesVersion_) {
        rulesVersion_ = version;
        planMatches(rules);
    }
    do {
        idsFreed_ = false;
        for (Owner const &owner : std::exchange(changed_, {})) {
            starved_.erase(owner);
            if (Match *const match = findIn(matches_, owner)) {
                renderMatch(owner, *match);
            }
        }
        if (idsFreed_) {
            changed_ = starved_;
        }
    } while (!changed_.empty());
}

/// Lays out the flows of all matches anew. All flows go before any is rendered, because one may now
/// be another match's.
void OpenFlowRenderer::planMatches(std::vector<Rule> const &rules) {
    std::map<Owner, Match> before = std::exchange(matches_, {});
    for (auto &[owner, match] : before) {
        for (std::string const &flow : std::exchange(match.flows, {})) {
            removeFlow(flow);
        }
    }
    for (PlannedRule &planned : planFlows(rules)) {
        Owner owner(planned.rule->policy(), planned.rule->match().name());
        Match &match = matches_[owner];
        if (auto known = before.extract(owner); !known.empty()) {
            match = std::move(known.mapped());
        }
        match.plan = std::move(planned);
        changed_.insert(std::move(owner));
    }
    for (auto const &[owner, match] : before) {
        for (Groups const &groups : match.groups) {
            remove(groups);
        }
    }
}

void OpenFlowRenderer::renderMatch(Owner const &owner, Match &match) {
    std::vector<Groups> before = std::exchange(match.groups, {});
    std::erase_if(before, [&](Groups const &groups) { // their ids may be needed
        auto const &plan = match.plan.flows;
        bool const planned = std::any_of(plan.begin(), plan.end(), [&](PlannedFlow const &flow) {
            return flow.served == groups.served;
        });
        if (!planned) {
            remove(groups);
        }
        return !planned;
    });
    std::map<std::string, std::string> flows;
    for (PlannedFlow const &planned : match.plan.flows) {
        if (!planned.served) {
            flows[planned.match] = selectGroup(kNoGroup);
        } else if (std::string actions = actionFor(owner, match, before, *planned.served);
                   !actions.empty()) {
            flows[planned.match] = std::move(actions);
        }
    }
    for (Groups const &groups : before) {
        remove(groups);
    }
    for (std::string const &flow : match.flows) {
        if (flows.count(flow) == 0) {
            removeFlow(flow);
        }
    }
    match.flows.clear();
    match.flows.reserve(flows.size());
    for (auto &[flow, actions] : flows) {
        match.flows.push_back(flow);
        setFlow(flow, std::move(actions));
    }
}

std::string OpenFlowRenderer::actionFor(Owner const &owner, Match &match,
                                        std::vector<Groups> &before, Served served) {
    auto const servesThem = [served](Groups const &groups) { return groups.served == served; };
    if (auto const placed = std::find_if(match.groups.begin(), match.groups.end(), servesThem);
        placed != match.groups.end()) { // by another of the match's flows
        return selectGroup(placed->ids.front());
    }
    Groups groups{served, {}, bucketsOf(match, served)};
    if (served.fragments != Fragments::none &&
        groups.buckets == bucketsOf(match, moreGeneral(served))) {
        return {}; // that entry does for them, too
    }
    if (groups.buckets.empty()) {
        return selectGroup(kNoGroup);
    }
    if (auto const old = std::find_if(before.begin(), before.end(), servesThem);
        old != before.end()) {
        groups.ids = std::move(old->ids);
        before.erase(old);
    }
    if (!place(owner, groups)) {
        return selectGroup(kNoGroup);
    }
    return selectGroup(match.groups.emplace_back(std::move(groups)).ids.front());
}

/// In the order in which the chip sends the copies; none without a group.
OpenFlowTables::Buckets OpenFlowRenderer::bucketsOf(Match const &match, Served served) const {
    OpenFlowTables::Buckets buckets;
    auto const &status = match.plan.rule->match();
    auto const *const group =
        findIn(chip_.groups(), served.multicast ? status.groupIdMc() : status.groupIdUc());
    if (group == nullptr) {
        return buckets;
    }
    for (auto const &[id, portSet] : group->portSets) {
        if (!fits(served.fragments, portSet, datapath_)) {
            continue;
        }
        for (Nexo::IntfId const intf : portSet.interfaces) {
            if (intf.empty()) {
                buckets.push_back(recirculationActions(portSet));
            } else if (auto const *const port = findIn(ports_, intf);
                       port != nullptr && port->number != 0) {
                buckets.push_back(
                    copyActions(portSet, served, mac_,
                                {port->number, leavesTagged(port->settings, portSet.vlan)}));
            }
        }
    }
    return buckets;
}

/// Puts the buckets into groups, those that it has or more. Returns whether there were enough.
bool OpenFlowRenderer::place(Owner const &owner, Groups &groups) {
    std::size_t const wanted = (groups.buckets.size() + kCopiesInGroup - 1) / kCopiesInGroup;
    while (groups.ids.size() > wanted) {
        removeGroup(groups.ids.back());
        groups.ids.pop_back();
    }
    while (groups.ids.size() < wanted) {
        auto const id = ids_.take();
        if (!id) {
            if (starved_.insert(owner).second) {
                errors_("no group id is left for all copies of policy " + printable(owner.first) +
                        ", match " + printable(owner.second) +
                        ": it gets none until one is free; a larger --group-range is needed");
            }
            remove(groups);
            return false;
        }
        groups.ids.push_back(*id);
    }
    for (std::size_t i = 0; i < wanted; ++i) {
        auto const begin = groups.buckets.begin() + static_cast<std::ptrdiff_t>(i * kCopiesInGroup);
        auto const end = i + 1 == wanted ? groups.buckets.end()
                                         : begin + static_cast<std::ptrdiff_t>(kCopiesInGroup);
        setGroup(groups.ids[i], {begin, end});
    }
    setFlow(groupFlow(groups.ids.front()), toGroups(groups.ids));
    return true;
}

void OpenFlowRenderer::remove(Groups const &groups) {
    if (!groups.ids.empty()) {
        removeFlow(groupFlow(groups.ids.front()));
    }
    for (std::uint32_t const id : groups.ids) {
        removeGroup(id);
    }
}

void OpenFlowRenderer::setFlow(std::string const &match, std::string actions) {
    std::string &current = tables_.flows[match];
    if (current != actions) {
        current = std::move(actions);
        touched_.flows.insert(match);
    }
}

void OpenFlowRenderer::setGroup(std::uint32_t id, OpenFlowTables::Buckets buckets) {
    auto &current = tables_.groups[id];
    if (current != buckets) {
        current = std::move(buckets);
        touched_.groups.insert(id);
    }
}

void OpenFlowRenderer::removeFlow(std::string const &match) {
    tables_.flows.erase(match);
    touched_.flows.insert(match);
}

void OpenFlowRenderer::removeGroup(std::uint32_t id) {
    tables_.groups.erase(id);
    touched_.groups.insert(id);
    ids_.giveBack(id);
    idsFreed_ = true;
}

} // namespace UmoAgent
