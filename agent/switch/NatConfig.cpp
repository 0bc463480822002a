#include "agent/switch/NatConfig.h"

#include <algorithm>

namespace UmoAgent {

namespace {

using Ip::Nat::NatFlowActionStatus;
using Ip::Nat::NatFlowMatchStatus;

/// Calls `visit(name, before, after)` for each element of `before` that is the same one in
/// `after`.
template <class State, class Visit>
void forEachStaying(Named<State> const &before, Named<State> const &after, Visit visit) {
    for (auto const &[name, state] : before) {
        State const *const now = after.find(name);
        if (now != nullptr && now->born == state.born) {
            visit(name, state, *now);
        }
    }
}

/// Calls `visit(name)` for each of the others: those that end.
template <class State, class Visit>
void forEachEnding(Named<State> const &before, Named<State> const &after, Visit visit) {
    for (auto const &[name, state] : before) {
        State const *const now = after.find(name);
        if (now == nullptr || now->born != state.born) {
            visit(name);
        }
    }
}

/// Calls `visit(status, before, after)` for each match that stays.
template <class Visit>
void forEachStayingMatch(Ip::Nat::Status &status, Named<PolicyState> const &before,
                         Named<PolicyState> const &after, Visit visit) {
    forEachStaying(before, after, [&](auto const &policyName, auto const &was, auto const &is) {
        auto const policy = status.natFlow(policyName);
        forEachStaying(
            was.matches, is.matches,
            [&](auto const &name, MatchState const &wasMatch, MatchState const &isMatch) {
                visit(*policy->match(name), wasMatch, isMatch);
            });
    });
}

/// Calls `visit(status, after)` for each action that stays.
template <class Visit>
void forEachStayingAction(Ip::Nat::Status &status, Named<PolicyState> const &before,
                          Named<PolicyState> const &after, Visit visit) {
    forEachStayingMatch(
        status, before, after,
        [&](NatFlowMatchStatus &match, MatchState const &was, MatchState const &is) {
            forEachStaying(was.actions, is.actions,
                           [&](auto const &name, ActionState const &, ActionState const &action) {
                               visit(*match.action(name), action);
                           });
        });
}

bool sameFields(NatFlowActionStatus const &status, ActionState const &action) {
    return status.src() == action.source && status.dst() == action.destination &&
           status.intf().size() == action.egress.size() &&
           std::all_of(action.egress.begin(), action.egress.end(), [&](auto const &egress) {
               Ip::Nat::NatFlowNextHop const *const hop = status.intf(egress.first);
               return hop != nullptr && *hop == egress.second.nextHop;
           });
}

void removeEgress(NatFlowActionStatus &status, ActionState const &action) {
    for (auto const &[intf, nextHop] : status.intf()) {
        if (!action.egress.contains(intf)) {
            status.intfDel(intf);
        }
    }
}

void setAction(NatFlowActionStatus &status, ActionState const &action) {
    status.srcIs(action.source);
    status.dstIs(action.destination);
    for (auto const &[intf, egress] : action.egress) {
        status.intfIs(intf, egress.nextHop);
    }
}

/// Fills the entity that is there, or else a new one before it is added: nobody should have to
/// evaluate a half-written entity.
template <class Entity, class Fill, class Add>
void fillOrAdd(Mox::Ptr<Entity> const &present, Pelo::String const &name, Fill fill, Add add) {
    if (present) {
        fill(*present);
        return;
    }
    auto const fresh = Mox::make<Entity>(name);
    fill(*fresh);
    add(fresh);
}

void setMatch(NatFlowMatchStatus &status, MatchState const &match) {
    status.flowIs(match.flow);
    for (auto const &[name, state] : match.actions) {
        fillOrAdd(
            status.action(name), name,
            [&action = state](NatFlowActionStatus &fill) { setAction(fill, action); },
            [&status, &key = name](auto const &action) { status.actionIs(key, action); });
    }
}

void setPolicy(Ip::Nat::NatFlowPolicyStatus &status, PolicyState const &policy) {
    for (auto const &[name, state] : policy.matches) {
        fillOrAdd(
            status.match(name), name,
            [&match = state](NatFlowMatchStatus &fill) { setMatch(fill, match); },
            [&status, &key = name](auto const &match) { status.matchIs(key, match); });
    }
}

} // namespace

void suspendChangedActions(Ip::Nat::Status &status, Named<PolicyState> const &before,
                           Named<PolicyState> const &after) {
    forEachStayingAction(status, before, after,
                         [](NatFlowActionStatus &actionStatus, ActionState const &action) {
                             if (!sameFields(actionStatus, action)) {
                                 actionStatus.versionIs(0);
                             }
                         });
}

void removeNatConfig(Ip::Nat::Status &status, Named<PolicyState> const &before,
                     Named<PolicyState> const &after) {
    forEachStayingAction(status, before, after, removeEgress);
    forEachStayingMatch(status, before, after,
                        [](NatFlowMatchStatus &match, MatchState const &was, MatchState const &is) {
                            forEachEnding(was.actions, is.actions,
                                          [&](Pelo::String const &name) { match.actionDel(name); });
                        });
    forEachStaying(before, after, [&](auto const &policyName, auto const &was, auto const &is) {
        auto const policy = status.natFlow(policyName);
        forEachEnding(was.matches, is.matches,
                      [&](Pelo::String const &name) { policy->matchDel(name); });
    });
    forEachEnding(before, after, [&](Pelo::String const &name) { status.natFlowDel(name); });
}

void setNatConfig(Ip::Nat::Status &status, Named<PolicyState> const &policies) {
    for (auto const &[name, state] : policies) {
        fillOrAdd(
            status.natFlow(name), name,
            [&policy = state](Ip::Nat::NatFlowPolicyStatus &fill) { setPolicy(fill, policy); },
            [&status, &key = name](auto const &policy) { status.natFlowIs(key, policy); });
    }
}

void setActionVersions(Ip::Nat::Status &status, Named<PolicyState> const &policies) {
    for (auto const &[policyName, policy] : policies) {
        for (auto const &[matchName, match] : policy.matches) {
            auto const matchStatus = status.natFlow(policyName)->match(matchName);
            for (auto const &[actionName, action] : match.actions) {
                matchStatus->action(actionName)->versionIs(action.version);
            }
        }
    }
}

} // namespace UmoAgent
