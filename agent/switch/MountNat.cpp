#include "agent/switch/MountNat.h"

#include "agent/switch/FlowType.h"
#include "agent/switch/MountOrder.h"

#include <algorithm>
#include <utility>

namespace UmoAgent {

namespace {

using Ip::Nat::NatFlowActionStatus;
using Ip::Nat::NatFlowMatchStatus;
using Ip::Nat::NatFlowPolicyStatus;

template <class Node>
using NamedNodes = std::vector<std::pair<Pelo::String const *, Node const *>>;

template <class Node, class Collection>
NamedNodes<Node> inMountedOrder(Collection const &mounted, NamedNodes<Node> nodes) {
    return inOrderOf(
        mounted, std::move(nodes), [](auto const &node) -> auto const & { return *node.first; });
}

template <class Node>
NamedNodes<Node> chosen(DraftNodes<Node> const &nodes, bool (*wanted)(DraftLife const &)) {
    auto named = inOrder(nodes);
    std::erase_if(named, [&](auto const &node) { return !wanted(*node.second); });
    return named;
}

bool isPresent(DraftLife const &node) {
    return node.present;
}
bool hasEnded(DraftLife const &node) {
    return node.ended;
}
bool stays(DraftLife const &node) {
    return node.stays();
}
bool isFresh(DraftLife const &node) {
    return node.fresh();
}

/// The mounted nodes that stay.
template <class Node, class Collection>
NamedNodes<Node> staying(DraftNodes<Node> const &nodes, Collection const &mounted) {
    return inMountedOrder<Node>(mounted, chosen(nodes, stays));
}

/// The mounted nodes that are removed, even if a new one replaces them.
template <class Node, class Collection>
NamedNodes<Node> ending(DraftNodes<Node> const &nodes, Collection const &mounted) {
    return inMountedOrder<Node>(mounted, chosen(nodes, hasEnded));
}

/// The nodes that exist when everything is set.
template <class Node, class Collection>
NamedNodes<Node> present(DraftNodes<Node> const &nodes, Collection const &mounted) {
    return inMountedOrder<Node>(mounted, chosen(nodes, isPresent));
}

bool sameFields(NatFlowActionStatus const &status, Table::Action::Value const &action) {
    return status.src() == action.source && status.dst() == action.destination &&
           status.intf().size() == action.egress.size() &&
           std::all_of(action.egress.begin(), action.egress.end(), [&](auto const &egress) {
               Ip::Nat::NatFlowNextHop const *const hop = status.intf(egress.first);
               return hop != nullptr && *hop == egress.second;
           });
}

void removeEgress(NatFlowActionStatus &status, Table::Action::Value const &action) {
    std::set<Nexo::IntfId> wanted;
    for (auto const &[intf, hop] : action.egress) {
        wanted.insert(intf);
    }
    for (auto const &[intf, hop] : status.intf()) {
        if (wanted.count(intf) == 0) {
            status.intfDel(intf);
        }
    }
}

void setFields(NatFlowActionStatus &status, Table::Action::Value const &action) {
    status.srcIs(action.source);
    status.dstIs(action.destination);
    for (auto const &[intf, hop] : action.egress) {
        status.intfIs(intf, hop);
    }
}

// New entities are filled before they are added, so that nobody evaluates a half-written one.

void addActions(NatFlowMatchStatus &match, DraftNodes<DraftAction> const &actions) {
    for (auto const &[name, action] : chosen(actions, isFresh)) {
        auto const status = Mox::make<NatFlowActionStatus>(*name);
        setFields(*status, action->value);
        match.actionIs(*name, status);
    }
}

void addMatches(NatFlowPolicyStatus &policy, DraftNodes<DraftMatch> const &matches) {
    for (auto const &[name, match] : chosen(matches, isFresh)) {
        auto const status = Mox::make<NatFlowMatchStatus>(*name);
        status->flowIs(match->flow);
        addActions(*status, match->actions);
        policy.matchIs(*name, status);
    }
}

/// Erases the keys of the actions of a policy, or of one of its matches.
void eraseIn(std::set<Table::Action::Key> &actions, Pelo::String const &policy,
             Pelo::String const *match) {
    auto at = actions.lower_bound({policy, match == nullptr ? "" : *match, ""});
    while (at != actions.end() && at->policy == policy &&
           (match == nullptr || at->match == *match)) {
        at = actions.erase(at);
    }
}

} // namespace

/// Calls `visit(status, match)` for each match that stays.
template <class Visit>
void MountNat::forEachStayingMatch(Visit visit) const {
    for (auto const &[policyName, policy] : staying(policies_, status_.natFlow())) {
        auto const status = status_.natFlow(*policyName);
        for (auto const &[name, match] : staying(policy->matches, status->match())) {
            visit(*status->match(*name), *match);
        }
    }
}

/// Calls `visit(status, action)` for each action that stays.
template <class Visit>
void MountNat::forEachStayingAction(Visit visit) const {
    forEachStayingMatch([&](NatFlowMatchStatus &status, DraftMatch const &match) {
        for (auto const &[name, action] : staying(match.actions, status.action())) {
            visit(*status.action(*name), action->value);
        }
    });
}

void MountNat::suspendChangedActions() const {
    forEachStayingAction([](NatFlowActionStatus &status, Table::Action::Value const &action) {
        if (!sameFields(status, action)) {
            status.versionIs(0);
        }
    });
}

void MountNat::remove() const {
    forEachStayingAction(removeEgress);
    forEachStayingMatch([](NatFlowMatchStatus &status, DraftMatch const &match) {
        for (auto const &[name, action] : ending(match.actions, status.action())) {
            status.actionDel(*name);
        }
    });
    for (auto const &[policyName, policy] : staying(policies_, status_.natFlow())) {
        auto const status = status_.natFlow(*policyName);
        for (auto const &[name, match] : ending(policy->matches, status->match())) {
            status->matchDel(*name);
        }
    }
    for (auto const &[name, policy] : ending(policies_, status_.natFlow())) {
        status_.natFlowDel(*name);
    }
}

void MountNat::set() const {
    for (auto const &[policyName, policy] : staying(policies_, status_.natFlow())) {
        auto const status = status_.natFlow(*policyName);
        for (auto const &[name, match] : staying(policy->matches, status->match())) {
            auto const matchStatus = status->match(*name);
            matchStatus->flowIs(match->flow);
            for (auto const &[actionName, action] :
                 staying(match->actions, matchStatus->action())) {
                setFields(*matchStatus->action(*actionName), action->value);
            }
            addActions(*matchStatus, match->actions);
        }
        addMatches(*status, policy->matches);
    }
    for (auto const &[name, policy] : chosen(policies_, isFresh)) {
        auto const status = Mox::make<NatFlowPolicyStatus>(*name);
        addMatches(*status, policy->matches);
        status_.natFlowIs(*name, status);
    }
}

void MountNat::setVersions() const {
    for (auto const &[policyName, policy] : present(policies_, status_.natFlow())) {
        auto const policyStatus = status_.natFlow(*policyName);
        for (auto const &[matchName, match] : present(policy->matches, policyStatus->match())) {
            auto const matchStatus = policyStatus->match(*matchName);
            for (auto const &[name, action] : present(match->actions, matchStatus->action())) {
                matchStatus->action(*name)->versionIs(action->value.version);
            }
        }
    }
}

void MountNat::noteNeededMacs(std::set<Table::Action::Key> &actions) const {
    for (auto const &[policyName, policy] : policies_) {
        if (policy.ended) {
            eraseIn(actions, policyName, nullptr);
        }
        for (auto const &[matchName, match] : policy.matches) {
            if (match.ended) {
                eraseIn(actions, policyName, &matchName);
            }
            for (auto const &[name, action] : match.actions) {
                Table::Action::Key const key{policyName, matchName, name};
                bool const multicast = flowTypeOf(match.flow, action.value.destination) ==
                                       Ip::Nat::natFlowTypeMulticast;
                if (action.present && action.neededMacs && multicast) {
                    actions.insert(key);
                } else {
                    actions.erase(key);
                }
            }
        }
    }
}

} // namespace UmoAgent
